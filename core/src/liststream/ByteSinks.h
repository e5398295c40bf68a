#pragma once
// Where the bytes of a byte-data item go as a reader decodes them (Base64 text or packed chunks): a
// string, a caller's buffer, or a file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "avo/BasicString.h"
#include "core/File.h"

namespace core::detail {

class ByteSink {
 public:
  virtual void bytes(const std::uint8_t* data, std::size_t size) = 0;

 protected:
  ~ByteSink() = default;
};

struct StringByteSink final : ByteSink {
  explicit StringByteSink(avo::String& s) : out(s) {}
  void bytes(const std::uint8_t* data, std::size_t size) override {
    out.append(reinterpret_cast<const char*>(data), size);
  }
  avo::String& out;
};

// Keeps what fits and notes that more came.
struct BufferByteSink final : ByteSink {
  BufferByteSink(std::uint8_t* b, std::size_t c) : buffer(b), capacity(c) {}
  void bytes(const std::uint8_t* data, std::size_t size) override {
    const std::size_t n = std::min(size, capacity - used);
    if (n != 0) std::memcpy(buffer + used, data, n);
    used += n;
    if (n < size) overflow = true;
  }
  std::uint8_t* buffer;
  std::size_t capacity;
  std::size_t used = 0;
  bool overflow = false;
};

struct FileByteSink final : ByteSink {
  explicit FileByteSink(IFile* f) : file(f) {}
  void bytes(const std::uint8_t* data, std::size_t size) override { file->write(data, size); }
  IFile* file;
};

}  // namespace core::detail
