#include "platform/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace core::platform {

int file_open(const char* utf8Path, FileOpen mode, std::intptr_t& handle) noexcept {
  int flags = O_CLOEXEC;
  switch (mode) {
    case FileOpen::Read:
      flags |= O_RDONLY;
      break;
    case FileOpen::Write:
      flags |= O_WRONLY | O_CREAT | O_TRUNC;
      break;
    case FileOpen::ReadWrite:
      flags |= O_RDWR | O_CREAT;
      break;
    case FileOpen::Append:
      flags |= O_WRONLY | O_CREAT | O_APPEND;
      break;
  }
  int fd;
  do {
    fd = ::open(utf8Path, flags, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -errno;
  handle = fd;
  return 0;
}

int file_close(std::intptr_t handle) noexcept {
  // close() is not retried on EINTR: on Linux the descriptor is released anyway.
  return ::close(static_cast<int>(handle)) == 0 ? 0 : -errno;
}

std::int64_t file_read(std::intptr_t handle, void* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t n = ::read(static_cast<int>(handle), buffer, size);
    if (n >= 0) return n;
    if (errno != EINTR) return -errno;
  }
}

int file_write(std::intptr_t handle, const void* data, std::size_t size) noexcept {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::write(static_cast<int>(handle), p, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return -errno;
    }
    p += n;
    size -= static_cast<std::size_t>(n);
  }
  return 0;
}

int file_seek(std::intptr_t handle, std::uint64_t offset) noexcept {
  if (offset > std::uint64_t(INT64_MAX)) return -EINVAL;
  return ::lseek(static_cast<int>(handle), static_cast<off_t>(offset), SEEK_SET) < 0 ? -errno : 0;
}

std::int64_t file_tell(std::intptr_t handle) noexcept {
  const off_t at = ::lseek(static_cast<int>(handle), 0, SEEK_CUR);
  return at < 0 ? -errno : at;
}

std::int64_t file_size(std::intptr_t handle) noexcept {
  struct stat st {};
  return ::fstat(static_cast<int>(handle), &st) < 0 ? -errno : st.st_size;
}

int file_resize(std::intptr_t handle, std::uint64_t size) noexcept {
  if (size > std::uint64_t(INT64_MAX)) return -EINVAL;
  return ::ftruncate(static_cast<int>(handle), static_cast<off_t>(size)) < 0 ? -errno : 0;
}

int file_sync(std::intptr_t handle) noexcept { return ::fsync(static_cast<int>(handle)) < 0 ? -errno : 0; }

FileError classify_file_error(int negativeCode) noexcept {
  switch (-negativeCode) {
    case ENOENT:
    case ENOTDIR:
      return FileError::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return FileError::AccessDenied;
    case EEXIST:
      return FileError::AlreadyExists;
    case ENOSPC:
    case EDQUOT:
      return FileError::DiskFull;
    default:
      return FileError::Other;
  }
}

const char* file_error_text(int negativeCode) noexcept {
  const char* text = ::strerrordesc_np(-negativeCode);  // unlike strerror, safe on any thread
  return text != nullptr ? text : "unknown error";
}

}  // namespace core::platform
