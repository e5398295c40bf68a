// kern::fd and prepare_process (Descriptors.h) for Linux and Windows.
//
// On Windows the C runtime's descriptor calls stand in for POSIX's, with the differences made good here:
// paths are converted from UTF-8 (the narrow calls take the ANSI code page), descriptors are opened in
// binary mode, counts are limited to what an int holds, opening a directory reports EISDIR as Linux does,
// and a rename replaces an existing file.
#include "Descriptors.h"

#include <cerrno>
#include <climits>

#if defined(_WIN32)
#undef WIN32_LEAN_AND_MEAN  // all of windows.h, with shellapi.h (CommandLineToArgvW)
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <vector>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#endif

namespace kern {

#if defined(_WIN32)

namespace {

std::wstring wide(const std::string& utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring text(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
  return text;
}

std::string narrow(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size > 0 ? size - 1 : 0), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

bool is_directory(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(wide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int open_file(const std::string& path, int flags) noexcept {
  const int fd = _wopen(wide(path).c_str(), flags | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
  if (fd < 0 && errno == EACCES && is_directory(path)) errno = EISDIR;
  return fd;
}

unsigned chunk(std::size_t size) { return static_cast<unsigned>(std::min<std::size_t>(size, INT_MAX)); }

}  // namespace

void prepare_process(int& argc, char**& argv) {
  for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  int count = 0;
  wchar_t** wideArgs = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wideArgs == nullptr) return;
  // Kept for the life of the process, as the system's argv is.
  static std::vector<std::string> args;
  static std::vector<char*> pointers;
  for (int i = 0; i < count; ++i) args.push_back(narrow(wideArgs[i]));
  LocalFree(wideArgs);
  for (std::string& arg : args) pointers.push_back(arg.data());
  pointers.push_back(nullptr);
  argc = count;
  argv = pointers.data();
}

namespace fd {
int open_read(const std::string& path) noexcept { return open_file(path, _O_RDONLY); }
int open_write(const std::string& path, bool create) noexcept {
  return open_file(path, _O_WRONLY | _O_TRUNC | (create ? _O_CREAT : 0));
}
long read(int fd, void* buffer, std::size_t size) noexcept { return _read(fd, buffer, chunk(size)); }
long write(int fd, const void* data, std::size_t size) noexcept { return _write(fd, data, chunk(size)); }
int close(int fd) noexcept { return _close(fd); }
bool is_special(const std::string& path) noexcept {
  struct _stat64 status;
  return _wstat64(wide(path).c_str(), &status) == 0 && (status.st_mode & _S_IFMT) != _S_IFREG;
}
int replace(const std::string& from, const std::string& to) noexcept {
  if (MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0) return 0;
  const DWORD error = GetLastError();
  errno = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? ENOENT
          : error == ERROR_ACCESS_DENIED                                 ? EACCES
                                                                         : EIO;
  return -1;
}
int remove(const std::string& path) noexcept { return _wunlink(wide(path).c_str()); }
std::string temporary_name(const std::string& path) { return path + ".tmp" + std::to_string(_getpid()); }
}  // namespace fd

#else

void prepare_process(int&, char**&) {}

namespace fd {
int open_read(const std::string& path) noexcept { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); }
int open_write(const std::string& path, bool create) noexcept {
  return ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | (create ? O_CREAT : 0), 0666);
}
long read(int fd, void* buffer, std::size_t size) noexcept {
  for (;;) {
    const ssize_t n = ::read(fd, buffer, size);
    if (n >= 0 || errno != EINTR) return static_cast<long>(n);
  }
}
long write(int fd, const void* data, std::size_t size) noexcept {
  for (;;) {
    const ssize_t n = ::write(fd, data, size);
    if (n >= 0 || errno != EINTR) return static_cast<long>(n);
  }
}
int close(int fd) noexcept { return ::close(fd); }
bool is_special(const std::string& path) noexcept {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}
int replace(const std::string& from, const std::string& to) noexcept { return std::rename(from.c_str(), to.c_str()); }
int remove(const std::string& path) noexcept { return ::unlink(path.c_str()); }
std::string temporary_name(const std::string& path) { return path + ".tmp" + std::to_string(::getpid()); }
}  // namespace fd

#endif

}  // namespace kern
