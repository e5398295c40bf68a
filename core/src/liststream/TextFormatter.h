#pragma once
// The text grammar, writing side: item texts and the writer's three layout flags.
//
// Output goes into the buffer of a BufferedWriter (reserve / commit). A writer that is not buffered is
// put behind an adapter whose buffer is handed on at the end of every operation (endOperation), so the
// writer sees each operation's text complete and in order.

#include <cstdint>
#include <string_view>

#include "core/CharStream.h"
#include "core/File.h"
#include "core/Guid.h"

namespace core {
class Numeric;
}

namespace core::detail {

// The text of a floating item: 16 significant digits, plain or with an exponent (see ListFormat.h).
// `out` has room for 32 characters; returns the length.
std::size_t format_double(double value, char* out) noexcept;

class TextFormatter {
 public:
  explicit TextFormatter(IWriter* writer);
  TextFormatter(const TextFormatter&) = delete;
  TextFormatter& operator=(const TextFormatter&) = delete;

  // ---- list level: separators and line breaks by the layout flags
  void putBeginOfList();
  void putEndOfList();
  void putBool(bool value);
  void putInteger(std::uint64_t magnitude, bool negative);
  void putDouble(double value);
  void putGuid(const GUID& value);
  void putNumeric(const Numeric& value);
  void putString(const char16_t* text, std::size_t length);
  void putBytes(const void* data, std::size_t size);
  void putFile(IFile* file);
  // An item whose text is given as it stands (tools that re-layout a stream).
  void putRaw(std::u16string_view text);

  // ---- token level (no separators)
  void writeUnit(char16_t c);
  void writeBool(bool value);
  void writeInteger(std::uint64_t magnitude, bool negative);
  void writeDouble(double value);
  void writeGuid(const GUID& value);
  void writeNumeric(const Numeric& value);
  void writeString(const char16_t* text, std::size_t length);
  void writeBytes(const void* data, std::size_t size);

  // Hands the text of the operation to an unbuffered writer.
  void endOperation() {
    if (adapted_) out_->flush();
  }
  void flush() { out_->flush(); }
  void close() { out_->close(); }

 private:
  // Room for the longest text of a 64-bit integer with its sign, and for format_small_numeric.
  static constexpr std::size_t kIntegerRoom = 21;
  static constexpr std::size_t kSmallNumericRoom = 30;
  // Strings are escaped in slices of this many units, each reserved for its worst case.
  static constexpr std::size_t kSlice = 512;
  static constexpr std::size_t stringRoom(std::size_t length) noexcept {
    return (length < kSlice ? length : kSlice) * 6 + 8 + 2;
  }

  void beforeItem();
  // Reserves `room` units and a separator before them, writes the separator when one is due and
  // returns where the item goes; endItem() commits its end.
  char16_t* beginItem(std::size_t room);
  void endItem(char16_t* end) noexcept;
  // Makes `room` units free, then runs the operation again. Out of line, like the two below: an
  // operation that finds its room ends in a jump and saves no registers.
  template <class... Args>
  [[gnu::noinline]] void withRoom(std::size_t room, void (TextFormatter::*operation)(Args...), Args... args);
  // The item's text at `o` (stringRoom(length) or kSmallNumericRoom units reserved there), committed.
  [[gnu::noinline]] void writeStringAt(char16_t* o, const char16_t* text, std::size_t length);
  [[gnu::noinline]] void writeNumericAt(char16_t* o, const Numeric& value);
  void writeLargeNumeric(const Numeric& value);
  void afterItem() noexcept {
    needSeparator_ = true;
    atStart_ = false;
  }
  void writeAscii(const char* text, std::size_t length);

  InterfacePtr<BufferedWriter> out_;
  bool adapted_ = false;
  // The layout flags: a "," is due before the next item or list; the "}" of the current list goes on a
  // new line (a nested list was closed in it); nothing has been written yet.
  bool needSeparator_ = false;
  bool breakBeforeClose_ = false;
  bool atStart_ = true;
};

}  // namespace core::detail
