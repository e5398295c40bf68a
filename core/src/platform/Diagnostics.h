#pragma once
// Where the library reports what no caller can be told: one line on the process's standard error,
// prefixed "kern83: ". A fatal error reports and ends the process at once (abort, so a core dump or a
// debugger shows the place); the library calls it only where going on would break a promise it has made
// (a lock that could not be built, a lookup table that was never set up).

#include <string_view>

namespace core::platform {

void write_diagnostic(std::string_view message) noexcept;
[[noreturn]] void fatal_error(std::string_view message) noexcept;

}  // namespace core::platform
