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
  NumericInternal::normalise(out, 3, 1);
  NumericInternal::setSign(out, negative ? -1 : 1);
}

namespace {

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

constexpr std::uint64_t kPow10Wide[20] = {1ULL,
                                          10ULL,
                                          100ULL,
                                          1000ULL,
                                          10000ULL,
                                          100000ULL,
                                          1000000ULL,
                                          10000000ULL,
                                          100000000ULL,
                                          1000000000ULL,
                                          10000000000ULL,
                                          100000000000ULL,
                                          1000000000000ULL,
                                          10000000000000ULL,
                                          100000000000000ULL,
                                          1000000000000000ULL,
                                          10000000000000000ULL,
                                          100000000000000000ULL,
                                          1000000000000000000ULL,
                                          10000000000000000000ULL};

// Decimal digits of v (1 for 0).
int digit_count(std::uint64_t v) noexcept {
  if (v == 0) return 1;
  const int guess = (64 - std::countl_zero(v | 1)) * 1233 >> 12;  // floor(log10) or one below
  return guess + (v >= kPow10Wide[guess] ? 1 : 0);
}

// Writes the `n` digits of v ending just before `end`, two at a time.
void write_digits(std::uint64_t v, char16_t* end, int n) noexcept {
  for (; n >= 2; n -= 2) {
    const auto pair = static_cast<unsigned>(v % 100);
    v /= 100;
    *--end = static_cast<char16_t>(kDigitPairs[2 * pair + 1]);
    *--end = static_cast<char16_t>(kDigitPairs[2 * pair]);
  }
  if (n == 1) *--end = static_cast<char16_t>(u'0' + v);
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
  // The integer part (< 10^18) as one 64-bit number.
  std::uint64_t integer = 0;
  for (std::int32_t k = count - 1; k >= scale; --k) integer = integer * kBase64 + limbs[k];
  const int n = digit_count(integer);
  write_digits(integer, o + n, n);
  o += n;
  if (scale == 1) {  // limb 0 is the fraction, non-zero in a normalised number
    std::uint32_t fraction = limbs[0];
    int digits = 9;
    while (fraction % 100 == 0) fraction /= 100, digits -= 2;
    if (fraction % 10 == 0) fraction /= 10, digits -= 1;
    *o++ = u'.';
    write_digits(fraction, o + digits, digits);
    o += digits;
  }
  return static_cast<std::size_t>(o - out);
}

}  // namespace core::detail
