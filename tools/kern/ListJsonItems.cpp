#include "ListJsonItems.h"

#include "core/CharStream.h"
#include "core/ListDocument.h"

namespace kern::list_json::detail {

namespace {

constexpr std::size_t kBase64LineLength = 64;

bool is_ascii_digit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

// Digits from `i`; returns the index after them.
std::size_t skip_digits(std::u16string_view t, std::size_t i) noexcept {
  while (i < t.size() && is_ascii_digit(t[i])) ++i;
  return i;
}

bool same_ignoring_case(std::u16string_view text, std::u16string_view lower) noexcept {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i] >= u'A' && text[i] <= u'Z' ? static_cast<char16_t>(text[i] - u'A' + u'a') : text[i];
    if (c != lower[i]) return false;
  }
  return true;
}

}  // namespace

bool is_json_number(std::u16string_view t) noexcept {
  std::size_t i = 0;
  if (i < t.size() && t[i] == u'-') ++i;
  if (i == t.size() || !is_ascii_digit(t[i])) return false;
  i = t[i] == u'0' ? i + 1 : skip_digits(t, i);
  if (i < t.size() && t[i] == u'.') {
    const std::size_t start = ++i;
    i = skip_digits(t, i);
    if (i == start) return false;
  }
  if (i < t.size() && (t[i] == u'e' || t[i] == u'E')) {
    ++i;
    if (i < t.size() && (t[i] == u'+' || t[i] == u'-')) ++i;
    const std::size_t start = i;
    i = skip_digits(t, i);
    if (i == start) return false;
  }
  return i == t.size();
}

bool is_list_number(std::u16string_view t) noexcept {
  for (const char16_t c : t) {
    if (c >= 0x80) return true;
  }
  std::u16string_view body = t;
  if (!body.empty() && (body[0] == u'+' || body[0] == u'-')) body.remove_prefix(1);
  if (same_ignoring_case(body, u"inf") || same_ignoring_case(body, u"infinity") || same_ignoring_case(body, u"nan")) {
    return true;
  }
  std::size_t i = skip_digits(body, 0);
  std::size_t digits = i;
  if (i < body.size() && body[i] == u'.') {
    const std::size_t start = ++i;
    i = skip_digits(body, i);
    digits += i - start;
  }
  if (digits == 0) return false;
  if (i < body.size() && (body[i] == u'e' || body[i] == u'E')) {
    std::size_t j = i + 1;
    if (j < body.size() && (body[j] == u'+' || body[j] == u'-')) ++j;
    const std::size_t end = skip_digits(body, j);
    if (end > j) i = end;
  }
  return i == body.size();
}

bool has_writer_line_breaks(std::u16string_view t) noexcept {
  std::size_t run = 0;  // characters since the last break
  for (std::size_t i = 0; i < t.size();) {
    if (t[i] == u'\r' || t[i] == u'\n') {
      if (run != kBase64LineLength || t.substr(i, 2) != u"\r\n") return false;
      run = 0;
      i += 2;
      continue;
    }
    if (run == kBase64LineLength) return false;
    ++run;
    ++i;
  }
  return run != kBase64LineLength;
}

std::u16string without_line_breaks(std::u16string_view t) {
  std::u16string out;
  out.reserve(t.size());
  for (const char16_t c : t) {
    if (c != u'\r' && c != u'\n') out.push_back(c);
  }
  return out;
}

std::u16string with_writer_line_breaks(std::u16string_view t) {
  std::u16string out;
  out.reserve(t.size() + t.size() / kBase64LineLength * 2);
  for (std::size_t i = 0; i < t.size(); i += kBase64LineLength) {
    out.append(t.substr(i, kBase64LineLength));
    if (t.size() - i >= kBase64LineLength) out.append(u"\r\n");
  }
  return out;
}

bool reads_as_bare_item(std::u16string_view text) {
  struct OneItem final : core::ListDocumentHandler {
    void beginList() override { ++parts; }
    void endList() override {}
    void stringItem(std::u16string_view) override { ++parts; }
    void rawItem(std::u16string_view item) override {
      ++parts;
      same = same || item == expected;
    }
    std::u16string_view expected;
    int parts = 0;
    bool same = false;
  } one;
  one.expected = text;
  std::u16string document;  // appended piece by piece: g++ 12 -O3 misreads operator+ here (-Wrestrict)
  document.reserve(text.size() + 2);
  document += u'{';
  document += text;
  document += u'}';
  auto reader = core::create_memory_view_reader(document);
  core::ListSyntaxError error;
  return core::parse_list_document(reader.get(), one, error, 1) && one.parts == 2 && one.same;
}

}  // namespace kern::list_json::detail
