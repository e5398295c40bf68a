#pragma once
// Call-stack capture and symbolisation.

#include <string>

namespace core::platform {

// Fills `frames` with up to `capacity` return addresses of the calling thread, the innermost first,
// skipping `skip` frames above the caller. Returns the number stored. Never allocates on the heap after
// the first call in a process.
int capture_stack(void** frames, int capacity, int skip) noexcept;

// "symbol+0xoffset (module)" for a code address, or the module alone when the symbol is unknown.
std::string describe_address(void* address);

}  // namespace core::platform
