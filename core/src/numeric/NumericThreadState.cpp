// The per-thread settings of Numeric: the default rounding mode and the NumericLimits stack. Both live
// in the calling thread's ThreadData; this file is the only one that touches them, so moving them into
// the thread object later changes nothing else.
#include "core/Numeric.h"
#include "threads/ThreadData.h"

namespace core {

namespace {
// What round(digits) uses on a thread that never chose a mode.
constexpr NumericRoundMode kProcessRoundMode = Round15as20;
}  // namespace

NumericRoundMode get_default_round_mode() noexcept {
  const int mode = detail::thread_data().roundMode;
  return mode < 0 ? kProcessRoundMode : static_cast<NumericRoundMode>(mode);
}

void set_default_round_mode(NumericRoundMode mode) noexcept {
  // Anything but Round15as20 behaves as Round15as10; store it that way.
  detail::thread_data().roundMode = mode == Round15as20 ? Round15as20 : Round15as10;
}

void reset_default_round_mode() noexcept { detail::thread_data().roundMode = -1; }

NumericLimits::NumericLimits(std::uint32_t maxIntegerDigits) {
  detail::thread_data().numericLimits.push_back(maxIntegerDigits);
  pushed_ = true;
}

NumericLimits::~NumericLimits() {
  if (!pushed_) return;
  auto& stack = detail::thread_data().numericLimits;
  if (!stack.empty()) stack.pop_back();
  if (stack.empty()) std::vector<std::uint32_t>().swap(stack);  // an idle thread keeps no memory
}

std::optional<std::uint32_t> NumericLimits::current() noexcept {
  const auto& stack = detail::thread_data().numericLimits;
  if (stack.empty()) return std::nullopt;
  return stack.back();
}

}  // namespace core
