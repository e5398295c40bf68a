// The type of an enumeration's values and the enumeration object.
//
// The enumeration object owns its values (one per item, made once) and its type; the type points back
// at the object without a reference. Both live for the whole process (the type is registered), so that
// back pointer never dangles while the library is in use.

#include "base/SourcePosition.h"
#include "core/Enum.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"

namespace core {

namespace {

constexpr const char* kSourceFile = KERN83_SOURCE_FILE("EnumType");

const char16_t* or_null(const avo::WString& text) noexcept { return text.empty() ? nullptr : text.c_str(); }

// Alias 0 English, 1 Russian falling back to English, others nothing.
const char16_t* name_of(const avo::WString (&names)[2], int alias) noexcept {
  if (alias == 0) return or_null(names[0]);
  if (alias == 1) return names[1].empty() ? or_null(names[0]) : names[1].c_str();
  return nullptr;
}

bool filled(const char16_t* text) noexcept { return text != nullptr && *text != 0; }

}  // namespace

// ----- EnumValTypeBase

EnumValTypeBase::EnumValTypeBase(const GUID& clsid, int defaultNumber) noexcept
    : ObjectTypeCore(clsid, nullptr, nullptr), defaultNumber_(defaultNumber) {}

const char16_t* EnumValTypeBase::getTypeString(int alias) const noexcept {
  return owner_ != nullptr ? owner_->getValueTypeString(alias) : nullptr;
}

IValue* EnumValTypeBase::createIValue() const {
  IValue* value = owner_ != nullptr ? owner_->createEnumValue(defaultNumber_) : nullptr;
  if (value == nullptr) throw IllegalStateException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
  return value;
}

HRESULT EnumValTypeBase::QueryInterface(const GUID& iid, void** object) {
  if (object != nullptr && iid == IPersistentObjectType::IID) {
    *object = static_cast<IPersistentObjectType*>(this);
    AddRef();
    return S_OK;
  }
  return ObjectTypeCore::QueryInterface(iid, object);
}

IValue* EnumValTypeBase::deserialize(IInPersistenceStorage* storage) const {
  int number = 0;
  storage->stream().get(number);
  IValue* value = owner_ != nullptr ? owner_->createEnumValue(number) : nullptr;
  if (value == nullptr) {
    ListStreamException e;
    e.setAuxText2(u"an item number of the enumeration");
    throw e;
  }
  return value;
}

IEnumValFactory* EnumValTypeBase::enumValFactory() const noexcept {
  return const_cast<EnumValFactoryTypeBase*>(owner_);
}

// ----- EnumValFactoryTypeBase

EnumValFactoryTypeBase::EnumValFactoryTypeBase(const GUID& clsid) : clsid_(clsid) { def_.setTypeCLSID(clsid); }

EnumValFactoryTypeBase::~EnumValFactoryTypeBase() {
  if (type_) type_->owner_ = nullptr;
}

avo::WString EnumValFactoryTypeBase::prefixed(const char16_t* prefix, const char16_t* name) {
  avo::WString text(prefix);
  text += name;
  return text;
}

void EnumValFactoryTypeBase::__initEnumValFactoryType(const char16_t* englishName, const char16_t* russianName,
                                                      const char16_t* englishValueName,
                                                      const char16_t* russianValueName) {
  if (filled(englishName)) {
    typeNames_[0] = prefixed(u"Enum", englishName);
    valueTypeNames_[0] = englishName;
  }
  if (filled(russianName)) {
    typeNames_[1] = prefixed(u"Перечисление", russianName);
    valueTypeNames_[1] = russianName;
  }
  if (filled(englishValueName)) valueTypeNames_[0] = englishValueName;
  if (filled(russianValueName)) valueTypeNames_[1] = russianValueName;
}

const char16_t* EnumValFactoryTypeBase::getTypeString(int alias) const noexcept { return name_of(typeNames_, alias); }

const char16_t* EnumValFactoryTypeBase::getValueTypeString(int alias) const noexcept {
  return name_of(valueTypeNames_, alias);
}

const EnumValItem* EnumValFactoryTypeBase::getItem(int index) const noexcept {
  if (index < 0 || index >= getNItems()) return nullptr;
  return &values_[static_cast<std::size_t>(index)]->item();
}

// A linear search: enumerations have a handful of items, and their numbers need not be dense.
IValue* EnumValFactoryTypeBase::createEnumValue(std::int32_t number) const {
  for (const InterfacePtr<EnumValValueBase>& value : values_) {
    if (value->item().value() != number) continue;
    value->AddRef();
    return value.get();
  }
  return nullptr;
}

HRESULT EnumValFactoryTypeBase::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IUnknown::IID || iid == IContextDef::IID || iid == IContext_::IID) {
    *object = static_cast<IContext_*>(this);
  } else if (iid == IEnumValFactory::IID) {
    *object = static_cast<IEnumValFactory*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

std::uint32_t EnumValFactoryTypeBase::AddRef() { return static_cast<std::uint32_t>(refs_.increment()); }

std::uint32_t EnumValFactoryTypeBase::Release() { return static_cast<std::uint32_t>(refs_.decrement()); }

bool EnumValFactoryTypeBase::getPropVal(int prop, GenericValue& out) {
  if (prop < 0 || prop >= getNItems()) return false;
  out.setIValue(values_[static_cast<std::size_t>(prop)].get());
  return true;
}

void EnumValFactoryTypeBase::addItem(const EnumValItem& item, const EnumValResource& resource) {
  if (!type_) throw IllegalStateException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
  IValue* taken = createEnumValue(item.value());
  if (taken != nullptr) {
    taken->Release();
    throw IllegalArgumentException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  values_.emplace_back(new EnumValValueBase(type_.get(), item, resource));
}

void EnumValFactoryTypeBase::setEnumValType(int defaultNumber) {
  if (type_) throw IllegalStateException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
  InterfacePtr<EnumValTypeBase> type(new EnumValTypeBase(clsid_, defaultNumber));
  register_object_type(type.get());
  type->owner_ = this;
  type_ = type;
}

}  // namespace core
