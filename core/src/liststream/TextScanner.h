#pragma once
// The text grammar, reading side: tokens, items and the list state of the text reader.
//
// The scanner works on the span of a BufferedReader (CharStream.h): loops run over plain pointers and
// a virtual call happens only when a span runs dry. A reader that is not buffered is put behind an
// adapter that delivers one unit at a time and consumes it in the source only once the scanner has
// moved past it (sync() after each operation settles the last one), so such a reader always stands
// right after what was consumed.
//
// Invariants: every consumption goes through take(), which feeds the recorder of skipAndSaveListContent;
// the loop that moves over a line feed calls newLine() for it (the loops look at every unit anyway, so
// counting lines costs no second pass). A fault is reported with the source advanced to the offending
// unit, or with the position of the token it concerns, so the position is where the fault was found.

#include <cstdint>

#include "avo/BasicString.h"
#include "core/CharStream.h"
#include "core/ListStream.h"
#include "liststream/ByteSinks.h"

namespace core {
class Numeric;
}

namespace core::detail {

// Blanks are what ICU's u_isspace says: in ASCII TAB, LF, VT, FF, CR, 0x1C-0x1F and the space.
bool is_blank_above_ascii(char16_t c) noexcept;
inline bool is_blank(char16_t c) noexcept {
  if (c < 0x80) return (c >= 0x09 && c <= 0x0D) || (c >= 0x1C && c <= 0x20);
  return is_blank_above_ascii(c);
}

class TextScanner {
 public:
  static constexpr int kEnd = -1;

  explicit TextScanner(IReader* reader);
  TextScanner(const TextScanner&) = delete;
  TextScanner& operator=(const TextScanner&) = delete;

  // ---- list level (the after-item rule)
  void getBeginOfList();
  void getEndOfList();
  bool getComma();
  bool isEndOfList();
  bool getBool();
  std::uint64_t getInteger();
  double getDouble();
  GUID getGuid();
  void getNumeric(Numeric& out);
  void getString(avo::WString& out);
  // Decodes one Base64 item into `sink` in blocks of at most 16384 bytes.
  void getBytes(ByteSink& sink);
  // Skips to the "}" of the current list; with `saved`, stores the consumed units there.
  void skipListContent(avo::WString* saved);

  // ---- token level (no list state)
  // Skips blanks; the next unit (not consumed) or kEnd. Inline for the usual case: the next unit is
  // already there and is printable ASCII.
  int skipBlanks() {
    const char16_t* p = src_->next();
    if (p != src_->limit() && *p > 0x20 && *p < 0x80) return *p;
    return skipBlanksSlow();
  }
  // Consumes the unit skipBlanks() or peek() just returned (never kEnd).
  void consumeOne();
  int peek();
  // Reads one item of the grammar without the after-item rule (the list functions above call these).
  bool readBool();
  std::uint64_t readInteger();
  double readDouble();
  GUID readGuid();
  void readNumeric(Numeric& out);
  void readString(avo::WString& out);
  void readBase64(ByteSink& sink);
  // Skips a string; the opening quotation mark is next.
  void skipString();
  // Consumes units up to a "{", "}", ",", a quotation mark or the end of the input, storing them in
  // `out` (for tools that take items as they stand).
  void readRawToken(avo::WString& out);

  bool afterItem() const noexcept { return afterItem_; }
  void setAfterItem(bool value) noexcept { afterItem_ = value; }
  ListPosition position() const noexcept;
  // Settles consumption with a reader behind the adapter.
  void sync() { src_->sync(); }

  // Throws ListStreamException saying where (`at`, or the current position) and what was expected.
  [[noreturn]] void fail(const char* expected, const ListPosition* at = nullptr);
  // What the last fail() reported.
  const char* faultExpected() const noexcept { return faultExpected_; }
  const ListPosition& faultPosition() const noexcept { return faultPosition_; }

 private:
  // Consumes the units of the current span before `p` (recording them when asked to).
  void take(const char16_t* p);
  // Notes the line feed at `p` in the current span.
  void newLine(const char16_t* p) noexcept;
  int skipBlanksSlow();
  // Reads a short number lying wholly in the span straight into limbs; false (nothing consumed) when
  // the general path is needed.
  bool readSmallNumeric(Numeric& out);
  void beforeItem();
  void expect(char16_t c, const char* what);
  // Collects units for which `accept(c)` holds into `out` (at most `limit`); returns the count, or
  // limit + 1 when there were more.
  template <class Accept>
  std::size_t collect(char* out, std::size_t limit, Accept accept);
  void skipBareToken();

  InterfacePtr<BufferedReader> src_;
  bool afterItem_ = false;
  std::uint64_t line_ = 1;
  std::uint64_t lineStart_ = 0;  // offset of the first unit of the current line
  avo::WString* record_ = nullptr;
  const char* faultExpected_ = nullptr;
  ListPosition faultPosition_;
};

}  // namespace core::detail
