#include "platform/Diagnostics.h"

#include <windows.h>

#include <cstdlib>
#include <string>

namespace core::platform {

void write_diagnostic(std::string_view message) noexcept {
  try {
    std::string line = "kern83: ";
    line.append(message).push_back('\n');
    // One write, so that lines of different threads do not interleave; a failed write has nowhere to go.
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  } catch (...) {  // out of memory while reporting: nothing more can be said
  }
}

void fatal_error(std::string_view message) noexcept {
  write_diagnostic(message);
  std::abort();
}

}  // namespace core::platform
