// The calculator's expression evaluator: any line either gives a number whose canonical text reads back
// to it, or fails with a message key and text; nothing escapes, nothing runs away (the size and nesting
// limits bound the work of every line). A parenthesised valid line must have the same value.
//
//     build/fuzz/fuzz/Calc_fuzz -dict=fuzz/Calc.dict -max_total_time=300 corpus-dir fuzz/corpus/Calc
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "CalcExpression.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  core::Numeric value;
  kern::calc::Failure failure;
  if (!kern::calc::evaluate(text, value, failure)) {
    check(failure.key.rfind("IDS_", 0) == 0 && !failure.text.empty());
    return 0;
  }
  avo::String canonical;
  value.toString(canonical);
  core::Numeric back;
  back.fromString(canonical.c_str());
  check(back.compare(value) == 0);

  core::Numeric again;
  if (kern::calc::evaluate("(" + std::string(text) + ")", again, failure)) {
    check(again.compare(value) == 0);
  } else {
    check(failure.key == kern::calc::kTooDeepKey);
  }
  return 0;
}
