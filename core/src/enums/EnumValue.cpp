// Enumeration items and values.

#include <string_view>

#include "core/Enum.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/Resources.h"
#include "core/Thread.h"

namespace core {

namespace {

avo::WString or_empty(const char16_t* text) { return text != nullptr ? avo::WString(text) : avo::WString(); }

// Whether `resource` has a text in the language a lookup would use or in the English fallback.
bool has_text(const EnumValResource& resource) {
  return has_resource_string(resource.module, resource.key, get_resource_language()) ||
         has_resource_string(resource.module, resource.key, "en");
}

}  // namespace

// ----- EnumValItem

EnumValItem::EnumValItem(std::int32_t value, const char16_t* englishName, const char16_t* russianName, bool deprecated)
    : EnumValItem(value, englishName, russianName, nullptr, nullptr, deprecated) {}

EnumValItem::EnumValItem(std::int32_t value, const char16_t* englishName, const char16_t* russianName,
                         const char16_t* englishSecondName, const char16_t* russianSecondName, bool deprecated)
    : value_(value),
      names_{or_empty(englishName), or_empty(russianName)},
      secondNames_{or_empty(englishSecondName), or_empty(russianSecondName)},
      deprecated_(deprecated) {}

const char16_t* EnumValItem::termString(int i) const noexcept {
  if (i < 0 || i > 3) return nullptr;
  const avo::WString& text = i < 2 ? names_[i] : secondNames_[i - 2];
  return text.empty() ? nullptr : text.c_str();
}

// ----- EnumValValueBase

EnumValValueBase::EnumValValueBase(IType* type, const EnumValItem& item, const EnumValResource& resource)
    : ObjectValueCore(type), item_(item), resource_(resource) {}

bool EnumValValueBase::getString(avo::WString& out) const {
  if (!resource_.empty() && (resource_.showMissingKey || has_text(resource_))) {
    out = load_resource_string(resource_.module, resource_.key);
    if (!out.empty()) return true;
  }
  out.clear();
  const int language = current_script_language();
  if (language != 0 && language != 1) return true;
  const char16_t* name = item_.termString(language);
  if (name == nullptr) name = item_.termString(0);
  if (name != nullptr) out = name;
  return true;
}

bool EnumValValueBase::isEqual(IValue* other) const noexcept {
  if (other == static_cast<const IValue*>(this)) return true;
  if (other == nullptr || other->type() != type()) return false;
  // The same type object means an enumeration value of the same enumeration: its payload is an item.
  return static_cast<const EnumValItem*>(other->getDataPtr())->value() == item_.value();
}

HRESULT EnumValValueBase::QueryInterface(const GUID& iid, void** object) {
  if (object != nullptr && iid == IPersistentObject::IID) {
    *object = static_cast<IPersistentObject*>(this);
    AddRef();
    return S_OK;
  }
  return ObjectValueCore::QueryInterface(iid, object);
}

void EnumValValueBase::serialize(IOutPersistenceStorage* storage) const {
  storage->stream().put(static_cast<int>(item_.value()));
}

}  // namespace core
