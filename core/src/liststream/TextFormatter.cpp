#include "liststream/TextFormatter.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>

#include "base/SourcePosition.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/RefCountedObject.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Numeric.h"
#include "liststream/ListFormat.h"
#include "liststream/ListNumeric.h"
#include "liststream/UnitScan.h"
#include "numeric/NumericInternal.h"

namespace core::detail {

namespace lf = list_format;

namespace {

// Collects text for a writer that is not buffered and hands it on in runs.
class WriterAdapter final : public RefCountedObject<BufferedWriter, IWriter> {
 public:
  explicit WriterAdapter(IWriter* inner) : inner_(inner) { setSpan(buffer_, buffer_, buffer_ + kSize); }

  void flush() override { drain(); }
  void close() override { drain(); }

 protected:
  void overflow(std::size_t) override { drain(); }  // kSize >= kMaxReserve: room follows

 private:
  static constexpr std::size_t kSize = 2 * kMaxReserve;

  void drain() {
    const std::ptrdiff_t n = spanNext() - spanBegin();
    setSpan(buffer_, buffer_, buffer_ + kSize);
    if (n > 0) inner_->write(buffer_, n);
  }

  InterfacePtr<IWriter> inner_;
  char16_t buffer_[kSize];
};

constexpr char kHexDigits[] = "0123456789abcdef";

// Base64 onto a BufferedWriter, fed in pieces: up to two bytes wait for their group, and the line
// length runs on across pieces.
class Base64Encoder {
 public:
  explicit Base64Encoder(BufferedWriter* out) : out_(out) {}

  void feed(const std::uint8_t* data, std::size_t size) {
    while (size > 0 && carried_ != 0 && carried_ < 3) {
      carry_[carried_++] = *data++;
      --size;
    }
    if (carried_ == 3) {
      group(carry_[0], carry_[1], carry_[2], 4);
      carried_ = 0;
    }
    // Whole groups, a slice at a time: 64 characters and a line break per 48 bytes at most.
    while (size >= 3) {
      const std::size_t groups = std::min<std::size_t>(size / 3, 480);
      char16_t* o = out_->reserve(groups * 4 + (groups / 16 + 1) * 2);
      for (std::size_t g = 0; g < groups; ++g, data += 3) {
        const std::uint32_t v = std::uint32_t(data[0]) << 16 | std::uint32_t(data[1]) << 8 | data[2];
        o[0] = static_cast<char16_t>(lf::kBase64Alphabet[v >> 18]);
        o[1] = static_cast<char16_t>(lf::kBase64Alphabet[v >> 12 & 63]);
        o[2] = static_cast<char16_t>(lf::kBase64Alphabet[v >> 6 & 63]);
        o[3] = static_cast<char16_t>(lf::kBase64Alphabet[v & 63]);
        o += 4;
        if ((column_ += 4) == lf::kBase64LineLength) {
          *o++ = u'\r';
          *o++ = u'\n';
          column_ = 0;
        }
      }
      out_->commit(o);
      size -= groups * 3;
    }
    while (size > 0) {
      carry_[carried_++] = *data++;
      --size;
    }
  }

  void finish() {
    if (carried_ == 1) group(carry_[0], 0, 0, 2);
    if (carried_ == 2) group(carry_[0], carry_[1], 0, 3);
    carried_ = 0;
  }

 private:
  // One group of four characters, of which `used` carry data and the rest are padding.
  void group(std::uint8_t a, std::uint8_t b, std::uint8_t c, int used) {
    const std::uint32_t v = std::uint32_t(a) << 16 | std::uint32_t(b) << 8 | c;
    char16_t* o = out_->reserve(6);
    for (int i = 0; i < 4; ++i) {
      *o++ = i < used ? static_cast<char16_t>(lf::kBase64Alphabet[v >> (18 - 6 * i) & 63]) : lf::kBase64Pad;
    }
    if ((column_ += 4) == lf::kBase64LineLength) {
      *o++ = u'\r';
      *o++ = u'\n';
      column_ = 0;
    }
    out_->commit(o);
  }

  BufferedWriter* out_;
  std::uint8_t carry_[3] = {};
  int carried_ = 0;
  int column_ = 0;
};

}  // namespace

std::size_t format_double(double value, char* out) noexcept {
  char* o = out;
  if (std::isnan(value)) {
    std::memcpy(o, "nan", 3);
    return 3;
  }
  if (std::signbit(value) && value != 0) *o++ = '-';
  value = std::fabs(value);
  if (std::isinf(value)) {
    std::memcpy(o, "inf", 3);
    return static_cast<std::size_t>(o + 3 - out);
  }
  if (value == 0) {
    *o++ = '0';
    return static_cast<std::size_t>(o - out);
  }
  // d.ddddddddddddddde+XX: the 16 significant digits, correctly rounded.
  char sci[40];
  const std::to_chars_result r =
      std::to_chars(sci, sci + sizeof sci, value, std::chars_format::scientific, lf::kDoubleDigits - 1);
  char digits[lf::kDoubleDigits];
  int count = 0;
  const char* p = sci;
  for (; p != r.ptr && *p != 'e'; ++p) {
    if (*p != '.') digits[count++] = *p;
  }
  int exponent = 0;
  std::from_chars(p + 1 + (p[1] == '+'), r.ptr, exponent);
  while (count > 1 && digits[count - 1] == '0') --count;
  const int point = exponent + 1;  // digits before the decimal point
  if (point >= 1 && point <= count) {
    std::memcpy(o, digits, static_cast<std::size_t>(point));
    o += point;
    if (point < count) {
      *o++ = '.';
      std::memcpy(o, digits + point, static_cast<std::size_t>(count - point));
      o += count - point;
    }
  } else {
    *o++ = digits[0];
    if (count > 1) {
      *o++ = '.';
      std::memcpy(o, digits + 1, static_cast<std::size_t>(count - 1));
      o += count - 1;
    }
    *o++ = 'e';
    o = std::to_chars(o, o + 8, exponent).ptr;
  }
  return static_cast<std::size_t>(o - out);
}

namespace {

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// The text of an integer item at `o` (room for kIntegerRoom units); returns the new end.
char16_t* format_integer(char16_t* o, std::uint64_t magnitude, bool negative) noexcept {
  char16_t digits[20];
  char16_t* d = digits + 20;
  for (; magnitude >= 100; magnitude /= 100) {  // two digits per division
    const auto pair = static_cast<std::size_t>(magnitude % 100);
    d -= 2;
    d[0] = static_cast<char16_t>(kDigitPairs[2 * pair]);
    d[1] = static_cast<char16_t>(kDigitPairs[2 * pair + 1]);
  }
  if (magnitude >= 10) {
    d -= 2;
    d[0] = static_cast<char16_t>(kDigitPairs[2 * magnitude]);
    d[1] = static_cast<char16_t>(kDigitPairs[2 * magnitude + 1]);
  } else {
    *--d = static_cast<char16_t>(u'0' + magnitude);
  }
  if (negative) *o++ = lf::kMinus;
  const auto n = static_cast<std::size_t>(digits + 20 - d);
  std::memcpy(o, d, n * sizeof(char16_t));
  return o + n;
}

}  // namespace

TextFormatter::TextFormatter(IWriter* writer) {
  void* buffered = nullptr;
  if (writer->QueryInterface(BufferedWriter::IID, &buffered) == S_OK) {
    out_.attach(static_cast<BufferedWriter*>(buffered));
  } else {
    out_.attach(new WriterAdapter(writer));
    adapted_ = true;
  }
}

// ----- token level

void TextFormatter::writeUnit(char16_t c) { out_->write(c); }

void TextFormatter::writeAscii(const char* text, std::size_t length) {
  char16_t* o = out_->reserve(length);
  for (std::size_t i = 0; i < length; ++i) o[i] = static_cast<unsigned char>(text[i]);
  out_->commit(o + length);
}

void TextFormatter::writeBool(bool value) { out_->write(value ? u'1' : u'0'); }

void TextFormatter::writeInteger(std::uint64_t magnitude, bool negative) {
  char16_t* o = out_->reserve(kIntegerRoom);
  out_->commit(format_integer(o, magnitude, negative));
}

void TextFormatter::writeDouble(double value) {
  char text[40];
  writeAscii(text, format_double(value, text));
}

void TextFormatter::writeGuid(const GUID& value) {
  char16_t* o = out_->reserve(kGuidTextLength);
  guid_to_chars(value, o);
  out_->commit(o + kGuidTextLength);
}

void TextFormatter::writeNumeric(const Numeric& value) {
  char16_t* o = out_->reserve(kSmallNumericRoom);
  if (const std::size_t n = format_small_numeric(value, o); n != 0) {
    out_->commit(o + n);
    return;
  }
  writeLargeNumeric(value);
}

void TextFormatter::writeLargeNumeric(const Numeric& value) {
  const std::size_t capacity = text_capacity(value);
  char local[256];
  std::unique_ptr<char[]> heap;
  char* text = local;
  if (capacity > sizeof local) {
    heap.reset(new char[capacity]);
    text = heap.get();
  }
  const std::size_t length = write_canonical(value, text);
  for (std::size_t done = 0; done < length;) {
    const std::size_t n = std::min(length - done, BufferedWriter::kMaxReserve);
    writeAscii(text + done, n);
    done += n;
  }
}

namespace {

// Writes the units of [p, e) as a string item's content (quotation marks doubled, surrogates as
// "\xxxx) at `o`, which has room for 6 units per input unit plus 8; stops early at a zero unit
// (`stopped` then becomes true). Returns the new end of the output.
char16_t* escape_units(char16_t* o, const char16_t* p, const char16_t* e, bool& stopped) noexcept {
  for (;;) {
#if defined(__SSE2__)
    // Eight units at a time: stored as they are, and the output only advances past the ordinary ones.
    const __m128i quote = _mm_set1_epi16(u'"');
    const __m128i zero = _mm_setzero_si128();
    const __m128i surrogateMask = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    for (; e - p >= 8; p += 8, o += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, quote), _mm_cmpeq_epi16(v, zero)),
                                       _mm_cmpeq_epi16(_mm_and_si128(v, surrogateMask), surrogate));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o), v);
      const int mask = _mm_movemask_epi8(hit);
      if (mask != 0) {
        const int k = __builtin_ctz(static_cast<unsigned>(mask)) >> 1;
        p += k;
        o += k;
        break;
      }
    }
#endif
    while (p != e && *p != u'"' && *p != 0 && (*p & 0xF800) != 0xD800) *o++ = *p++;
    if (p == e) return o;
    const char16_t c = *p++;
    if (c == 0) {  // deliberate: text ends at the first zero unit even with a length
      stopped = true;
      return o;
    }
    *o++ = lf::kQuote;
    if (c == lf::kQuote) {
      *o++ = lf::kQuote;
    } else {  // a surrogate: "\xxxx, the string going on without a new opening mark
      *o++ = lf::kEscape;
      *o++ = static_cast<char16_t>(kHexDigits[c >> 12]);
      *o++ = static_cast<char16_t>(kHexDigits[c >> 8 & 15]);
      *o++ = static_cast<char16_t>(kHexDigits[c >> 4 & 15]);
      *o++ = static_cast<char16_t>(kHexDigits[c & 15]);
    }
  }
}

}  // namespace

void TextFormatter::writeString(const char16_t* text, std::size_t length) {
  writeStringAt(out_->reserve(stringRoom(length)), text, length);
}

// Slices of at most kSlice units, each with room for its worst case.
void TextFormatter::writeStringAt(char16_t* o, const char16_t* text, std::size_t length) {
  static_assert(kSlice * 6 + 8 + 2 + 1 <= BufferedWriter::kMaxReserve);
  const char16_t* p = text;
  const char16_t* const end = text + length;
  bool stopped = false;
  *o++ = lf::kQuote;
  for (;;) {
    const char16_t* const sliceEnd = p + std::min<std::size_t>(kSlice, static_cast<std::size_t>(end - p));
    o = escape_units(o, p, sliceEnd, stopped);
    p = sliceEnd;
    if (stopped || p == end) break;
    out_->commit(o);
    o = out_->reserve(kSlice * 6 + 8 + 2);
  }
  *o++ = lf::kQuote;
  out_->commit(o);
}

void TextFormatter::writeBytes(const void* data, std::size_t size) {
  Base64Encoder encoder(out_.get());
  encoder.feed(static_cast<const std::uint8_t*>(data), size);
  encoder.finish();
}

// ----- list level

void TextFormatter::beforeItem() {
  if (needSeparator_) out_->write(lf::kSeparator);
}

// Each operation stores through a local pointer into room that is already there: the writer's end of
// text is read and written once per operation, not once per unit. When the room is missing it is made
// out of line and the operation starts again, so that the usual case calls nothing (and saves no
// registers).
template <class... Args>
void TextFormatter::withRoom(std::size_t room, void (TextFormatter::*operation)(Args...), Args... args) {
  out_->reserve(room);
  (this->*operation)(args...);
}

void TextFormatter::putBeginOfList() {
  if (out_->room() < 3) return withRoom(3, &TextFormatter::putBeginOfList);
  char16_t* o = out_->reserve(3);
  if (needSeparator_) *o++ = lf::kSeparator;
  if (!atStart_) *o++ = lf::kNewLine;
  *o++ = lf::kBeginOfList;
  out_->commit(o);
  needSeparator_ = false;
  breakBeforeClose_ = false;
  atStart_ = false;
}

void TextFormatter::putEndOfList() {
  if (out_->room() < 2) return withRoom(2, &TextFormatter::putEndOfList);
  char16_t* o = out_->reserve(2);
  if (breakBeforeClose_) *o++ = lf::kNewLine;
  *o++ = lf::kEndOfList;
  out_->commit(o);
  needSeparator_ = true;
  breakBeforeClose_ = true;
  atStart_ = false;
}

char16_t* TextFormatter::beginItem(std::size_t room) {
  char16_t* o = out_->reserve(room + 1);
  if (needSeparator_) *o++ = lf::kSeparator;
  return o;
}

void TextFormatter::endItem(char16_t* o) noexcept {
  out_->commit(o);
  afterItem();
}

void TextFormatter::putBool(bool value) {
  if (out_->room() < 2) return withRoom(2, &TextFormatter::putBool, value);
  char16_t* o = beginItem(1);
  *o++ = value ? u'1' : u'0';
  endItem(o);
}

void TextFormatter::putInteger(std::uint64_t magnitude, bool negative) {
  endItem(format_integer(beginItem(kIntegerRoom), magnitude, negative));
}

void TextFormatter::putDouble(double value) {
  beforeItem();
  writeDouble(value);
  afterItem();
}

void TextFormatter::putGuid(const GUID& value) {
  char16_t* o = beginItem(kGuidTextLength);
  guid_to_chars(value, o);
  endItem(o + kGuidTextLength);
}

void TextFormatter::putNumeric(const Numeric& value) {
  if (out_->room() < kSmallNumericRoom + 1)
    return withRoom<const Numeric&>(kSmallNumericRoom + 1, &TextFormatter::putNumeric, value);
  char16_t* o = beginItem(kSmallNumericRoom);
  afterItem();
  writeNumericAt(o, value);
}

// The text of a number after its separator, which is not committed yet.
void TextFormatter::writeNumericAt(char16_t* o, const Numeric& value) {
  const std::size_t n = format_small_numeric(value, o);
  out_->commit(o + n);
  if (n == 0) writeLargeNumeric(value);
}

void TextFormatter::putString(const char16_t* text, std::size_t length) {
  const std::size_t room = stringRoom(length) + 1;
  if (out_->room() < room) return withRoom(room, &TextFormatter::putString, text, length);
  char16_t* o = beginItem(room - 1);
  afterItem();
  if (length == 1 && text[0] != lf::kQuote && text[0] != 0 && (text[0] & 0xF800) != 0xD800) {  // tags, flags
    o[0] = lf::kQuote;
    o[1] = text[0];
    o[2] = lf::kQuote;
    out_->commit(o + 3);
    return;
  }
  writeStringAt(o, text, length);
}

void TextFormatter::putBytes(const void* data, std::size_t size) {
  beforeItem();
  writeBytes(data, size);
  afterItem();
}

void TextFormatter::putFile(IFile* file) {
  beforeItem();
  Base64Encoder encoder(out_.get());
  std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[lf::kChunkSize]);
  for (;;) {
    const std::size_t n = file->read(block.get(), lf::kChunkSize);
    if (n == 0) break;
    encoder.feed(block.get(), n);
  }
  encoder.finish();
  afterItem();
}

void TextFormatter::putRaw(std::u16string_view text) {
  beforeItem();
  out_->write(text.data(), static_cast<std::ptrdiff_t>(text.size()));
  afterItem();
}

// The text encoding behind IListOutStream. It lives beside the formatter so that each operation
// compiles into one call. kHandOn: the writer is not buffered, and each operation's text is handed on
// when it ends.
namespace {

template <bool kHandOn>
class TextListOutStream final : public RefCountedObject<IListOutStream> {
 public:
  explicit TextListOutStream(IWriter* writer) : out_(writer) {}

  void putBeginOfList() override {
    out_.putBeginOfList();
    endOperation();
  }
  void putEndOfList() override {
    out_.putEndOfList();
    endOperation();
  }
  void putBool(bool value) override {
    out_.putBool(value);
    endOperation();
  }
  void putInteger(std::uint64_t magnitude, bool negative) override {
    out_.putInteger(magnitude, negative);
    endOperation();
  }
  // Deliberate: a float is written through double with 16 digits, so 0.1f shows as 0.1000000014901161.
  void putFloat(float value) override { putDouble(value); }
  void putDouble(double value) override {
    out_.putDouble(value);
    endOperation();
  }
  void putGuid(const GUID& value) override {
    out_.putGuid(value);
    endOperation();
  }
  void putNumeric(const Numeric& value) override {
    out_.putNumeric(value);
    endOperation();
  }
  void putString(const char16_t* text, std::size_t length) override {
    out_.putString(text, length);
    endOperation();
  }
  void putBytes(const void* data, std::size_t size) override {
    out_.putBytes(data, size);
    endOperation();
  }
  void putFile(IFile* file) override {
    out_.putFile(file);
    endOperation();
  }
  void flush() override { out_.flush(); }
  void close() override { out_.close(); }

 private:
  void endOperation() {
    if constexpr (kHandOn) out_.endOperation();
  }

  TextFormatter out_;
};

}  // namespace

}  // namespace core::detail

namespace core {

InterfacePtr<IListOutStream> create_text_list_out_stream(IWriter* writer) {
  if (writer == nullptr) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("TextFormatter"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  void* buffered = nullptr;
  if (writer->QueryInterface(BufferedWriter::IID, &buffered) == S_OK) {
    static_cast<BufferedWriter*>(buffered)->Release();  // the formatter takes its own reference
    return InterfacePtr<IListOutStream>(new detail::TextListOutStream<false>(writer), adopt_ref);
  }
  return InterfacePtr<IListOutStream>(new detail::TextListOutStream<true>(writer), adopt_ref);
}

}  // namespace core
