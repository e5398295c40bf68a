// BoolFormat, NumericFormat and the settings that say which ones are in force.
//
// Process defaults are guarded by a mutex and stamped with a generation number; each thread caches the
// default it last saw with its generation, so the common lookup (no thread format, default unchanged) is one
// atomic load and no shared write.
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <atomic>
#include <mutex>

#include "values/FormatSettings.h"

namespace core {

// ---------------------------------------------------------------------------------------------------
// BoolFormat.

BoolFormat::BoolFormat() : trueText_(u"true"), falseText_(u"false") {}

BoolFormat::BoolFormat(std::u16string_view trueText, std::u16string_view falseText)
    : trueText_(trueText), falseText_(falseText) {}

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

template <class F>
struct ProcessDefault {
  std::mutex mutex;
  SharedPtr<const F> format;  // null: the built-in default
  std::atomic<std::uint64_t> generation{1};
};

// Never destroyed: threads that end after main returns may still look their formats up.
template <class F>
ProcessDefault<F>& process_default() {
  static ProcessDefault<F>* instance = new ProcessDefault<F>;
  return *instance;
}

template <class F>
const SharedPtr<const F>& builtin_format() {
  static const SharedPtr<const F>* instance = new SharedPtr<const F>(new F());
  return *instance;
}

template <class F>
SharedPtr<const F> read_process_default() {
  ProcessDefault<F>& d = process_default<F>();
  std::lock_guard lock(d.mutex);
  return d.format ? d.format : builtin_format<F>();
}

template <class F>
void write_process_default(SharedPtr<const F> format) {
  ProcessDefault<F>& d = process_default<F>();
  SharedPtr<const F> old;
  {
    std::lock_guard lock(d.mutex);
    old = std::move(d.format);
    d.format = std::move(format);
    d.generation.fetch_add(1, std::memory_order_release);
  }
  // `old` is released here, outside the lock.
}

// The calling thread's copy of a process default and the generation it was read at.
template <class F>
struct CachedDefault {
  SharedPtr<const F> format;
  std::uint64_t generation = 0;
};

template <class F>
CachedDefault<F>& cached_default() noexcept {
  thread_local CachedDefault<F> cache;
  return cache;
}

template <class F>
const F& current_default() {
  CachedDefault<F>& cache = cached_default<F>();
  const std::uint64_t now = process_default<F>().generation.load(std::memory_order_acquire);
  if (cache.generation != now || !cache.format) {
    cache.format = read_process_default<F>();
    cache.generation = now;
  }
  return *cache.format;
}

}  // namespace

namespace detail {

ThreadFormats& thread_format_slot() noexcept {
  thread_local ThreadFormats formats;
  return formats;
}

const BoolFormat& current_bool_format() {
  const ThreadFormats& own = thread_format_slot();
  return own.boolFormat ? *own.boolFormat : current_default<BoolFormat>();
}

const NumericFormat& current_numeric_format() {
  const ThreadFormats& own = thread_format_slot();
  return own.numericFormat ? *own.numericFormat : current_default<NumericFormat>();
}

}  // namespace detail

BoolFormatPtr get_bool_format() {
  const detail::ThreadFormats& own = detail::thread_format_slot();
  return own.boolFormat ? own.boolFormat : read_process_default<BoolFormat>();
}

NumericFormatPtr get_numeric_format() {
  const detail::ThreadFormats& own = detail::thread_format_slot();
  return own.numericFormat ? own.numericFormat : read_process_default<NumericFormat>();
}

void set_thread_bool_format(BoolFormatPtr format) { detail::thread_format_slot().boolFormat = std::move(format); }
void reset_thread_bool_format() noexcept { detail::thread_format_slot().boolFormat.reset(); }
void set_thread_numeric_format(NumericFormatPtr format) {
  detail::thread_format_slot().numericFormat = std::move(format);
}
void reset_thread_numeric_format() noexcept { detail::thread_format_slot().numericFormat.reset(); }

BoolFormatPtr get_process_bool_format() { return read_process_default<BoolFormat>(); }
void set_process_bool_format(BoolFormatPtr format) { write_process_default<BoolFormat>(std::move(format)); }
NumericFormatPtr get_process_numeric_format() { return read_process_default<NumericFormat>(); }
void set_process_numeric_format(NumericFormatPtr format) {
  write_process_default<NumericFormat>(std::move(format));
}

}  // namespace core
