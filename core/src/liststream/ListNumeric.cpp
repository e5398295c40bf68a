#include "liststream/ListNumeric.h"

#include <bit>
#include <cstring>

#include "liststream/ListFormat.h"
#include "numeric/NumericInternal.h"

namespace core::detail {

namespace lf = list_format;

bool numeric_fits_binary(const Numeric& value) noexcept {
  const std::int32_t scale = value.getScale();
  return scale >= -lf::kNumericMaxScale && scale <= lf::kNumericMaxScale;
}

void numeric_to_binary(const Numeric& value, std::uint8_t* o) noexcept {
  const auto count = static_cast<std::size_t>(value.getCount());
  o[0] = value.getSignByte() < 0 ? 1 : 0;
  const auto scale = static_cast<std::uint32_t>(value.getScale());
  for (int i = 0; i < 4; ++i) o[1 + i] = static_cast<std::uint8_t>(scale >> (8 * i));
  o += lf::kNumericHeader;
  const std::uint32_t* limbs = value.getLimbs();
  for (std::size_t k = 0; k < count; ++k) {
    for (int i = 0; i < 4; ++i) *o++ = static_cast<std::uint8_t>(limbs[k] >> (8 * i));
  }
}

void numeric_from_parts(Numeric& out, std::uint64_t integer, std::uint32_t fraction, int fractionDigits,
                        bool negative) {
  if (fraction == 0) {
    numeric_set_integer(out, integer, negative);
    return;
  }
  // Limb 0 is the fraction scaled to nine digits (never zero here), then the integer in base 10^9; every
  // array holds at least four limbs.
  std::uint32_t* limbs = NumericInternal::limbs(out);
  limbs[0] = fraction * kPow10[9 - fractionDigits];
  limbs[1] = static_cast<std::uint32_t>(integer % kBase64);
  limbs[2] = static_cast<std::uint32_t>(integer / kBase64);
  // Normalised by construction: the top limb is the highest non-zero one, a middle zero limb may stay.
  const std::int32_t count = integer == 0 ? 1 : integer < kBase64 ? 2 : 3;
  NumericInternal::setNormalised(out, count, 1, negative ? -1 : 1);
}

namespace {

// "00" .. "99" as two UTF-16 units each, in the order they are stored in memory: one 32-bit store
// writes a pair.
struct DigitPairs {
  std::uint32_t units[100];
};
constexpr DigitPairs make_digit_pairs() noexcept {
  DigitPairs t{};
  for (std::uint32_t i = 0; i < 100; ++i) {
    const std::uint32_t first = u'0' + i / 10;
    const std::uint32_t second = u'0' + i % 10;
    t.units[i] = std::endian::native == std::endian::little ? first | second << 16 : first << 16 | second;
  }
  return t;
}
constexpr DigitPairs kDigitPairs = make_digit_pairs();

inline void put_pair(char16_t* out, std::uint32_t pair) noexcept {
  std::memcpy(out, &kDigitPairs.units[pair], sizeof(std::uint32_t));
}

// Decimal digits of v (1 for 0): the bit width gives the count or one more.
inline int digit_count(std::uint32_t v) noexcept {
  const int t = (std::bit_width(v | 1) * 1233) >> 12;
  return t - (v < kPow10[t] ? 1 : 0) + 1;
}

// The nine digits of a limb, zero-padded, at out[0..9). The halves are independent, so the divisions
// overlap instead of forming one chain.
inline void nine_digits(std::uint32_t v, char16_t* out) noexcept {
  const std::uint32_t high = v / 10000;  // five digits
  const std::uint32_t low = v % 10000;   // four digits
  out[0] = static_cast<char16_t>(u'0' + high / 10000);
  put_pair(out + 1, high / 100 % 100);
  put_pair(out + 3, high % 100);
  put_pair(out + 5, low / 100);
  put_pair(out + 7, low % 100);
}

}  // namespace

std::size_t format_small_numeric(const Numeric& value, char16_t* out) noexcept {
  const std::int32_t count = value.getCount();
  const std::int32_t scale = value.getScale();
  if (count == 0) {
    out[0] = u'0';
    return 1;
  }
  if (scale < 0 || scale > 1 || count - scale > 2) return 0;
  const std::uint32_t* limbs = value.getLimbs();
  char16_t* o = out;
  if (value.getSignByte() < 0) *o++ = u'-';
  // The integer part: the top limb without padding, the one below it (if any) with nine digits.
  if (count == scale) {
    *o++ = u'0';
  } else {
    // Scaled to nine digits, the top limb is written with no branch on its length: its digits come
    // first, and the zeros after them are overwritten by what follows or lie beyond the text.
    const std::uint32_t top = limbs[count - 1];
    const int n = digit_count(top);
    nine_digits(top * kPow10[9 - n], o);
    o += n;
    if (count - scale == 2) {
      nine_digits(limbs[scale], o);
      o += 9;
    }
  }
  if (scale == 1) {  // limb 0 is the fraction, non-zero in a normalised number
    *o++ = u'.';
    const std::uint32_t fraction = limbs[0];
    if (fraction % 10000000 == 0) {  // at most two decimals, as amounts of money have
      put_pair(o, fraction / 10000000);
      o += o[1] == u'0' ? 1 : 2;
    } else {
      nine_digits(fraction, o);
      int n = 9;
      while (o[n - 1] == u'0') --n;
      o += n;
    }
  }
  return static_cast<std::size_t>(o - out);
}

}  // namespace core::detail
