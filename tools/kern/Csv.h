#pragma once
// CSV for `kern table`: a reader of RFC 4180 files in UTF-8 and the small text helpers its cells need.
//
//     kern::csv::FileSource source("data.csv");             // "-" is standard input
//     kern::csv::Reader reader(source);
//     while (reader.next()) {                                // one record per call
//       for (std::size_t i = 0; i < reader.size(); ++i) use(reader.field(i));
//     }
//
// The grammar read (RFC 4180, with LF accepted wherever it has CRLF):
//
//     file    = [BOM] *(record eol | eol) [record]      BOM = EF BB BF, skipped; empty lines are no record
//     record  = field *("," field)
//     field   = quoted | bare
//     quoted  = DQUOTE *(any byte but DQUOTE | DQUOTE DQUOTE) DQUOTE     may hold "," CR LF
//     bare    = *(any byte but "," DQUOTE LF, and CR only when no LF follows it)
//     eol     = CRLF | LF
//
// Faults throw csv::Error with the line where the record starts (lines counted from 1 at LF bytes, so a
// quoted line break moves the count on): a DQUOTE inside a bare field, a closing DQUOTE followed by
// anything but "," or the end of the line, a quoted field still open at the end of the input, and bytes
// that are not well-formed UTF-8 (overlong forms, surrogates, code points above U+10FFFF and truncated
// sequences included). Field counts are the caller's to check.
//
// Memory: the reader holds one buffer (1 MiB, or twice the longest record when one is longer) and the
// fields of the current record; it never holds more of the input than that. Every call either consumes
// input or ends, so no input makes it loop.
//
// Thread safety: a reader and its source are used by one thread at a time.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kern::csv {

// A malformed file (`line` > 0) or a failed read (`line` 0; the message is the system's).
class Error : public std::runtime_error {
 public:
  Error(std::uint64_t line, const std::string& what) : std::runtime_error(what), line_(line) {}
  std::uint64_t line() const noexcept { return line_; }

 private:
  std::uint64_t line_;
};

// Where bytes come from.
class Source {
 public:
  virtual ~Source() = default;
  // Up to `size` bytes into `buffer`; 0 only at the end. Throws Error (line 0) when reading fails.
  virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

// A file by path, or standard input for "-". Opening throws Error (line 0) with the system's message.
class FileSource final : public Source {
 public:
  explicit FileSource(const std::string& path);
  ~FileSource() override;
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  std::size_t read(char* buffer, std::size_t size) override;

 private:
  int fd_;
  bool owned_;
};

// Bytes in memory, handed out at most `step` at a time (so that tests and the fuzzer reach every place
// where a record meets the end of a read).
class MemorySource final : public Source {
 public:
  MemorySource(std::string_view bytes, std::size_t step) : bytes_(bytes), step_(step == 0 ? 1 : step) {}
  std::size_t read(char* buffer, std::size_t size) override;

 private:
  std::string_view bytes_;
  std::size_t step_;
};

class Reader {
 public:
  explicit Reader(Source& source, std::size_t bufferSize = 1 << 20);

  // Reads the next record: true with its fields available, false at the end of the input. Throws Error.
  bool next();
  std::size_t size() const noexcept { return fields_.size(); }
  // Field i of the current record, unquoted, valid until the next call of next(). The byte after the
  // field is never a digit or a point (numbers parse up to it).
  std::string_view field(std::size_t i) const noexcept { return fields_[i]; }
  // The line where the current record starts.
  std::uint64_t line() const noexcept { return recordLine_; }

 private:
  enum class Parse { Record, Incomplete, End };
  Parse parse();
  // Consumes the byte-order mark and the empty lines before the next record: Record when one starts at
  // begin_, or End, or Incomplete.
  Parse startRecord();
  bool bare(std::size_t& at);
  // Reads more input after the unconsumed bytes, growing the buffer when they fill it. Sets eof_ when
  // there is no more.
  void refill();
  bool quoted(std::size_t& at, std::uint64_t& breaks);
  [[noreturn]] void fail(const char* what) const;
  void add_span(std::size_t offset, std::size_t length, bool unescaped) {
    spans_.push_back(offset);
    spans_.push_back(length);
    spans_.push_back(unescaped ? 1 : 0);
  }

  Source& source_;
  std::vector<char> buffer_;  // input in [begin_, end_), then a zero byte
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool eof_ = false;
  bool started_ = false;    // the byte-order mark was looked for
  std::uint64_t line_ = 1;  // the line of the next unread byte
  std::uint64_t recordLine_ = 0;
  std::string unescaped_;           // quoted fields that held "" (each followed by a zero byte)
  std::vector<std::size_t> spans_;  // per field: offset, length, and 1 when the offset is in unescaped_
  std::vector<std::string_view> fields_;
};

// Whether `text` is a plain decimal number: an optional "-", digits, and optionally "." and digits.
bool is_plain_decimal(std::string_view text) noexcept;

// The first ill-formed byte of `text` as UTF-8, or text.size() when it is well-formed.
std::size_t utf8_error(std::string_view text) noexcept;

// Appends `text` (well-formed UTF-8) as UTF-16.
void append_utf16(std::string_view text, std::u16string& out);
// Appends `text` as UTF-8; an unpaired surrogate becomes U+FFFD.
void append_utf8(std::u16string_view text, std::string& out);
// Code points in well-formed UTF-8 `text`.
std::size_t code_points(std::string_view text) noexcept;

// Appends `text` as one CSV field: quoted (with "" for ") when it holds , " CR or LF or starts with U+FEFF
// (a byte-order mark), as it is otherwise.
void append_field(std::string_view text, std::string& out);

}  // namespace kern::csv
