#include "valuetable/ValueKeys.h"

#include <algorithm>

#include "avo/BasicString.h"
#include "core/ValueTableBase.h"

namespace core::detail {

namespace {

constexpr __int128 kLimb = Numeric::kBase;
constexpr unsigned __int128 kSignBit = static_cast<unsigned __int128>(1) << 127;
constexpr std::size_t kWordUnits = 8;  // UTF-16 code units in a word

int three_way(unsigned __int128 a, unsigned __int128 b) noexcept { return a < b ? -1 : (b < a ? 1 : 0); }

const Numeric& number_of(const IValue* value) noexcept { return *static_cast<const Numeric*>(value->getDataPtr()); }

const avo::WString& text_of(const IValue* value) noexcept {
  return *static_cast<const avo::WString*>(value->getDataPtr());
}

void key_number(KeyPart& part) noexcept {
  __int128 fixed = 0;
  part.decided = part.ordered = numeric_to_fixed(number_of(part.value), fixed);
  part.word = static_cast<unsigned __int128>(fixed) ^ kSignBit;
}

void key_string(KeyPart& part) noexcept {
  const avo::WString& text = text_of(part.value);
  const std::size_t units = std::min(text.size(), kWordUnits);
  bool zeroUnit = false;
  for (std::size_t i = 0; i < units; ++i) {
    part.word |= static_cast<unsigned __int128>(text[i]) << (16 * (kWordUnits - 1 - i));
    zeroUnit = zeroUnit || text[i] == 0;
  }
  // A zero unit reads like the padding, so only the whole strings can tell "a" from "a\0".
  part.decided = text.size() <= kWordUnits && !zeroUnit;
}

int compare_values(const KeyPart& a, const KeyPart& b) {
  switch (a.kind) {
    case Type::Number:
      return number_of(a.value).compare(number_of(b.value));
    case Type::String: {
      const int order = std::u16string_view(text_of(a.value)).compare(std::u16string_view(text_of(b.value)));
      return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }
    default:
      return compare_table_values(WeakValue(const_cast<IValue*>(a.value)), WeakValue(const_cast<IValue*>(b.value)));
  }
}

}  // namespace

bool numeric_to_fixed(const Numeric& number, __int128& fixed) noexcept {
  const std::int32_t count = number.getCount();
  const std::int32_t scale = number.getScale();
  // Limb i stands for 10^(9 (i - scale)); the word holds limbs from 10^-18 to 10^9 (multipliers 1 to 10^27).
  if (count == 0) {
    fixed = 0;
    return true;
  }
  if (scale > 2 || count - scale > 2) return false;
  const std::uint32_t* limbs = number.getLimbs();
  __int128 value = 0;
  for (std::int32_t i = count - 1; i >= 0; --i) value = value * kLimb + limbs[i];
  for (std::int32_t shift = scale; shift < 2; ++shift) value *= kLimb;
  fixed = number.sign() < 0 ? -value : value;
  return true;
}

Numeric numeric_from_fixed(__int128 fixed) {
  unsigned __int128 magnitude = fixed < 0 ? -static_cast<unsigned __int128>(fixed) : fixed;
  char text[48];
  char* digit = text + sizeof(text);
  *--digit = '\0';
  for (int i = 0; i < 19 || magnitude != 0; ++i) {
    if (i == 18) *--digit = '.';
    *--digit = static_cast<char>('0' + static_cast<int>(magnitude % 10));
    magnitude /= 10;
  }
  if (fixed < 0) *--digit = '-';
  Numeric number;
  number.fromString(digit);
  return number;
}

KeyPart make_key_part(const IValue* value) noexcept {
  KeyPart part;
  part.value = value;
  part.kind = value->type()->getTypeCode();
  switch (part.kind) {
    case Type::Boolean:
      part.word = *static_cast<const bool*>(value->getDataPtr()) ? 1 : 0;
      break;
    case Type::Number:
      key_number(part);
      break;
    case Type::String:
      key_string(part);
      break;
    case Type::Date:
      part.ordered = part.decided = false;
      break;
    default:  // Undefined, Null and objects are equal to their own kind
      break;
  }
  return part;
}

int compare_key_parts(const KeyPart& a, const KeyPart& b) {
  if (a.kind != b.kind) return a.kind < b.kind ? -1 : 1;
  if (a.ordered && b.ordered && a.word != b.word) return three_way(a.word, b.word);
  if (a.decided && b.decided) return 0;
  return compare_values(a, b);
}

void FixedSum::add(const IValue* value) {
  single_ = count_++ == 0 ? value : nullptr;
  if (value->type()->getTypeCode() == Type::Number) {
    add(number_of(value));
    return;
  }
  single_ = nullptr;  // not a number: the sum must be made
  Numeric number;
  if (value->getNumeric(number)) add(number);
}

void FixedSum::add(const Numeric& number) {
  __int128 fixed = 0;
  if (!numeric_to_fixed(number, fixed)) {
    if (!spilled_) spilled_ = nexa::make_unique<Numeric>();
    *spilled_ += number;
    return;
  }
  __int128 sum = 0;
  if (__builtin_add_overflow(fixed_, fixed, &sum)) {
    if (!spilled_) spilled_ = nexa::make_unique<Numeric>();
    *spilled_ += numeric_from_fixed(fixed_);
    sum = fixed;
  }
  fixed_ = sum;
}

Value FixedSum::result() const {
  if (single_ != nullptr) return Value(const_cast<IValue*>(single_));
  Numeric sum = numeric_from_fixed(fixed_);
  if (spilled_) sum += *spilled_;
  return Value(sum);
}

}  // namespace core::detail
