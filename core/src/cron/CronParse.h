#pragma once
// The parser behind crontab_parse, reporting the failing entry's resource key instead of its text (the
// kern tool prints both).

#include "core/Cron.h"

namespace core::detail {

// As crontab_parse; on failure *errorKey (may be null) receives the "IDS_CRONPARSE_..." key, else null.
KERN83_API CrontabPtr crontab_parse_keyed(const char16_t* text, unsigned long long* errorPosition,
                                          const char** errorKey) noexcept;

}  // namespace core::detail
