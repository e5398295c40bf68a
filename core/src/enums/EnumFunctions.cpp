// The member description of an enumeration's items, and taking enumeration values out of parameters.

#include <vector>

#include "core/Enum.h"
#include "core/Exception.h"
#include "nexa/Memory.h"

namespace core {

namespace {

// Properties are the items, named by their English and Russian names.
class EnumItemsDef final : public RefCountedUnknown<0, Answers<IContextDef>, ContextDefCore, nexa::Allocated> {
 public:
  explicit EnumItemsDef(std::span<const EnumValItem> items) : items_(items.begin(), items.end()) {}

  int getNProps() override { return static_cast<int>(items_.size()); }
  const char16_t* getPropName(int prop, int alias) override {
    if (prop < 0 || prop >= getNProps() || alias < 0 || alias > 1) return nullptr;
    const EnumValItem& item = items_[static_cast<std::size_t>(prop)];
    const char16_t* name = item.termString(alias);
    return name != nullptr ? name : item.termString(0);
  }
  bool isPropReadable(int prop) override { return prop >= 0 && prop < getNProps(); }
  int findProp(std::u16string_view name) override { return names_.findProp(this, name); }

 private:
  ~EnumItemsDef() override = default;

  std::vector<EnumValItem> items_;
  ContextDefHashCached names_;
};

bool is_enum_of(IValue* value, const GUID& type) noexcept {
  const IType* t = value->type();
  return t->getTypeCode() == Type::Object && t->getCLSID() == type;
}

// Only for a value that is_enum_of accepted: its payload is its item, the number first.
std::int32_t number_of(IValue* value) noexcept { return static_cast<const EnumValItem*>(value->getDataPtr())->value(); }

IValue* param_at(std::span<GenericValue* const> params, int index) noexcept {
  if (index < 0 || static_cast<std::size_t>(index) >= params.size() || params[index] == nullptr) return nullptr;
  return params[index]->_getIValue();
}

}  // namespace

InterfacePtr<IContextDef> create_enum_val_context_def(std::span<const EnumValItem> items) {
  return InterfacePtr<IContextDef>(new EnumItemsDef(items));
}

std::int32_t get_enum(const GenericValue& value, const GUID& type) {
  IValue* v = value._getIValue();
  if (!is_enum_of(v, type)) property_type_mismatch();
  return number_of(v);
}

std::int32_t get_enum(std::span<GenericValue* const> params, int index, const GUID& type) {
  IValue* v = param_at(params, index);
  if (v == nullptr || !is_enum_of(v, type)) parameter_type_mismatch(index);
  return number_of(v);
}

std::int32_t get_enum_ctor(std::span<GenericValue* const> params, int index, const GUID& type) {
  IValue* v = param_at(params, index);
  if (v == nullptr || !is_enum_of(v, type)) ctor_parameter_type_mismatch(index);
  return number_of(v);
}

bool defined(std::span<GenericValue* const> params, int index) noexcept {
  IValue* v = param_at(params, index);
  return v != nullptr && !is_undefined_value(v);
}

}  // namespace core
