// Date fields in the machine's local time: the public face of the platform's converter. Each call takes
// a fresh converter, so its results do not depend on earlier calls (the first-occurrence rule for
// repeated readings comes from that).

#include "core/Date.h"
#include "platform/LocalTime.h"

namespace core {

bool time_to_local_fields(long long time, DateFields& out) noexcept {
  platform::LocalTime f;
  if (!platform::local_time(time, f)) return false;
  out = {f.year, f.month, f.day, f.hour, f.minute, f.second};
  return true;
}

bool local_fields_to_time(const DateFields& fields, long long& time) noexcept {
  platform::LocalTime f;
  f.year = fields.year;
  f.month = fields.month;
  f.day = fields.day;
  f.hour = fields.hour;
  f.minute = fields.minute;
  f.second = fields.second;
  return platform::make_time(f, time);
}

}  // namespace core
