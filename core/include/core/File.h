#pragma once
// Byte files: the media under the packed list stream and the text file readers and writers.
//
// IFile is a sequential byte stream (read, write, flush, close); IFileEx adds a size and a position that
// can be moved. Two implementations come with the library: operating-system files (open_file) and files
// held in memory (create_memory_file).
//
//     core::InterfacePtr<core::IFileEx> file = core::open_file("table.dat", core::FileMode::Write);
//     core::ListOutStream out(file.get());              // packed list stream onto the file
//     ...
//     out.close();                                      // flushes and closes the file
//
//     core::InterfacePtr<core::IMemoryFile> memory = core::create_memory_file();
//     memory->write("abc", 3);
//     memory->setPosition(0);                           // read it back from the start
//
// Failures of the medium throw FileException (core/Exception.h) with the system's error code; using a
// closed file throws IOException(Closed).
//
// Thread safety: a file object is used by one thread at a time.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/Export.h"
#include "core/Interface.h"

namespace core {

// A sequential byte stream with a position; see the top of this file.
class IFile : public IUnknown {
 public:
  static constexpr GUID IID = guid("15cf8939-4387-4101-9538-835165037571");

  // Reads up to `size` bytes at the current position and advances it. Returns how many were read; fewer
  // than `size` only at the end of the file (0 when nothing is left).
  virtual std::size_t read(void* buffer, std::size_t size) = 0;
  // Writes all `size` bytes at the current position and advances it.
  virtual void write(const void* data, std::size_t size) = 0;
  // Hands buffered data on to the medium.
  virtual void flush() = 0;
  // Flushes and releases the medium. A second close does nothing; any other call afterwards throws
  // IOException(Closed). Releasing the last reference closes too (errors then go nowhere).
  virtual void close() = 0;

 protected:
  ~IFile() = default;
};

// A file with a size and a movable position.
class IFileEx : public IFile {
 public:
  static constexpr GUID IID = guid("ba2257bd-5389-4a2f-8482-d2be74bbf65f");

  // The size in bytes and the current position (0 is the first byte).
  virtual std::uint64_t getSize() = 0;
  virtual std::uint64_t getPosition() = 0;
  // Moves the position; a position past the end is allowed (reads there find nothing, a write there
  // fills the gap with zero bytes).
  virtual void setPosition(std::uint64_t position) = 0;
  // Truncates or extends (with zero bytes) the file; the position is not moved.
  virtual void setSize(std::uint64_t size) = 0;

 protected:
  ~IFileEx() = default;
};

// A file whose bytes live in memory.
class IMemoryFile : public IFileEx {
 public:
  static constexpr GUID IID = guid("05b09161-0fd8-4946-9c42-bc2849c04369");

  // The whole content, getSize() bytes; valid until the next write or setSize.
  virtual const std::uint8_t* getData() const noexcept = 0;

 protected:
  ~IMemoryFile() = default;
};

// How open_file opens a file.
enum class FileMode {
  Read,       // an existing file, for reading
  Write,      // created, or truncated when it exists, for writing
  ReadWrite,  // created when missing, kept otherwise, for reading and writing
  Append,     // created when missing; every write goes to the end
};

// Opens an operating-system file by its UTF-8 path. Throws FileException (NotFound, AccessDenied, ...,
// with the system's code and the path as URL) when it cannot be opened. Writes go straight to the
// system (no buffering in the object); flush() asks the system to put them on the device.
KERN83_API InterfacePtr<IFileEx> open_file(std::string_view utf8Path, FileMode mode);

// An empty memory file, or one holding a copy of `size` bytes at `data`; the position is 0. Never
// throws but std::bad_alloc.
KERN83_API InterfacePtr<IMemoryFile> create_memory_file();
KERN83_API InterfacePtr<IMemoryFile> create_memory_file(const void* data, std::size_t size);

}  // namespace core
