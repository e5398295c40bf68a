// The untyped document reader: one loop over the scanner's tokens with an explicit depth count, so
// nesting costs no stack, and the compact layout as a handler over the writer's formatter.

#include "core/ListDocument.h"

#include <unicode/uchar.h>

#include <limits>
#include <string>

#include "core/Exception.h"
#include "core/Guid.h"
#include "liststream/ListFormat.h"
#include "liststream/TextFormatter.h"
#include "liststream/TextScanner.h"

namespace core::detail {

namespace lf = list_format;

namespace {

bool is_digit(char16_t c) noexcept { return (c >= u'0' && c <= u'9') || (c >= 0x80 && u_isdigit(c)); }

bool is_ascii_digit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

bool same_ignoring_case(std::u16string_view text, std::u16string_view lower) noexcept {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t c = text[i];
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    if (c != lower[i]) return false;
  }
  return true;
}

// Length of the longest prefix of `t` that is a number ([sign] digits [. digits] [e [sign] digits],
// at least one mantissa digit); 0 when there is none.
std::size_t number_prefix(std::u16string_view t) noexcept {
  std::size_t i = 0;
  if (i < t.size() && (t[i] == lf::kPlus || t[i] == lf::kMinus)) ++i;
  std::size_t digits = 0;
  while (i < t.size() && is_digit(t[i])) ++i, ++digits;
  if (i < t.size() && t[i] == u'.') {
    ++i;
    while (i < t.size() && is_digit(t[i])) ++i, ++digits;
  }
  if (digits == 0) return 0;
  if (i < t.size() && (t[i] == u'e' || t[i] == u'E')) {
    std::size_t j = i + 1;
    if (j < t.size() && (t[j] == lf::kPlus || t[j] == lf::kMinus)) ++j;
    const std::size_t start = j;
    while (j < t.size() && is_ascii_digit(t[j])) ++j;
    if (j > start) i = j;
  }
  return i;
}

bool is_number(std::u16string_view t) noexcept {
  std::u16string_view body = t;
  if (!body.empty() && (body[0] == lf::kPlus || body[0] == lf::kMinus)) body.remove_prefix(1);
  if (same_ignoring_case(body, u"inf") || same_ignoring_case(body, u"infinity") || same_ignoring_case(body, u"nan")) {
    return true;
  }
  return !t.empty() && number_prefix(t) == t.size();
}

bool is_base64(std::u16string_view t) noexcept {
  std::size_t symbols = 0, pads = 0;
  for (const char16_t c : t) {
    if (c == u'\r' || c == u'\n') continue;
    if (c == lf::kBase64Pad) {
      ++pads;
      continue;
    }
    const bool symbol =
        (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || is_ascii_digit(c) || c == u'+' || c == u'/';
    if (!symbol || pads != 0) return false;
    ++symbols;
  }
  if (symbols % 4 == 1 || pads > 2) return false;
  return pads == 0 || (symbols + pads) % 4 == 0;
}

bool is_bare_item(std::u16string_view t) noexcept {
  GUID id;
  return is_number(t) || (t.size() == kGuidTextLength && parse_guid(t.data(), t.size(), id)) || is_base64(t);
}

std::u16string_view trim_end(std::u16string_view t) noexcept {
  while (!t.empty() && is_blank(t.back())) t.remove_suffix(1);
  return t;
}

// Position of t[index] when t starts at `start`.
ListPosition advance(ListPosition start, std::u16string_view t, std::size_t index) noexcept {
  start.offset += index;
  for (std::size_t i = 0; i < index; ++i) {
    if (t[i] == lf::kNewLine) {
      ++start.line;
      start.column = 1;
    } else {
      ++start.column;
    }
  }
  return start;
}

class DocumentParser {
 public:
  DocumentParser(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error, std::uint64_t maxDepth)
      : in_(reader), handler_(handler), error_(error), maxDepth_(maxDepth) {}

  bool run() {
    if (in_.skipBlanks() != lf::kBeginOfList) return report(in_.position(), "\"{\"");
    if (maxDepth_ == 0) return tooDeep();
    in_.consumeOne();
    handler_.beginList();
    std::uint64_t depth = 1;
    State state = kAfterOpen;
    while (depth > 0) {
      const int c = in_.skipBlanks();
      if (state == kAfterItem) {
        if (c == lf::kSeparator) {
          in_.consumeOne();
          state = kAfterSeparator;
        } else if (c == lf::kEndOfList) {
          in_.consumeOne();
          handler_.endList();
          --depth;
        } else {
          return report(in_.position(), "\",\" or \"}\"");
        }
        continue;
      }
      if (c == lf::kEndOfList && state == kAfterOpen) {
        in_.consumeOne();
        handler_.endList();
        --depth;
        state = kAfterItem;
      } else if (c == lf::kBeginOfList) {
        if (depth == maxDepth_) return tooDeep();
        in_.consumeOne();
        handler_.beginList();
        ++depth;
        state = kAfterOpen;
      } else if (c == lf::kQuote) {
        if (!quotedItem()) return false;
        handler_.stringItem(text_);
        state = kAfterItem;
      } else if (c == TextScanner::kEnd || c == lf::kSeparator || c == lf::kEndOfList) {
        return report(in_.position(), state == kAfterOpen ? "an item or \"}\"" : "an item");
      } else {
        if (!bareItem()) return false;
        state = kAfterItem;
      }
    }
    if (in_.skipBlanks() != TextScanner::kEnd) return report(in_.position(), "the end of the input");
    return true;
  }

 private:
  enum State { kAfterOpen, kAfterSeparator, kAfterItem };

  // Only the scanner's exception means malformed input: one from the handler is the handler's to pass on.
  bool quotedItem() {
    try {
      in_.readString(text_);
      return true;
    } catch (const ListStreamException&) {  // the scanner knows where and what
      return report(in_.faultPosition(), in_.faultExpected());
    }
  }

  bool bareItem() {
    const ListPosition start = in_.position();
    in_.readRawToken(text_);
    std::u16string_view item = trim_end(text_);
    if (is_bare_item(item)) {
      // The writer ends Base64 data with a line break when its last line is full; that break belongs to
      // the item, so that the writer's own text passes through unchanged.
      if (is_base64(item) && !is_number(item) && text_.size() >= item.size() + 2 && text_[item.size()] == u'\r' &&
          text_[item.size() + 1] == u'\n') {
        item = std::u16string_view(text_).substr(0, item.size() + 2);
      }
      handler_.rawItem(item);
      return true;
    }
    // A number followed by more text: most likely a missing separator.
    const std::size_t prefix = number_prefix(item);
    if (prefix != 0) {
      std::size_t next = prefix;
      while (next < item.size() && is_blank(item[next])) ++next;
      return report(advance(start, item, next), "\",\" or \"}\"");
    }
    return report(start, "an item (a list, a string, a number, a GUID or Base64 data)");
  }

  bool report(const ListPosition& at, const char* expected) {
    error_.position = at;
    error_.key = "IDS_LISTSTREAMERROR";
    error_.expected = expected != nullptr ? expected : "";
    return false;
  }

  // At the "{" that would open a list deeper than allowed.
  bool tooDeep() {
    report(in_.position(), nullptr);
    error_.expected = "at most " + std::to_string(maxDepth_) + " nested lists";
    return false;
  }

  TextScanner in_;
  ListDocumentHandler& handler_;
  ListSyntaxError& error_;
  const std::uint64_t maxDepth_;
  avo::WString text_;
};

class CompactWriter final : public ListDocumentHandler {
 public:
  explicit CompactWriter(IWriter* writer) : out_(writer) {}
  void beginList() override { out_.putBeginOfList(); }
  void endList() override { out_.putEndOfList(); }
  void stringItem(std::u16string_view text) override { out_.putString(text.data(), text.size()); }
  void rawItem(std::u16string_view text) override { out_.putRaw(text); }
  void finish() { out_.endOperation(); }

 private:
  TextFormatter out_;
};

}  // namespace

}  // namespace core::detail

namespace core {

bool parse_list_document(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error,
                         std::uint64_t maxDepth) {
  return detail::DocumentParser(reader, handler, error, maxDepth).run();
}

bool parse_list_document(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error) {
  return parse_list_document(reader, handler, error, std::numeric_limits<std::uint64_t>::max());
}

bool format_list_document_compact(IReader* reader, IWriter* writer, ListSyntaxError& error, std::uint64_t maxDepth) {
  detail::CompactWriter out(writer);
  const bool ok = parse_list_document(reader, out, error, maxDepth);
  out.finish();
  return ok;
}

bool format_list_document_compact(IReader* reader, IWriter* writer, ListSyntaxError& error) {
  return format_list_document_compact(reader, writer, error, std::numeric_limits<std::uint64_t>::max());
}

}  // namespace core
