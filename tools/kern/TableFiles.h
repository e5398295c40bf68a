#pragma once
// Files of `kern table`: the output buffer, and tables saved as list streams.
//
// A saved table is list-stream text in UTF-8 (docs/list-stream.md), one list:
//
//     {1,
//     {"id","amount"},                 the column names, in visible order
//     {2,2,0,0,1,1,{1,2, ...}, ...}    the table block of the value table (ValueTableCore::serialize)
//     }
//
// Failures throw Failure (status 1) with the file's name (or "standard input" / "standard output") and
// the system's message, or what was malformed.

#include <string>

#include "TableModel.h"

namespace kern::table {

// A name for messages: the path, or "standard input" / "standard output" for "-".
std::string file_label(const std::string& path, bool output);

// Bytes to a file descriptor through a buffer, for the printed formats. Write errors throw Failure.
class Output {
 public:
  Output(int fd, std::string label) : fd_(fd), label_(std::move(label)) { buffer_.reserve(kChunk + 4096); }
  // The buffer to append to; call ready() after each row or so.
  std::string& text() noexcept { return buffer_; }
  void ready() {
    if (buffer_.size() >= kChunk) flush();
  }
  void flush();

 private:
  static constexpr std::size_t kChunk = 1 << 20;
  int fd_;
  std::string label_;
  std::string buffer_;
};

// Writes the table as a saved table to `path` ("-": standard output). A file is written under a
// temporary name next to it and renamed when complete, so a failure leaves no file and an existing one
// unchanged.
void save_table(const core::ValueTableBase& table, const std::string& path);

// Reads a saved table from `path` ("-": standard input).
TablePtr load_table(const std::string& path);

}  // namespace kern::table
