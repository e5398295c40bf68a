// Numeric's list-stream form: its canonical text as one string item.
#include "core/ListStream.h"
#include "core/Numeric.h"

namespace core {

void Numeric::toBinary(IListOutStream* out) const {
  avo::WString text;
  toString(text);
  out->putString(text.data(), text.size());
}

void Numeric::fromBinary(IListInStream* in) {
  avo::WString text;
  in->getString(text);
  fromString(text.c_str());
}

}  // namespace core
