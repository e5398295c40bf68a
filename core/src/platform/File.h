#pragma once
// Operating-system files: the only code that opens, reads, writes and positions them. Everything above
// (core/File.h) goes through these calls, so a Windows implementation can sit beside this one.
//
// Every call returns 0 or a positive result on success and a negative system error code on failure
// (-errno on Linux, -GetLastError() on Windows); none throws.

#include <cstddef>
#include <cstdint>

namespace core::platform {

enum class FileOpen {
  Read,       // existing file, reading only
  Write,      // created or truncated, writing only
  ReadWrite,  // created when missing, kept otherwise, reading and writing
  Append,     // created when missing, every write goes to the end
};

// Opens `utf8Path`; stores the handle in `handle`. Returns 0 or a negative error code.
int file_open(const char* utf8Path, FileOpen mode, std::intptr_t& handle) noexcept;
// Closes the handle. Returns 0 or a negative code (the handle is gone either way).
int file_close(std::intptr_t handle) noexcept;
// Reads up to `size` bytes; returns the number read (0 at end of file) or a negative code. Retries interrupted
// calls.
std::int64_t file_read(std::intptr_t handle, void* buffer, std::size_t size) noexcept;
// Writes all `size` bytes (looping over short writes); returns 0 or a negative code.
int file_write(std::intptr_t handle, const void* data, std::size_t size) noexcept;
// Moves the position to `offset` from the start; returns 0 or a negative code.
int file_seek(std::intptr_t handle, std::uint64_t offset) noexcept;
// The current position, or a negative code.
std::int64_t file_tell(std::intptr_t handle) noexcept;
// The size in bytes, or a negative code.
std::int64_t file_size(std::intptr_t handle) noexcept;
// Truncates or extends the file to `size` bytes; returns 0 or a negative code.
int file_resize(std::intptr_t handle, std::uint64_t size) noexcept;
// Asks the system to put written data on the device; returns 0 or a negative code.
int file_sync(std::intptr_t handle) noexcept;

// Error classes of system codes, for FileException.
enum class FileError { NotFound, AccessDenied, AlreadyExists, DiskFull, Other };
FileError classify_file_error(int negativeCode) noexcept;
// The system's text for an error code (UTF-8).
const char* file_error_text(int negativeCode) noexcept;

}  // namespace core::platform
