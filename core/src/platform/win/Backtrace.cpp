// Windows: the system's stack walker, and the module an address lies in (MinGW's debug information is not
// what the system's symbol handler reads, so frames name their module and offset only).
#include "platform/Backtrace.h"

#include <windows.h>

#include <cstdio>

namespace core::platform {

int capture_stack(void** frames, int capacity, int skip) noexcept {
  if (capacity <= 0) return 0;
  // One more frame than asked: this function itself.
  return RtlCaptureStackBackTrace(static_cast<DWORD>(skip + 1), static_cast<DWORD>(capacity), frames, nullptr);
}

std::string describe_address(void* address) {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          static_cast<LPCWSTR>(address), &module)) {
    return "?";
  }
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
  char utf8[3 * MAX_PATH];
  const int size = WideCharToMultiByte(CP_UTF8, 0, path, static_cast<int>(length), utf8, sizeof utf8, nullptr, nullptr);
  char offset[32];
  std::snprintf(offset, sizeof offset, "+0x%zx",
                static_cast<std::size_t>(static_cast<char*>(address) - reinterpret_cast<char*>(module)));
  return std::string(offset) + " (" + std::string(utf8, static_cast<std::size_t>(size > 0 ? size : 0)) + ")";
}

}  // namespace core::platform
