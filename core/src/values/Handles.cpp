// GenericValue, Value and WeakValue, and the predicates on values.
//
// Invariant of every handle: value_ is never null. Every replacement takes the reference to the new value
// before it lets go of the old one, so assigning a handle's own value to it is safe.
#include "values/Bridges.h"
#include "values/Builtins.h"

namespace core {

using detail::undefined_value;

namespace {
IValue* or_undefined(IValue* value) noexcept { return value != nullptr ? value : undefined_value(); }
}  // namespace

// ---------------------------------------------------------------------------------------------------
// GenericValue: the public operations, written once on the virtual slots.

bool GenericValue::equals(IValue* other) const { return equals0(other); }
bool GenericValue::equals(const GenericValue& other) const { return equalsTo(other); }
bool GenericValue::equals(const Value& other) const { return equalsTo(other); }
bool GenericValue::equals(bool other) const { return equals0(create_boolean_value(other)); }

bool GenericValue::equals(std::u16string_view other) const {
  const IValue* v = _getIValue();
  if (detail::code_of(v->type()) != Type::String) return false;
  return detail::same_text(*static_cast<const avo::WString*>(v->getDataPtr()), other);
}

bool GenericValue::equals(const char16_t* other) const {
  return equals(other != nullptr ? std::u16string_view(other) : std::u16string_view());
}

std::int32_t GenericValue::hashCode() const { return hashCode0(); }
Type GenericValue::type() const { return type0(); }

bool GenericValue::getBoolean(bool& out) const { return _getIValue()->getBoolean(out); }
bool GenericValue::getNumeric(Numeric& out) const { return _getIValue()->getNumeric(out); }
bool GenericValue::getString(avo::WString& out) const { return _getIValue()->getString(out); }
bool GenericValue::getDate(Date& out) const { return _getIValue()->getDate(out); }

namespace {
// Makes `target` hold a value that carries a reference of its own (a factory's result).
GenericValue& adopt_into(GenericValue& target, IValue* value) {
  InterfacePtr<IValue> held(value, adopt_ref);
  target.setIValue(held.get());
  return target;
}
}  // namespace

GenericValue& GenericValue::assign(bool value) {
  setIValue(create_boolean_value(value));
  return *this;
}
GenericValue& GenericValue::assign(signed char value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(unsigned char value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(short value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(unsigned short value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(int value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(unsigned int value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(long value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(unsigned long value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(long long value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(unsigned long long value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(double value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(const Numeric& value) { return adopt_into(*this, create_numeric_value(value)); }
GenericValue& GenericValue::assign(const Date& value) { return adopt_into(*this, create_date_value(value)); }
GenericValue& GenericValue::assign(std::u16string_view text) { return adopt_into(*this, create_string_value(text)); }
GenericValue& GenericValue::assign(const char16_t* text) {
  return assign(text != nullptr ? std::u16string_view(text) : std::u16string_view());
}
GenericValue& GenericValue::assign(IValue* value) {
  setIValue(value);
  return *this;
}
GenericValue& GenericValue::assign(IUnknown* object) { return adopt_into(*this, detail::wrap_object(object)); }
GenericValue& GenericValue::assign(const GenericValue& other) {
  other.setIValueTo(*this);
  return *this;
}

void GenericValue::clear() { setIValue(undefined_value()); }

// ---------------------------------------------------------------------------------------------------
// Value. Factories hand over one reference each, which the handle adopts.

Value::Value() noexcept : GenericValue(undefined_value()) {}
Value::Value(std::nullptr_t) noexcept : GenericValue(undefined_value()) {}
Value::Value(bool value) noexcept : GenericValue(create_boolean_value(value)) {}
Value::Value(signed char value) : GenericValue(create_numeric_value(value)) {}
Value::Value(unsigned char value) : GenericValue(create_numeric_value(value)) {}
Value::Value(short value) : GenericValue(create_numeric_value(value)) {}
Value::Value(unsigned short value) : GenericValue(create_numeric_value(value)) {}
Value::Value(int value) : GenericValue(create_numeric_value(value)) {}
Value::Value(unsigned int value) : GenericValue(create_numeric_value(value)) {}
Value::Value(long value) : GenericValue(create_numeric_value(value)) {}
Value::Value(unsigned long value) : GenericValue(create_numeric_value(value)) {}
Value::Value(long long value) : GenericValue(create_numeric_value(value)) {}
Value::Value(unsigned long long value) : GenericValue(create_numeric_value(value)) {}
Value::Value(double value) : GenericValue(create_numeric_value(value)) {}
Value::Value(const Numeric& value) : GenericValue(create_numeric_value(value)) {}
Value::Value(const Date& value) : GenericValue(create_date_value(value)) {}
Value::Value(std::u16string_view text) : GenericValue(create_string_value(text)) {}
Value::Value(const char16_t* text)
    : GenericValue(create_string_value(text != nullptr ? std::u16string_view(text) : std::u16string_view())) {}
Value::Value(IValue* value) noexcept : GenericValue(or_undefined(value)) { value_->AddRef(); }
Value::Value(IValue* value, AdoptRef) noexcept : GenericValue(or_undefined(value)) {}
Value::Value(IUnknown* object) : GenericValue(detail::wrap_object(object)) {}
Value::Value(const GenericValue& other) noexcept : GenericValue(other._getIValue()) { value_->AddRef(); }
Value::Value(Value&& other) noexcept : GenericValue(std::exchange(other.value_, undefined_value())) {}

Value& Value::operator=(const Value& other) noexcept {
  Value::setIValue(other.value_);
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  if (this != &other) {
    IValue* old = std::exchange(value_, std::exchange(other.value_, undefined_value()));
    old->Release();
  }
  return *this;
}

Value& Value::operator=(const GenericValue& other) noexcept {
  Value::setIValue(other._getIValue());
  return *this;
}

const Value& Value::undefined() noexcept {
  static const detail::NoDestroy<Value> instance;
  return instance.value;
}

IValue* Value::detachIValue() noexcept { return std::exchange(value_, undefined_value()); }

void Value::setIValue(IValue* value) {
  value = or_undefined(value);
  value->AddRef();
  std::exchange(value_, value)->Release();
}

InterfacePtr<IValue> Value::getIValue() const { return InterfacePtr<IValue>(value_); }
void Value::setIValueTo(GenericValue& target) const { target.setIValue(value_); }
bool Value::equals0(IValue* other) const { return value_->isEqual(other); }
bool Value::equalsTo(const GenericValue& other) const { return value_->isEqual(other._getIValue()); }
std::int32_t Value::hashCode0() const { return value_->hashCode(); }
Type Value::type0() const { return Type(value_->type()); }

// ---------------------------------------------------------------------------------------------------
// WeakValue.

WeakValue::WeakValue() noexcept : GenericValue(undefined_value()), owns_(false) {}
WeakValue::WeakValue(IValue* value) noexcept : GenericValue(or_undefined(value)), owns_(false) {}
WeakValue::WeakValue(const GenericValue& other) noexcept : GenericValue(other._getIValue()), owns_(true) {
  value_->AddRef();
}
WeakValue::WeakValue(const WeakValue& other) noexcept : GenericValue(other.value_), owns_(true) { value_->AddRef(); }
WeakValue::WeakValue(WeakValue&& other) noexcept
    : GenericValue(std::exchange(other.value_, undefined_value())), owns_(std::exchange(other.owns_, false)) {}

WeakValue::~WeakValue() {
  if (owns_) value_->Release();
}

WeakValue& WeakValue::operator=(const WeakValue& other) noexcept {
  WeakValue::setIValue(other.value_);
  return *this;
}

WeakValue& WeakValue::operator=(WeakValue&& other) noexcept {
  if (this != &other) {
    IValue* old = std::exchange(value_, std::exchange(other.value_, undefined_value()));
    const bool ownedOld = std::exchange(owns_, std::exchange(other.owns_, false));
    if (ownedOld) old->Release();
  }
  return *this;
}

WeakValue& WeakValue::operator=(const GenericValue& other) noexcept {
  WeakValue::setIValue(other._getIValue());
  return *this;
}

IValue* WeakValue::detachIValue() noexcept {
  IValue* value = std::exchange(value_, undefined_value());
  if (!std::exchange(owns_, false)) value->AddRef();
  return value;
}

void WeakValue::setIValue(IValue* value) {
  value = or_undefined(value);
  value->AddRef();
  IValue* old = std::exchange(value_, value);
  if (owns_) old->Release();
  owns_ = true;
}

InterfacePtr<IValue> WeakValue::getIValue() const { return InterfacePtr<IValue>(value_); }
void WeakValue::setIValueTo(GenericValue& target) const { target.setIValue(value_); }
bool WeakValue::equals0(IValue* other) const { return value_->isEqual(other); }
bool WeakValue::equalsTo(const GenericValue& other) const { return value_->isEqual(other._getIValue()); }
std::int32_t WeakValue::hashCode0() const { return value_->hashCode(); }
Type WeakValue::type0() const { return Type(value_->type()); }

// ---------------------------------------------------------------------------------------------------
// Predicates.

bool is_undefined_value(IValue* value) noexcept {
  return value == nullptr || detail::code_of(value->type()) == Type::Undefined;
}
bool is_undefined_value(const GenericValue& value) noexcept { return is_undefined_value(value._getIValue()); }

bool is_null_or_undefined_value(IValue* value) noexcept {
  if (value == nullptr) return true;
  const std::int32_t code = detail::code_of(value->type());
  return code == Type::Undefined || code == Type::Null;
}
bool is_null_or_undefined_value(const GenericValue& value) noexcept {
  return is_null_or_undefined_value(value._getIValue());
}

bool value_is_filled(IValue* value) noexcept {
  if (value == nullptr) return false;
  switch (detail::code_of(value->type())) {
    case Type::Undefined:
    case Type::Null:
    case Type::Unspecified:
      return false;
    case Type::Boolean:
      return true;
    case Type::Number:
      return !detail::number_is_zero(value->getDataPtr());
    case Type::String:
      return !static_cast<const avo::WString*>(value->getDataPtr())->empty();
    case Type::Date:
      return !detail::date_is_empty(value->getDataPtr());
    default:
      break;
  }
  void* filled = nullptr;
  if (value->QueryInterface(IValueFilled::IID, &filled) != S_OK || filled == nullptr) return true;
  InterfacePtr<IValueFilled> check(static_cast<IValueFilled*>(filled), adopt_ref);
  return check->isFilled();
}
bool value_is_filled(const GenericValue& value) noexcept { return value_is_filled(value._getIValue()); }

}  // namespace core
