// JSON to list-stream text: a JSON reader that writes each value as it is read, with one loop and a
// depth count (no recursion, so the input cannot exhaust the stack), holding one string or number at a
// time. The output follows the list writer's layout rules (docs/list-stream.md), and strings go through
// the library's own item writer, so the text is the one the writer would produce.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "ListJson.h"
#include "ListJsonItems.h"
#include "core/Guid.h"
#include "core/ListStream.h"

namespace kern::list_json {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;
constexpr int kEnd = -1;

struct Position {
  std::uint64_t line = 1;
  std::uint64_t column = 1;
};

// The input bytes, read in blocks, and the position of the next one. Columns count characters: every
// byte but a UTF-8 continuation byte starts one.
class Source {
 public:
  explicit Source(core::IFile* file) : file_(file), buffer_(new char[kBlock]) {}

  int peek() { return p_ != end_ || refill() ? static_cast<unsigned char>(*p_) : kEnd; }
  // Consumes the byte peek() returned.
  void skip() noexcept {
    if (*p_ == '\n') {
      ++at_.line;
      at_.column = 1;
    } else {
      at_.column += (static_cast<unsigned char>(*p_) & 0xC0) != 0x80;
    }
    ++p_;
  }
  // Consumes printable ASCII other than `"` and `\` into `out`, up to the end of the buffer.
  void takePlainAscii(std::u16string& out) {
    const char* p = p_;
    while (p != end_ && static_cast<unsigned char>(*p) >= 0x20 && static_cast<unsigned char>(*p) < 0x80 && *p != '"' &&
           *p != '\\') {
      ++p;
    }
    out.append(p_, p);
    at_.column += static_cast<std::uint64_t>(p - p_);
    p_ = p;
  }
  const Position& position() const noexcept { return at_; }
  // The byte-order mark is not a character of the text.
  void restartColumns() noexcept { at_.column = 1; }

 private:
  bool refill() {
    const std::size_t got = file_->read(buffer_.get(), kBlock);
    p_ = buffer_.get();
    end_ = p_ + got;
    return got != 0;
  }

  core::IFile* file_;
  std::unique_ptr<char[]> buffer_;
  const char* p_ = nullptr;
  const char* end_ = nullptr;
  Position at_;
};

// The list writer's three layout flags over any writer.
class CompactLayout {
 public:
  explicit CompactLayout(core::IWriter* out) : out_(out) {}

  void beginList() {
    if (needSeparator_) out_->write(u',');
    if (!atStart_) out_->write(u'\n');
    out_->write(u'{');
    needSeparator_ = breakBeforeClose_ = atStart_ = false;
  }
  void endList() {
    if (breakBeforeClose_) out_->write(u'\n');
    out_->write(u'}');
    needSeparator_ = breakBeforeClose_ = true;
  }
  void string(std::u16string_view text) {
    beforeItem();
    core::to_stream(out_, text.data(), static_cast<std::ptrdiff_t>(text.size()));
  }
  void raw(std::u16string_view text) {
    beforeItem();
    out_->write(text.data(), static_cast<std::ptrdiff_t>(text.size()));
  }

 private:
  void beforeItem() {
    if (needSeparator_) out_->write(u',');
    needSeparator_ = true;
    atStart_ = false;
  }

  core::IWriter* out_;
  bool needSeparator_ = false;
  bool breakBeforeClose_ = false;
  bool atStart_ = true;
};

bool is_base64_symbol(char16_t c) noexcept {
  return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'+' || c == u'/' ||
         c == u'=';
}

enum class Tag { kNone, kNumber, kGuid, kBase64, kRaw };

Tag tag_of(std::u16string_view key) noexcept {
  const auto is = [key](const char* tag) { return std::equal(key.begin(), key.end(), tag, tag + std::strlen(tag)); };
  if (is(kNumberTag)) return Tag::kNumber;
  if (is(kGuidTag)) return Tag::kGuid;
  if (is(kBase64Tag)) return Tag::kBase64;
  if (is(kRawTag)) return Tag::kRaw;
  return Tag::kNone;
}

int hex_value(int c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class JsonParser {
 public:
  JsonParser(core::IFile* in, core::IWriter* out, JsonError& error, std::uint64_t maxDepth)
      : in_(in), out_(out), error_(error), maxDepth_(maxDepth) {}

  bool run() {
    skipByteOrderMark();
    if (skipBlanks() != '[') return fail("expected \"[\": the document is one array");
    std::uint64_t depth = 0;
    State state = kAfterSeparator;
    do {
      const int c = skipBlanks();
      if (state == kAfterItem) {
        if (c == ',') {
          in_.skip();
          state = kAfterSeparator;
        } else if (c == ']') {
          in_.skip();
          out_.endList();
          --depth;
        } else {
          return fail("expected \",\" or \"]\"");
        }
      } else if (c == ']' && state == kAfterOpen) {
        in_.skip();
        out_.endList();
        --depth;
        state = kAfterItem;
      } else if (c == '[') {
        if (depth == maxDepth_) return fail("expected at most " + std::to_string(maxDepth_) + " nested arrays");
        in_.skip();
        out_.beginList();
        ++depth;
        state = kAfterOpen;
      } else {
        if (!value(c, state)) return false;
        state = kAfterItem;
      }
    } while (depth > 0);
    if (skipBlanks() != kEnd) return fail("expected the end of the input");
    return true;
  }

 private:
  enum State { kAfterOpen, kAfterSeparator, kAfterItem };

  // A value other than an array.
  bool value(int c, State state) {
    if (c == '"') {
      if (!readString(text_)) return false;
      out_.string(text_);
      return true;
    }
    if (c == '-' || (c >= '0' && c <= '9')) {
      if (!readNumber()) return false;
      out_.raw(text_);
      return true;
    }
    if (c == '{') return taggedObject();
    if (c == 't' || c == 'f') {
      const Position start = in_.position();
      if (!literal(c == 't' ? "true" : "false")) return failAt(start, "expected a value");
      out_.raw(c == 't' ? u"1" : u"0");
      return true;
    }
    if (c == 'n' && literal("null")) return failAt(position_before("null"), "null has no list-stream form");
    return fail(state == kAfterOpen ? "expected a value or \"]\"" : "expected a value");
  }

  void skipByteOrderMark() {
    // Only a whole mark is skipped; a part of one is ill-formed input and fails where it stands.
    static constexpr unsigned char kMark[] = {0xEF, 0xBB, 0xBF};
    if (in_.peek() != kMark[0]) return;
    in_.skip();
    for (int i = 1; i < 3; ++i) {
      if (in_.peek() != kMark[i]) return;
      in_.skip();
    }
    in_.restartColumns();
  }

  int skipBlanks() {
    for (;;) {
      const int c = in_.peek();
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return c;
      in_.skip();
    }
  }

  // Consumes `word` if it comes next; otherwise stops at the first byte that differs.
  bool literal(const char* word) {
    for (; *word != '\0'; ++word) {
      if (in_.peek() != static_cast<unsigned char>(*word)) return false;
      in_.skip();
    }
    return true;
  }
  Position position_before(const char* word) const {
    Position at = in_.position();
    at.column -= std::strlen(word);
    return at;
  }

  bool readNumber() {
    text_.clear();
    if (in_.peek() == '-') take();
    if (in_.peek() == '0') {
      take();
    } else if (!digits()) {
      return fail("expected a digit");
    }
    if (in_.peek() == '.') {
      take();
      if (!digits()) return fail("expected a digit");
    }
    if (in_.peek() == 'e' || in_.peek() == 'E') {
      take();
      if (in_.peek() == '+' || in_.peek() == '-') take();
      if (!digits()) return fail("expected a digit");
    }
    return true;
  }
  bool digits() {
    bool any = false;
    for (int c = in_.peek(); c >= '0' && c <= '9'; c = in_.peek()) take(), any = true;
    return any;
  }
  void take() {
    text_.push_back(static_cast<char16_t>(in_.peek()));
    in_.skip();
  }

  // A JSON string decoded into UTF-16 units; the opening quotation mark is next.
  bool readString(std::u16string& out) {
    in_.skip();
    out.clear();
    for (;;) {
      in_.takePlainAscii(out);
      const int c = in_.peek();
      if (c == '"') {
        in_.skip();
        return true;
      }
      if (c == kEnd) return fail("expected a closing quotation mark");
      if (c == '\\') {
        in_.skip();
        if (!escape(out)) return false;
      } else if (c < 0x20) {
        return fail("expected an escape (\\n, \\t, \\u0000...) instead of a control character in a string");
      } else if (c < 0x80) {
        continue;  // the buffer ended inside a run of plain text
      } else if (!utf8Character(out)) {
        return false;
      }
    }
  }

  bool escape(std::u16string& out) {
    static constexpr char kSingle[] = "\"\\/bfnrt";
    static constexpr char16_t kUnit[] = u"\"\\/\b\f\n\r\t";
    const int c = in_.peek();
    if (c > 0 && c < 0x80) {
      if (const char* found = std::strchr(kSingle, c); found != nullptr) {
        out.push_back(kUnit[found - kSingle]);
        in_.skip();
        return true;
      }
    }
    if (c != 'u')
      return fail("expected an escape: \\\" \\\\ \\/ \\b \\f \\n \\r \\t or \\u and four hexadecimal digits");
    in_.skip();
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i) {
      const int v = hex_value(in_.peek());
      if (v < 0) return fail("expected four hexadecimal digits");
      unit = unit << 4 | static_cast<unsigned>(v);
      in_.skip();
    }
    out.push_back(static_cast<char16_t>(unit));  // an unpaired surrogate too: list strings may hold one
    return true;
  }

  // One well-formed UTF-8 sequence (no overlong form, no surrogate, nothing above U+10FFFF).
  bool utf8Character(std::u16string& out) {
    const Position start = in_.position();
    const int lead = in_.peek();
    int more = 0;
    unsigned low = 0x80, high = 0xBF, code = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
      more = 1, code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      more = 2, code = lead & 0x0F;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      more = 3, code = lead & 0x07;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return failAt(start, "ill-formed UTF-8");
    }
    in_.skip();
    for (int i = 0; i < more; ++i, low = 0x80, high = 0xBF) {
      const int c = in_.peek();
      if (c < static_cast<int>(low) || c > static_cast<int>(high)) return failAt(start, "ill-formed UTF-8");
      code = code << 6 | (static_cast<unsigned>(c) & 0x3F);
      in_.skip();
    }
    if (code < 0x10000) {
      out.push_back(static_cast<char16_t>(code));
    } else {
      out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    }
    return true;
  }

  // {"tag": "text"}, the "{" next.
  bool taggedObject() {
    in_.skip();
    if (skipBlanks() != '"') return fail("expected a tag: \"number\", \"guid\", \"base64\" or \"raw\"");
    const Position tagAt = in_.position();
    if (!readString(tag_)) return false;
    const Tag tag = tag_of(tag_);
    if (tag == Tag::kNone) return failAt(tagAt, "expected a tag: \"number\", \"guid\", \"base64\" or \"raw\"");
    if (skipBlanks() != ':') return fail("expected \":\"");
    in_.skip();
    if (skipBlanks() != '"') return fail("expected a string");
    const Position valueAt = in_.position();
    if (!readString(text_)) return false;
    if (skipBlanks() != '}') return fail("expected \"}\": a tagged object has one member");
    in_.skip();
    return writeTagged(tag, valueAt);
  }

  bool writeTagged(Tag tag, const Position& valueAt) {
    if (tag == Tag::kNumber) {
      if (!detail::reads_as_bare_item(text_) || !detail::is_list_number(text_)) {
        return failAt(valueAt,
                      "expected the text of a number (an optional sign; digits, a point, an exponent; inf, nan)");
      }
      out_.raw(text_);
    } else if (tag == Tag::kGuid) {
      core::GUID id;
      if (!core::guid_from_string(std::u16string_view(text_), id)) {
        return failAt(valueAt, "expected a GUID: 36 characters, hexadecimal digits in groups 8-4-4-4-12");
      }
      out_.raw(text_);
    } else if (tag == Tag::kBase64) {
      bool symbols = true;
      for (const char16_t c : text_) symbols = symbols && is_base64_symbol(c);
      if (!symbols || !detail::reads_as_bare_item(text_)) {
        return failAt(valueAt, "expected Base64 data without line breaks (A-Z a-z 0-9 + /, \"=\" padding)");
      }
      out_.raw(detail::with_writer_line_breaks(text_));
    } else {
      if (!detail::reads_as_bare_item(text_)) {
        return failAt(valueAt, "expected the text of a number, a GUID or Base64 data as it stands");
      }
      out_.raw(text_);
    }
    return true;
  }

  bool fail(const std::string& message) { return failAt(in_.position(), message); }
  bool failAt(const Position& at, const std::string& message) {
    error_.line = at.line;
    error_.column = at.column;
    error_.message = message;
    return false;
  }

  Source in_;
  CompactLayout out_;
  JsonError& error_;
  const std::uint64_t maxDepth_;
  std::u16string text_;
  std::u16string tag_;
};

}  // namespace

bool json_to_list(core::IFile* in, core::IWriter* out, JsonError& error, std::uint64_t maxDepth) {
  return JsonParser(in, out, error, maxDepth).run();
}

}  // namespace kern::list_json
