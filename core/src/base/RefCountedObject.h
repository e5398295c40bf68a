#pragma once
// The library's own interface objects: they live on the nexa heap and start with one reference, the
// creator's, which the factory hands to its caller. QueryInterface answers IUnknown, `Interface` and the
// further interfaces listed in `Also` (bases of `Interface` that callers may ask for).

#include "core/Interface.h"
#include "nexa/Memory.h"

namespace core::detail {

template <class Interface, class... Also>
using RefCountedObject = RefCountedUnknown<1, Answers<Interface, Also...>, Interface, nexa::Allocated>;

}  // namespace core::detail
