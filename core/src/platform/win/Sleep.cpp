#include "platform/Sleep.h"

#include <windows.h>

namespace core::platform {

// Sleep(0) gives the rest of the time slice to any thread that is ready to run.
void sleep_ms(unsigned ms) noexcept { Sleep(ms); }

}  // namespace core::platform
