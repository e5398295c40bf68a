#include "liststream/TextScanner.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "base/RefCountedObject.h"
#include "core/Exception.h"
#include "core/Numeric.h"
#include "liststream/ListFormat.h"
#include "liststream/ListNumeric.h"
#include "liststream/UnitScan.h"

namespace core::detail {

namespace lf = list_format;

namespace {

struct AsciiTable {
  std::int8_t base64[128];  // value of a Base64 character, -1 for others
};

constexpr AsciiTable make_ascii_table() {
  AsciiTable t{};
  for (int c = 0; c < 128; ++c) t.base64[c] = -1;
  for (int i = 0; i < 64; ++i)
    t.base64[static_cast<unsigned char>(lf::kBase64Alphabet[i])] = static_cast<std::int8_t>(i);
  return t;
}

constexpr AsciiTable kAscii = make_ascii_table();

// Stands in front of a reader that is not buffered: the span is the one unit the source's peek() shows;
// the source consumes it only once the scanner has moved past it.
class ReaderAdapter final : public RefCountedObject<BufferedReader, IReader> {
 public:
  explicit ReaderAdapter(IReader* inner) : inner_(inner) { needsSync_ = true; }

 protected:
  bool underflow() override {
    settle();
    const int c = inner_->peek();
    if (c < 0) return false;
    unit_ = static_cast<char16_t>(c);
    delivered_ = true;
    setSpan(&unit_, &unit_ + 1);
    return true;
  }
  void syncSource() override {
    if (delivered_ && next() == limit()) {
      settle();
      setSpan(&unit_, &unit_);
    }
  }

 private:
  void settle() {
    if (delivered_) {
      delivered_ = false;
      inner_->read();
    }
  }

  InterfacePtr<IReader> inner_;
  char16_t unit_ = 0;
  bool delivered_ = false;
};

int hex_digit(int c) noexcept { return c < 0 || c > 0xFFFF ? -1 : hex_value(static_cast<char16_t>(c)); }

bool ascii_alnum(char16_t c) noexcept {
  return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool equals_ignoring_case(const char* a, std::size_t n, const char* lower) noexcept {
  if (std::strlen(lower) != n) return false;
  for (std::size_t i = 0; i < n; ++i) {
    char c = a[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

// The value of a plain decimal that from_chars found out of range: it rounds to infinity or to zero.
// strtod would say which, but it takes the decimal point from the process locale (LC_NUMERIC). Which one
// follows from the decimal exponent of the first significant digit, at least 308 for infinity and at most
// -324 for zero: so the sign of that exponent decides, whatever the length of the digits.
double out_of_range_value(const char* p, const char* end) noexcept {
  long long order = 0;  // integer digits from the first significant one, or minus the zeros after the point
  bool significant = false;
  bool fraction = false;
  for (; p != end && *p != 'e' && *p != 'E'; ++p) {
    if (*p == '.') {
      fraction = true;
      continue;
    }
    significant = significant || *p != '0';
    if (!fraction && significant) ++order;
    if (fraction && !significant) --order;
  }
  long long exponent = 0;
  if (p != end) ++p;  // the 'e'
  const bool negative = p != end && *p == '-';
  if (p != end && (*p == '+' || *p == '-')) ++p;
  for (; p != end; ++p) exponent = std::min(exponent * 10 + (*p - '0'), 1000000LL);  // beyond any length
  return order + (negative ? -exponent : exponent) > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

// A plain decimal with an optional exponent, or inf / infinity / nan, with an optional sign.
bool parse_double(const char* text, std::size_t n, double& out) {
  std::size_t i = 0;
  bool negative = false;
  if (n > 0 && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    i = 1;
  }
  const char* body = text + i;
  const std::size_t length = n - i;
  if (length == 0 || body[0] == '+' || body[0] == '-') return false;
  double value;
  if (equals_ignoring_case(body, length, "inf") || equals_ignoring_case(body, length, "infinity")) {
    value = std::numeric_limits<double>::infinity();
  } else if (equals_ignoring_case(body, length, "nan")) {
    value = std::numeric_limits<double>::quiet_NaN();
  } else {
    const std::from_chars_result r = std::from_chars(body, body + length, value, std::chars_format::general);
    if (r.ptr != body + length) return false;
    if (r.ec == std::errc::result_out_of_range) {
      value = out_of_range_value(body, body + length);
    } else if (r.ec != std::errc()) {
      return false;
    }
  }
  out = negative ? -value : value;
  return true;
}

}  // namespace

bool is_blank_above_ascii(char16_t c) noexcept { return u_isspace(c) != 0; }

TextScanner::TextScanner(IReader* reader) {
  void* buffered = nullptr;
  if (reader->QueryInterface(BufferedReader::IID, &buffered) == S_OK) {
    src_.attach(static_cast<BufferedReader*>(buffered));
  } else {
    src_.attach(new ReaderAdapter(reader));
  }
}

// ----- positions and faults

inline void TextScanner::take(const char16_t* p) {
  if (record_ != nullptr) record_->append(src_->next(), static_cast<std::size_t>(p - src_->next()));
  src_->advance(p);
}

inline void TextScanner::newLine(const char16_t* p) noexcept {
  ++line_;
  lineStart_ = src_->offset() + static_cast<std::uint64_t>(p + 1 - src_->next());
}

ListPosition TextScanner::position() const noexcept {
  const std::uint64_t offset = src_->offset();
  return {line_, offset - lineStart_ + 1, offset};
}

void TextScanner::fail(const char* expected, const ListPosition* at) {
  faultExpected_ = expected;
  faultPosition_ = at != nullptr ? *at : position();
  try {
    src_->sync();
  } catch (...) {  // the source's own trouble must not hide the format error
  }
  char detail[192];
  std::snprintf(detail, sizeof detail, "line %llu, column %llu: expected %s",
                static_cast<unsigned long long>(faultPosition_.line),
                static_cast<unsigned long long>(faultPosition_.column), expected);
  ListStreamException e;
  e.setAuxText2(avo::from_utf8(detail));
  throw e;
}

// ----- token level

int TextScanner::skipBlanksSlow() {
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e; ++p) {
      const char16_t c = *p;
      if ((c > 0x20 && c < 0x80) || !is_blank(c)) break;
      if (c == lf::kNewLine) newLine(p);
    }
    take(p);
    if (p != e) return *p;
    if (!src_->fill()) return kEnd;
  }
}

int TextScanner::peek() { return src_->fill() ? *src_->next() : kEnd; }

void TextScanner::consumeOne() { take(src_->next() + 1); }

void TextScanner::expect(char16_t c, const char* what) {
  if (skipBlanks() != c) fail(what);
  consumeOne();
}

bool TextScanner::readBool() {
  const int c = skipBlanks();
  if (c != u'0' && c != u'1') fail("0 or 1");
  consumeOne();
  return c == u'1';
}

std::uint64_t TextScanner::readInteger() {
  const int first = skipBlanks();
  bool negative = false;
  if (first == lf::kPlus || first == lf::kMinus) {
    negative = first == lf::kMinus;
    consumeOne();
  }
  // Wrapping arithmetic is deliberate: digits accumulate modulo 2^64 and the front class narrows, which
  // is accumulation in the target width.
  std::uint64_t value = 0;
  bool any = false;
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e; ++p) {
      unsigned digit = static_cast<unsigned>(*p) - u'0';
      if (digit > 9) {
        if (*p < 0x80 || !u_isdigit(*p)) break;
        digit = static_cast<unsigned>(u_charDigitValue(*p));
      }
      value = value * 10 + digit;
      any = true;
    }
    take(p);
    if (p != e || !src_->fill()) break;
  }
  if (!any) fail("a digit");
  return negative ? 0 - value : value;
}

template <class Accept>
std::size_t TextScanner::collect(char* out, std::size_t limit, Accept accept) {
  std::size_t n = 0;
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e && accept(*p); ++p) {
      if (n == limit) {
        take(p);
        return limit + 1;
      }
      out[n++] = static_cast<char>(*p);
    }
    take(p);
    if (p != e || !src_->fill()) return n;
  }
}

double TextScanner::readDouble() {
  skipBlanks();
  const ListPosition at = position();
  constexpr std::size_t kLimit = 400;  // room for every decimal form a double can sensibly take
  char text[kLimit];
  const std::size_t n = collect(
      text, kLimit, [](char16_t c) { return ascii_alnum(c) || c == lf::kPlus || c == lf::kMinus || c == u'.'; });
  double value = 0;
  if (n == 0 || n > kLimit) fail("a floating number", &at);
  if (!parse_double(text, n, value)) fail("a floating number", &at);
  return value;
}

GUID TextScanner::readGuid() {
  skipBlanks();
  const ListPosition at = position();
  char16_t text[kGuidTextLength];
  std::size_t n = 0;
  while (n < kGuidTextLength) {
    if (!src_->fill()) fail("a GUID of 36 characters");
    const char16_t* p = src_->next();
    const std::size_t k = std::min<std::size_t>(kGuidTextLength - n, static_cast<std::size_t>(src_->limit() - p));
    std::memcpy(text + n, p, k * sizeof(char16_t));
    n += k;
    take(p + k);  // a line feed among them makes the GUID invalid: no line to count
  }
  GUID id{};
  if (!parse_guid(text, kGuidTextLength, id)) fail("a GUID (8-4-4-4-12 hexadecimal digits)", &at);
  return id;
}

bool TextScanner::readSmallNumeric(Numeric& out) {
  const char16_t* p = src_->next();
  const char16_t* const e = src_->limit();
  bool negative = false;
  if (p != e && (*p == lf::kMinus || *p == lf::kPlus)) negative = *p++ == lf::kMinus;
  std::uint64_t integer = 0;
  const char16_t* const integerStart = p;
  for (unsigned d; p != e && (d = static_cast<unsigned>(*p) - u'0') <= 9; ++p) integer = integer * 10 + d;
  const std::ptrdiff_t integerDigits = p - integerStart;
  std::uint32_t fraction = 0;
  std::ptrdiff_t fractionDigits = 0;
  if (p != e && *p == u'.') {
    const char16_t* const fractionStart = ++p;
    for (unsigned d; p != e && (d = static_cast<unsigned>(*p) - u'0') <= 9 && p - fractionStart < 9; ++p) {
      fraction = fraction * 10 + d;
    }
    fractionDigits = p - fractionStart;
  }
  // The token must end inside the span, with no digit or point left over.
  if (p == e || (*p >= u'0' && *p <= u'9') || *p == u'.' || integerDigits > 18 || integerDigits + fractionDigits == 0) {
    return false;
  }
  numeric_from_parts(out, integer, fraction, static_cast<int>(fractionDigits), negative);
  take(p);
  return true;
}

void TextScanner::readNumeric(Numeric& out) {
  skipBlanks();
  if (readSmallNumeric(out)) return;
  const ListPosition at = position();
  // The canonical text: an optional sign, digits, at most one point. Integers of up to 18 digits are
  // built directly; everything else goes through Numeric::fromString.
  char local[128];
  avo::String spill;
  std::size_t n = 0, digits = 0;
  bool point = false;
  std::uint64_t integer = 0;
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e; ++p) {
      const char16_t c = *p;
      if (c >= u'0' && c <= u'9') {
        ++digits;
        integer = integer * 10 + (c - u'0');
      } else if (c == u'.' && !point) {
        point = true;
      } else if ((c == lf::kMinus || c == lf::kPlus) && n == 0) {
      } else {
        break;
      }
      if (n < sizeof local - 1) {
        local[n] = static_cast<char>(c);
      } else {
        if (spill.empty()) spill.assign(local, n);
        spill.push_back(static_cast<char>(c));
      }
      ++n;
    }
    take(p);
    if (p != e || !src_->fill()) break;
  }
  if (digits == 0) fail("a number", &at);
  if (!point && digits <= 18) {
    const auto magnitude = static_cast<long long>(integer);
    out = Numeric(local[0] == lf::kMinus ? -magnitude : magnitude);
    return;
  }
  if (spill.empty()) {
    local[n] = '\0';
    out.fromString(local);
  } else {
    out.fromString(spill.c_str());
  }
}

void TextScanner::readString(avo::WString& out) {
  if (skipBlanks() != lf::kQuote) fail("a string");
  consumeOne();
  out.clear();
  for (;;) {
    if (!src_->fill()) fail("a closing quotation mark");
    const char16_t* const start = src_->next();
    const char16_t* const e = src_->limit();
    const char16_t* p = start;
    for (;;) {  // the units of interest, quotation mark and line feed, are both at most 0x22
      p = find_at_most(p, e, lf::kQuote);
      if (p == e || *p == lf::kQuote) break;
      if (*p == lf::kNewLine) newLine(p);
      ++p;
    }
    out.append(start, static_cast<std::size_t>(p - start));
    take(p);
    if (p == e) continue;
    consumeOne();  // the quotation mark: doubled, an escape, or the end of the string
    const int next = peek();
    if (next == lf::kQuote) {
      out.push_back(lf::kQuote);
      consumeOne();
    } else if (next == lf::kEscape) {
      consumeOne();
      unsigned unit = 0;
      for (int i = 0; i < lf::kEscapeDigits; ++i) {
        const int v = hex_digit(peek());
        if (v < 0) fail("four hexadecimal digits");
        unit = unit << 4 | static_cast<unsigned>(v);
        consumeOne();
      }
      out.push_back(static_cast<char16_t>(unit));
    } else {
      return;
    }
  }
}

void TextScanner::skipString() {
  consumeOne();
  for (;;) {
    if (!src_->fill()) fail("a closing quotation mark");
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (;;) {
      p = find_at_most(p, e, lf::kQuote);
      if (p == e || *p == lf::kQuote) break;
      if (*p == lf::kNewLine) newLine(p);
      ++p;
    }
    take(p);
    if (p == e) continue;
    consumeOne();
    const int next = peek();
    if (next == lf::kQuote) {
      consumeOne();
    } else if (next == lf::kEscape) {
      consumeOne();
      for (int i = 0; i < lf::kEscapeDigits; ++i) {
        if (hex_digit(peek()) < 0) fail("four hexadecimal digits");
        consumeOne();
      }
    } else {
      return;
    }
  }
}

void TextScanner::readBase64(ByteSink& sink) {
  skipBlanks();
  const ListPosition at = position();
  std::uint8_t block[lf::kChunkSize];
  std::size_t filled = 0;
  std::uint32_t quad = 0;  // the sextets of the current group of four
  std::uint64_t symbols = 0;
  int pads = 0;
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e; ++p) {
      const char16_t c = *p;
      const int v = c < 128 ? kAscii.base64[c] : -1;
      if (v >= 0) {
        if (pads != 0) break;  // data after padding ends the item; the list rule then reports it
        quad = quad << 6 | static_cast<std::uint32_t>(v);
        if ((++symbols & 3) == 0) {
          block[filled] = static_cast<std::uint8_t>(quad >> 16);
          block[filled + 1] = static_cast<std::uint8_t>(quad >> 8);
          block[filled + 2] = static_cast<std::uint8_t>(quad);
          filled += 3;
          quad = 0;
          if (filled + 3 > sizeof block) {
            sink.bytes(block, filled);
            filled = 0;
          }
        }
      } else if (c == lf::kBase64Pad) {
        if (++pads > 2) break;
      } else if (is_blank(c)) {
        if (c == lf::kNewLine) newLine(p);
      } else {
        break;
      }
    }
    take(p);
    if (p != e || !src_->fill()) break;
  }
  const unsigned tail = static_cast<unsigned>(symbols & 3);
  if (tail == 1 || pads > 2 || (pads != 0 && (tail + static_cast<unsigned>(pads)) != 4)) {
    fail("Base64 data (whole groups of four characters)", &at);
  }
  if (tail == 2) {
    block[filled++] = static_cast<std::uint8_t>(quad >> 4);
  } else if (tail == 3) {
    block[filled++] = static_cast<std::uint8_t>(quad >> 10);
    block[filled++] = static_cast<std::uint8_t>(quad >> 2);
  }
  if (filled != 0) sink.bytes(block, filled);
}

void TextScanner::readRawToken(avo::WString& out) {
  out.clear();
  for (;;) {
    const char16_t* const start = src_->next();
    const char16_t* const e = src_->limit();
    const char16_t* p = start;
    for (; p != e; ++p) {
      const char16_t c = *p;
      if (c == lf::kSeparator || c == lf::kEndOfList || c == lf::kBeginOfList || c == lf::kQuote) break;
      if (c == lf::kNewLine) newLine(p);
    }
    out.append(start, static_cast<std::size_t>(p - start));
    take(p);
    if (p != e || !src_->fill()) return;
  }
}

void TextScanner::skipBareToken() {
  for (;;) {
    const char16_t* p = src_->next();
    const char16_t* const e = src_->limit();
    for (; p != e; ++p) {
      const char16_t c = *p;
      if (c == lf::kSeparator || c == lf::kEndOfList) break;
      if (c == lf::kNewLine) newLine(p);
    }
    take(p);
    if (p != e || !src_->fill()) return;
  }
}

// ----- list level

void TextScanner::beforeItem() {
  if (afterItem_) {
    expect(lf::kSeparator, "\",\"");
    afterItem_ = false;
  }
}

void TextScanner::getBeginOfList() {
  beforeItem();
  expect(lf::kBeginOfList, "\"{\"");
  afterItem_ = false;
}

void TextScanner::getEndOfList() {
  expect(lf::kEndOfList, "\"}\"");
  afterItem_ = true;
}

bool TextScanner::getComma() {
  if (skipBlanks() != lf::kSeparator) return false;
  consumeOne();
  afterItem_ = false;
  return true;
}

bool TextScanner::isEndOfList() { return skipBlanks() == lf::kEndOfList; }

bool TextScanner::getBool() {
  beforeItem();
  const bool value = readBool();
  afterItem_ = true;
  return value;
}

std::uint64_t TextScanner::getInteger() {
  beforeItem();
  const std::uint64_t value = readInteger();
  afterItem_ = true;
  return value;
}

double TextScanner::getDouble() {
  beforeItem();
  const double value = readDouble();
  afterItem_ = true;
  return value;
}

GUID TextScanner::getGuid() {
  beforeItem();
  const GUID value = readGuid();
  afterItem_ = true;
  return value;
}

void TextScanner::getNumeric(Numeric& out) {
  beforeItem();
  readNumeric(out);
  afterItem_ = true;
}

void TextScanner::getString(avo::WString& out) {
  beforeItem();
  readString(out);
  afterItem_ = true;
}

void TextScanner::getBytes(ByteSink& sink) {
  beforeItem();
  readBase64(sink);
  afterItem_ = true;
}

void TextScanner::skipListContent(avo::WString* saved) {
  struct Recording {
    avo::WString*& slot;
    ~Recording() { slot = nullptr; }
  } recording{record_};
  if (saved != nullptr) {
    saved->clear();
    record_ = saved;
  }
  // Nested lists are skipped with a depth count, not recursion: the input decides the depth.
  std::uint64_t depth = 0;
  for (;;) {
    if (afterItem_ && !getComma()) {
      if (depth == 0) return;
      getEndOfList();
      --depth;
      continue;
    }
    const int c = skipBlanks();
    if (c == lf::kQuote) {
      skipString();
    } else if (c == lf::kBeginOfList) {
      getBeginOfList();
      ++depth;
      continue;
    } else if (c == lf::kEndOfList) {
      if (depth == 0) return;
      getEndOfList();
      --depth;
      continue;
    } else {
      skipBareToken();
    }
    afterItem_ = true;
  }
}

}  // namespace core::detail
