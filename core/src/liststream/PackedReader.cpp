// The packed encoding, reading side: the writer's tag bytes taken apart again. The current tag byte
// keeps its unconsumed marks and kind; structure operations consume marks in the fixed order (end of
// list, separator, begin of list), an item consumes the kind and its payload.
//
// Lengths in the data are never trusted for allocation: strings and chunks are read in pieces as the
// bytes arrive, and when the file can tell its size a length beyond the remaining bytes fails at once.
#include <bit>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/RefCountedObject.h"
#include "base/SourcePosition.h"
#include "charstream/MemoryCopy.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Numeric.h"
#include "liststream/ByteSinks.h"
#include "liststream/ListFormat.h"
#include "liststream/ListNumeric.h"
#include "numeric/NumericInternal.h"

namespace core::detail {

namespace lf = list_format;

namespace {

constexpr int kNothing = -1;      // nextThing() at the end of the data
constexpr int kKindFlag = 0x100;  // nextThing() for a kind: kKindFlag | kind

std::uint64_t load_le(const std::uint8_t* p, int bytes) noexcept {
  std::uint64_t v = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&v, p, static_cast<std::size_t>(bytes));  // one load where `bytes` is a constant
  } else {
    for (int i = 0; i < bytes; ++i) v |= std::uint64_t(p[i]) << (8 * i);
  }
  return v;
}

// The `bytes` (1, 2, 4 or 8) little-endian bytes at p, when 8 bytes may be read there.
std::uint64_t load_le_wide(const std::uint8_t* p, int bytes) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return bytes == 8 ? v : v & ((std::uint64_t(1) << (8 * bytes)) - 1);
  } else {
    return load_le(p, bytes);
  }
}

class PackedListInStream final : public RefCountedObject<IListInStream> {
 public:
  explicit PackedListInStream(IFile* file) : file_(file), buffer_(new std::uint8_t[kBufferSize]) {
    cur_ = end_ = buffer_.get();
    fileEx_ = InterfacePtr<IFile>(file).query<IFileEx>();
    if (fileEx_) {
      start_ = fileEx_->getPosition();
      const std::uint64_t size = fileEx_->getSize();
      remaining_ = size > start_ ? size - start_ : 0;
      sizeKnown_ = true;
    }
    // A memory file is read where its bytes are, without copying them into the buffer.
    if (InterfacePtr<IMemoryFile> memory = InterfacePtr<IFile>(file).query<IMemoryFile>()) {
      const std::uint8_t* data = memory->getData();
      direct_ = true;
      cur_ = const_cast<std::uint8_t*>(data) + std::min(start_, fileEx_->getSize());
      end_ = const_cast<std::uint8_t*>(data) + fileEx_->getSize();
      loaded_ = static_cast<std::uint64_t>(end_ - cur_);
    }
  }

  // The structure operations and itemKind come in two halves: a small inline one for the usual case (a
  // tag byte that holds exactly what is expected) and the general one, kept out of line so that the
  // usual case pays for no more than it uses.
  void getBeginOfList() override {
    const std::uint8_t want = afterItem_ ? lf::kMarkSeparator | lf::kMarkBeginOfList : lf::kMarkBeginOfList;
    if (fastTag() && marks_ == want) {
      marks_ = 0;
      afterItem_ = false;
      return;
    }
    getBeginOfListSlow();
  }
  [[gnu::noinline]] void getBeginOfListSlow() {
    if (afterItem_) consumeMark(lf::kMarkSeparator, "a separator");
    consumeMark(lf::kMarkBeginOfList, "the begin of a list");
    afterItem_ = false;
  }
  void getEndOfList() override {
    if (fastTag() && (marks_ & lf::kMarkEndOfList) != 0) {  // the first mark of a byte when present
      marks_ &= static_cast<std::uint8_t>(~lf::kMarkEndOfList);
      afterItem_ = true;
      return;
    }
    getEndOfListSlow();
  }
  [[gnu::noinline]] void getEndOfListSlow() {
    consumeMark(lf::kMarkEndOfList, "the end of the list");
    afterItem_ = true;
  }
  bool getComma() override {
    if (nextThing() != lf::kMarkSeparator) return false;
    marks_ &= static_cast<std::uint8_t>(~lf::kMarkSeparator);
    afterItem_ = false;
    return true;
  }
  bool isEndOfList() override {
    if (fastTag()) return (marks_ & lf::kMarkEndOfList) != 0;  // the first mark of a byte when present
    return isEndOfListSlow();
  }
  [[gnu::noinline]] bool isEndOfListSlow() { return nextThing() == lf::kMarkEndOfList; }

  // The item getters come in the same two halves: the inline one takes the kind with quickKind() and
  // decodes a payload that lies whole in the buffer without calling anything (so it saves no
  // registers); everything else goes on in an out-of-line function that is given the kind (0 when it
  // has still to be taken).
  bool getBool() override {
    const std::uint8_t kind = quickKind();
    if (kind == lf::kSmallFirst || kind == lf::kSmallFirst + 1) return kind == lf::kSmallFirst + 1;
    return boolItem(kind);
  }
  [[gnu::noinline]] bool boolItem(std::uint8_t kind) {
    if (kind == 0) kind = itemKindSlow("a boolean");
    if (kind != lf::kSmallFirst && kind != lf::kSmallFirst + 1) fail("a boolean (0 or 1)");
    return kind == lf::kSmallFirst + 1;
  }
  std::uint64_t getInteger() override { return integerPayload(itemKind("an integer")); }
  float getFloat() override { return static_cast<float>(getDouble()); }
  double getDouble() override {
    const std::uint8_t kind = itemKind("a floating number");
    if (kind == lf::kFloat) {
      float f;
      std::memcpy(&f, need(4), 4);
      return f;
    }
    if (kind != lf::kDouble) fail("a floating number");
    double d;
    std::memcpy(&d, need(8), 8);
    return d;
  }
  GUID getGuid() override {
    if (itemKind("a GUID") != lf::kFixed16) fail("a GUID");
    const std::uint8_t* p = need(16);
    GUID id;
    id.Data1 = static_cast<std::uint32_t>(load_le(p, 4));
    id.Data2 = static_cast<std::uint16_t>(load_le(p + 4, 2));
    id.Data3 = static_cast<std::uint16_t>(load_le(p + 6, 2));
    std::memcpy(id.Data4, p + 8, 8);
    return id;
  }
  void getNumeric(Numeric& out) override {
    const std::uint8_t kind = quickKind();
    if (kind >= lf::kUInt8 && kind <= lf::kNegInt64 && end_ - cur_ >= 8) {  // the magnitude lies in the buffer
      const int bytes = 1 << ((kind - lf::kUInt8) / 2);
      const std::uint64_t magnitude = load_le_wide(cur_, bytes);
      cur_ += bytes;
      numeric_set_integer(out, magnitude, (kind - lf::kUInt8) % 2 == 1);
      return;
    }
    if (kind == lf::kChunked && quickBinaryNumeric(out)) return;
    numericItem(kind, out);
  }
  // The binary form of a number of a few limbs (amounts and the like) in one chunk that lies in the
  // buffer; false (consuming nothing) for anything else, valid or not.
  bool quickBinaryNumeric(Numeric& out) {
    constexpr std::size_t kMost = lf::kNumericHeader + 4 * Numeric::kInlineLimbs;
    if (end_ - cur_ < static_cast<std::ptrdiff_t>(kMost + 4)) return false;
    const auto n = static_cast<std::size_t>(load_le(cur_, 2));
    if (n > kMost || load_le(cur_ + 2 + n, 2) != 0 || !numeric_from_binary(cur_ + 2, n, out)) return false;
    cur_ += n + 4;
    return true;
  }
  [[gnu::noinline]] void numericItem(std::uint8_t kind, Numeric& out) {
    if (kind == 0) kind = itemKindSlow("a number");
    if (kind >= lf::kSmallFirst && kind <= lf::kNegInt64) {
      const std::uint64_t bits = integerPayload(kind);
      const bool negative = kind >= lf::kUInt8 && (kind - lf::kUInt8) % 2 == 1;
      numeric_set_integer(out, negative ? 0 - bits : bits, negative);
      return;
    }
    // The binary form in one chunk that lies in the buffer is decoded where it is.
    if (kind == lf::kChunked && end_ - cur_ >= 2) {
      const std::size_t n = static_cast<std::size_t>(load_le(cur_, 2));
      if (n != 0 && n <= lf::kChunkSize && static_cast<std::size_t>(end_ - cur_) >= n + 4 &&
          load_le(cur_ + 2 + n, 2) == 0) {
        const std::uint8_t* p = cur_;
        cur_ += n + 4;
        if (!numeric_from_binary(p + 2, n, out)) fail("a number in binary form");
        return;
      }
    }
    getNumericSlow(kind, out);
  }
  [[gnu::noinline]] void getNumericSlow(std::uint8_t kind, Numeric& out) {
    if (kind == lf::kChunked) {
      scratch_.clear();
      StringByteSink sink{scratch_};
      readChunks(sink);
      if (!numeric_from_binary(reinterpret_cast<const std::uint8_t*>(scratch_.data()), scratch_.size(), out)) {
        fail("a number in binary form");
      }
      return;
    }
    if (kind >= lf::kNarrow8 && kind <= lf::kNarrow64) {  // a number too large for the binary form
      avo::WString text;
      stringPayload(kind, text);
      const char16_t* end = nullptr;
      out.fromString(text.c_str(), &end);
      if (text.empty() || end != text.c_str() + text.size()) fail("a number");
      return;
    }
    fail("a number");
  }
  void getString(avo::WString& out) override {
    const std::uint8_t kind = quickKind();
    if (kind == lf::kStringOneByte && cur_ != end_ && out.size() == 1) {  // tags and flags: often the same again
      out[0] = *cur_++;
      return;
    }
    stringItem(kind, out);
  }
  [[gnu::noinline]] void stringItem(std::uint8_t kind, avo::WString& out) {
    stringPayload(kind != 0 ? kind : itemKindSlow("a string"), out);
  }
  void getBytes(avo::String& out) override {
    if (itemKind("byte data") != lf::kChunked) fail("byte data");
    out.clear();
    StringByteSink sink{out};
    readChunks(sink);
  }
  std::size_t getBytes(void* buffer, std::size_t capacity) override {
    if (itemKind("byte data") != lf::kChunked) fail("byte data");
    BufferByteSink sink{static_cast<std::uint8_t*>(buffer), capacity};
    readChunks(sink);
    if (sink.overflow) fail("byte data that fits the buffer");
    return sink.used;
  }
  void getFile(IFile* target) override {
    if (itemKind("byte data") != lf::kChunked) fail("byte data");
    FileByteSink sink{target};
    readChunks(sink);
  }
  void skipListContent() override { skip(nullptr); }
  void skipAndSaveListContent(avo::WString& saved) override { skip(&saved); }
  ListPosition getPosition() const override { return {0, 0, offset()}; }

 private:
  static constexpr std::size_t kBufferSize = 64 * 1024;

  ~PackedListInStream() override {
    // Leave a seekable file right after the last byte consumed, as a byte-by-byte reader would.
    if (!fileEx_ || (cur_ == end_ && !direct_)) return;
    try {
      fileEx_->setPosition(start_ + offset());
    } catch (...) {  // the file is being let go: nothing to report to
    }
  }

  std::uint64_t offset() const noexcept { return loaded_ - static_cast<std::uint64_t>(end_ - cur_); }

  [[noreturn, gnu::noinline, gnu::cold]] void fail(const char* expected) {
    char detail[160];
    std::snprintf(detail, sizeof detail, "offset %llu: expected %s", static_cast<unsigned long long>(offset()),
                  expected);
    ListStreamException e;
    e.setAuxText2(avo::from_utf8(detail));
    throw e;
  }

  // Makes at least `n` (<= kBufferSize) bytes available; false when the data ends first.
  bool ensure(std::size_t n) {
    if (static_cast<std::size_t>(end_ - cur_) >= n) return true;
    if (direct_) return false;  // every byte is visible already
    const std::size_t keep = static_cast<std::size_t>(end_ - cur_);
    std::memmove(buffer_.get(), cur_, keep);
    cur_ = buffer_.get();
    end_ = cur_ + keep;
    while (static_cast<std::size_t>(end_ - cur_) < n) {
      const std::size_t got = file_->read(end_, kBufferSize - static_cast<std::size_t>(end_ - cur_));
      if (got == 0) return false;
      end_ += got;
      loaded_ += got;
    }
    return true;
  }
  // Consumes `n` bytes and returns them.
  const std::uint8_t* need(std::size_t n) {
    if (static_cast<std::size_t>(end_ - cur_) < n && !ensure(n)) {
      cur_ = end_;
      fail("more data");
    }
    const std::uint8_t* p = cur_;
    record(p, n);
    cur_ += n;
    return p;
  }
  void record(const std::uint8_t* p, std::size_t n) {
    if (record_ != nullptr) recordSlow(p, n);
  }
  void recordSlow(const std::uint8_t* p, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) record_->push_back(p[i]);
  }
  // Fails early when a length of units of 2^unitShift bytes cannot fit in what is left of a file of
  // known size.
  void checkLength(std::uint64_t count, int unitShift) {
    if (sizeKnown_ && count > (remaining_ - std::min(remaining_, offset())) >> unitShift) {
      fail("a length within the data");
    }
  }

  // The first unconsumed element of the current tag byte (reading the next byte when it is used up):
  // a mark, kKindFlag | kind, or kNothing at the end of the data.
  int nextThing() {
    if ((marks_ | kind_) == 0) {
      if (cur_ == end_ && !ensure(1)) return kNothing;
      const std::uint8_t b = *cur_;
      if (b == 0) fail("a tag byte");  // carries neither a mark nor an item
      record(cur_, 1);
      ++cur_;
      marks_ = b & lf::kMarkMask;
      kind_ = b & lf::kKindMask;
    }
    if ((marks_ & lf::kMarkEndOfList) != 0) return lf::kMarkEndOfList;
    if ((marks_ & lf::kMarkSeparator) != 0) return lf::kMarkSeparator;
    if ((marks_ & lf::kMarkBeginOfList) != 0) return lf::kMarkBeginOfList;
    return kKindFlag | kind_;
  }
  // The inline half of nextThing: loads a fresh tag byte when the current one is used up; false when
  // that needs the general path (the buffer is empty, the byte is invalid, or bytes are being recorded).
  bool fastTag() noexcept {
    if ((marks_ | kind_) != 0) return true;
    if (cur_ == end_ || *cur_ == 0 || record_ != nullptr) return false;
    const std::uint8_t b = *cur_++;
    marks_ = b & lf::kMarkMask;
    kind_ = b & lf::kKindMask;
    return true;
  }
  // Makes the current tag byte hold something unconsumed; false at the end of the data.
  bool loadTag() {
    if ((marks_ | kind_) != 0) return true;
    return nextThing() != kNothing;
  }
  // Marks taken before `mark` within one byte.
  static constexpr std::uint8_t earlierMarks(std::uint8_t mark) noexcept {
    return mark == lf::kMarkEndOfList   ? 0
           : mark == lf::kMarkSeparator ? lf::kMarkEndOfList
                                        : static_cast<std::uint8_t>(lf::kMarkEndOfList | lf::kMarkSeparator);
  }
  void consumeMark(std::uint8_t mark, const char* what) {
    if (!loadTag() || (marks_ & mark) == 0 || (marks_ & earlierMarks(mark)) != 0) fail(what);
    marks_ &= static_cast<std::uint8_t>(~mark);
  }
  // Takes the separator when one is due, then the kind of the item.
  std::uint8_t itemKind(const char* what) {
    const std::uint8_t kind = quickKind();
    return kind != 0 ? kind : itemKindSlow(what);
  }
  // The same for a tag byte that holds exactly the due separator and a kind; 0 (consuming nothing)
  // for anything else.
  std::uint8_t quickKind() noexcept {
    if (fastTag() && marks_ == (afterItem_ ? lf::kMarkSeparator : 0) && kind_ != 0) {
      const std::uint8_t kind = kind_;
      marks_ = 0;
      kind_ = 0;
      afterItem_ = true;
      return kind;
    }
    return 0;
  }
  [[gnu::noinline]] std::uint8_t itemKindSlow(const char* what) {
    if (afterItem_) consumeMark(lf::kMarkSeparator, "a separator");
    if (!loadTag() || marks_ != 0 || kind_ == 0) fail(what);  // the kind comes after every mark
    const std::uint8_t kind = kind_;
    kind_ = 0;
    afterItem_ = true;
    return kind;
  }

  std::uint64_t integerPayload(std::uint8_t kind) {
    if (kind >= lf::kSmallFirst && kind <= lf::kSmallLast) return kind - lf::kSmallFirst;
    if (kind < lf::kUInt8 || kind > lf::kNegInt64) fail("an integer");
    const int bytes = 1 << ((kind - lf::kUInt8) / 2);
    const std::uint64_t magnitude = load_le(need(static_cast<std::size_t>(bytes)), bytes);
    return (kind - lf::kUInt8) % 2 == 1 ? 0 - magnitude : magnitude;
  }

  // The usual strings, whole in the buffer, inline; the rest out of line. (Items are read outside
  // skipping only: nothing is being recorded.)
  void stringPayload(std::uint8_t kind, avo::WString& out) {
    if (kind == lf::kStringOneByte && cur_ != end_) {  // tags and flags: often the same string again
      const char16_t unit = *cur_++;
      if (out.size() == 1) {
        out[0] = unit;
      } else {
        out.assign(1, unit);
      }
      return;
    }
    if ((kind == lf::kWide8 || kind == lf::kNarrow8) && cur_ != end_) {
      const bool narrow = kind == lf::kNarrow8;
      const std::size_t n = *cur_;
      if (static_cast<std::size_t>(end_ - cur_) > (n << (narrow ? 0 : 1))) {
        ++cur_;
        copyUnits(out, n, narrow);
        return;
      }
    }
    stringPayloadSlow(kind, out);
  }
  // Replaces `out` by n units that lie at cur_ (resizing to the previous length costs nothing).
  void copyUnits(avo::WString& out, std::size_t n, bool narrow) {
    out.resize(n);
    const std::uint8_t* p = cur_;
    cur_ += narrow ? n : 2 * n;
    if (narrow) {
      for (std::size_t i = 0; i < n; ++i) out[i] = p[i];
    } else if constexpr (std::endian::native == std::endian::little) {
      copy_short(out.data(), p, n * 2);
    } else {
      for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<char16_t>(p[2 * i] | p[2 * i + 1] << 8);
    }
  }
  [[gnu::noinline]] void stringPayloadSlow(std::uint8_t kind, avo::WString& out) {
    if (kind == lf::kStringEmpty) {
      out.clear();
      return;
    }
    if (kind == lf::kStringOneByte) {  // tags and flags: usually the same one-unit string again
      const char16_t unit = *need(1);
      if (out.size() == 1) {
        out[0] = unit;
      } else {
        out.assign(1, unit);
      }
      return;
    }
    if (kind < lf::kWide8 || kind > lf::kNarrow64) fail("a string");
    const bool narrow = kind >= lf::kNarrow8;
    const int step = (kind - (narrow ? lf::kNarrow8 : lf::kWide8));
    const int lengthBytes = step == 0 ? 1 : step == 1 ? 2 : 8;
    const std::uint64_t length = load_le(need(static_cast<std::size_t>(lengthBytes)), lengthBytes);
    const int shift = narrow ? 0 : 1;  // bytes per unit: 1 << shift
    if (length <= (static_cast<std::uint64_t>(end_ - cur_) >> shift)) {
      const auto n = static_cast<std::size_t>(length);
      record(cur_, n << shift);
      copyUnits(out, n, narrow);
      return;
    }
    checkLength(length, shift);
    out.clear();
    for (std::uint64_t left = length; left > 0;) {
      if (!ensure(std::size_t(1) << shift)) {
        cur_ = end_;
        fail("more string data");
      }
      const std::size_t take =
          static_cast<std::size_t>(std::min<std::uint64_t>(left, static_cast<std::size_t>(end_ - cur_) >> shift));
      const std::uint8_t* p = need(take << shift);
      const std::size_t at = out.size();
      out.resize(at + take);  // grows with the bytes actually read, never with the stated length
      char16_t* o = out.data() + at;
      if (narrow) {
        for (std::size_t i = 0; i < take; ++i) o[i] = p[i];
      } else if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(o, p, take * 2);
      } else {
        for (std::size_t i = 0; i < take; ++i) o[i] = static_cast<char16_t>(p[2 * i] | p[2 * i + 1] << 8);
      }
      left -= take;
    }
  }

  void readChunks(ByteSink& sink) {
    for (;;) {
      const std::size_t n = static_cast<std::size_t>(load_le(need(2), 2));
      if (n == 0) return;
      if (n > lf::kChunkSize) fail("a chunk of at most 16384 bytes");
      sink.bytes(need(n), n);
    }
  }

  void skipBytes(std::uint64_t count) {
    checkLength(count, 0);
    while (count > 0) {
      if (!ensure(1)) {
        cur_ = end_;
        fail("more data");
      }
      const std::size_t n =
          static_cast<std::size_t>(std::min<std::uint64_t>(count, static_cast<std::size_t>(end_ - cur_)));
      need(n);
      count -= n;
    }
  }

  // Skips one item's payload; the kind alone says how long it is.
  void skipPayload(std::uint8_t kind) {
    if (kind >= lf::kSmallFirst && kind <= lf::kNegInt64) {
      integerPayload(kind);
    } else if (kind == lf::kFloat) {
      need(4);
    } else if (kind == lf::kDouble) {
      need(8);
    } else if (kind == lf::kFixed16) {
      need(16);
    } else if (kind == lf::kChunked) {
      struct Discard final : ByteSink {
        void bytes(const std::uint8_t*, std::size_t) override {}
      } discard;
      readChunks(discard);
    } else if (kind >= lf::kWide8 && kind <= lf::kNarrow64) {
      const bool narrow = kind >= lf::kNarrow8;
      const int step = (kind - (narrow ? lf::kNarrow8 : lf::kWide8));
      const int lengthBytes = step == 0 ? 1 : step == 1 ? 2 : 8;
      const std::uint64_t length = load_le(need(static_cast<std::size_t>(lengthBytes)), lengthBytes);
      if (!narrow && length > (std::uint64_t(1) << 62)) fail("a length within the data");
      skipBytes(narrow ? length : length * 2);
    } else {
      fail("a known kind of item");
    }
  }

  void skip(avo::WString* saved) {
    struct Recording {
      avo::WString*& slot;
      ~Recording() { slot = nullptr; }
    } recording{record_};
    if (saved != nullptr) {
      saved->clear();
      // A tag byte whose earlier marks were consumed already: keep what is left of it.
      if ((marks_ | kind_) != 0) saved->push_back(static_cast<char16_t>(marks_ | kind_));
      record_ = saved;
    }
    std::uint64_t depth = 0;  // nested lists are counted, not recursed into
    for (;;) {
      if (afterItem_ && !getComma()) {
        if (depth == 0) return;
        getEndOfList();
        --depth;
        continue;
      }
      const int next = nextThing();
      if (next == lf::kMarkBeginOfList) {
        getBeginOfList();
        ++depth;
        continue;
      }
      if (next == lf::kMarkEndOfList || next == kNothing) {
        if (depth == 0) return;
        getEndOfList();
        --depth;
        continue;
      }
      skipPayload(itemKind("an item"));
    }
  }

  InterfacePtr<IFile> file_;
  InterfacePtr<IFileEx> fileEx_;
  std::unique_ptr<std::uint8_t[]> buffer_;
  std::uint8_t* cur_;
  std::uint8_t* end_;
  std::uint64_t loaded_ = 0;  // bytes read from the file so far
  std::uint64_t start_ = 0;   // the file's position when reading began (IFileEx only)
  std::uint64_t remaining_ = 0;
  bool sizeKnown_ = false;
  bool direct_ = false;     // cur_ and end_ point into a memory file's own bytes
  std::uint8_t marks_ = 0;  // unconsumed marks of the current tag byte
  std::uint8_t kind_ = 0;   // its unconsumed kind, 0 when taken or absent
  bool afterItem_ = false;
  avo::WString* record_ = nullptr;
  avo::String scratch_;
};

}  // namespace

}  // namespace core::detail

namespace core {

InterfacePtr<IListInStream> create_packed_list_in_stream(IFile* file) {
  if (file == nullptr) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("PackedReader"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  return InterfacePtr<IListInStream>(new detail::PackedListInStream(file), adopt_ref);
}

}  // namespace core
