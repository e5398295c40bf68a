#include "valuetable/ValueKeys.h"

#include <algorithm>

#include "avo/BasicString.h"
#include "core/ValueTableBase.h"

namespace core::detail {

namespace {

constexpr __int128 kLimb = Numeric::kBase;
constexpr unsigned __int128 kSignBit = static_cast<unsigned __int128>(1) << 127;
constexpr std::size_t kWordUnits = 8;  // UTF-16 code units in a word

void set_word(KeyPart& part, unsigned __int128 word) noexcept {
  part.high = static_cast<std::uint64_t>(word >> 64);
  part.low = static_cast<std::uint64_t>(word);
}

const Numeric& number_of(const IValue* value) noexcept { return *static_cast<const Numeric*>(value->getDataPtr()); }

const avo::WString& text_of(const IValue* value) noexcept {
  return *static_cast<const avo::WString*>(value->getDataPtr());
}

void key_number(KeyPart& part, const IValue* value) noexcept {
  __int128 fixed = 0;
  part.decided = part.ordered = numeric_to_fixed(number_of(value), fixed);
  set_word(part, static_cast<unsigned __int128>(fixed) ^ kSignBit);
}

void key_string(KeyPart& part, const IValue* value) noexcept {
  const avo::WString& text = text_of(value);
  const std::size_t units = std::min(text.size(), kWordUnits);
  bool zeroUnit = false;
  unsigned __int128 word = 0;
  for (std::size_t i = 0; i < units; ++i) {
    word |= static_cast<unsigned __int128>(text[i]) << (16 * (kWordUnits - 1 - i));
    zeroUnit = zeroUnit || text[i] == 0;
  }
  set_word(part, word);
  // A zero unit reads like the padding, so only the whole strings can tell "a" from "a\0".
  part.decided = text.size() <= kWordUnits && !zeroUnit;
}

int compare_values(std::int32_t kind, const IValue* a, const IValue* b) {
  switch (kind) {
    case Type::Number:
      return number_of(a).compare(number_of(b));
    case Type::String: {
      const int order = std::u16string_view(text_of(a)).compare(std::u16string_view(text_of(b)));
      return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }
    default:
      return compare_table_values(WeakValue(const_cast<IValue*>(a)), WeakValue(const_cast<IValue*>(b)));
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
  part.kind = value->type()->getTypeCode();
  switch (part.kind) {
    case Type::Boolean:
      part.low = *static_cast<const bool*>(value->getDataPtr()) ? 1 : 0;
      break;
    case Type::Number:
      key_number(part, value);
      break;
    case Type::String:
      key_string(part, value);
      break;
    case Type::Date:
      part.ordered = part.decided = false;
      break;
    default:  // Undefined, Null and objects are equal to their own kind
      break;
  }
  return part;
}

int compare_key_values(std::int32_t kind, const IValue* a, const IValue* b) { return compare_values(kind, a, b); }

void FixedSum::add(const IValue* value) {
  single_ = count_++ == 0 ? value : nullptr;
  // The built-in Number type is one object: comparing with it spares a call per value.
  static IType* const kNumberType = Type(Type::Number).getIType();
  if (value->type() == kNumberType) {
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
