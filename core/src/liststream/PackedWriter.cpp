// The packed encoding, writing side. Marks (end of list, separator, begin of list) wait in one pending
// tag byte and travel with the next item's kind; a mark that cannot join the pending byte (it would be
// taken before a mark already there, or is already there) first sends the pending byte out alone.
#include <bit>
#include <cstring>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/RefCountedObject.h"
#include "base/SourcePosition.h"
#include "charstream/MemoryCopy.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Numeric.h"
#include "liststream/ListFormat.h"
#include "liststream/ListNumeric.h"
#include "liststream/UnitScan.h"

namespace core::detail {

namespace lf = list_format;

namespace {

// Order in which a reader takes the marks of one byte.
int rank_of(std::uint8_t mark) noexcept {
  switch (mark) {
    case lf::kMarkEndOfList:
      return 0;
    case lf::kMarkSeparator:
      return 1;
    default:
      return 2;  // begin of list
  }
}

// Units <= 255 as one byte each.
void narrow_units(std::uint8_t* out, const char16_t* in, std::size_t n) noexcept {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= n; i += 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(a, b));  // exact: all <= 255
  }
#endif
  for (; i < n; ++i) out[i] = static_cast<std::uint8_t>(in[i]);
}

void store_le(std::uint8_t* out, std::uint64_t value, int bytes) noexcept {
  for (int i = 0; i < bytes; ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

class PackedListOutStream final : public RefCountedObject<IListOutStream> {
 public:
  explicit PackedListOutStream(IFile* file) : file_(file), buffer_(new std::uint8_t[kBufferSize]) {}

  void putBeginOfList() override {
    separator();
    mark(lf::kMarkBeginOfList);
    needSeparator_ = false;
  }
  void putEndOfList() override {
    if (pending_ != 0) emitByte(pending_);
    pending_ = lf::kMarkEndOfList;
    needSeparator_ = true;
  }
  void putBool(bool value) override { item(value ? lf::kSmallFirst + 1 : lf::kSmallFirst); }
  void putInteger(std::uint64_t magnitude, bool negative) override {
    if (!negative && magnitude <= 9) {
      item(static_cast<std::uint8_t>(lf::kSmallFirst + magnitude));
      return;
    }
    const int bytes = magnitude <= 0xFF ? 1 : magnitude <= 0xFFFF ? 2 : magnitude <= 0xFFFFFFFFu ? 4 : 8;
    const std::uint8_t kind = bytes == 1   ? lf::kUInt8
                              : bytes == 2 ? lf::kUInt16
                              : bytes == 4 ? lf::kUInt32
                                           : lf::kUInt64;
    item(static_cast<std::uint8_t>(kind + (negative ? 1 : 0)));
    store_le(reserve(8), magnitude, bytes);
    used_ += static_cast<std::size_t>(bytes);
  }
  void putFloat(float value) override {
    item(lf::kFloat);
    std::memcpy(reserve(4), &value, 4);  // the platforms are little-endian IEEE
    used_ += 4;
  }
  void putDouble(double value) override {
    item(lf::kDouble);
    std::memcpy(reserve(8), &value, 8);
    used_ += 8;
  }
  void putGuid(const GUID& value) override {
    item(lf::kFixed16);
    std::uint8_t* o = reserve(16);
    store_le(o, value.Data1, 4);
    store_le(o + 4, value.Data2, 2);
    store_le(o + 6, value.Data3, 2);
    std::memcpy(o + 8, value.Data4, 8);
    used_ += 16;
  }
  void putNumeric(const Numeric& value) override {
    // Integers of at most two limbs (below 10^18) take the integer kinds; so does anything toInteger
    // accepts.
    const std::int32_t count = value.getCount();
    if (value.getScale() == 0 && count <= 2) {
      const std::uint32_t* limbs = value.getLimbs();
      const std::uint64_t magnitude = count == 0 ? 0 : count == 1 ? limbs[0] : limbs[1] * 1000000000ULL + limbs[0];
      putInteger(magnitude, value.getSignByte() < 0 && count != 0);
      return;
    }
    if (long long integer = 0; value.toInteger(integer)) {
      putInteger(integer < 0 ? 0 - static_cast<std::uint64_t>(integer) : static_cast<std::uint64_t>(integer),
                 integer < 0);
      return;
    }
    if (!numeric_fits_binary(value)) {
      const avo::WString text = value.toString();
      putString(text.data(), text.size());
      return;
    }
    item(lf::kChunked);
    const std::size_t size = lf::kNumericHeader + 4 * static_cast<std::size_t>(count);
    if (size <= lf::kChunkSize) {  // one chunk, written in place
      std::uint8_t* o = reserve(size + 4);
      store_le(o, size, 2);
      numeric_to_binary(value, o + 2);
      store_le(o + 2 + size, 0, 2);
      used_ += size + 4;
      return;
    }
    scratch_.assign(size, '\0');
    numeric_to_binary(value, reinterpret_cast<std::uint8_t*>(scratch_.data()));
    chunks(reinterpret_cast<const std::uint8_t*>(scratch_.data()), scratch_.size());
    endChunks();
  }
  void putString(const char16_t* text, std::size_t length) override {
    // Deliberate, as in the text form: the string ends at the first zero unit.
    bool narrow = true;
    const std::size_t n = measure_string(text, text + length, narrow);
    if (n == 0) {
      item(lf::kStringEmpty);
      return;
    }
    if (n == 1 && narrow) {
      item(lf::kStringOneByte);
      *reserve(1) = static_cast<std::uint8_t>(text[0]);
      ++used_;
      return;
    }
    const int lengthBytes = n <= 0xFF ? 1 : n <= 0xFFFF ? 2 : 8;
    const std::uint8_t base = narrow ? lf::kNarrow8 : lf::kWide8;
    item(static_cast<std::uint8_t>(base + (lengthBytes == 1 ? 0 : lengthBytes == 2 ? 1 : 2)));
    store_le(reserve(8), n, lengthBytes);
    used_ += static_cast<std::size_t>(lengthBytes);
    for (std::size_t done = 0; done < n;) {
      const std::size_t take = std::min<std::size_t>(n - done, kBufferSize / 4);
      std::uint8_t* o = reserve(take * 2);
      if (narrow) {
        narrow_units(o, text + done, take);
        used_ += take;
      } else {
        if constexpr (std::endian::native == std::endian::little) {
          copy_memory(o, text + done, take * 2);
        } else {
          for (std::size_t i = 0; i < take; ++i) store_le(o + 2 * i, text[done + i], 2);
        }
        used_ += take * 2;
      }
      done += take;
    }
  }
  void putBytes(const void* data, std::size_t size) override {
    item(lf::kChunked);
    chunks(static_cast<const std::uint8_t*>(data), size);
    endChunks();
  }
  void putFile(IFile* file) override {
    item(lf::kChunked);
    std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[lf::kChunkSize]);
    for (;;) {
      const std::size_t n = file->read(block.get(), lf::kChunkSize);
      if (n == 0) break;
      chunks(block.get(), n);
    }
    endChunks();
  }
  void flush() override {
    drainPending();
    file_->flush();
  }
  void close() override {
    if (closed_) return;
    drainPending();
    closed_ = true;
    file_->close();
  }

 private:
  static constexpr std::size_t kBufferSize = 64 * 1024;

  ~PackedListOutStream() override {
    if (closed_) return;
    try {
      drainPending();
    } catch (const Exception& e) {
      try {
        destructor_exception(e);
      } catch (...) {  // no handler installed: nowhere left to report it
      }
    } catch (...) {
    }
  }

  void separator() {
    if (needSeparator_ && separatorsEnabled_) mark(lf::kMarkSeparator);
  }
  void mark(std::uint8_t m) {
    if (pending_ != 0) {
      bool joins = (pending_ & lf::kKindMask) == 0;
      for (const std::uint8_t other : {lf::kMarkEndOfList, lf::kMarkSeparator, lf::kMarkBeginOfList}) {
        if ((pending_ & other) != 0 && rank_of(other) >= rank_of(m)) joins = false;
      }
      if (!joins) {
        emitByte(pending_);
        pending_ = 0;
      }
    }
    pending_ |= m;
  }
  void item(std::uint8_t kind) {
    separator();
    emitByte(static_cast<std::uint8_t>(pending_ | kind));
    pending_ = 0;
    needSeparator_ = true;
  }
  void emitByte(std::uint8_t b) {
    *reserve(1) = b;
    ++used_;
  }
  // Chunks of at most kChunkSize bytes, each after its 2-byte length.
  void chunks(const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
      const std::size_t n = std::min(size, lf::kChunkSize);
      std::uint8_t* o = reserve(2 + n);
      store_le(o, n, 2);
      copy_memory(o + 2, data, n);
      used_ += 2 + n;
      data += n;
      size -= n;
    }
  }
  void endChunks() {
    store_le(reserve(2), 0, 2);
    used_ += 2;
  }
  // Room for `n` (<= kBufferSize) bytes at buffer_ + used_.
  std::uint8_t* reserve(std::size_t n) {
    if (kBufferSize - used_ < n) drain();
    return buffer_.get() + used_;
  }
  void drain() {
    if (closed_) throw IOException(IOException::Closed, u"packed list stream");
    const std::size_t n = used_;
    used_ = 0;
    if (n != 0) file_->write(buffer_.get(), n);
  }
  void drainPending() {
    if (pending_ != 0) emitByte(std::exchange(pending_, 0));
    drain();
  }

  InterfacePtr<IFile> file_;
  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t used_ = 0;
  std::uint8_t pending_ = 0;
  bool needSeparator_ = false;
  bool separatorsEnabled_ = true;
  bool closed_ = false;
  avo::String scratch_;
};

}  // namespace

}  // namespace core::detail

namespace core {

InterfacePtr<IListOutStream> create_packed_list_out_stream(IFile* file) {
  if (file == nullptr) {
    throw IllegalArgumentException(KERN83_SOURCE_POSITION("PackedWriter"), ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  return InterfacePtr<IListOutStream>(new detail::PackedListOutStream(file), adopt_ref);
}

}  // namespace core
