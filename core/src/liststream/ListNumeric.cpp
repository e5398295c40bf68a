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

void numeric_to_binary(const Numeric& value, avo::String& out) {
  const std::size_t start = out.size();
  const auto count = static_cast<std::size_t>(value.getCount());
  out.resize(start + lf::kNumericHeader + 4 * count);
  auto* o = reinterpret_cast<std::uint8_t*>(out.data() + start);
  o[0] = value.getSignByte() < 0 ? 1 : 0;
  const auto scale = static_cast<std::uint32_t>(value.getScale());
  for (int i = 0; i < 4; ++i) o[1 + i] = static_cast<std::uint8_t>(scale >> (8 * i));
  o += lf::kNumericHeader;
  const std::uint32_t* limbs = value.getLimbs();
  for (std::size_t k = 0; k < count; ++k) {
    for (int i = 0; i < 4; ++i) *o++ = static_cast<std::uint8_t>(limbs[k] >> (8 * i));
  }
}

bool numeric_from_binary(const std::uint8_t* data, std::size_t size, Numeric& out) {
  if (size < lf::kNumericHeader || (size - lf::kNumericHeader) % 4 != 0 || data[0] > 1) return false;
  std::uint32_t rawScale = 0;
  for (int i = 0; i < 4; ++i) rawScale |= std::uint32_t(data[1 + i]) << (8 * i);
  const auto scale = static_cast<std::int32_t>(rawScale);
  const std::size_t count = (size - lf::kNumericHeader) / 4;
  if (scale < -lf::kNumericMaxScale || scale > lf::kNumericMaxScale || count > (std::size_t(1) << 30)) return false;
  // The writer stores normalised numbers only: both end limbs non-zero, zero as no limbs, exponent 0
  // and positive. Anything else is not something a writer made.
  if (count == 0) {
    if (scale != 0 || data[0] != 0) return false;
    out = Numeric();
    return true;
  }
  const std::uint8_t* p = data + lf::kNumericHeader;
  std::uint32_t first, last;
  std::memcpy(&first, p, 4);
  std::memcpy(&last, p + 4 * (count - 1), 4);
  if constexpr (std::endian::native != std::endian::little) {
    first = __builtin_bswap32(first);
    last = __builtin_bswap32(last);
  }
  if (first == 0 || last == 0) return false;
  NumericInternal::reserveDiscard(out, static_cast<std::uint32_t>(count));
  std::uint32_t* limbs = NumericInternal::limbs(out);
  std::memcpy(limbs, p, 4 * count);
  bool valid = true;
  for (std::size_t k = 0; k < count; ++k) {
    if constexpr (std::endian::native != std::endian::little) limbs[k] = __builtin_bswap32(limbs[k]);
    valid &= limbs[k] < kBase;
  }
  if (!valid) {
    NumericInternal::setZero(out);  // the limbs were overwritten: leave a valid number behind
    return false;
  }
  NumericInternal::normalise(out, static_cast<std::int64_t>(count), scale);
  NumericInternal::setSign(out, data[0] != 0 ? -1 : 1);
  return true;
}

void numeric_from_parts(Numeric& out, std::uint64_t integer, std::uint32_t fraction, int fractionDigits,
                        bool negative) {
  if (fraction == 0) {
    NumericInternal::setMagnitude(out, integer, negative);
    return;
  }
  // Limb 0 is the fraction scaled to nine digits, then the integer in base 10^9 (two limbs at most).
  NumericInternal::reserveDiscard(out, 3);
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

// The nine digits of a limb, zero-padded, into out[0..9).
void nine_digits(std::uint32_t v, char16_t* out) noexcept {
  out[8] = static_cast<char16_t>(u'0' + v % 10);
  v /= 10;
  for (int i = 6; i >= 0; i -= 2) {
    const std::uint32_t pair = v % 100;
    v /= 100;
    out[i] = static_cast<char16_t>(kDigitPairs[2 * pair]);
    out[i + 1] = static_cast<char16_t>(kDigitPairs[2 * pair + 1]);
  }
}

// The digits of v without leading zeros; returns how many.
int limb_text(std::uint32_t v, char16_t* out) noexcept {
  int n = 1;
  while (n < 9 && v >= kPow10[n]) ++n;
  for (int i = n - 1; i > 0; i -= 2) {
    const std::uint32_t pair = v % 100;
    v /= 100;
    out[i] = static_cast<char16_t>(kDigitPairs[2 * pair + 1]);
    out[i - 1] = static_cast<char16_t>(kDigitPairs[2 * pair]);
  }
  if (n % 2 == 1) out[0] = static_cast<char16_t>(u'0' + v);
  return n;
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
  // Integer part: the limbs from the top down to limb `scale`; the top one without padding.
  if (count == scale) {
    *o++ = u'0';
  } else {
    o += limb_text(limbs[count - 1], o);
    if (count - scale == 2) {
      nine_digits(limbs[scale], o);
      o += 9;
    }
  }
  if (scale == 1) {  // limb 0 is the fraction, non-zero in a normalised number
    *o++ = u'.';
    nine_digits(limbs[0], o);
    int n = 9;
    while (o[n - 1] == u'0') --n;
    o += n;
  }
  return static_cast<std::size_t>(o - out);
}

}  // namespace core::detail
