#include "liststream/PackedNumeric.h"

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
  const std::uint8_t* p = data + lf::kNumericHeader;
  auto limb = [p](std::size_t k) {
    return std::uint32_t(p[4 * k]) | std::uint32_t(p[4 * k + 1]) << 8 | std::uint32_t(p[4 * k + 2]) << 16 |
           std::uint32_t(p[4 * k + 3]) << 24;
  };
  // The writer stores normalised numbers only: both end limbs non-zero, zero as no limbs, exponent 0
  // and positive. Anything else is not something a writer made.
  if (count == 0) {
    if (scale != 0 || data[0] != 0) return false;
    out = Numeric();
    return true;
  }
  if (limb(0) == 0 || limb(count - 1) == 0) return false;
  for (std::size_t k = 0; k < count; ++k) {
    if (limb(k) >= kBase) return false;
  }
  NumericInternal::reserveDiscard(out, static_cast<std::uint32_t>(count));
  std::uint32_t* limbs = NumericInternal::limbs(out);
  for (std::size_t k = 0; k < count; ++k) limbs[k] = limb(k);
  NumericInternal::normalise(out, static_cast<std::int64_t>(count), scale);
  NumericInternal::setSign(out, data[0] != 0 ? -1 : 1);
  return true;
}

}  // namespace core::detail
