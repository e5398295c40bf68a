// The raisers script-facing code calls when a value has the wrong type for where it was given.

#include <string>

#include "core/Exception.h"

namespace core {

namespace {

// The index as the message shows it: zero-based, as the caller counts, so that it matches the
// parameter lists of the member descriptions.
std::u16string index_text(int index) {
  const std::string digits = std::to_string(index);
  return std::u16string(digits.begin(), digits.end());
}

}  // namespace

void property_type_mismatch() { throw ContextException(ResourceKey{"IDS_ERR_PROPERTY_TYPE_MISMATCH"}); }

void parameter_type_mismatch(int index) {
  throw ContextException(Message(ResourceKey{"IDS_ERR_PARAMETER_TYPE_MISMATCH"}, index_text(index)));
}

void ctor_parameter_type_mismatch(int index) {
  throw CtorException(Message(ResourceKey{"IDS_ERR_CTOR_PARAMETER_TYPE_MISMATCH"}, index_text(index)));
}

}  // namespace core
