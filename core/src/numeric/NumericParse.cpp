// Numeric: reading decimal text (fromString for both character types, fromStream).
//
// The syntax is decided by a table-driven scanner with four states and seven character classes; the
// table below is the whole grammar. The scanner only records where the integer and fraction digits are;
// the digits are then packed into limbs in one pass (integer digits in groups of 9 from the right,
// fraction digits in groups of 9 from the left), with the zero limbs that normalising would remove
// counted in advance, so the number gets an array of exactly its final size.
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "core/CharStream.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace {

enum CharClass : std::uint8_t { kBlank, kPlus, kMinus, kZero, kNonZero, kPoint, kOther, kClassCount };
enum State : std::uint8_t { kStart, kSign, kInteger, kFraction, kStateCount, kStop = kStateCount };
enum Action : std::uint8_t {
  kNone,
  kSetPlus,        // sign +
  kSetMinus,       // sign -
  kPlusInteger,    // sign +, integer starts here
  kPlusFraction,   // sign +, empty integer part, fraction starts after the point
  kBeginInteger,   // integer starts here
  kBeginFraction,  // empty integer part, fraction starts after the point
  kEndInteger,     // integer ends before the point, fraction starts after it
  kFractionDigit,  // a non-zero fraction digit: the fraction ends after it
  kEnd,            // stop: the number is what was collected
  kEndZero,        // stop: zero
  kEndZeroPlus,    // stop: zero with positive sign
};

struct Transition {
  State next;
  Action action;
};

// clang-format off
constexpr Transition kTransitions[kStateCount][kClassCount] = {
    //            blank               "+"                 "-"                 "0"                  "1"-"9"                   "."                       other
    /* start */  {{kStart, kNone},    {kSign, kSetPlus},  {kSign, kSetMinus}, {kSign, kSetPlus},   {kInteger, kPlusInteger}, {kFraction, kPlusFraction}, {kStop, kEndZero}},
    /* sign  */  {{kStop, kEndZeroPlus}, {kStop, kEndZeroPlus}, {kStop, kEndZeroPlus}, {kSign, kNone}, {kInteger, kBeginInteger}, {kFraction, kBeginFraction}, {kStop, kEndZeroPlus}},
    /* int   */  {{kStop, kEnd},      {kStop, kEnd},      {kStop, kEnd},      {kInteger, kNone},   {kInteger, kNone},        {kFraction, kEndInteger},   {kStop, kEnd}},
    /* frac  */  {{kStop, kEnd},      {kStop, kEnd},      {kStop, kEnd},      {kFraction, kNone},  {kFraction, kFractionDigit}, {kStop, kEnd},           {kStop, kEnd}},
};
// clang-format on

constexpr std::uint8_t class_of(std::uint32_t c) noexcept {
  switch (c) {
    case '\t':
    case '\n':
    case '\r':
    case ' ':
      return kBlank;
    case '+':
      return kPlus;
    case '-':
      return kMinus;
    case '0':
      return kZero;
    case '.':
      return kPoint;
    default:
      return (c >= '1' && c <= '9') ? kNonZero : kOther;
  }
}

struct ClassTable {
  std::uint8_t c[256];
};
constexpr ClassTable make_class_table() {
  ClassTable t{};
  for (std::uint32_t i = 0; i < 256; ++i) t.c[i] = class_of(i);
  return t;
}
constexpr ClassTable kClasses = make_class_table();

// Code units of 256 and more fall in the last class, like the NUL that ends every text.
template <class C>
inline std::uint8_t classify(C c) noexcept {
  const auto u = static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<C>>(c));
  return u < 256 ? kClasses.c[u] : std::uint8_t(kOther);
}

// What the scanner found, as offsets into the text.
struct Scan {
  State state = kStart;
  bool negative = false;
  bool zero = false;  // stopped with "zero"
  bool sawDigit = false;
  std::size_t intBegin = 0, intEnd = 0;    // integer digits, the first one non-zero
  std::size_t fracBegin = 0, fracEnd = 0;  // fraction digits up to the last non-zero one

  // Feeds the character of class `cls` at offset `pos`; false when it stops the scan (not consumed).
  bool feed(std::uint8_t cls, std::size_t pos) noexcept {
    const Transition t = kTransitions[state][cls];
    switch (t.action) {
      case kNone:
        break;
      case kSetPlus:
        negative = false;
        break;
      case kSetMinus:
        negative = true;
        break;
      case kPlusInteger:
        negative = false;
        [[fallthrough]];
      case kBeginInteger:
        intBegin = pos;
        break;
      case kPlusFraction:
        negative = false;
        [[fallthrough]];
      case kBeginFraction:
        intBegin = intEnd = pos;
        fracBegin = fracEnd = pos + 1;
        break;
      case kEndInteger:
        intEnd = pos;
        fracBegin = fracEnd = pos + 1;
        break;
      case kFractionDigit:
        fracEnd = pos + 1;
        break;
      case kEnd:
        if (state == kInteger) intEnd = pos;
        break;
      case kEndZero:
        zero = true;
        break;
      case kEndZeroPlus:
        zero = true;
        negative = false;
        break;
    }
    if (cls == kZero || cls == kNonZero) sawDigit = true;
    state = t.next;
    return state != kStop;
  }
};

template <class C>
inline bool is_digit(C c) noexcept {
  return static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<C>>(c)) - std::uint32_t{'0'} < 10u;
}

// The table decides every transition; runs of digits inside the integer and the fraction, where the
// table would only say "stay", are skipped in tight loops.
template <class C>
Scan scan(const C* text, std::size_t& stop) noexcept {
  Scan s;
  std::size_t i = 0;
  for (;; ++i) {
    if (s.state == kInteger) {
      while (is_digit(text[i])) ++i;
    } else if (s.state == kFraction) {
      for (; is_digit(text[i]); ++i) {
        if (text[i] != '0') s.fracEnd = i + 1;
      }
    }
    if (!s.feed(classify(text[i]), i)) break;
  }
  stop = i;
  return s;
}

// Eight ASCII digits at p (known to be digits) as an integer, three multiplications.
inline std::uint32_t eight_digits(const char* p) noexcept {
  std::uint64_t v;
  std::memcpy(&v, p, 8);
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap64(v);
  v = (v & 0x0F0F0F0F0F0F0F0Fu) * 2561 >> 8;
  v = (v & 0x00FF00FF00FF00FFu) * 6553601 >> 16;
  return static_cast<std::uint32_t>((v & 0x0000FFFF0000FFFFu) * 42949672960001u >> 32);
}

// Value of the digits text[from .. from+n) (n <= 9), as an integer.
template <class C>
inline std::uint32_t digits_value(const C* text, std::size_t from, std::size_t n) noexcept {
  const C* p = text + from;
  if constexpr (sizeof(C) == 1) {
    if (n == 9) return static_cast<std::uint32_t>(p[0] - '0') * 100000000u + eight_digits(p + 1);
    if (n == 8) return eight_digits(p);
  }
  std::uint32_t v = 0;
  for (std::size_t k = 0; k < n; ++k) v = v * 10 + static_cast<std::uint32_t>(p[k] - '0');
  return v;
}

template <class C>
void build(Numeric& x, const C* text, const Scan& s) {
  const std::size_t nInt = s.intEnd - s.intBegin;
  const std::size_t nFrac = s.fracEnd - s.fracBegin;
  if (s.zero || (nInt == 0 && nFrac == 0)) {
    NumericInternal::setZero(x);
    return;
  }
  const std::size_t intLimbs = (nInt + 8) / 9;
  const std::size_t fracLimbs = (nFrac + 8) / 9;
  // Zero limbs that normalising would strip: at the bottom, whole groups of trailing integer zeros (only
  // without a fraction, whose last digit is non-zero); at the top, whole groups of leading fraction zeros
  // (only without an integer part, whose first digit is non-zero).
  std::size_t zeroLow = 0;
  if (nFrac == 0) {
    std::size_t tz = 0;
    while (text[s.intEnd - 1 - tz] == '0') ++tz;
    zeroLow = tz / 9;
  }
  std::size_t zeroHigh = 0;
  if (nInt == 0) {
    std::size_t lz = 0;
    while (text[s.fracBegin + lz] == '0') ++lz;
    zeroHigh = lz / 9;
  }
  const std::size_t count = intLimbs + fracLimbs - zeroLow - zeroHigh;
  const std::int64_t scale = std::int64_t(fracLimbs) - std::int64_t(zeroLow);
  if (count > std::size_t(std::numeric_limits<std::int32_t>::max()) || scale > INT32_MAX || scale < INT32_MIN) {
    throw std::bad_alloc();  // gigabytes of digits: no array could hold them anyway
  }
  NumericInternal::reserveDiscard(x, static_cast<std::uint32_t>(count));
  std::uint32_t* limbs = NumericInternal::limbs(x);

  for (std::size_t f = zeroHigh; f < fracLimbs; ++f) {  // fraction limb f counts from the point
    const std::size_t from = s.fracBegin + 9 * f;
    const std::size_t n = std::min<std::size_t>(9, nFrac - 9 * f);
    limbs[fracLimbs - 1 - f] = digits_value(text, from, n) * detail::kPow10[9 - n];
  }
  for (std::size_t g = zeroLow; g < intLimbs; ++g) {  // integer limb g counts from the units
    const std::size_t end = nInt - 9 * g;
    const std::size_t n = std::min<std::size_t>(9, end);
    limbs[fracLimbs + g - zeroLow] = digits_value(text, s.intBegin + end - n, n);
  }
  NumericInternal::normalise(x, static_cast<std::int64_t>(count), scale);  // trims nothing; sets the fields
  NumericInternal::setSign(x, s.negative ? -1 : 1);
}

template <class C>
Numeric& parse(Numeric& x, const C* text, const C** end) {
  if (text == nullptr) {
    NumericInternal::setZero(x);
    if (end != nullptr) *end = text;
    return x;
  }
  std::size_t stop = 0;
  const Scan s = scan(text, stop);
  build(x, text, s);
  if (end != nullptr) *end = text + stop;
  return x;
}

}  // namespace

Numeric& Numeric::fromString(const char* text, const char** end) { return parse(*this, text, end); }

Numeric& Numeric::fromString(const char16_t* text, const char16_t** end) { return parse(*this, text, end); }

bool Numeric::fromStream(IReader* reader) {
  // Collect what the scanner accepts, peeking so that the character that stops it stays unread. The
  // accepted characters are all ASCII.
  char local[256];
  avo::String spill;
  std::size_t n = 0;
  Scan s;
  for (;;) {
    const int c = reader->peek();
    const std::uint8_t cls = c < 0 ? std::uint8_t(kOther) : classify(static_cast<char16_t>(c));
    if (!s.feed(cls, n)) break;
    reader->read();
    if (n < sizeof(local) - 1) {
      local[n] = static_cast<char>(c);
    } else {
      if (spill.empty()) spill.assign(local, n);
      spill.push_back(static_cast<char>(c));
    }
    ++n;
  }
  if (spill.empty()) {
    local[n] = '\0';
    fromString(local);
  } else {
    fromString(spill.c_str());
  }
  return s.sawDigit;
}

}  // namespace core
