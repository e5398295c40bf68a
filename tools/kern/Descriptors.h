#pragma once
// The tool's own system calls, alike on Linux and Windows: file descriptors for commands that move
// large blocks (kern table), and what main prepares on Windows.
//
//     const int fd = kern::fd::open_read(path);
//     if (fd < 0) fail(path + ": " + std::strerror(errno));
//
// Descriptors are binary and not inherited by child processes. Each function returns what its POSIX
// namesake returns (-1 on failure) and leaves the reason in errno, so messages come from strerror on
// both systems. Paths are UTF-8. No library header here: windows.h, which the Windows side needs,
// clashes with core/Guid.h.

#include <cstddef>
#include <string>

namespace kern {

// On Windows: the standard streams carry bytes unchanged (no line-end translation), and `argv`
// becomes the command line in UTF-8 (the system hands narrow programs the ANSI code page). Elsewhere
// nothing. Called first thing in main.
void prepare_process(int& argc, char**& argv);

namespace fd {
int open_read(const std::string& path) noexcept;
// Truncates the file; `create` also makes it when missing.
int open_write(const std::string& path, bool create) noexcept;
// Retries interrupted calls; a read of 0 bytes is the end.
long read(int fd, void* buffer, std::size_t size) noexcept;
long write(int fd, const void* data, std::size_t size) noexcept;
int close(int fd) noexcept;
// Whether `path` names something other than a regular file (a device, a pipe, a directory).
bool is_special(const std::string& path) noexcept;
// Renames `from` to `to`, replacing an existing `to` (which rename does not do on Windows).
int replace(const std::string& from, const std::string& to) noexcept;
int remove(const std::string& path) noexcept;
// A name for a temporary file next to `path`, unique to this process.
std::string temporary_name(const std::string& path);
}  // namespace fd

}  // namespace kern
