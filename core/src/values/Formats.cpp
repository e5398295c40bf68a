// BoolFormat, NumericFormat and the lookup of the formats in force.
//
// Settings live in the calling thread's core::Thread object when it has one (its own value, else Thread's
// process default); a foreign thread keeps its own formats in a slot of its per-thread state
// (base/ThreadSlots.h) and falls back to the same process default. Whatever is stored there is an
// IUnknown; it is queried back for the format's interface, and anything else counts as no setting.
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include "base/ThreadSlots.h"
#include "core/Thread.h"
#include "values/FormatSettings.h"

namespace core {

// ---------------------------------------------------------------------------------------------------
// BoolFormat.

BoolFormat::BoolFormat() : trueText_(u"true"), falseText_(u"false") {}

BoolFormat::BoolFormat(std::u16string_view trueText, std::u16string_view falseText)
    : trueText_(trueText), falseText_(falseText) {}

BoolFormat::~BoolFormat() = default;

namespace {

bool same_word(std::u16string_view a, std::u16string_view b) noexcept {
  if (a.empty() || b.empty()) return a.empty() && b.empty();
  UErrorCode status = U_ZERO_ERROR;
  const int32_t order = u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(),
                                         static_cast<int32_t>(b.size()), U_FOLD_CASE_DEFAULT, &status);
  return U_SUCCESS(status) && order == 0;
}

}  // namespace

bool BoolFormat::parse(std::u16string_view text, bool& out) const noexcept {
  // Guards the 32-bit lengths that ICU takes; no boolean word is that long.
  if (text.empty() || text.size() > 4096) return false;
  if (same_word(text, trueText_) || same_word(text, u"true") || same_word(text, u"истина")) {
    out = true;
    return true;
  }
  if (same_word(text, falseText_) || same_word(text, u"false") || same_word(text, u"ложь")) {
    out = false;
    return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------------------
// NumericFormat.

NumericFormat::~NumericFormat() = default;

avo::WString NumericFormat::apply(std::u16string_view canonical) const {
  if (isCanonical()) return avo::WString(canonical);
  std::size_t pos = 0;
  avo::WString out;
  out.reserve(canonical.size() + canonical.size() / 3 + 1);
  if (pos < canonical.size() && canonical[pos] == u'-') out.push_back(canonical[pos++]);
  std::size_t digitsEnd = pos;
  while (digitsEnd < canonical.size() && canonical[digitsEnd] >= u'0' && canonical[digitsEnd] <= u'9') ++digitsEnd;
  for (std::size_t i = pos; i < digitsEnd; ++i) {
    const std::size_t left = digitsEnd - i;  // digits from here to the end of the integer part
    if (i != pos && left % 3 == 0 && groupSeparator_ != 0) out.push_back(groupSeparator_);
    out.push_back(canonical[i]);
  }
  pos = digitsEnd;
  if (pos < canonical.size() && canonical[pos] == u'.') {
    out.push_back(decimalSeparator_);
    ++pos;
  }
  out.append(canonical.substr(pos));
  return out;
}

// ---------------------------------------------------------------------------------------------------
// Settings.

namespace {

// Which Thread setting holds a kind of format.
template <class F>
struct Slot;

template <>
struct Slot<BoolFormat> {
  static InterfacePtr<IUnknown> get(const Thread& t) { return t.getBoolFormat(); }
  static void set(Thread& t, IUnknown* f) { t.setBoolFormat(f); }
  static InterfacePtr<IUnknown> getDefault() { return Thread::getDefaultBoolFormat(); }
  static void setDefault(IUnknown* f) { Thread::setDefaultBoolFormat(f); }
};

template <>
struct Slot<NumericFormat> {
  static InterfacePtr<IUnknown> get(const Thread& t) { return t.getNumericFormat(); }
  static void set(Thread& t, IUnknown* f) { t.setNumericFormat(f); }
  static InterfacePtr<IUnknown> getDefault() { return Thread::getDefaultNumericFormat(); }
  static void setDefault(IUnknown* f) { Thread::setDefaultNumericFormat(f); }
};

// A thread's formats of one kind: its own setting when it has no Thread object, and the last format
// handed out by current_..._format(), kept alive for the caller. In a thread slot rather than in
// thread_local variables: MinGW frees emulated thread-locals before their destructors run.
template <class F>
struct ThreadFormats {
  InterfacePtr<F> own;
  InterfacePtr<F> held;
};

template <class F>
ThreadFormats<F>& thread_formats() {
  static const detail::ThreadSlot<ThreadFormats<F>> slot;
  return slot.current();
}

// The format of a thread without a Thread object.
template <class F>
InterfacePtr<F>& foreign_thread_format() {
  return thread_formats<F>().own;
}

// Made once, never destroyed: conversions may run in static destructors.
template <class F>
F* builtin_format() {
  static F* const instance = [] {
    F* f = new F();
    f->AddRef();
    return f;
  }();
  return instance;
}

template <class F>
InterfacePtr<F> process_format() {
  InterfacePtr<F> f = Slot<F>::getDefault().template query<F>();
  return f ? f : InterfacePtr<F>(builtin_format<F>());
}

template <class F>
InterfacePtr<F> format_in_force() {
  if (const Thread* thread = current_thread()) {
    InterfacePtr<F> f = Slot<F>::get(*thread).template query<F>();
    return f ? f : InterfacePtr<F>(builtin_format<F>());
  }
  const InterfacePtr<F>& own = foreign_thread_format<F>();
  return own ? own : process_format<F>();
}

template <class F>
void set_thread_format(F* format) {
  if (Thread* thread = current_thread()) {
    Slot<F>::set(*thread, format);
  } else {
    foreign_thread_format<F>() = format;
  }
}

// Keeps the last format handed out by current_..._format() alive for the calling thread.
template <class F>
const F& hold_current() {
  InterfacePtr<F>& held = thread_formats<F>().held;
  held = format_in_force<F>();
  return *held;
}

}  // namespace

namespace detail {
const BoolFormat& current_bool_format() { return hold_current<BoolFormat>(); }
const NumericFormat& current_numeric_format() { return hold_current<NumericFormat>(); }
}  // namespace detail

BoolFormatPtr create_bool_format(std::u16string_view trueText, std::u16string_view falseText) {
  return BoolFormatPtr(new BoolFormat(trueText, falseText));
}

NumericFormatPtr create_numeric_format(char16_t decimalSeparator, char16_t groupSeparator) {
  return NumericFormatPtr(new NumericFormat(decimalSeparator, groupSeparator));
}

BoolFormatPtr get_bool_format() { return format_in_force<BoolFormat>(); }
NumericFormatPtr get_numeric_format() { return format_in_force<NumericFormat>(); }

void set_thread_bool_format(BoolFormatPtr format) { set_thread_format(format.get()); }
void reset_thread_bool_format() { set_thread_format<BoolFormat>(nullptr); }
void set_thread_numeric_format(NumericFormatPtr format) { set_thread_format(format.get()); }
void reset_thread_numeric_format() { set_thread_format<NumericFormat>(nullptr); }

BoolFormatPtr get_process_bool_format() { return process_format<BoolFormat>(); }
void set_process_bool_format(BoolFormatPtr format) { Slot<BoolFormat>::setDefault(format.get()); }
NumericFormatPtr get_process_numeric_format() { return process_format<NumericFormat>(); }
void set_process_numeric_format(NumericFormatPtr format) { Slot<NumericFormat>::setDefault(format.get()); }

}  // namespace core
