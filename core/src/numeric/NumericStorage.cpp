// Numeric: construction from integers, copying, the normalising step, comparison, sign operations,
// hashing and the representation checksum.
#include <array>
#include <climits>
#include <limits>
#include <new>
#include <ostream>

#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {

void throw_overflow() { throw NumericException(NumericException::Overflow); }

void throw_allocation_size() { throw std::bad_alloc(); }

void NumericInternal::reserveDiscard(Numeric& x, std::uint32_t n) {
  if (n <= x.capacity_) return;
  auto* p = static_cast<std::uint32_t*>(nexa_malloc(std::size_t(n) * sizeof(std::uint32_t)));
  x.releaseStorage();
  x.limbs_ = p;
  x.capacity_ = n;
}

void NumericInternal::normalise(Numeric& x, std::int64_t rawCount, std::int64_t scale) {
  const Trimmed t = trim(x.limbs_, rawCount, scale);
  check_scale(t.scale);
  if (t.count == 0) {
    setZero(x);
    return;
  }
  if (t.limbs != x.limbs_) copy_limbs(x.limbs_, t.limbs, t.count);
  x.count_ = t.count;
  x.scale_ = static_cast<std::int32_t>(t.scale);
}

void NumericInternal::setMagnitude(Numeric& x, std::uint64_t m, bool negative) noexcept {
  if (m == 0) {
    setZero(x);
    return;
  }
  std::int32_t scale = 0;
  while (m % kBase64 == 0) {
    m /= kBase64;
    --scale;
  }
  std::int32_t n = 0;
  while (m != 0) {
    x.limbs_[n++] = static_cast<std::uint32_t>(m % kBase64);
    m /= kBase64;
  }
  x.count_ = n;
  x.scale_ = scale;
  x.sign_ = negative ? -1 : 1;
}

int NumericInternal::compareMagnitude(const Numeric& a, const Numeric& b) noexcept {
  if (a.count_ == 0 || b.count_ == 0) return (a.count_ != 0) - (b.count_ != 0);
  // The top limb is non-zero, so the exclusive top position decides unless it is the same.
  const std::int64_t topA = std::int64_t(a.count_) - a.scale_;
  const std::int64_t topB = std::int64_t(b.count_) - b.scale_;
  if (topA != topB) return topA < topB ? -1 : 1;
  std::int32_t i = a.count_ - 1;
  std::int32_t j = b.count_ - 1;
  for (; i >= 0 && j >= 0; --i, --j) {
    if (a.limbs_[i] != b.limbs_[j]) return a.limbs_[i] < b.limbs_[j] ? -1 : 1;
  }
  // Whoever has limbs left is larger: its lowest limb is non-zero.
  if (i >= 0) return 1;
  if (j >= 0) return -1;
  return 0;
}

}  // namespace detail

namespace {

template <class T>
std::uint64_t magnitude_of(T v) noexcept {
  if constexpr (std::is_signed_v<T>) {
    const auto u = static_cast<std::uint64_t>(static_cast<long long>(v));
    return v < 0 ? 0 - u : u;  // the most negative value goes through its unsigned magnitude
  } else {
    return static_cast<std::uint64_t>(v);
  }
}

}  // namespace

Numeric::Numeric(short v) noexcept { NumericInternal::setMagnitude(*this, magnitude_of(v), v < 0); }
Numeric::Numeric(unsigned short v) noexcept { NumericInternal::setMagnitude(*this, v, false); }
Numeric::Numeric(int v) noexcept { NumericInternal::setMagnitude(*this, magnitude_of(v), v < 0); }
Numeric::Numeric(unsigned int v) noexcept { NumericInternal::setMagnitude(*this, v, false); }
Numeric::Numeric(long v) noexcept { NumericInternal::setMagnitude(*this, magnitude_of(v), v < 0); }
Numeric::Numeric(unsigned long v) noexcept { NumericInternal::setMagnitude(*this, v, false); }
Numeric::Numeric(long long v) noexcept { NumericInternal::setMagnitude(*this, magnitude_of(v), v < 0); }
Numeric::Numeric(unsigned long long v) noexcept { NumericInternal::setMagnitude(*this, v, false); }

void Numeric::copyToHeap(const Numeric& other) {
  capacity_ = static_cast<std::uint32_t>(other.count_);
  limbs_ = static_cast<std::uint32_t*>(nexa_malloc(std::size_t(capacity_) * sizeof(std::uint32_t)));
  std::memcpy(limbs_, other.limbs_, std::size_t(count_) * sizeof(std::uint32_t));
}

Numeric& Numeric::assignSlow(const Numeric& other) {
  if (this == &other) return *this;
  if (capacity_ != other.capacity_) {
    std::uint32_t* p = inline_;
    if (other.capacity_ != kInlineLimbs) {
      p = static_cast<std::uint32_t*>(nexa_malloc(std::size_t(other.capacity_) * sizeof(std::uint32_t)));
    }
    releaseStorage();
    limbs_ = p;
    capacity_ = other.capacity_;
  }
  std::memcpy(limbs_, other.limbs_, std::size_t(other.count_) * sizeof(std::uint32_t));
  count_ = other.count_;
  scale_ = other.scale_;
  sign_ = other.sign_;
  return *this;
}

int Numeric::compare(const Numeric& b) const noexcept {
  const int sa = sign();
  const int sb = b.sign();
  if (sa != sb) return sa < sb ? -1 : 1;
  if (sa == 0) return 0;
  const int m = NumericInternal::compareMagnitude(*this, b);
  return sa > 0 ? m : -m;
}

Numeric Numeric::operator-() const {
  Numeric r(*this);
  if (r.count_ != 0) r.sign_ = static_cast<std::int8_t>(-r.sign_);
  return r;
}

Numeric Numeric::abs() const {
  Numeric r(*this);
  r.sign_ = 1;
  return r;
}

std::int32_t Numeric::hashCode() const noexcept {
  if (count_ == 0) return 0;
  std::uint32_t h = 0;
  for (std::int32_t i = count_ - 1; i >= 0; --i) h = h * kBase + limbs_[i];
  // Implicit zero limbs down to the units add nothing but still shift; after four shifts by 10^9 the
  // 32-bit sum is zero whatever follows (10^36 is a multiple of 2^32).
  for (std::int32_t k = 0; k < -scale_ && k < 4; ++k) h *= kBase;
  if (sign_ < 0) h = 0 - h;
  return static_cast<std::int32_t>(h);
}

namespace {

// The table of the reflected CRC-32 polynomial 0xEDB88320 (entry 1 is 0x77073096).
constexpr std::array<std::uint32_t, 256> make_crc_table() {
  std::array<std::uint32_t, 256> t{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    t[i] = c;
  }
  return t;
}
constexpr std::array<std::uint32_t, 256> kCrcTable = make_crc_table();

// One checksum step. Deliberately odd and kept exactly: the reflected table is driven by a left-shifting
// register, and the byte is sign-extended before it is merged, so bytes of 0x80 and above set all 24
// upper bits. Checksums stored by earlier versions depend on both.
inline std::uint32_t checksum_step(std::uint32_t c, std::uint8_t byte) noexcept {
  const auto extended = static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int8_t>(byte)));
  return kCrcTable[c >> 24] ^ ((c << 8) | extended);
}

inline std::uint32_t checksum_word(std::uint32_t c, std::uint32_t w) noexcept {
  for (int k = 0; k < 4; ++k) c = checksum_step(c, static_cast<std::uint8_t>(w >> (8 * k)));
  return c;
}

}  // namespace

unsigned Numeric::calculateChecksum(unsigned seed) const noexcept {
  std::uint32_t c = checksum_word(seed, static_cast<std::uint32_t>(scale_));
  c = checksum_step(c, static_cast<std::uint8_t>(sign_));
  for (std::int32_t i = 0; i < count_; ++i) c = checksum_word(c, limbs_[i]);
  return c;
}

std::ostream& operator<<(std::ostream& os, const Numeric& n) {
  avo::String text;
  n.toString(text);
  return os << std::string_view(text);
}

}  // namespace core
