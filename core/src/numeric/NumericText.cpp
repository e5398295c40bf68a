// Numeric: printing (canonical text, fixed-width text), lengthAndPrecision and writing to a character
// stream.
//
// Every printer goes through write_canonical, which fills a caller buffer of text_capacity() characters:
// on the stack up to 1,024 characters (TextBuffer), on the heap beyond; numbers of up to four limbs that
// need no zero limbs beyond their own are printed by format_small into a small local buffer instead.
// Limbs are printed two digits at a time from a 100-entry table of digit pairs.
#include <algorithm>
#include <bit>
#include <climits>

#include "core/CharStream.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {
namespace {

constexpr char kDigitPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

inline void put_pair(char* p, std::uint32_t v) { std::memcpy(p, kDigitPairs + 2 * v, 2); }

// Exactly 9 digits of a limb, leading zeros included.
inline char* put_limb9(char* p, std::uint32_t v) {
  const std::uint32_t high = v / 10000;  // 5 digits
  const std::uint32_t low = v % 10000;   // 4 digits
  p[0] = static_cast<char>('0' + high / 10000);
  put_pair(p + 1, high % 10000 / 100);
  put_pair(p + 3, high % 100);
  put_pair(p + 5, low / 100);
  put_pair(p + 7, low % 100);
  return p + 9;
}

// The digits of v without leading zeros.
inline char* put_limb(char* p, std::uint32_t v) {
  const int n = limb_digits(v);
  char* q = p + n;
  while (v >= 100) {
    q -= 2;
    put_pair(q, v % 100);
    v /= 100;
  }
  if (v >= 10) {
    put_pair(q - 2, v);
  } else {
    q[-1] = static_cast<char>('0' + v);
  }
  return p + n;
}

// The nine digits of a limb (leading zeros included) computed in registers, for the limb whose trailing
// zeros the text cuts: the first digit, and the other eight as the bytes of a 64-bit word in text order
// (little-endian). r = v mod 10^8 splits into two 4-digit halves, one per 32-bit lane; each lane into
// two 2-digit halves (x * 10486 >> 20 is x / 100 below 10^4), each 16-bit lane into two digits
// (x * 103 >> 10 is x / 10 below 100); the lanes never carry into each other. The trailing '0'
// characters are then the top bytes of the word that equal '0'.
struct LimbText {
  char first;
  std::uint64_t rest;
};

inline LimbText limb_text(std::uint32_t v) noexcept {
  static_assert(std::endian::native == std::endian::little);
  const auto first = static_cast<std::uint32_t>((std::uint64_t(v) * 1441151881u) >> 57);  // v / 10^8
  const std::uint32_t r = v - first * 100000000u;
  const std::uint32_t high = r / 10000;
  const std::uint64_t quads = std::uint64_t(r - high * 10000) << 32 | high;
  const std::uint64_t hundreds = ((quads * 10486) >> 20) & 0x0000007F0000007Fu;
  const std::uint64_t pairs = (quads - hundreds * 100) << 16 | hundreds;
  const std::uint64_t tens = ((pairs * 103) >> 10) & 0x000F000F000F000Fu;
  const std::uint64_t digits = (pairs - tens * 10) << 8 | tens;
  return {static_cast<char>('0' + first), digits | 0x3030303030303030u};
}

// Writes the nine digits of a non-zero limb without its trailing zeros; returns the end.
inline char* put_last_limb(char* p, std::uint32_t v) noexcept {
  const LimbText t = limb_text(v);
  p[0] = t.first;
  std::memcpy(p + 1, &t.rest, 8);
  const std::uint64_t zeros = t.rest ^ 0x3030303030303030u;  // zero bytes where the digits are '0'
  return p + 9 - (zeros == 0 ? 8 : std::countl_zero(zeros) >> 3);
}

// The canonical text of a number of one to four limbs with a scale of 0 to 4 (no implicit zero limbs,
// at most four fractional limbs), placed inside a kSmallText buffer; returns where it starts. The top limb
// is printed as nine digits ending where its own digits end, so its leading zeros fall into the room
// before the text and no loop runs over its length; the sign is written after it.
constexpr std::size_t kSmallText = 96;  // 16 of room + 36 integer digits + point + 36 fraction digits

bool is_small(const Numeric& x) noexcept {
  const std::int32_t count = NumericInternal::count(x), scale = NumericInternal::scale(x);
  return count >= 1 && count <= 4 && scale >= 0 && scale <= 4;
}

const char* format_small(const Numeric& x, char* buf, std::size_t& length) noexcept {
  const std::int32_t count = NumericInternal::count(x);
  const std::int32_t scale = NumericInternal::scale(x);
  const std::uint32_t* limbs = NumericInternal::limbs(x);
  char* start = buf + 16;
  char* p;
  if (count > scale) {
    const std::uint32_t top = limbs[count - 1];
    const int n = limb_digits(top);
    put_limb9(start + n - 9, top);
    p = start + n;
    for (std::int32_t i = count - 2; i >= scale; --i) p = put_limb9(p, limbs[i]);
  } else {
    *start = '0';
    p = start + 1;
  }
  if (NumericInternal::sign(x) < 0) *--start = '-';
  if (scale > 0) {
    *p++ = '.';
    for (std::int32_t i = scale - 1; i >= 1; --i) {
      if (i >= count) {  // a number below 10^-9: whole zero limbs between the point and the digits
        std::memset(p, '0', 9);
        p += 9;
      } else {
        p = put_limb9(p, limbs[i]);
      }
    }
    p = put_last_limb(p, limbs[0]);
  }
  length = static_cast<std::size_t>(p - start);
  return start;
}

// A character buffer on the stack up to 1,024 characters, on the heap beyond.
class TextBuffer {
 public:
  explicit TextBuffer(std::size_t size)
      : data_(size <= sizeof(local_) ? local_ : static_cast<char*>(nexa_malloc(size))) {}
  ~TextBuffer() {
    if (data_ != local_) nexa_free(data_);
  }
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;
  char* data() noexcept { return data_; }

 private:
  char local_[1024];
  char* data_;
};

}  // namespace

std::size_t text_capacity(const Numeric& x) noexcept {
  const std::int64_t count = NumericInternal::count(x);
  const std::int64_t scale = NumericInternal::scale(x);
  const std::int64_t intDigits = std::max<std::int64_t>(1, 9 * (count - scale));
  const std::int64_t fracDigits = 9 * std::max<std::int64_t>(0, scale);
  return static_cast<std::size_t>(1 + intDigits + 1 + fracDigits + 1);  // sign, point, NUL
}

std::size_t write_canonical(const Numeric& x, char* out) noexcept {
  const std::int32_t count = NumericInternal::count(x);
  const std::int32_t scale = NumericInternal::scale(x);
  const std::uint32_t* limbs = NumericInternal::limbs(x);
  if (count == 0) {
    out[0] = '0';
    return 1;
  }
  char* p = out;
  if (NumericInternal::sign(x) < 0) *p++ = '-';
  if (std::int64_t(count) - scale <= 0) {
    *p++ = '0';
  } else {
    p = put_limb(p, limbs[count - 1]);
    for (std::int32_t i = count - 2; i >= std::max(scale, 0); --i) p = put_limb9(p, limbs[i]);
    if (scale < 0) {
      const std::size_t zeros = 9 * std::size_t(-std::int64_t(scale));
      std::memset(p, '0', zeros);
      p += zeros;
    }
  }
  if (scale > 0) {
    *p++ = '.';
    for (std::int32_t i = scale - 1; i >= 0; --i) {
      if (i >= count) {  // a number below 10^-9: whole zero limbs between the point and the digits
        std::memset(p, '0', 9);
        p += 9;
      } else {
        p = put_limb9(p, limbs[i]);
      }
    }
    while (p[-1] == '0') --p;  // limb 0 is non-zero, so this stops inside it
  }
  return static_cast<std::size_t>(p - out);
}

namespace {

int trailing_zero_digits(std::uint32_t v) noexcept {
  int n = 0;
  for (; v % 10 == 0; v /= 10) ++n;
  return n;
}

// Copies pieces of text into out[0..limit), silently dropping what does not fit.
struct LimitedSink {
  char* out;
  std::size_t limit;
  std::size_t size = 0;

  bool full() const noexcept { return size >= limit; }
  void put(const char* s, std::size_t n) noexcept {
    n = std::min(n, limit - size);
    std::memcpy(out + size, s, n);
    size += n;
  }
  void fill(char c, std::size_t n) noexcept {
    n = std::min(n, limit - size);
    std::memset(out + size, c, n);
    size += n;
  }
};

}  // namespace

std::size_t text_length(const Numeric& x) noexcept {
  const std::int64_t count = NumericInternal::count(x);
  const std::int64_t scale = NumericInternal::scale(x);
  const std::uint32_t* limbs = NumericInternal::limbs(x);
  if (count == 0) return 1;
  std::size_t n = NumericInternal::sign(x) < 0 ? 1 : 0;
  if (count - scale <= 0) {
    n += 1;
  } else {
    n += static_cast<std::size_t>(NumericInternal::integerDigits(x));
  }
  if (scale > 0) n += 1 + 9 * std::size_t(scale) - std::size_t(trailing_zero_digits(limbs[0]));
  return n;
}

std::size_t write_canonical_prefix(const Numeric& x, char* out, std::size_t limit) noexcept {
  const std::int32_t count = NumericInternal::count(x);
  const std::int32_t scale = NumericInternal::scale(x);
  const std::uint32_t* limbs = NumericInternal::limbs(x);
  // The text ends before the trailing zeros of limb 0: never emit past its exact length.
  LimitedSink sink{out, std::min(limit, text_length(x))};
  char piece[9];
  if (count == 0) {
    sink.put("0", 1);
    return sink.size;
  }
  if (NumericInternal::sign(x) < 0) sink.put("-", 1);
  if (std::int64_t(count) - scale <= 0) {
    sink.put("0", 1);
  } else {
    sink.put(piece, std::size_t(put_limb(piece, limbs[count - 1]) - piece));
    for (std::int32_t i = count - 2; i >= std::max(scale, 0) && !sink.full(); --i) {
      put_limb9(piece, limbs[i]);
      sink.put(piece, 9);
    }
    if (scale < 0) sink.fill('0', 9 * std::size_t(-std::int64_t(scale)));
  }
  if (scale > 0) {
    sink.put(".", 1);
    for (std::int32_t i = scale - 1; i >= 0 && !sink.full(); --i) {
      if (i >= count) {
        sink.fill('0', 9);
      } else {
        put_limb9(piece, limbs[i]);
        sink.put(piece, 9);
      }
    }
  }
  return sink.size;
}

}  // namespace detail

avo::WString Numeric::toString() const {
  avo::WString text;
  toString(text);
  return text;
}

void Numeric::toString(avo::String& out) const {
  if (detail::is_small(*this)) {  // the common case: one copy into the string, no bound to reserve
    char buf[detail::kSmallText];
    std::size_t n;
    const char* text = detail::format_small(*this, buf, n);
    out.clear();  // then append: assign's general replacement costs more than the digits
    out.append(text, n);
    return;
  }
  const std::size_t capacity = detail::text_capacity(*this);
  if (capacity <= out.capacity()) {  // straight into the string's own buffer
    out.resize(capacity);
    out.resize(detail::write_canonical(*this, out.data()));
    return;
  }
  // The bound may exceed the text: print aside, so that the string grows only for what it must hold.
  detail::TextBuffer buf(capacity);
  const std::size_t n = detail::write_canonical(*this, buf.data());
  out.assign(buf.data(), n);
}

void Numeric::toString(avo::WString& out) const {
  if (detail::is_small(*this)) {
    char buf[detail::kSmallText];
    std::size_t n;
    const char* text = detail::format_small(*this, buf, n);
    out.assign(text, text + n);
    return;
  }
  detail::TextBuffer buf(detail::text_capacity(*this));
  const std::size_t n = detail::write_canonical(*this, buf.data());
  out.assign(buf.data(), buf.data() + n);
}

unsigned Numeric::digits(char* out, unsigned size) const noexcept {
  if (size == 0) return 0;
  std::size_t n;
  if (detail::text_capacity(*this) <= size) {
    n = detail::write_canonical(*this, out);
  } else {
    n = detail::write_canonical_prefix(*this, out, size - 1);
  }
  out[n] = '\0';
  return static_cast<unsigned>(n);
}

bool Numeric::digits(char* out, unsigned length, unsigned precision, NumericRoundMode mode) const {
  precision = std::min(precision, length);
  const Numeric v = round(static_cast<int>(std::min<unsigned>(precision, INT_MAX)), mode);
  const std::uint64_t k =
      (v.count_ == 0 || std::int64_t(v.count_) - v.scale_ < 1) ? 0 : NumericInternal::integerDigits(v);
  const unsigned intWidth = length - precision;
  char* p = out;
  *p++ = v.sign_ < 0 ? '-' : '+';
  if (k > intWidth) {
    std::memset(p, '9', intWidth);
    p += intWidth;
    if (precision > 0) {
      *p++ = '.';
      std::memset(p, '9', precision);
      p += precision;
    }
    *p = '\0';
    return false;
  }
  const std::uint64_t shown = std::max<std::uint64_t>(k, 1);
  if (intWidth > shown) {
    std::memset(p, '0', intWidth - shown);
    p += intWidth - shown;
  }
  detail::TextBuffer buf(detail::text_capacity(v));
  std::size_t n = detail::write_canonical(v, buf.data());
  const char* text = buf.data();
  if (*text == '-') {
    ++text;
    --n;
  }
  if (intWidth == 0) {  // no room for the integer "0": the text reads "+.50"
    ++text;
    --n;
  }
  std::memcpy(p, text, n);
  p += n;
  const char* point = static_cast<const char*>(std::memchr(text, '.', n));
  const std::size_t fracDigits = point != nullptr ? n - std::size_t(point - text) - 1 : 0;
  if (precision > 0) {
    if (point == nullptr) *p++ = '.';
    std::memset(p, '0', precision - fracDigits);
    p += precision - fracDigits;
  }
  *p = '\0';
  return true;
}

bool Numeric::digits(char* out, unsigned length, unsigned precision) const {
  return digits(out, length, precision, get_default_round_mode());
}

void Numeric::lengthAndPrecision(unsigned& length, unsigned& precision) const noexcept {
  if (count_ == 0) {
    length = 1;
    precision = 0;
    return;
  }
  std::uint64_t prec = 0;
  if (scale_ >= 1) {
    int trailingZeros = 0;
    for (std::uint32_t v = limbs_[0]; v % 10 == 0; v /= 10) ++trailingZeros;
    prec = 9 * std::uint64_t(scale_ - 1) + std::uint64_t(9 - trailingZeros);
  }
  const std::int64_t intLimbs = std::int64_t(count_) - scale_;
  const std::uint64_t intDigits = intLimbs >= 1 ? NumericInternal::integerDigits(*this) : 0;
  length = static_cast<unsigned>(prec + intDigits);
  precision = static_cast<unsigned>(prec);
}

void Numeric::toStream(IWriter* writer) const {
  detail::TextBuffer buf(detail::text_capacity(*this));
  const std::size_t n = detail::write_canonical(*this, buf.data());
  char16_t chunk[256];
  for (std::size_t done = 0; done < n;) {
    const std::size_t run = std::min<std::size_t>(n - done, 256);
    for (std::size_t i = 0; i < run; ++i) chunk[i] = static_cast<unsigned char>(buf.data()[done + i]);
    writer->write(chunk, static_cast<std::ptrdiff_t>(run));
    done += run;
  }
}

}  // namespace core
