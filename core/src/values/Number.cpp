// The Number kind: a Numeric behind IValue, the small-number singletons and the factories.
#include <new>

#include "core/Numeric.h"
#include "values/Bridges.h"
#include "values/Builtins.h"
#include "values/FormatSettings.h"

namespace core {
namespace detail {
namespace {

class NumberValue final : public ValueImplBase {
 public:
  // A new value carrying one reference for its creator.
  explicit NumberValue(Numeric value) noexcept
      : ValueImplBase(number_type(), ImmortalType{}, 1), value_(std::move(value)) {}
  // A small-number singleton.
  struct Small {};
  NumberValue(int digit, Small) noexcept : ValueImplBase(number_type(), SharedTag{}), value_(digit) {}

  const void* getDataPtr() const noexcept override { return &value_; }
  bool getBoolean(bool& out) const override {
    out = !value_.isZero();
    return true;
  }
  bool getNumeric(Numeric& out) const override {
    out = value_;
    return true;
  }
  bool getString(avo::WString& out) const override {
    const NumericFormat& format = current_numeric_format();
    if (format.isCanonical()) {
      value_.toString(out);
    } else {
      out = format.apply(value_.toString());
    }
    return true;
  }
  bool getDate(Date& out) const override {
    set_empty_date(out);
    return false;
  }
  bool isEqual(IValue* other) const noexcept override {
    if (other == this) return true;
    if (other == nullptr || other->type() != type()) return false;
    return static_cast<const Numeric*>(other->getDataPtr())->compare(value_) == 0;
  }
  std::int32_t hashCode() const noexcept override { return value_.hashCode(); }

 private:
  Numeric value_;
};

// The numbers 0 to 9, built in place on first use and never destroyed (the storage is a plain byte
// array, so the table has no destructor to run at exit). Numbers this small live inside the Numeric, so
// building the table allocates nothing either.
class SmallNumbers {
 public:
  SmallNumbers() noexcept {
    for (int i = 0; i < 10; ++i) ::new (storage_[i]) NumberValue(i, NumberValue::Small{});
  }
  IValue* at(unsigned digit) noexcept { return std::launder(reinterpret_cast<NumberValue*>(storage_[digit])); }

 private:
  alignas(NumberValue) unsigned char storage_[10][sizeof(NumberValue)];
};

IValue* new_number(Numeric value) { return new NumberValue(std::move(value)); }

// The cache test is an unsigned comparison: a negative argument wraps to a large value and never hits.
template <class T>
IValue* number_from_integer(T value) {
  using U = std::make_unsigned_t<T>;
  if (static_cast<U>(value) < 10u) return small_number_value(static_cast<unsigned>(value));
  return new_number(Numeric(value));
}

bool holds_number(const GenericValue& handle, const Numeric& n) noexcept {
  const IValue* v = handle._getIValue();
  return code_of(v->type()) == Type::Number && static_cast<const Numeric*>(v->getDataPtr())->compare(n) == 0;
}

bool is_blank(char16_t c) noexcept { return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r'; }

}  // namespace

IValue* small_number_value(unsigned digit) noexcept {
  static SmallNumbers table;
  return table.at(digit);
}

void set_number(Numeric& out, int value) noexcept { out = Numeric(value); }

bool parse_number(const avo::WString& text, Numeric& out) {
  const char16_t* begin = text.c_str();
  const char16_t* end = begin;
  Numeric parsed;
  parsed.fromString(begin, &end);
  bool sawDigit = false;
  for (const char16_t* p = begin; p != end; ++p) sawDigit = sawDigit || (*p >= u'0' && *p <= u'9');
  const char16_t* last = begin + text.size();
  while (end != last && is_blank(*end)) ++end;
  if (!sawDigit || end != last) return false;
  out = std::move(parsed);
  return true;
}

bool number_is_zero(const void* payload) noexcept { return static_cast<const Numeric*>(payload)->isZero(); }

}  // namespace detail

IValue* create_numeric_value(signed char value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(unsigned char value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(short value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(unsigned short value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(int value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(unsigned int value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(long value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(unsigned long value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(long long value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(unsigned long long value) { return detail::number_from_integer(value); }
IValue* create_numeric_value(double value) { return detail::new_number(Numeric(value)); }
IValue* create_numeric_value(const Numeric& value) { return detail::new_number(value); }

bool GenericValue::equals(signed char other) const { return detail::holds_number(*this, Numeric(short{other})); }
bool GenericValue::equals(unsigned char other) const {
  return detail::holds_number(*this, Numeric(static_cast<unsigned short>(other)));
}
bool GenericValue::equals(short other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(unsigned short other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(int other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(unsigned int other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(long other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(unsigned long other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(long long other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(unsigned long long other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(double other) const { return detail::holds_number(*this, Numeric(other)); }
bool GenericValue::equals(const Numeric& other) const { return detail::holds_number(*this, other); }

}  // namespace core
