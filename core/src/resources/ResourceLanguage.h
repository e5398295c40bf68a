#pragma once
// The resource language kept in a thread's per-thread state. The thread itself sets it through
// set_thread_resource_language (core/Resources.h); other threads set it through the thread object
// (Thread::setResourceLocale), which passes that thread's state here.

#include <string>
#include <string_view>

#include "base/ThreadSlots.h"

namespace core::detail {

// Sets the language of the thread whose state is `slots`; an empty language resets it to "not set".
void set_resource_language(ThreadSlots& slots, std::string_view language);
// The language set in `slots`, else the process default.
std::string resource_language(ThreadSlots& slots);

}  // namespace core::detail
