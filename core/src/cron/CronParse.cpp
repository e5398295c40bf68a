// Compiling schedule text into crontab entries.
//
// The text is cut into entries at LF, CR and ";"; each entry is trimmed of whitespace (ICU's u_isspace)
// and empty ones are skipped. An entry's fields are read left to right by a small recursive-descent
// reader that stops at the first error; the error is reported at the entry's first character, and the
// whole schedule is then the empty one. Characters are taken one UTF-16 code unit at a time: no
// supplementary character is whitespace, a digit or part of a name, so pairs need no special care.

#include <unicode/uchar.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/Cron.h"
#include "core/Resources.h"
#include "nexa/Memory.h"

namespace core {

namespace {

struct FieldRule {
  int min;
  int max;
  int stepMax;  // largest step; the weekday field counts Sunday once (7)
  int width;    // bits in the field's mask
  const char16_t* const* names;
  int nameCount;  // names[i] has the value min + i
};

constexpr const char16_t* kMonthNames[] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                           u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
constexpr const char16_t* kWeekdayNames[] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};

constexpr FieldRule kMinutes{0, 59, 60, 64, nullptr, 0};
constexpr FieldRule kHours{0, 23, 24, 32, nullptr, 0};
constexpr FieldRule kDaysOfMonth{1, 31, 31, 32, nullptr, 0};
constexpr FieldRule kMonths{1, 12, 12, 16, kMonthNames, 12};
constexpr FieldRule kDaysOfWeek{0, 7, 7, 8, kWeekdayNames, 7};

constexpr std::uint32_t kAllDaysOfMonth = 0xFFFFFFFFu;
constexpr std::uint8_t kAllDaysOfWeek = 0xFF;
constexpr std::uint16_t kLongMonths = 1u << 0 | 1u << 2 | 1u << 4 | 1u << 6 | 1u << 7 | 1u << 9 | 1u << 11;
constexpr std::uint16_t kFebruary = 1u << 1;
constexpr std::uint32_t kDay30 = 1u << 29, kDay31 = 1u << 30;

bool is_space(char16_t c) noexcept { return u_isspace(c); }
bool is_ascii_digit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

constexpr std::uint64_t all_ones(int width) noexcept { return width == 64 ? ~0ULL : (1ULL << width) - 1; }

// Keeps the bits on the grid of `step` anchored at the lowest set bit, clears every other one.
std::uint64_t thin(std::uint64_t mask, int step, int width) noexcept {
  if (step <= 1 || mask == 0) return mask;
  std::uint64_t grid = 0;
  for (int i = __builtin_ctzll(mask); i < width; i += step) grid |= 1ULL << i;
  return mask & grid;
}

class EntryReader {
 public:
  EntryReader(const char16_t* begin, const char16_t* end) : p_(begin), end_(end) {}

  // Reads the five fields into `out`; on failure returns the message key.
  const char* read(crontab& out) noexcept {
    std::uint64_t masks[5];
    const FieldRule* rules[5] = {&kMinutes, &kHours, &kDaysOfMonth, &kMonths, &kDaysOfWeek};
    for (int i = 0; i < 5; ++i) {
      if (!field(*rules[i], masks[i])) return error_;
    }
    // Text after the fifth field is not looked at.
    out = {masks[0], static_cast<std::uint32_t>(masks[1]), static_cast<std::uint32_t>(masks[2]),
           static_cast<std::uint16_t>(masks[3]), static_cast<std::uint8_t>(masks[4])};
    return reconcile(out);
  }

 private:
  bool fail(const char* key) noexcept {
    error_ = key;
    return false;
  }

  bool field(const FieldRule& rule, std::uint64_t& mask) noexcept {
    if (p_ == end_) return fail("IDS_CRONPARSE_VALUE_EXPECTED");
    mask = 0;
    if (*p_ == u'*') {
      ++p_;
      mask = all_ones(rule.width);
    } else {
      for (;;) {
        int first, last;
        if (!value(rule, first)) return false;
        last = first;
        if (p_ != end_ && *p_ == u'-') {
          ++p_;
          if (!value(rule, last)) return false;
          if (first > last) return fail("IDS_CRONPARSE_INVALID_RANGE");
        }
        mask |= all_ones(last - first + 1) << (first - rule.min);
        if (p_ == end_ || *p_ != u',') break;
        ++p_;
      }
    }
    if (p_ != end_ && *p_ == u'/') {
      ++p_;
      int step;
      if (!number(1, rule.stepMax, step)) return false;
      mask = thin(mask, step, rule.width);
    }
    if (p_ != end_ && !is_space(*p_)) return fail("IDS_CRONPARSE_UNEXPECTED_CHARACTER");
    while (p_ != end_ && is_space(*p_)) ++p_;
    return true;
  }

  bool value(const FieldRule& rule, int& out) noexcept {
    if (p_ == end_) return fail("IDS_CRONPARSE_VALUE_EXPECTED");
    if (is_ascii_digit(*p_) || u_isdigit(*p_)) return number(rule.min, rule.max, out);
    for (int i = 0; i < rule.nameCount; ++i) {
      const std::u16string_view name = rule.names[i];
      if (static_cast<std::size_t>(end_ - p_) >= name.size() && same_letters(name)) {
        p_ += name.size();
        out = rule.min + i;
        return true;
      }
    }
    return fail("IDS_CRONPARSE_INVALID_VALUE");
  }

  // A run of ASCII digits in [min, max]. A digit of another script starts a value but is not read.
  bool number(int min, int max, int& out) noexcept {
    if (p_ == end_) return fail("IDS_CRONPARSE_VALUE_EXPECTED");
    const char16_t* start = p_;
    long long n = 0;
    for (; p_ != end_ && is_ascii_digit(*p_); ++p_) {
      n = n * 10 + (*p_ - u'0');
      if (n > 1000000) n = 1000000;  // saturate: far outside every range already
    }
    if (p_ == start) return fail("IDS_CRONPARSE_INVALID_VALUE");
    if (n < min || n > max) return fail("IDS_CRONPARSE_OUT_OF_RANGE");
    out = static_cast<int>(n);
    return true;
  }

  bool same_letters(std::u16string_view name) const noexcept {
    for (std::size_t i = 0; i < name.size(); ++i) {
      if (u_tolower(p_[i]) != u_tolower(name[i])) return false;
    }
    return true;
  }

  // The day-field rules; the check for dates that never occur applies to day-of-month schedules only.
  static const char* reconcile(crontab& e) noexcept {
    const bool anyDayOfMonth = e.days_of_month == kAllDaysOfMonth;
    const bool anyDayOfWeek = e.days_of_week == kAllDaysOfWeek;
    if (anyDayOfMonth && !anyDayOfWeek) e.days_of_month = 0;
    if (!anyDayOfMonth && anyDayOfWeek) {
      e.days_of_week = 0;
      const std::uint16_t months = e.months & 0xFFF;
      const std::uint32_t days = e.days_of_month & 0x7FFFFFFF;
      if (((months & kLongMonths) == 0 && days == kDay31) ||
          (months == kFebruary && (days & ~(kDay30 | kDay31)) == 0)) {
        return "IDS_CRONPARSE_NONEXISTENT_DATE";
      }
    }
    if (e.days_of_week != kAllDaysOfWeek && (e.days_of_week & 0x80)) e.days_of_week |= 1;
    return nullptr;
  }

  const char16_t* p_;
  const char16_t* const end_;
  const char* error_ = nullptr;
};

bool is_separator(char16_t c) noexcept { return c == u'\n' || c == u'\r' || c == u';'; }

CrontabPtr make_schedule(const crontab* entries, std::size_t count) {
  crontab* array = static_cast<crontab*>(nexa_malloc((count + 1) * sizeof(crontab)));
  for (std::size_t i = 0; i < count; ++i) array[i] = entries[i];
  array[count] = crontab{};
  try {
    return std::shared_ptr<crontab>(
        array, [](crontab* p) { nexa_free(p); }, nexa::StdAllocator<crontab>());
  } catch (...) {
    nexa_free(array);
    throw;
  }
}

// The terminator alone, for when even that cannot be allocated. Nobody owns it and nobody may write it.
CrontabPtr static_empty_schedule() noexcept {
  static crontab terminator{};
  return std::shared_ptr<crontab>(std::shared_ptr<crontab>(), &terminator);
}

CrontabPtr parse(const char16_t* text, unsigned long long* errorPosition, const char** errorKey) {
  std::vector<crontab, nexa::StdAllocator<crontab>> entries;
  if (text == nullptr) return make_schedule(nullptr, 0);
  const char16_t* p = text;
  for (;;) {
    const char16_t* begin = p;
    while (*p != 0 && !is_separator(*p)) ++p;
    const char16_t* end = p;
    while (begin != end && is_space(*begin)) ++begin;
    while (end != begin && is_space(end[-1])) --end;
    if (begin != end) {
      crontab entry;
      if (const char* key = EntryReader(begin, end).read(entry)) {
        if (errorPosition != nullptr) *errorPosition = static_cast<unsigned long long>(begin - text);
        if (errorKey != nullptr) *errorKey = key;
        return make_schedule(nullptr, 0);
      }
      entries.push_back(entry);
    }
    if (*p == 0) break;
    ++p;
  }
  return make_schedule(entries.data(), entries.size());
}

}  // namespace

CrontabPtr crontab_parse(const char16_t* text, CrontabParseError& error) noexcept {
  error = CrontabParseError{};
  try {
    return parse(text, &error.position, &error.key);
  } catch (...) {
    return static_empty_schedule();  // out of memory
  }
}

CrontabPtr crontab_parse(const char16_t* text, unsigned long long* errorPosition, avo::WString* errorText) noexcept {
  CrontabParseError error;
  CrontabPtr result = crontab_parse(text, error);
  if (errorPosition != nullptr) *errorPosition = error.position;
  if (error.key != nullptr && errorText != nullptr) {
    try {
      *errorText = resource_string(error.key);
    } catch (...) {
      // Out of memory for the message: the schedule and the position still tell the failure.
    }
  }
  return result;
}

CrontabPtr crontab_parse(const avo::WString& text, unsigned long long* errorPosition,
                         avo::WString* errorText) noexcept {
  return crontab_parse(text.c_str(), errorPosition, errorText);
}

}  // namespace core
