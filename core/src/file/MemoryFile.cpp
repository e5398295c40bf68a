// IMemoryFile: a growable byte array with a position.
#include <algorithm>
#include <cstring>
#include <new>

#include "base/RefCountedObject.h"
#include "core/Exception.h"
#include "core/File.h"

namespace core {

namespace {

class MemoryFile final : public detail::RefCountedObject<IMemoryFile, IFileEx, IFile> {
 public:
  MemoryFile() = default;
  MemoryFile(const void* data, std::size_t size) {
    if (size > 0) {
      resize(size);
      std::memcpy(data_, data, size);
    }
  }

  std::size_t read(void* buffer, std::size_t size) override {
    checkOpen();
    if (position_ >= size_) return 0;
    const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - position_));
    std::memcpy(buffer, data_ + position_, n);
    position_ += n;
    return n;
  }
  void write(const void* data, std::size_t size) override {
    checkOpen();
    if (size == 0) return;
    const std::uint64_t end = position_ + size;
    if (end < position_ || end > kMaxSize) throw std::bad_alloc();
    if (end > size_) {
      // Only a gap left by a position past the end is zero-filled; the written bytes are copied once.
      if (position_ > size_) resize(static_cast<std::size_t>(position_));
      reserve(static_cast<std::size_t>(end));
      size_ = static_cast<std::size_t>(end);
    }
    std::memcpy(data_ + position_, data, size);
    position_ = end;
  }
  void flush() override { checkOpen(); }
  void close() override { closed_ = true; }
  std::uint64_t getSize() override {
    checkOpen();
    return size_;
  }
  std::uint64_t getPosition() override {
    checkOpen();
    return position_;
  }
  void setPosition(std::uint64_t position) override {
    checkOpen();
    position_ = position;
  }
  void setSize(std::uint64_t size) override {
    checkOpen();
    if (size > kMaxSize) throw std::bad_alloc();
    resize(static_cast<std::size_t>(size));
  }
  const std::uint8_t* getData() const noexcept override { return data_; }

 private:
  static constexpr std::uint64_t kMaxSize = std::uint64_t(1) << 48;

  ~MemoryFile() override { nexa_free(data_); }

  void checkOpen() const {
    if (closed_) throw IOException(IOException::Closed, u"memory file");
  }
  // Capacity for `size` bytes; it grows geometrically so that appending is linear.
  void reserve(std::size_t size) {
    if (size <= capacity_) return;
    const std::size_t capacity = std::max<std::size_t>({size, capacity_ * 2, 64});
    auto* grown = static_cast<std::uint8_t*>(nexa_realloc(data_, capacity));
    if (grown == nullptr) throw std::bad_alloc();
    data_ = grown;
    capacity_ = capacity;
  }
  // Sets the size, zero-filling new bytes.
  void resize(std::size_t size) {
    reserve(size);
    if (size > size_) std::memset(data_ + size_, 0, size - size_);
    size_ = size;
  }

  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  std::uint64_t position_ = 0;
  bool closed_ = false;
};

}  // namespace

InterfacePtr<IMemoryFile> create_memory_file() { return InterfacePtr<IMemoryFile>(new MemoryFile, adopt_ref); }

InterfacePtr<IMemoryFile> create_memory_file(const void* data, std::size_t size) {
  return InterfacePtr<IMemoryFile>(new MemoryFile(data, size), adopt_ref);
}

}  // namespace core
