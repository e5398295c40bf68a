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
// stream may be handed to an object that keeps it. They are deliberately minimal: buffering, files and
// fast paths belong to the implementations.
//
// Thread safety: a stream is used by one thread at a time unless its implementation says otherwise.

#include <cstddef>

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

}  // namespace core
