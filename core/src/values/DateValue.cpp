// The Date kind: a Date behind IValue, the empty-date singleton and the factory.
#include "core/Date.h"
#include "values/Bridges.h"
#include "values/Builtins.h"

namespace core {
namespace detail {
namespace {

class DateValue final : public ValueImplBase {
 public:
  // The empty-date singleton.
  constexpr DateValue() noexcept : ValueImplBase(&gDateType.value, SharedTag{}) {}
  // A new value carrying one reference for its creator.
  explicit DateValue(const Date& date) noexcept : ValueImplBase(date_type(), ImmortalType{}, 1), date_(date) {}

  const void* getDataPtr() const noexcept override { return &date_; }
  bool getBoolean(bool& out) const override {
    out = false;
    return false;
  }
  bool getNumeric(Numeric& out) const override {
    set_number(out, 0);
    return false;
  }
  // "YYYY-MM-DD hh:mm:ss", the empty date included.
  bool getString(avo::WString& out) const override {
    const DateFields f = date_.getFields();
    char16_t text[19];
    const auto put = [&text](int at, int value, int width) {
      for (int i = width - 1; i >= 0; --i, value /= 10) text[at + i] = static_cast<char16_t>(u'0' + value % 10);
    };
    put(0, f.year, 4);
    text[4] = u'-';
    put(5, f.month, 2);
    text[7] = u'-';
    put(8, f.day, 2);
    text[10] = u' ';
    put(11, f.hour, 2);
    text[13] = u':';
    put(14, f.minute, 2);
    text[16] = u':';
    put(17, f.second, 2);
    out.assign(text, 19);
    return true;
  }
  bool getDate(Date& out) const override {
    out = date_;
    return true;
  }
  bool isEqual(IValue* other) const noexcept override {
    if (other == this) return true;
    if (other == nullptr || other->type() != type()) return false;
    return *static_cast<const Date*>(other->getDataPtr()) == date_;
  }
  std::int32_t hashCode() const noexcept override {
    const auto ticks = static_cast<std::uint64_t>(date_.getTicks());
    return as_hash(static_cast<std::uint32_t>(ticks ^ (ticks >> 32)));
  }

 private:
  Date date_;
};

constinit NoDestroy<DateValue> gEmptyDate;

bool is_blank(char16_t c) noexcept { return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r'; }

}  // namespace

IValue* empty_date_value() noexcept { return &gEmptyDate.value; }

void set_empty_date(Date& out) noexcept { out = Date(); }

bool date_is_empty(const void* payload) noexcept { return static_cast<const Date*>(payload)->isEmpty(); }

bool parse_date(std::u16string_view text, Date& out) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  if (text.size() != 8 && text.size() != 14) return false;
  int digits[14] = {};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] < u'0' || text[i] > u'9') return false;
    digits[i] = text[i] - u'0';
  }
  const auto number = [&digits](int at, int width) {
    int n = 0;
    for (int i = 0; i < width; ++i) n = n * 10 + digits[at + i];
    return n;
  };
  DateFields f;
  f.year = number(0, 4);
  f.month = number(4, 2);
  f.day = number(6, 2);
  f.hour = number(8, 2);
  f.minute = number(10, 2);
  f.second = number(12, 2);
  return make_date(f, out);
}

}  // namespace detail

IValue* create_date_value(const Date& date) {
  if (date.isEmpty()) return detail::empty_date_value();
  return new detail::DateValue(date);
}

bool GenericValue::equals(const Date& other) const {
  const IValue* v = _getIValue();
  return detail::code_of(v->type()) == Type::Date && *static_cast<const Date*>(v->getDataPtr()) == other;
}

}  // namespace core
