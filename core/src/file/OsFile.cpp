// IFileEx over an operating-system file (platform/File.h).
#include "base/RefCountedObject.h"
#include "core/Exception.h"
#include "core/File.h"
#include "platform/File.h"

namespace core {

namespace {

FileException::Error error_of(int code, FileException::Error fallback) {
  switch (platform::classify_file_error(code)) {
    case platform::FileError::NotFound:
      return FileException::NotFound;
    case platform::FileError::AccessDenied:
      return FileException::AccessDenied;
    case platform::FileError::AlreadyExists:
      return FileException::AlreadyExists;
    case platform::FileError::DiskFull:
      return FileException::DiskFull;
    case platform::FileError::Other:
      break;
  }
  return fallback;
}

[[noreturn]] void throw_file_error(int code, FileException::Error fallback, const avo::WString& path) {
  throw FileException(error_of(code, fallback), avo::from_utf8(platform::file_error_text(code)),
                      static_cast<unsigned>(-code), URL(path));
}

class OsFile final : public detail::RefCountedObject<IFileEx, IFile> {
 public:
  OsFile(std::intptr_t handle, avo::WString path) : handle_(handle), path_(std::move(path)) {}

  std::size_t read(void* buffer, std::size_t size) override {
    std::size_t done = 0;
    while (done < size) {  // a pipe or terminal may answer in pieces: only 0 means the end
      const std::int64_t n = platform::file_read(open(), static_cast<char*>(buffer) + done, size - done);
      if (n < 0) throw_file_error(static_cast<int>(n), FileException::ReadFailed, path_);
      if (n == 0) break;
      done += static_cast<std::size_t>(n);
    }
    return done;
  }
  void write(const void* data, std::size_t size) override {
    if (const int rc = platform::file_write(open(), data, size); rc < 0) {
      throw_file_error(rc, FileException::WriteFailed, path_);
    }
  }
  void flush() override {
    // Writes are not buffered here; syncing a pipe or terminal fails harmlessly (EINVAL), so only a
    // regular file's failure is reported.
    const int rc = platform::file_sync(open());
    if (rc < 0 && platform::classify_file_error(rc) != platform::FileError::Other) {
      throw_file_error(rc, FileException::WriteFailed, path_);
    }
  }
  void close() override {
    if (handle_ < 0) return;
    const int rc = platform::file_close(std::exchange(handle_, -1));
    if (rc < 0) throw_file_error(rc, FileException::Other, path_);
  }
  std::uint64_t getSize() override { return checked(platform::file_size(open())); }
  std::uint64_t getPosition() override { return checked(platform::file_tell(open())); }
  void setPosition(std::uint64_t position) override {
    if (const int rc = platform::file_seek(open(), position); rc < 0) throw_file_error(rc, FileException::Other, path_);
  }
  void setSize(std::uint64_t size) override {
    if (const int rc = platform::file_resize(open(), size); rc < 0) {
      throw_file_error(rc, FileException::WriteFailed, path_);
    }
  }

 private:
  ~OsFile() override {
    if (handle_ >= 0) platform::file_close(handle_);
  }

  std::intptr_t open() const {
    if (handle_ < 0) throw IOException(IOException::Closed, path_);
    return handle_;
  }
  std::uint64_t checked(std::int64_t result) const {
    if (result < 0) throw_file_error(static_cast<int>(result), FileException::Other, path_);
    return static_cast<std::uint64_t>(result);
  }

  std::intptr_t handle_;
  avo::WString path_;
};

platform::FileOpen platform_mode(FileMode mode) {
  switch (mode) {
    case FileMode::Read:
      return platform::FileOpen::Read;
    case FileMode::Write:
      return platform::FileOpen::Write;
    case FileMode::ReadWrite:
      return platform::FileOpen::ReadWrite;
    case FileMode::Append:
      return platform::FileOpen::Append;
  }
  return platform::FileOpen::Read;
}

}  // namespace

InterfacePtr<IFileEx> open_file(std::string_view utf8Path, FileMode mode) {
  const std::string path(utf8Path);
  std::intptr_t handle = -1;
  if (const int rc = platform::file_open(path.c_str(), platform_mode(mode), handle); rc < 0) {
    throw_file_error(rc, FileException::Other, avo::from_utf8(path));
  }
  return InterfacePtr<IFileEx>(new OsFile(handle, avo::from_utf8(path)), adopt_ref);
}

}  // namespace core
