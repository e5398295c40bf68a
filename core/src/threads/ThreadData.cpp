#include "threads/ThreadData.h"

namespace core::detail {

ThreadData& thread_data() noexcept {
  thread_local ThreadData data;
  return data;
}

}  // namespace core::detail
