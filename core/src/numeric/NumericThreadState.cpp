// The per-thread settings of Numeric: the default rounding mode and the NumericLimits stack, kept in a
// slot of the thread's state (only the owning thread touches them).
#include <vector>

#include "base/ThreadSlots.h"
#include "core/Numeric.h"

namespace core {

namespace {
// What round(digits) uses on a thread that never chose a mode.
constexpr NumericRoundMode kProcessRoundMode = Round15as20;

struct NumericThreadState {
  std::vector<std::uint32_t> limits;  // stack of NumericLimits, innermost last
  int roundMode = -1;                 // the thread's NumericRoundMode; -1 = process default
};

NumericThreadState& state() {
  static const detail::ThreadSlot<NumericThreadState> slot;
  return slot.current();
}
}  // namespace

NumericRoundMode get_default_round_mode() noexcept {
  const int mode = state().roundMode;
  return mode < 0 ? kProcessRoundMode : static_cast<NumericRoundMode>(mode);
}

void set_default_round_mode(NumericRoundMode mode) noexcept {
  // Anything but Round15as20 behaves as Round15as10; store it that way.
  state().roundMode = mode == Round15as20 ? Round15as20 : Round15as10;
}

void reset_default_round_mode() noexcept { state().roundMode = -1; }

NumericLimits::NumericLimits(std::uint32_t maxIntegerDigits) {
  state().limits.push_back(maxIntegerDigits);
  pushed_ = true;
}

NumericLimits::~NumericLimits() {
  if (!pushed_) return;
  auto& stack = state().limits;
  if (!stack.empty()) stack.pop_back();
  if (stack.empty()) std::vector<std::uint32_t>().swap(stack);  // an idle thread keeps no memory
}

std::optional<std::uint32_t> NumericLimits::current() noexcept {
  const auto& stack = state().limits;
  if (stack.empty()) return std::nullopt;
  return stack.back();
}

}  // namespace core
