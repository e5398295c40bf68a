// Linux: glibc's unwinder (execinfo) and the dynamic loader's symbol table.
#include "platform/Backtrace.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace core::platform {

int capture_stack(void** frames, int capacity, int skip) noexcept {
  constexpr int kMax = 128;
  void* all[kMax];
  // One more frame than asked: this function itself.
  const int total = ::backtrace(all, kMax);
  const int first = std::min(total, skip + 1);
  const int count = std::min(capacity, total - first);
  std::copy(all + first, all + first + count, frames);
  return count;
}

std::string describe_address(void* address) {
  Dl_info info{};
  if (::dladdr(address, &info) == 0) return "?";
  std::string text;
  if (info.dli_sname != nullptr) {
    int status = 0;
    char* demangled = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
    text = status == 0 && demangled != nullptr ? demangled : info.dli_sname;
    std::free(demangled);
    char offset[32];
    std::snprintf(offset, sizeof offset, "+0x%zx",
                  static_cast<std::size_t>(static_cast<char*>(address) - static_cast<char*>(info.dli_saddr)));
    text += offset;
  }
  if (info.dli_fname != nullptr) {
    text += text.empty() ? "" : " ";
    text += "(";
    text += info.dli_fname;
    text += ")";
  }
  return text;
}

}  // namespace core::platform
