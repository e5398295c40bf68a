// The CSV reader works on one buffer of raw input with plain indexes. A record is parsed from the start
// of the unconsumed bytes; when it runs into the end of what was read before the input ends, nothing is
// consumed, the buffer is refilled (grown when the record fills it) and the record parsed again. Refills
// read until the buffer is full, so a record is parsed again only after the buffer doubled: the work
// stays proportional to the input however it arrives.
//
// Invariant: buffer_[end_] is a zero byte. It stops the scan of a bare field without a bounds check
// (a zero byte inside the data is then told apart by its position) and ends a number in the last field.
#include "Csv.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Descriptors.h"

namespace kern::csv {

namespace {

// The bytes that end the plain scan of a bare field.
constexpr auto kStops = [] {
  struct Table {
    bool stop[256] = {};
  } table;
  for (unsigned char c : {',', '"', '\r', '\n', '\0'}) table.stop[c] = true;
  return table;
}();

std::string system_message(int error) { return std::strerror(error); }

}  // namespace

FileSource::FileSource(const std::string& path) : fd_(0), owned_(path != "-") {
  if (!owned_) return;
  fd_ = fd::open_read(path);
  if (fd_ < 0) throw Error(0, system_message(errno));
}

FileSource::~FileSource() {
  if (owned_) fd::close(fd_);
}

std::size_t FileSource::read(char* buffer, std::size_t size) {
  const long n = fd::read(fd_, buffer, size);
  if (n < 0) throw Error(0, system_message(errno));
  return static_cast<std::size_t>(n);
}

std::size_t MemorySource::read(char* buffer, std::size_t size) {
  const std::size_t n = std::min({size, step_, bytes_.size()});
  std::memcpy(buffer, bytes_.data(), n);
  bytes_.remove_prefix(n);
  return n;
}

Reader::Reader(Source& source, std::size_t bufferSize)
    : source_(source), buffer_(std::max<std::size_t>(bufferSize, 4) + 1) {}

bool Reader::next() {
  for (;;) {
    switch (parse()) {
      case Parse::Record:
        return true;
      case Parse::End:
        return false;
      case Parse::Incomplete:
        refill();
    }
  }
}

void Reader::refill() {
  const std::size_t kept = end_ - begin_;
  std::memmove(buffer_.data(), buffer_.data() + begin_, kept);
  begin_ = 0;
  end_ = kept;
  if (kept == buffer_.size() - 1) buffer_.resize(2 * kept + 1);
  while (end_ < buffer_.size() - 1) {
    const std::size_t n = source_.read(buffer_.data() + end_, buffer_.size() - 1 - end_);
    if (n == 0) {
      eof_ = true;
      break;
    }
    end_ += n;
  }
  buffer_[end_] = 0;
}

void Reader::fail(const char* what) const { throw Error(recordLine_, what); }

Reader::Parse Reader::parse() {
  const Parse start = startRecord();
  if (start != Parse::Record) return start;
  recordLine_ = line_;
  spans_.clear();
  unescaped_.clear();
  const char* const buf = buffer_.data();
  std::uint64_t breaks = 0;  // line feeds inside quoted fields
  std::size_t at = begin_;
  for (;;) {
    const bool complete = at < end_ && buf[at] == '"' ? quoted(at, breaks) : bare(at);
    if (!complete) return Parse::Incomplete;
    if (at == end_) break;  // the last record, without a line end
    if (buf[at] == ',') {
      ++at;
      continue;
    }
    at += buf[at] == '\r' ? 2 : 1;  // CRLF or LF
    break;
  }

  const std::string_view raw(buf + begin_, at - begin_);
  const std::size_t bad = utf8_error(raw);
  if (bad != raw.size()) {
    throw Error(recordLine_ + std::count(raw.begin(), raw.begin() + bad, '\n'), "invalid UTF-8");
  }
  line_ += breaks + (buf[at - 1] == '\n' ? 1 : 0);
  begin_ = at;
  fields_.clear();
  for (std::size_t i = 0; i < spans_.size(); i += 3) {
    const char* base = spans_[i + 2] != 0 ? unescaped_.data() : buf;
    fields_.emplace_back(base + spans_[i], spans_[i + 1]);
  }
  return Parse::Record;
}

Reader::Parse Reader::startRecord() {
  const char* const buf = buffer_.data();
  if (!started_) {
    if (end_ - begin_ < 3 && !eof_) return Parse::Incomplete;
    if (end_ - begin_ >= 3 && std::memcmp(buf + begin_, "\xEF\xBB\xBF", 3) == 0) begin_ += 3;
    started_ = true;
  }
  for (;;) {
    if (begin_ == end_) return eof_ ? Parse::End : Parse::Incomplete;
    const std::size_t eol = begin_ + (buf[begin_] == '\r' ? 1 : 0);
    if (eol == end_ && !eof_) return Parse::Incomplete;
    if (eol == end_ || buf[eol] != '\n') return Parse::Record;
    begin_ = eol + 1;
    ++line_;
  }
}

// A bare field from `at`: on success `at` is at the byte that ends it (or at the end of the input) and
// the field's span is added; false when the input read so far ends first.
bool Reader::bare(std::size_t& at) {
  const char* const buf = buffer_.data();
  const std::size_t start = at;
  for (;;) {
    while (!kStops.stop[static_cast<unsigned char>(buf[at])]) ++at;
    if (at == end_) {
      if (!eof_) return false;
      break;
    }
    const char c = buf[at];
    if (c == '"') fail("a quotation mark inside an unquoted field (quote the field and double the mark)");
    if (c == '\r') {
      if (at + 1 == end_ && !eof_) return false;
      if (buf[at + 1] != '\n') {  // a carriage return alone is data
        ++at;
        continue;
      }
    } else if (c == '\0') {  // a zero byte inside the input
      ++at;
      continue;
    }
    break;
  }
  add_span(start, at - start, false);
  return true;
}

// A quoted field from the opening mark at `at`: on success `at` is after the closing mark and the
// field's span is added and its line feeds counted in `breaks`; false when the input read so far ends
// first.
bool Reader::quoted(std::size_t& at, std::uint64_t& breaks) {
  const char* const buf = buffer_.data();
  const std::size_t start = at + 1;
  std::size_t p = start;
  bool escaped = false;
  for (;;) {
    const void* mark = std::memchr(buf + p, '"', end_ - p);
    if (mark == nullptr) {
      if (eof_) fail("a quoted field is not closed");
      return false;
    }
    p = static_cast<const char*>(mark) - buf;
    if (p + 1 == end_ && !eof_) return false;
    if (buf[p + 1] != '"' || p + 1 == end_) break;
    escaped = true;
    p += 2;
  }
  const std::size_t close = p++;
  if (p < end_ && buf[p] != ',' && buf[p] != '\n') {
    if (buf[p] != '\r') fail("a closing quotation mark not followed by a comma or a line end");
    if (p + 1 == end_ && !eof_) return false;
    if (buf[p + 1] != '\n') fail("a closing quotation mark not followed by a comma or a line end");
  }
  breaks += std::count(buf + start, buf + close, '\n');
  if (!escaped) {
    add_span(start, close - start, false);
  } else {
    const std::size_t offset = unescaped_.size();
    for (std::size_t i = start; i < close; ++i) {
      unescaped_ += buf[i];
      if (buf[i] == '"') ++i;  // the first of a doubled mark stands for one
    }
    add_span(offset, unescaped_.size() - offset, true);
    unescaped_ += '\0';
  }
  at = p;
  return true;
}

bool is_plain_decimal(std::string_view text) noexcept {
  std::size_t i = !text.empty() && text[0] == '-' ? 1 : 0;
  auto digits = [&] {
    const std::size_t from = i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    return i > from;
  };
  if (!digits()) return false;
  if (i == text.size()) return true;
  if (text[i] != '.') return false;
  ++i;
  return digits() && i == text.size();
}

std::size_t utf8_error(std::string_view text) noexcept {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    if (i + 8 <= n) {
      std::uint64_t word;
      std::memcpy(&word, s + i, 8);
      if ((word & 0x8080808080808080ull) == 0) {
        i += 8;
        continue;
      }
    }
    const unsigned char c = s[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    // The length of the sequence and the range its second byte must lie in.
    std::size_t length;
    unsigned char low = 0x80, high = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;   // overlong
      if (c == 0xED) high = 0x9F;  // surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;   // overlong
      if (c == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
      return i;
    }
    if (i + length > n) return i;
    if (s[i + 1] < low || s[i + 1] > high) return i;
    for (std::size_t k = 2; k < length; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return i;
    }
    i += length;
  }
  return n;
}

void append_utf16(std::string_view text, std::u16string& out) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n;) {
    const unsigned char c = s[i];
    if (c < 0x80) {
      out += static_cast<char16_t>(c);
      ++i;
    } else if (c < 0xE0) {
      out += static_cast<char16_t>((c & 0x1F) << 6 | (s[i + 1] & 0x3F));
      i += 2;
    } else if (c < 0xF0) {
      out += static_cast<char16_t>((c & 0x0F) << 12 | (s[i + 1] & 0x3F) << 6 | (s[i + 2] & 0x3F));
      i += 3;
    } else {
      const char32_t cp = (c & 0x07) << 18 | (s[i + 1] & 0x3F) << 12 | (s[i + 2] & 0x3F) << 6 | (s[i + 3] & 0x3F);
      out += static_cast<char16_t>(0xD7C0 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 | (cp & 0x3FF));
      i += 4;
    }
  }
}

void append_utf8(std::u16string_view text, std::string& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (cp < 0x80) {
      out += static_cast<char>(cp);
      continue;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      const bool pair = cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
      cp = pair ? 0x10000 + ((cp - 0xD800) << 10) + (text[++i] - 0xDC00) : 0xFFFD;
    }
    if (cp < 0x800) {
      out += static_cast<char>(0xC0 | cp >> 6);
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | cp >> 12);
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | cp >> 18);
      out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    }
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

std::size_t code_points(std::string_view text) noexcept {
  std::size_t count = 0;
  for (char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

void append_field(std::string_view text, std::string& out) {
  // A field that starts with U+FEFF would be taken for a byte-order mark at the start of a file.
  if (text.find_first_of(",\"\r\n") == std::string_view::npos && text.rfind("\xEF\xBB\xBF", 0) != 0) {
    out += text;
    return;
  }
  out += '"';
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

}  // namespace kern::csv
