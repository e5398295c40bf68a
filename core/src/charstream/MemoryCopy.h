#pragma once
// memcpy for short copies of run-time length. When GCC can bound a copy's length (a length byte, a
// capped chunk) it expands memcpy inline as "rep movsq", which costs tens of cycles to start; the C
// library's memcpy is much faster for the runs of a few dozen bytes that strings and runs of text are.
// This call cannot be seen through, so the library's memcpy is what runs.

#include <cstddef>

namespace core::detail {

void copy_memory(void* to, const void* from, std::size_t size) noexcept;

}  // namespace core::detail
