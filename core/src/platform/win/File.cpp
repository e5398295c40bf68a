// Windows: files of the system, opened by UTF-16 path. Errors are negative system error codes
// (-GetLastError()).
#include "platform/File.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace core::platform {

namespace {

int last_error() noexcept {
  const DWORD code = GetLastError();
  return code == 0 ? -static_cast<int>(ERROR_GEN_FAILURE) : -static_cast<int>(code);
}

HANDLE handle_of(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

bool to_wide(const char* utf8, std::wstring& out) noexcept {
  try {
    const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, -1, nullptr, 0);
    if (size <= 0) return false;
    out.assign(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, -1, out.data(), size);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

int file_open(const char* utf8Path, FileOpen mode, std::intptr_t& handle) noexcept {
  DWORD access = 0, disposition = 0;
  switch (mode) {
    case FileOpen::Read:
      access = GENERIC_READ;
      disposition = OPEN_EXISTING;
      break;
    case FileOpen::Write:
      access = GENERIC_WRITE;
      disposition = CREATE_ALWAYS;
      break;
    case FileOpen::ReadWrite:
      access = GENERIC_READ | GENERIC_WRITE;
      disposition = OPEN_ALWAYS;
      break;
    case FileOpen::Append:
      // Without FILE_WRITE_DATA every write goes to the end of the file, as one operation.
      access = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
      disposition = OPEN_ALWAYS;
      break;
  }
  std::wstring path;
  if (!to_wide(utf8Path, path)) return -static_cast<int>(ERROR_INVALID_NAME);
  // Other openers may read, write and delete meanwhile, as on Linux.
  const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return last_error();
  handle = reinterpret_cast<std::intptr_t>(file);
  return 0;
}

int file_close(std::intptr_t handle) noexcept { return CloseHandle(handle_of(handle)) ? 0 : last_error(); }

std::int64_t file_read(std::intptr_t handle, void* buffer, std::size_t size) noexcept {
  DWORD read = 0;
  const auto chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
  if (!ReadFile(handle_of(handle), buffer, chunk, &read, nullptr)) {
    if (GetLastError() == ERROR_BROKEN_PIPE) return 0;  // the writing end of a pipe closed: the end
    return last_error();
  }
  return read;
}

int file_write(std::intptr_t handle, const void* data, std::size_t size) noexcept {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    DWORD written = 0;
    const auto chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
    if (!WriteFile(handle_of(handle), p, chunk, &written, nullptr)) return last_error();
    p += written;
    size -= written;
  }
  return 0;
}

int file_seek(std::intptr_t handle, std::uint64_t offset) noexcept {
  if (offset > std::uint64_t(INT64_MAX)) return -static_cast<int>(ERROR_NEGATIVE_SEEK);
  LARGE_INTEGER to;
  to.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(handle_of(handle), to, nullptr, FILE_BEGIN) ? 0 : last_error();
}

std::int64_t file_tell(std::intptr_t handle) noexcept {
  LARGE_INTEGER zero{}, at{};
  return SetFilePointerEx(handle_of(handle), zero, &at, FILE_CURRENT) ? at.QuadPart : last_error();
}

std::int64_t file_size(std::intptr_t handle) noexcept {
  LARGE_INTEGER size{};
  return GetFileSizeEx(handle_of(handle), &size) ? size.QuadPart : last_error();
}

int file_resize(std::intptr_t handle, std::uint64_t size) noexcept {
  if (size > std::uint64_t(INT64_MAX)) return -static_cast<int>(ERROR_INVALID_PARAMETER);
  FILE_END_OF_FILE_INFO end;
  end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
  // Unlike SetEndOfFile, leaves the position where it is (as ftruncate does).
  return SetFileInformationByHandle(handle_of(handle), FileEndOfFileInfo, &end, sizeof end) ? 0 : last_error();
}

int file_sync(std::intptr_t handle) noexcept { return FlushFileBuffers(handle_of(handle)) ? 0 : last_error(); }

FileError classify_file_error(int negativeCode) noexcept {
  switch (static_cast<DWORD>(-negativeCode)) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
      return FileError::NotFound;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_WRITE_PROTECT:
      return FileError::AccessDenied;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return FileError::AlreadyExists;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return FileError::DiskFull;
    default:
      return FileError::Other;
  }
}

const char* file_error_text(int negativeCode) noexcept {
  // The system's text in English, without its closing period and line break; per thread, as the caller
  // copies it at once.
  static thread_local char text[256];
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      static_cast<DWORD>(-negativeCode), MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                                      text, sizeof text, nullptr);
  if (length == 0) return "unknown error";
  DWORD end = length;
  while (end > 0 && (text[end - 1] == '\r' || text[end - 1] == '\n' || text[end - 1] == '.' || text[end - 1] == ' ')) {
    --end;
  }
  text[end] = '\0';
  return text;
}

}  // namespace core::platform
