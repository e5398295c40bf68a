// Text over byte files: a BufferedReader that decodes UTF-8 / UTF-16 and a BufferedWriter that encodes.
#include <cstring>
#include <memory>

#include "base/RefCountedObject.h"
#include "charstream/Utf.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"

namespace core {

namespace {

constexpr std::size_t kByteBlock = 64 * 1024;
constexpr std::size_t kUnitBlock = 16 * 1024;

class FileReader final : public detail::RefCountedObject<BufferedReader, IReader> {
 public:
  explicit FileReader(IFile* file)
      : file_(file), bytes_(new std::uint8_t[kByteBlock]), units_(new char16_t[kByteBlock]) {
    next_ = end_ = bytes_.get();
  }

 protected:
  bool underflow() override {
    for (;;) {
      if (!started_) detectEncoding();
      std::size_t n = decode();
      if (n > 0) {
        setSpan(units_.get(), units_.get() + n);
        return true;
      }
      if (eof_) return false;
      readMore();
    }
  }

 private:
  enum Encoding { Utf8, Utf16LE, Utf16BE };

  // Moves the unused bytes to the front and appends what the file gives.
  void readMore() {
    const std::size_t keep = static_cast<std::size_t>(end_ - next_);
    std::memmove(bytes_.get(), next_, keep);
    const std::size_t got = file_->read(bytes_.get() + keep, kByteBlock - keep);
    if (got == 0) eof_ = true;
    next_ = bytes_.get();
    end_ = bytes_.get() + keep + got;
  }

  void detectEncoding() {
    while (!eof_ && end_ - next_ < 3) readMore();
    const std::size_t have = static_cast<std::size_t>(end_ - next_);
    const std::uint8_t* b = next_;
    if (have >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
      next_ += 3;
    } else if (have >= 2 && b[0] == 0xFF && b[1] == 0xFE) {
      encoding_ = Utf16LE;
      next_ += 2;
    } else if (have >= 2 && b[0] == 0xFE && b[1] == 0xFF) {
      encoding_ = Utf16BE;
      next_ += 2;
    }
    started_ = true;
  }

  // Decodes what the byte buffer holds; returns the number of units stored in units_.
  std::size_t decode() {
    if (encoding_ == Utf8) return detail::decode_utf8(next_, end_, units_.get(), eof_);
    std::size_t n = 0;
    const int high = encoding_ == Utf16BE ? 0 : 1;
    while (end_ - next_ >= 2) {
      units_[n++] = static_cast<char16_t>(next_[high] << 8 | next_[1 - high]);
      next_ += 2;
    }
    if (eof_ && next_ != end_) {  // an odd last byte
      units_[n++] = detail::kReplacement;
      next_ = end_;
    }
    return n;
  }

  InterfacePtr<IFile> file_;
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::unique_ptr<char16_t[]> units_;  // at most one unit per byte
  const std::uint8_t* next_ = nullptr;
  const std::uint8_t* end_ = nullptr;
  Encoding encoding_ = Utf8;
  bool started_ = false;
  bool eof_ = false;
};

class FileWriter final : public detail::RefCountedObject<BufferedWriter, IWriter> {
 public:
  FileWriter(IFile* file, TextEncoding encoding, bool bom)
      : file_(file),
        encoding_(encoding),
        bomPending_(bom),
        units_(new char16_t[kUnitBlock]),
        bytes_(new std::uint8_t[3 * kUnitBlock + 8]) {
    setSpan(units_.get(), units_.get(), units_.get() + kUnitBlock);
  }

  void flush() override {
    drain(false);
    file_->flush();
  }
  void close() override {
    if (closed_) return;
    drain(true);
    closed_ = true;
    file_->close();
  }

 protected:
  void overflow(std::size_t) override { drain(false); }  // kUnitBlock > kMaxReserve: room follows

 private:
  ~FileWriter() override {
    if (closed_) return;
    try {
      drain(true);
    } catch (const Exception& e) {
      try {
        destructor_exception(e);
      } catch (...) {  // no handler installed: nowhere left to report it
      }
    } catch (...) {
    }
  }

  // Encodes and writes the buffered units.
  void drain(bool final) {
    if (closed_) throw IOException(IOException::Closed, u"text file writer");
    std::uint8_t* o = bytes_.get();
    if (bomPending_) {
      if (encoding_ == TextEncoding::Utf8) {
        *o++ = 0xEF, *o++ = 0xBB, *o++ = 0xBF;
      } else {
        *o++ = 0xFF, *o++ = 0xFE;
      }
      bomPending_ = false;
    }
    const char16_t* begin = spanBegin();
    const char16_t* end = spanNext();
    if (encoding_ == TextEncoding::Utf8) {
      o += detail::encode_utf8(begin, end, o, pending_, final);
    } else {
      for (const char16_t* p = begin; p != end; ++p) {
        *o++ = static_cast<std::uint8_t>(*p & 0xFF);
        *o++ = static_cast<std::uint8_t>(*p >> 8);
      }
    }
    setSpan(units_.get(), units_.get(), units_.get() + kUnitBlock);
    if (o != bytes_.get()) file_->write(bytes_.get(), static_cast<std::size_t>(o - bytes_.get()));
  }

  InterfacePtr<IFile> file_;
  TextEncoding encoding_;
  bool bomPending_;
  bool closed_ = false;
  char16_t pending_ = 0;  // a high surrogate waiting for its partner (UTF-8 only)
  std::unique_ptr<char16_t[]> units_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

}  // namespace

InterfacePtr<BufferedReader> create_file_reader(IFile* file) {
  return InterfacePtr<BufferedReader>(new FileReader(file), adopt_ref);
}

InterfacePtr<BufferedWriter> create_file_writer(IFile* file, TextEncoding encoding, bool byteOrderMark) {
  return InterfacePtr<BufferedWriter>(new FileWriter(file, encoding, byteOrderMark), adopt_ref);
}

}  // namespace core
