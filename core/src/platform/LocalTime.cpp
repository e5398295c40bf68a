// Local time: the C library's localtime (localtime_r on Linux, _localtime64 on Windows) and the probing of
// glibc's mktime, over cached offset tables. Both systems convert with the same mktime semantics.
//
// Invariants of a zone's table:
// - The cached span [kCacheFirst, kCacheEnd) is cut into blocks of 2^kBlockBits seconds; a block's entry
//   is written once (0 -> built) and never changes afterwards, so readers need no lock.
// - An entry is either "uniform" (odd word: one offset for the whole block, the offset in the high 32
//   bits, the daylight-saving flag in bit 1) or a pointer to a Block listing the block's segments in
//   order, the first starting at the block's start.
// - Every segment was read from localtime_r: its offset and flag are exactly the C library's, and for
//   every sampled instant the fields were checked to equal "instant + offset" broken down; a zone where
//   that fails (leap seconds) is marked uncached and served by localtime_r itself.
// Zones are never freed: there are as many as distinct TZ values the process used.

#include "platform/LocalTime.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <vector>

#include "base/Calendar.h"
#include "base/LockGuard.h"
#include "platform/Mutex.h"

namespace core::platform {

namespace {

using calendar::kSecondsPerDay;

constexpr int kBlockBits = 20;  // about 12 days
constexpr int kChunkBits = 10;
constexpr long long kCacheFirst = -(1LL << 36);  // about year -200
constexpr long long kCacheEnd = 1LL << 38;       // about year 10680
constexpr long long kBlockCount = (kCacheEnd - kCacheFirst) >> kBlockBits;
constexpr long long kChunkCount = kBlockCount >> kChunkBits;
constexpr long long kChunkSize = 1LL << kChunkBits;
constexpr long long kSampleStep = 3600;
// Readings beyond this many seconds from the epoch are refused (years far beyond an int's range).
constexpr long long kLimit = 1LL << 56;

struct Offset {
  int seconds = 0;
  bool dst = false;
  bool operator==(const Offset&) const = default;
};

struct Segment {
  long long start;
  Offset offset;
};

struct Block {
  std::vector<Segment> segments;
};

using Entry = std::atomic<std::uint64_t>;

constexpr std::uint64_t encode_uniform(Offset o) {
  return std::uint64_t(std::uint32_t(o.seconds)) << 32 | std::uint64_t(o.dst) << 1 | 1;
}
constexpr Offset decode_uniform(std::uint64_t w) {
  return {static_cast<int>(static_cast<std::uint32_t>(w >> 32)), (w & 2) != 0};
}

// Fields of `local` seconds (an instant plus its offset) in the calendar.
void break_down(long long local, LocalTime& out) noexcept;

#if defined(_WIN32)
// The C runtime's _localtime64, which knows the instants of 1970..3000 only and reports no offset. Its
// offset is the difference of its fields and the instant; outside its years the zone's standard offset
// holds (the runtime's zones are a standard offset and, with a daylight-saving name, the US rules).
// Years whose tm_year (year - 1900) an int cannot hold fail, as glibc's localtime_r does.
constexpr long long kLastRuntimeTime = 32535215999LL;  // 3000-12-31 23:59:59 UTC

bool c_local_time(long long time, LocalTime& out) noexcept {
  if (time < 0 || time > kLastRuntimeTime) {
    const long standard = _timezone;  // seconds west of UTC, as the last _tzset read it
    const long long year = calendar::civil_from_days(calendar::floor_div(time - standard, kSecondsPerDay)).year;
    if (year - 1900 < INT_MIN || year - 1900 > INT_MAX) return false;
    break_down(time - standard, out);
    out.utcOffset = static_cast<int>(-standard);
    out.daylightSaving = false;
    return true;
  }
  const __time64_t t = time;
  std::tm tm;
  if (_localtime64_s(&tm, &t) != 0) return false;
  const long long days = calendar::days_from_civil(tm.tm_year + 1900LL, tm.tm_mon + 1, tm.tm_mday);
  const long long local = days * kSecondsPerDay + tm.tm_hour * 3600LL + tm.tm_min * 60LL + tm.tm_sec;
  out = {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
         tm.tm_min,         tm.tm_sec,     tm.tm_wday, static_cast<int>(local - time),
         tm.tm_isdst > 0};
  return true;
}

void reload_zone() noexcept { _tzset(); }
#else
bool c_local_time(long long time, LocalTime& out) noexcept {
  const std::time_t t = static_cast<std::time_t>(time);
  std::tm tm;
  if (localtime_r(&t, &tm) == nullptr) return false;
  out = {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
         tm.tm_min,         tm.tm_sec,     tm.tm_wday, static_cast<int>(tm.tm_gmtoff),
         tm.tm_isdst > 0};
  return true;
}

void reload_zone() noexcept { tzset(); }
#endif

void break_down(long long local, LocalTime& out) noexcept {
  const long long days = calendar::floor_div(local, kSecondsPerDay);
  const int secondOfDay = static_cast<int>(local - days * kSecondsPerDay);
  const calendar::CivilDay d = calendar::civil_from_days(days);
  out.year = static_cast<int>(d.year);
  out.month = d.month;
  out.day = d.day;
  out.hour = secondOfDay / 3600;
  out.minute = secondOfDay % 3600 / 60;
  out.second = secondOfDay % 60;
  out.weekday = calendar::weekday_from_days(days);
}

class Zone {
 public:
  explicit Zone(const char* tz) : unset_(tz == nullptr), name_(tz ? tz : "") {}

  bool matches(const char* tz) const noexcept {
    return tz == nullptr ? unset_ : !unset_ && std::strcmp(tz, name_.c_str()) == 0;
  }

  // The offset in force at `time`; false when the table cannot answer (use the C library).
  bool lookup(long long time, Offset& out) noexcept {
    if (time < kCacheFirst || time >= kCacheEnd || !cached_.load(std::memory_order_relaxed)) return false;
    const long long index = (time - kCacheFirst) >> kBlockBits;
    std::uint64_t word = entry(index).load(std::memory_order_acquire);
    if (word == 0 && (word = build(index)) == 0) return false;
    if (word & 1) {
      out = decode_uniform(word);
      return true;
    }
    const auto& segments = reinterpret_cast<const Block*>(word)->segments;
    auto it = std::upper_bound(segments.begin(), segments.end(), time,
                               [](long long t, const Segment& s) { return t < s.start; });
    out = std::prev(it)->offset;
    return true;
  }

  // Whether every instant of [from, to] has `offset`; false also when the table cannot tell.
  bool uniform(long long from, long long to, int offset) noexcept {
    if (from > to || from < kCacheFirst || to >= kCacheEnd) return false;
    for (long long index = (from - kCacheFirst) >> kBlockBits; index <= (to - kCacheFirst) >> kBlockBits; ++index) {
      std::uint64_t word = entry(index).load(std::memory_order_acquire);
      if (word == 0 && (word = build(index)) == 0) return false;
      if (word & 1) {
        if (decode_uniform(word).seconds != offset) return false;
        continue;
      }
      const auto& segments = reinterpret_cast<const Block*>(word)->segments;
      for (std::size_t i = 0; i < segments.size(); ++i) {
        const long long end = i + 1 < segments.size() ? segments[i + 1].start : kCacheEnd;
        if (end > from && segments[i].start <= to && segments[i].offset.seconds != offset) return false;
      }
    }
    return true;
  }

 private:
  Entry& entry(long long index) noexcept {
    std::atomic<Entry*>& slot = chunks_[index >> kChunkBits];
    Entry* chunk = slot.load(std::memory_order_acquire);
    if (chunk == nullptr) {
      Entry* fresh = new (std::nothrow) Entry[kChunkSize]();
      if (fresh == nullptr) return none_;
      if (slot.compare_exchange_strong(chunk, fresh, std::memory_order_acq_rel)) {
        chunk = fresh;
      } else {
        delete[] fresh;
      }
    }
    return chunk[index & (kChunkSize - 1)];
  }

  // Samples localtime_r over the block and publishes its entry; 0 when the zone turned out not to be
  // cacheable or the process's zone changed meanwhile.
  std::uint64_t build(long long index) noexcept;
  bool sample(long long time, Offset& out) noexcept;

  const bool unset_;
  const std::string name_;
  std::atomic<bool> cached_{true};
  std::atomic<Entry*> chunks_[kChunkCount] = {};
  Entry none_{0};  // stays 0: the entry of blocks whose chunk could not be allocated
};

// Serialises the making of zones and the sampling of the C library (which needs its zone loaded).
constinit Mutex g_zonesMutex;

std::atomic<Zone*> g_current{nullptr};

// The zone of the current TZ value, made current (and the C library's zone reloaded) if it changed.
Zone* current_zone() noexcept {
  const char* tz = std::getenv("TZ");
  Zone* zone = g_current.load(std::memory_order_acquire);
  if (zone != nullptr && zone->matches(tz)) return zone;
  static std::vector<Zone*>* zones = new std::vector<Zone*>;  // never freed, see the invariants
  detail::LockGuard guard(g_zonesMutex);
  tz = std::getenv("TZ");
  reload_zone();
  zone = nullptr;
  for (Zone* z : *zones) {
    if (z->matches(tz)) zone = z;
  }
  if (zone == nullptr) {
    try {
      zone = new Zone(tz);
      zones->push_back(zone);
    } catch (...) {
      return nullptr;  // out of memory: the converter falls back to the C library
    }
  }
  g_current.store(zone, std::memory_order_release);
  return zone;
}

bool Zone::sample(long long time, Offset& out) noexcept {
  LocalTime c;
  if (!c_local_time(time, c)) return false;
  out = {c.utcOffset, c.daylightSaving};
  LocalTime computed;
  break_down(time + c.utcOffset, computed);
  return computed.year == c.year && computed.month == c.month && computed.day == c.day && computed.hour == c.hour &&
         computed.minute == c.minute && computed.second == c.second && computed.weekday == c.weekday;
}

std::uint64_t Zone::build(long long index) noexcept {
  detail::LockGuard guard(g_zonesMutex);
  // The C library must be in this zone while we sample it.
  if (!matches(std::getenv("TZ"))) return 0;
  reload_zone();
  const long long start = kCacheFirst + (index << kBlockBits);
  const long long last = start + (1LL << kBlockBits) - 1;
  std::vector<Segment> segments;
  Offset current;
  bool ok = sample(start, current);
  try {
    segments.push_back({start, current});
    for (long long lo = start, at = std::min(start + kSampleStep, last); ok; at = std::min(at + kSampleStep, last)) {
      Offset probe;
      ok = sample(at, probe);
      while (ok && !(probe == current)) {
        // Bisect (lo, at] for the first second whose offset is not `current`.
        long long a = lo, b = at;
        while (ok && b - a > 1) {
          const long long mid = a + (b - a) / 2;
          Offset m;
          ok = sample(mid, m);
          (m == current ? a : b) = mid;
        }
        ok = ok && sample(b, current);
        segments.push_back({b, current});
        lo = b;
      }
      lo = at;
      if (at == last) break;
    }
  } catch (...) {
    return 0;
  }
  if (!ok) {
    cached_.store(false, std::memory_order_relaxed);
    return 0;
  }
  std::uint64_t word;
  if (segments.size() == 1) {
    word = encode_uniform(segments[0].offset);
  } else {
    Block* block = new (std::nothrow) Block{};
    if (block == nullptr) return 0;
    block->segments = std::move(segments);
    word = reinterpret_cast<std::uint64_t>(block);
  }
  std::uint64_t expected = 0;
  // Builds are serialised by the lock, so the slot is still empty unless another thread built it first.
  if (!entry(index).compare_exchange_strong(expected, word, std::memory_order_acq_rel)) {
    if (!(word & 1)) delete reinterpret_cast<Block*>(word);
    return expected;
  }
  return word;
}

// Seconds of a reading taken as if it were UTC; false when the reading is absurdly far out.
bool naive_seconds(const LocalTime& f, int second, long long& out) noexcept {
  const long long monthIndex = f.month - 1LL;
  const long long year = f.year + calendar::floor_div(monthIndex, 12);
  const int month = static_cast<int>(calendar::floor_mod(monthIndex, 12)) + 1;
  out = (calendar::days_from_civil(year, month, 1) + f.day - 1LL) * kSecondsPerDay + f.hour * 3600LL + f.minute * 60LL +
        second;
  return out > -kLimit && out < kLimit;
}

bool in_range(const LocalTime& f) noexcept {
  return f.month >= 1 && f.month <= 12 && f.day >= 1 && f.day <= calendar::days_in_month(f.year, f.month) &&
         f.hour >= 0 && f.hour < 24 && f.minute >= 0 && f.minute < 60 && f.second >= 0 && f.second < 60;
}

}  // namespace

LocalTimeConverter::LocalTimeConverter() noexcept : zone_(current_zone()) {}

bool LocalTimeConverter::toLocal(long long time, LocalTime& out) noexcept {
  Offset offset;
  if (zone_ != nullptr && static_cast<Zone*>(zone_)->lookup(time, offset)) {
    break_down(time + offset.seconds, out);
    out.utcOffset = offset.seconds;
    out.daylightSaving = offset.dst;
    return true;
  }
  return time > -kLimit && time < kLimit && c_local_time(time, out);
}

// mktime's first probe hits when the hint's offset is the one in force there: the fields stand as they
// are and the hint stays.
bool LocalTimeConverter::answerFromTable(LocalTime& fields, long long wanted, long long& time) noexcept {
  const long long t = wanted + guess_;
  Offset offset;
  if (zone_ == nullptr || !static_cast<Zone*>(zone_)->lookup(t, offset) || offset.seconds != -guess_) return false;
  fields.weekday = calendar::weekday_from_days(calendar::floor_div(wanted, kSecondsPerDay));
  fields.utcOffset = offset.seconds;
  fields.daylightSaving = offset.dst;
  time = t;
  return true;
}

bool LocalTimeConverter::hasUniformOffset(long long from, long long to, int utcOffset) noexcept {
  return zone_ != nullptr && static_cast<Zone*>(zone_)->uniform(from, to, utcOffset);
}

// The probing of glibc's mktime (tm_isdst = -1), step for step: start at reading + guess, move by the
// difference between the wanted and the obtained reading, and when the probes oscillate between two
// instants around a gap, settle on the daylight-saving one (or on the current one when their flags
// agree). The hint carried to the next call is "instant - reading", as glibc keeps it.
bool LocalTimeConverter::toTime(LocalTime& fields, long long& time) noexcept {
  const int second = std::clamp(fields.second, 0, 59);  // mktime probes with the seconds in range
  long long wanted;
  if (!naive_seconds(fields, second, wanted)) return false;
  if (!haveGuess_) {
    LocalTime before;
    if (toLocal(wanted - kSecondsPerDay, before)) setHint(before.utcOffset);
  } else if (in_range(fields) && answerFromTable(fields, wanted, time)) {
    return true;
  }
  long long t = wanted + guess_, t1 = t, t2 = t;
  bool previousDst = false;
  LocalTime got;
  for (int probes = 6;;) {
    if (!toLocal(t, got)) return false;
    long long obtained;
    naive_seconds(got, got.second, obtained);
    const long long dt = wanted - obtained;
    if (dt == 0) break;
    if (t == t1 && t != t2 && previousDst <= got.daylightSaving) break;
    if (--probes == 0) return false;
    t1 = t2;
    t2 = t;
    t += dt;
    previousDst = got.daylightSaving;
    if (t <= -kLimit || t >= kLimit) return false;
  }
  guess_ = t - wanted;
  haveGuess_ = true;
  if (fields.second != got.second) {
    // Put back seconds that were out of range (and undo a false match on a leap second).
    t += (second == 0 && got.second == 60) - second + fields.second;
    if (!toLocal(t, got)) return false;
  }
  fields = got;
  time = t;
  return true;
}

bool local_time(long long time, LocalTime& out) noexcept { return LocalTimeConverter().toLocal(time, out); }

bool make_time(LocalTime& fields, long long& time) noexcept { return LocalTimeConverter().toTime(fields, time); }

void set_time_zone(const char* tz) {
#if defined(_WIN32)
  _putenv_s("TZ", tz != nullptr ? tz : "");  // an empty value removes the variable
#else
  if (tz != nullptr) {
    setenv("TZ", tz, 1);
  } else {
    unsetenv("TZ");
  }
#endif
  reload_zone();
}

std::optional<std::string> get_time_zone() {
  const char* tz = std::getenv("TZ");
  if (tz == nullptr) return std::nullopt;
  return std::string(tz);
}

}  // namespace core::platform
