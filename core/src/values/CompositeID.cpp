// CompositeID: text form and hash.
#include "core/CompositeID.h"

namespace core {

avo::WString CompositeID::toString() const {
  avo::WString text;
  if (parts_.empty()) return text;
  text.reserve(parts_.size() * (kGuidTextLength + 1));
  char16_t part[kGuidTextLength];
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    if (i != 0) text.push_back(u':');
    guid_to_chars(parts_[i], part);
    text.append(part, kGuidTextLength);
  }
  return text;
}

bool CompositeID::fromString(std::u16string_view text, CompositeID& out) {
  CompositeID parsed;
  while (!text.empty()) {
    GUID part;
    if (text.size() < kGuidTextLength || !guid_from_string(text.substr(0, kGuidTextLength), part)) return false;
    parsed.append(part);
    text.remove_prefix(kGuidTextLength);
    if (text.empty()) break;
    // Another part must follow a separator; a trailing ":" is malformed.
    if (text.front() != u':' || text.size() == 1) return false;
    text.remove_prefix(1);
  }
  out = std::move(parsed);
  return true;
}

std::uint32_t CompositeID::hash() const noexcept {
  std::uint64_t h = parts_.size();
  for (const GUID& part : parts_) h = h * 0x9E3779B97F4A7C15ull + guid_hash(part);
  return static_cast<std::uint32_t>(h ^ (h >> 32));
}

}  // namespace core
