#pragma once
// Presentation formats that value conversions use: how a boolean is written and which words read back as
// one (`BoolFormat`), and how a number is written (`NumericFormat`).
//
// Conversions read the calling thread's format, or the process default when the thread has none:
//
//     core::set_thread_bool_format(core::create_bool_format(u"Да", u"Нет"));
//     bool b;
//     core::Value(u"да").getBoolean(b);        // true: the thread's own words, any case
//     core::Value(u"TRUE").getBoolean(b);      // true: the built-in words are always understood
//     core::reset_thread_bool_format();        // back to the process default
//
//     auto ru = core::create_numeric_format(u',', u' ');
//     ru->apply(u"-1234567.25");               // u"-1 234 567,25"
//
// Where the settings live: a thread that has a core::Thread object (core/Thread.h: the main thread, threads
// started by the library, attached threads) keeps its formats there, so `Thread::setBoolFormat` and
// `set_thread_bool_format` are the same setting; the process defaults are Thread's defaults
// (`Thread::setDefaultBoolFormat`). A foreign OS thread without a Thread object keeps its own formats in
// a thread-local slot. Formats are reference-counted interfaces (IUnknown) so that Thread can hold them
// without knowing them; a held object that is not a format of the right kind counts as no setting.
//
// Formats are immutable, so a thread may keep using one while another thread installs a different
// default. The getters and setters are thread-safe.

#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Interface.h"
#include "nexa/Memory.h"

namespace core {

// Booleans as text. Printing uses the two texts of the format; reading accepts, ignoring case (full Unicode
// case folding), the format's own texts and the built-in words "true"/"false" and "истина"/"ложь".
class KERN83_API BoolFormat final : public RefCountedUnknown<0, Answers<BoolFormat>, IUnknown, nexa::Allocated> {
 public:
  static constexpr GUID IID = guid("c4a8b1e2-5d3f-4a6b-9c7d-1e2f3a4b5c61");

  // Prints "true" and "false".
  BoolFormat();
  // Prints `trueText` and `falseText` (read back too, besides the built-in words).
  BoolFormat(std::u16string_view trueText, std::u16string_view falseText);
  ~BoolFormat() override;

  // The two texts, and the one that prints `value`.
  const avo::WString& trueText() const noexcept { return trueText_; }
  const avo::WString& falseText() const noexcept { return falseText_; }
  const avo::WString& format(bool value) const noexcept { return value ? trueText_ : falseText_; }
  // Reads a boolean word: the whole text must be one of the accepted words (no surrounding blanks).
  // Returns false and leaves `out` unchanged otherwise. Never allocates.
  bool parse(std::u16string_view text, bool& out) const noexcept;

 private:
  const avo::WString trueText_;
  const avo::WString falseText_;
};

// Numbers as text. A format transforms the canonical text of a number (digits, "." before a fraction,
// "-" before a negative number; no grouping, no exponent) by replacing the decimal point and grouping the
// integer digits in threes. The default format keeps the canonical text as it is.
class KERN83_API NumericFormat final : public RefCountedUnknown<0, Answers<NumericFormat>, IUnknown, nexa::Allocated> {
 public:
  static constexpr GUID IID = guid("c4a8b1e2-5d3f-4a6b-9c7d-1e2f3a4b5c62");

  // The canonical text.
  NumericFormat() noexcept = default;
  // `decimalSeparator` replaces "."; a non-zero `groupSeparator` is put between groups of three integer
  // digits.
  explicit NumericFormat(char16_t decimalSeparator, char16_t groupSeparator = 0) noexcept
      : decimalSeparator_(decimalSeparator), groupSeparator_(groupSeparator) {}
  ~NumericFormat() override;

  // The separators (0: no grouping), and whether they leave the canonical text unchanged.
  char16_t decimalSeparator() const noexcept { return decimalSeparator_; }
  char16_t groupSeparator() const noexcept { return groupSeparator_; }
  bool isCanonical() const noexcept { return decimalSeparator_ == u'.' && groupSeparator_ == 0; }
  // The presentation of a number given as its canonical text. Text that is not canonical is transformed
  // all the same (the sign, digits and first "." are recognised; everything else is copied).
  avo::WString apply(std::u16string_view canonical) const;

 private:
  const char16_t decimalSeparator_ = u'.';
  const char16_t groupSeparator_ = 0;
};

// Formats are held by counted reference.
using BoolFormatPtr = InterfacePtr<BoolFormat>;
using NumericFormatPtr = InterfacePtr<NumericFormat>;

// New formats (std::bad_alloc on failure).
KERN83_API BoolFormatPtr create_bool_format(std::u16string_view trueText, std::u16string_view falseText);
KERN83_API NumericFormatPtr create_numeric_format(char16_t decimalSeparator, char16_t groupSeparator = 0);

// The format in force on the calling thread: its own when set, else the process default, else the
// built-in one (the default-constructed format). Never null.
KERN83_API BoolFormatPtr get_bool_format();
KERN83_API NumericFormatPtr get_numeric_format();

// The calling thread's own format; null resets it, like reset_thread_...().
KERN83_API void set_thread_bool_format(BoolFormatPtr format);
KERN83_API void reset_thread_bool_format();
KERN83_API void set_thread_numeric_format(NumericFormatPtr format);
KERN83_API void reset_thread_numeric_format();

// The process defaults (Thread's defaults). The getters answer the built-in format when none is set;
// null restores it.
KERN83_API BoolFormatPtr get_process_bool_format();
KERN83_API void set_process_bool_format(BoolFormatPtr format);
KERN83_API NumericFormatPtr get_process_numeric_format();
KERN83_API void set_process_numeric_format(NumericFormatPtr format);

}  // namespace core
