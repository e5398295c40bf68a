// Type objects: the shared ones of the built-in kinds, the Type handle, object types by class GUID.
#include <unordered_map>

#include "base/LockGuard.h"
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/Resources.h"
#include "platform/Mutex.h"
#include "values/Builtins.h"

namespace core {

namespace detail {

namespace {
constexpr GUID kNoClass{};
}  // namespace

constinit NoDestroy<SharedType> gUndefinedType(Type::Undefined, kNoClass, u"Undefined", u"Неопределено",
                                               &create_undefined_value);
constinit NoDestroy<SharedType> gNullType(Type::Null, kNoClass, u"Null", u"Null", &create_null_value);
constinit NoDestroy<SharedType> gBooleanType(Type::Boolean, kNoClass, u"Boolean", u"Булево",
                                             [] { return false_value(); });
constinit NoDestroy<SharedType> gNumberType(Type::Number, kNoClass, u"Number", u"Число",
                                            [] { return small_number_value(0); });
constinit NoDestroy<SharedType> gStringType(Type::String, kNoClass, u"String", u"Строка",
                                            [] { return empty_string_value(); });
constinit NoDestroy<SharedType> gDateType(Type::Date, kNoClass, u"Date", u"Дата", [] { return empty_date_value(); });
constinit NoDestroy<SharedType> gUnspecifiedType(Type::Unspecified, kNoClass, u"Unspecified", u"НеЗадано",
                                                 &proceed_call_unspecified_value);

constinit NoDestroy<SharedType> gUUIDType(Type::Object, kUUIDTypeCLSID, u"UUID", u"УникальныйИдентификатор",
                                          &default_uuid_value);
constinit NoDestroy<SharedType> gGUIDType(Type::Object, kGUIDTypeCLSID, u"GUID", u"GUID", &default_guid_value);
constinit NoDestroy<SharedType> gBinaryDataType(Type::Object, kBinaryDataTypeCLSID, u"BinaryData", u"ДвоичныеДанные",
                                                &default_binary_data_value);
constinit NoDestroy<SharedType> gLocalStringType(Type::Object, kLocalStringTypeCLSID, u"LocalString",
                                                 u"ЛокальнаяСтрока", &default_local_string_value);
constinit NoDestroy<SharedType> gCompositeIDType(Type::Object, kCompositeIDTypeCLSID, u"CompositeID",
                                                 u"СоставнойИдентификатор", &default_composite_id_value);
constinit NoDestroy<SharedType> gTypeDomainPatternType(Type::Object, kTypeDomainPatternTypeCLSID, u"TypeDescription",
                                                       u"ОписаниеТипов", &default_type_domain_pattern_value);
constinit NoDestroy<SharedType> gCOMObjectType(Type::Object, kCOMObjectTypeCLSID, u"COMObject", u"COMОбъект",
                                               &create_undefined_value);
constinit NoDestroy<SharedType> gValueArrayType(Type::Object, kValueArrayTypeCLSID, u"Array", u"Массив",
                                                &default_value_array_value, true);

namespace {
IType* const kObjectKinds[] = {&gUUIDType.value,        &gGUIDType.value,        &gBinaryDataType.value,
                               &gLocalStringType.value, &gCompositeIDType.value, &gTypeDomainPatternType.value,
                               &gCOMObjectType.value,   &gValueArrayType.value};
}  // namespace

IType* builtin_object_type(const GUID& clsid) noexcept {
  for (IType* type : kObjectKinds) {
    if (type->getCLSID() == clsid) return type;
  }
  return nullptr;
}

int language_alias() noexcept {
  try {
    return get_resource_language() == "ru" ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

HRESULT SharedType::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IUnknown::IID || iid == IType::IID) {
    *object = static_cast<IType*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

const char16_t* SharedType::getTypeString(int alias) const noexcept {
  if (alias == 0) return english_;
  if (alias == 1) return russian_ != nullptr && *russian_ != 0 ? russian_ : english_;
  return nullptr;
}

IValue* SharedType::ctor(std::span<GenericValue* const>) const {
  throw UnsupportedOperationException(KERN83_SOURCE_POSITION("Type"), ResourceKey{"IDS_ERR_UNSUPPORTED_OPERATION"});
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------------
// Object types by class GUID.

namespace {

struct GuidHash {
  std::size_t operator()(const GUID& id) const noexcept { return guid_hash(id); }
};

// Registered and made-on-demand object types. The registry is never destroyed, so the types it keeps stay
// reachable (and alive) until the process ends.
struct ObjectTypeRegistry {
  platform::Mutex mutex;
  std::unordered_map<GUID, IType*, GuidHash, std::equal_to<GUID>, nexa::StdAllocator<std::pair<const GUID, IType*>>>
      types KERN83_GUARDED_BY(mutex);
};

ObjectTypeRegistry& registry() {
  static ObjectTypeRegistry* instance = new ObjectTypeRegistry;
  return *instance;
}

[[noreturn]] void illegal_state(int line) {
  throw IllegalStateException(KERN83_SOURCE_FILE("Type"), line, ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
}

}  // namespace

void register_object_type(IType* type) {
  const auto reject = [](int line) {
    throw IllegalArgumentException(KERN83_SOURCE_FILE("Type"), line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  };
  if (type == nullptr || type->getTypeCode() != Type::Object) reject(__LINE__);
  const GUID clsid = type->getCLSID();
  if (clsid == kNullGuid) reject(__LINE__);
  if (IType* builtin = detail::builtin_object_type(clsid)) {
    if (builtin != type) reject(__LINE__);
    return;
  }
  ObjectTypeRegistry& r = registry();
  detail::LockGuard guard(r.mutex);
  auto [it, inserted] = r.types.emplace(clsid, type);
  if (!inserted) {
    if (it->second != type) reject(__LINE__);
    return;
  }
  type->AddRef();  // kept for the process
}

IType* find_object_type(const GUID& clsid) noexcept {
  if (IType* builtin = detail::builtin_object_type(clsid)) return builtin;
  ObjectTypeRegistry& r = registry();
  detail::LockGuard guard(r.mutex);
  auto it = r.types.find(clsid);
  return it != r.types.end() ? it->second : nullptr;
}

namespace {

// The object type of `clsid`, made as a plain ObjectTypeCore when nobody registered one.
IType* object_type_for(const GUID& clsid) {
  if (clsid == kNullGuid) return nullptr;
  if (IType* builtin = detail::builtin_object_type(clsid)) return builtin;
  ObjectTypeRegistry& r = registry();
  detail::LockGuard guard(r.mutex);
  auto it = r.types.find(clsid);
  if (it != r.types.end()) return it->second;
  IType* made = new ObjectTypeCore(clsid, nullptr, nullptr);
  made->AddRef();
  try {
    r.types.emplace(clsid, made);
  } catch (...) {
    made->Release();
    throw;
  }
  return made;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// Type.

IType* Type::create_type(Code code) noexcept { return create_type(static_cast<int>(code)); }

IType* Type::create_type(int code) noexcept {
  switch (code) {
    case Undefined:
      return detail::undefined_type();
    case Null:
      return detail::null_type();
    case Boolean:
      return detail::boolean_type();
    case Number:
      return detail::number_type();
    case String:
      return detail::string_type();
    case Date:
      return detail::date_type();
    case Unspecified:
      return detail::unspecified_type();
    default:
      return nullptr;
  }
}

Type::Type(IType* type) noexcept : type_(type) {
  if (type_ != nullptr) type_->AddRef();
}

Type::Type(Code code) noexcept : Type(create_type(code)) {}

Type::Type(const GUID& clsid) : Type(object_type_for(clsid)) {}

Type::Type(const Type& other) noexcept : Type(other.type_) {}

Type::Type(Type&& other) noexcept : type_(std::exchange(other.type_, nullptr)) {}

Type& Type::operator=(const Type& other) noexcept {
  if (other.type_ != nullptr) other.type_->AddRef();
  if (type_ != nullptr) type_->Release();
  type_ = other.type_;
  return *this;
}

Type& Type::operator=(Type&& other) noexcept {
  if (this != &other) {
    if (type_ != nullptr) type_->Release();
    type_ = std::exchange(other.type_, nullptr);
  }
  return *this;
}

Type::~Type() {
  if (type_ != nullptr) type_->Release();
}

Type::Code Type::getTypeCode() const {
  if (type_ == nullptr) illegal_state(__LINE__);
  return type_->getTypeCode();
}

GUID Type::getCLSID() const {
  if (type_ == nullptr) illegal_state(__LINE__);
  return type_->getCLSID();
}

const char16_t* Type::getTypeString(int alias) const noexcept {
  return type_ != nullptr ? type_->getTypeString(alias) : nullptr;
}

IValue* Type::createIValue() const {
  if (type_ == nullptr) illegal_state(__LINE__);
  return type_->createIValue();
}

IValue* Type::ctor(std::span<GenericValue* const> params) const {
  if (type_ == nullptr) illegal_state(__LINE__);
  return type_->ctor(params);
}

bool operator==(const Type& a, const Type& b) noexcept {
  if (a.type_ == b.type_) return true;
  if (a.type_ == nullptr || b.type_ == nullptr) return false;
  const Type::Code code = a.type_->getTypeCode();
  if (code != b.type_->getTypeCode()) return false;
  return code != Type::Object || a.type_->getCLSID() == b.type_->getCLSID();
}

// ---------------------------------------------------------------------------------------------------
// ObjectTypeCore.

ObjectTypeCore::ObjectTypeCore(const GUID& clsid, const char16_t* englishName, const char16_t* russianName) noexcept
    : clsid_(clsid), englishName_(englishName), russianName_(russianName) {}

ObjectTypeCore::~ObjectTypeCore() = default;

const char16_t* ObjectTypeCore::getTypeString(int alias) const noexcept {
  if (alias == 0) return englishName_;
  if (alias == 1) return russianName_ != nullptr && *russianName_ != 0 ? russianName_ : englishName_;
  return nullptr;
}

IValue* ObjectTypeCore::createIValue() const { return create_undefined_value(); }

bool ObjectTypeCore::hasCtor(int) const noexcept { return false; }

IValue* ObjectTypeCore::ctor(std::span<GenericValue* const>) const {
  throw UnsupportedOperationException(KERN83_SOURCE_POSITION("Type"), ResourceKey{"IDS_ERR_UNSUPPORTED_OPERATION"});
}

}  // namespace core
