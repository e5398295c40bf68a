// Uses the installed headers and libraries the way a client of the library would.
#include <cstdio>

#include "core/Guid.h"
#include "core/Resources.h"
#include "core/Version.h"

int main() {
  constexpr core::GUID id = core::guid("71df1a80-0f8f-11d4-9853-008048da1252");
  const avo::String text = avo::to_utf8(core::guid_to_string(id));
  const avo::String message = avo::to_utf8(core::resource_string("IDS_LISTSTREAMERROR"));
  std::printf("kern83 %s: %s, %s\n", KERN83_VERSION, text.c_str(), message.c_str());
  return text == "71df1a80-0f8f-11d4-9853-008048da1252" ? 0 : 1;
}
