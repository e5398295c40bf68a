// List-stream text to JSON: a handler of the library's document reader that writes each part as it
// arrives, into the output buffer directly (reserve / commit), so the cost stays near that of the
// compact layout.
#include <algorithm>
#include <cstddef>
#include <string_view>

#include "ListJson.h"
#include "ListJsonItems.h"
#include "core/Guid.h"

namespace kern::list_json {

namespace {

// Input units per reservation when escaping a string, and the most one unit can become ("\u001f").
constexpr std::size_t kSlice = 512;
constexpr std::size_t kWorstEscape = 6;
static_assert(kSlice * kWorstEscape + 4 <= core::BufferedWriter::kMaxReserve);

constexpr char16_t kHex[] = u"0123456789abcdef";

char16_t* escape_unit(char16_t* o, char16_t c) noexcept {
  *o++ = u'\\';
  switch (c) {
    case u'"':
      *o++ = u'"';
      return o;
    case u'\\':
      *o++ = u'\\';
      return o;
    case u'\n':
      *o++ = u'n';
      return o;
    case u'\r':
      *o++ = u'r';
      return o;
    case u'\t':
      *o++ = u't';
      return o;
    case u'\b':
      *o++ = u'b';
      return o;
    case u'\f':
      *o++ = u'f';
      return o;
    default:
      *o++ = u'u';
      for (int shift = 12; shift >= 0; shift -= 4) *o++ = kHex[(c >> shift) & 0xF];
      return o;
  }
}

bool is_high_surrogate(char16_t c) noexcept { return c >= 0xD800 && c <= 0xDBFF; }
bool is_low_surrogate(char16_t c) noexcept { return c >= 0xDC00 && c <= 0xDFFF; }

// The writer's layout flags (docs/list-stream.md), with "[" and "]": a line feed before every nested
// "[" and before the "]" of an array that held an array, so a table's rows stand one per line.
class JsonWriter final : public core::ListDocumentHandler {
 public:
  explicit JsonWriter(core::BufferedWriter& out) : out_(out) {}

  void beginList() override {
    char16_t* o = out_.reserve(3);
    if (needSeparator_) *o++ = u',';
    if (!atStart_) *o++ = u'\n';
    *o++ = u'[';
    out_.commit(o);
    needSeparator_ = breakBeforeClose_ = atStart_ = false;
  }
  void endList() override {
    char16_t* o = out_.reserve(2);
    if (breakBeforeClose_) *o++ = u'\n';
    *o++ = u']';
    out_.commit(o);
    needSeparator_ = breakBeforeClose_ = true;
  }
  void stringItem(std::u16string_view text) override {
    beforeItem();
    writeString(text);
  }
  void rawItem(std::u16string_view text) override {
    beforeItem();
    if (detail::is_json_number(text)) {
      out_.write(text.data(), static_cast<std::ptrdiff_t>(text.size()));
    } else if (detail::is_list_number(text)) {
      writeTagged(kNumberTag, text);
    } else if (core::GUID id; text.size() == core::kGuidTextLength && core::guid_from_string(text, id)) {
      writeTagged(kGuidTag, text);
    } else if (detail::has_writer_line_breaks(text)) {
      writeTagged(kBase64Tag, detail::without_line_breaks(text));
    } else {
      writeTagged(kRawTag, text);
    }
  }
  void finish() { out_.write(u'\n'); }

 private:
  void beforeItem() {
    if (needSeparator_) out_.write(u',');
    needSeparator_ = true;
    atStart_ = false;
  }

  void writeTagged(const char* tag, std::u16string_view text) {
    char16_t* o = out_.reserve(16);
    *o++ = u'{';
    *o++ = u'"';
    while (*tag != '\0') *o++ = static_cast<char16_t>(*tag++);
    *o++ = u'"';
    *o++ = u':';
    out_.commit(o);
    writeString(text);
    out_.write(u'}');
  }

  // Escapes what JSON requires and the surrogate units that do not form a pair; a pair split between
  // two slices is looked at from its first unit, so it never counts as two unpaired ones.
  void writeString(std::u16string_view text) {
    const char16_t* p = text.data();
    const char16_t* const end = p + text.size();
    char16_t* o = out_.reserve(kSlice * kWorstEscape + 2);
    *o++ = u'"';
    while (p != end) {
      const char16_t* const sliceEnd = p + std::min<std::size_t>(kSlice, static_cast<std::size_t>(end - p));
      while (p < sliceEnd) {
        const char16_t c = *p++;
        if (c >= 0x20 && c != u'"' && c != u'\\' && (c < 0xD800 || c > 0xDFFF)) {
          *o++ = c;
        } else if (is_high_surrogate(c) && p != end && is_low_surrogate(*p)) {
          *o++ = c;
          *o++ = *p++;
        } else {
          o = escape_unit(o, c);
        }
      }
      out_.commit(o);
      o = out_.reserve(kSlice * kWorstEscape + 2);
    }
    *o++ = u'"';
    out_.commit(o);
  }

  core::BufferedWriter& out_;
  bool needSeparator_ = false;
  bool breakBeforeClose_ = false;
  bool atStart_ = true;
};

}  // namespace

bool list_to_json(core::IReader* in, core::BufferedWriter& out, core::ListSyntaxError& error, std::uint64_t maxDepth) {
  JsonWriter json(out);
  const bool ok = core::parse_list_document(in, json, error, maxDepth);
  if (ok) json.finish();
  return ok;
}

}  // namespace kern::list_json
