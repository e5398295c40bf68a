#pragma once
// Character streams: the sources and sinks of every text the library reads or writes (the list stream's
// text encoding, numbers written with Numeric::toStream, ...). Characters are UTF-16 code units.
//
//     void save(core::IWriter* out, const core::Numeric& amount) {
//       out->write(u"amount=", -1);   // -1: up to the terminating zero
//       amount.toStream(out);
//       out->write(u'\n');
//     }
//
// Both are interfaces in the library's sense: reference-counted (IUnknown, held by InterfacePtr), so a
// stream may be handed to an object that keeps it. They are deliberately minimal; the fast path is the
// buffered pair below: BufferedReader and BufferedWriter expose their buffer as a span of code units, so
// a scanner (the list stream) works with plain pointers and pays a virtual call only per buffer, not
// per character. Every stream the library makes is buffered:
//
//     auto reader = core::create_memory_reader(u"{1,2}");           // over a UTF-16 buffer
//     auto file = core::open_file("data.txt", core::FileMode::Read);
//     auto text = core::create_file_reader(file.get());              // UTF-8 or UTF-16LE, by the BOM
//     auto out = core::MemoryWriter::create();                       // collects UTF-16 in memory
//
// Thread safety: a stream is used by one thread at a time unless its implementation says otherwise.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Interface.h"

namespace core {

// A sink of UTF-16 code units. Errors of the underlying medium are thrown by the implementation.
class IWriter : public IUnknown {
 public:
  static constexpr GUID IID = guid("f831ec70-91e2-45fe-a8ed-4ccb3a948354");

  // Appends one code unit.
  virtual void write(char16_t c) = 0;
  // Appends `length` code units of `text`; a length of -1 means up to (not including) the terminating
  // zero. Zero units inside an explicit length are written like any other.
  virtual void write(const char16_t* text, std::ptrdiff_t length) = 0;

 protected:
  ~IWriter() = default;
};

// A source of UTF-16 code units with one unit of look-ahead.
class IReader : public IUnknown {
 public:
  static constexpr GUID IID = guid("fb2fe0b5-db52-4ccf-bd15-99757343f635");

  // Returned by read() and peek() at end of input.
  static constexpr int kEnd = -1;
  // The largest buffer readUntil fills in one call.
  static constexpr int kMaxRun = 256;

  // Consumes and returns the next code unit (0..0xFFFF), or kEnd at end of input.
  virtual int read() = 0;
  // Returns the next code unit without consuming it, or kEnd at end of input.
  virtual int peek() = 0;
  // Consumes code units into `buffer` until the next one is `stop` (which stays unread), `size` units
  // have been stored, or the input ends. `size` is at most kMaxRun. Returns the number stored.
  virtual int readUntil(char16_t stop, char16_t* buffer, int size) = 0;
  // Consumes up to `count` code units into `buffer`; returns how many there were (fewer only at end of
  // input).
  virtual int read(char16_t* buffer, int count) = 0;
  // Whether the input is exhausted (the next read() would answer kEnd).
  virtual bool atEnd() = 0;

 protected:
  ~IReader() = default;
};

class IFile;

// A reader whose input is visible as a span of code units [next(), limit()). Scanners consume by moving
// next() forward with advance() and call fill() when the span runs dry; the IReader operations work on
// the same span, so both kinds of use may be mixed. Found through QueryInterface(BufferedReader::IID).
class KERN83_API BufferedReader : public IReader {
 public:
  static constexpr GUID IID = guid("154256df-cd17-4204-b123-39552e6c03f9");

  int read() final;
  int peek() final;
  int readUntil(char16_t stop, char16_t* buffer, int size) final;
  int read(char16_t* buffer, int count) final;
  bool atEnd() final;

  // The unread units of the current span.
  const char16_t* next() const noexcept { return next_; }
  const char16_t* limit() const noexcept { return end_; }
  // Consumes the units before `to`, which must lie in [next(), limit()].
  void advance(const char16_t* to) noexcept { next_ = to; }
  // True with a non-empty span, false at end of input. Errors of the medium pass through.
  bool fill() { return next_ != end_ || refill(); }
  // Units consumed since the reader was made.
  std::uint64_t offset() const noexcept { return base_ + static_cast<std::uint64_t>(next_ - begin_); }
  // A reader that stands in front of another stream hands the consumed units on to it here; callers
  // that consume through the span call sync() before the underlying stream is used directly.
  void sync() {
    if (needsSync_) syncSource();
  }

 protected:
  BufferedReader() = default;
  ~BufferedReader() = default;

  // Called with the span exhausted: either setSpan() to the next non-empty run and return true, or
  // return false at end of input.
  virtual bool underflow() = 0;
  // Passes the consumed units on to the stream behind this one (see sync()); nothing by default.
  virtual void syncSource() {}
  // Replaces the span; the units of the old one count as consumed up to next().
  void setSpan(const char16_t* begin, const char16_t* end) noexcept {
    base_ += static_cast<std::uint64_t>(next_ - begin_);
    begin_ = next_ = begin;
    end_ = end;
  }

  // Set by a reader that stands in front of another stream: sync() then calls syncSource().
  bool needsSync_ = false;

 private:
  bool refill();

  const char16_t* begin_ = nullptr;
  const char16_t* next_ = nullptr;
  const char16_t* end_ = nullptr;
  std::uint64_t base_ = 0;
};

// A writer whose buffer is visible: reserve() room, store units, commit() the new end. Found through
// QueryInterface(BufferedWriter::IID).
class KERN83_API BufferedWriter : public IWriter {
 public:
  static constexpr GUID IID = guid("cf54e6a5-7ce9-4bc9-aa21-a7791ed6ee1d");
  // The most reserve() may ask for at once.
  static constexpr std::size_t kMaxReserve = 4096;

  void write(char16_t c) final {
    if (next_ == end_) overflow(1);
    *next_++ = c;
  }
  void write(const char16_t* text, std::ptrdiff_t length) final {
    if (length >= 0 && length <= 32 && end_ - next_ >= length) {  // short runs: no call, no memcpy
      for (std::ptrdiff_t i = 0; i < length; ++i) next_[i] = text[i];
      next_ += length;
      return;
    }
    writeRun(text, length);
  }

  // At least `count` (<= kMaxReserve) free units starting at the returned pointer; store units there
  // and call commit() with the end of what was stored.
  char16_t* reserve(std::size_t count) {
    if (static_cast<std::size_t>(end_ - next_) < count) overflow(count);
    return next_;
  }
  void commit(char16_t* end) noexcept { next_ = end; }
  // Free units after the text; a writer that sees enough of them can store without calling reserve().
  std::size_t room() const noexcept { return static_cast<std::size_t>(end_ - next_); }

  // Hands everything written so far on to the medium (and the medium's own flush).
  virtual void flush() = 0;
  // Flushes and closes the medium; writing afterwards throws IOException(Closed).
  virtual void close() = 0;

 protected:
  BufferedWriter() = default;
  ~BufferedWriter() = default;

  // Called when fewer than `count` units are free: pass the buffered units on (or grow the buffer) and
  // setSpan() so that at least `count` units are free.
  virtual void overflow(std::size_t count) = 0;
  // Replaces the buffer: units from `begin` to `next` are written, room runs to `end`.
  void setSpan(char16_t* begin, char16_t* next, char16_t* end) noexcept {
    begin_ = begin;
    next_ = next;
    end_ = end;
  }
  // The start of the buffer and the end of what is written in it.
  char16_t* spanBegin() const noexcept { return begin_; }
  char16_t* spanNext() const noexcept { return next_; }

 private:
  void writeRun(const char16_t* text, std::ptrdiff_t length);

  char16_t* begin_ = nullptr;
  char16_t* next_ = nullptr;
  char16_t* end_ = nullptr;
};

// A writer that collects UTF-16 text in memory. QueryInterface answers IUnknown, IWriter, BufferedWriter
// and MemoryWriter.
class KERN83_API MemoryWriter final
    : public RefCountedUnknown<1, Answers<IWriter, BufferedWriter, MemoryWriter>, BufferedWriter> {
 public:
  static constexpr GUID IID = guid("6aadd623-0d9f-43a0-8feb-471e85b07430");

  // A new empty writer.
  static InterfacePtr<MemoryWriter> create();

  // Everything written so far; valid until the next write or clear().
  std::u16string_view text() const noexcept;
  avo::WString str() const { return avo::WString(text()); }
  // Forgets the text, keeping the memory for reuse.
  void clear() noexcept;

  // Nothing to pass on: the text stays in memory, and stays writable after close().
  void flush() override {}
  void close() override {}

 private:
  MemoryWriter() = default;
  ~MemoryWriter() override;
  void overflow(std::size_t count) override;
};

// A reader over UTF-16 text in memory. The first form copies the text; the second reads `text` in place
// and the caller keeps it alive and unchanged while the reader is used.
KERN83_API InterfacePtr<BufferedReader> create_memory_reader(std::u16string_view text);
KERN83_API InterfacePtr<BufferedReader> create_memory_view_reader(std::u16string_view text);

// Text files. The reader recognises the byte-order marks of UTF-8 (EF BB BF), UTF-16LE (FF FE) and
// UTF-16BE (FE FF) and skips them; without a mark the bytes are UTF-8. Ill-formed UTF-8 reads as
// U+FFFD (one per maximal ill-formed part), as does an odd last byte of UTF-16; UTF-16 code units pass
// through as they are. It reads the file from its
// current position in blocks, so it takes the file over: do not read the file directly while the
// reader is in use. The writer encodes as asked, with or without a mark; an unpaired surrogate is
// written as U+FFFD. Its buffer goes to the file on flush(), close() and when the writer is released
// (errors are then passed to destructor_exception and otherwise lost).
enum class TextEncoding { Utf8, Utf16LE };
// The reader and the writer over `file`, as described above; the writer writes `encoding`, with a
// byte-order mark when `byteOrderMark`.
KERN83_API InterfacePtr<BufferedReader> create_file_reader(IFile* file);
KERN83_API InterfacePtr<BufferedWriter> create_file_writer(IFile* file, TextEncoding encoding, bool byteOrderMark);

}  // namespace core
