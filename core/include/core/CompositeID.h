#pragma once
// CompositeID: an identifier made of several GUIDs, for example the class of a stored object followed by
// the object's own id. Text form: the parts' 36-character forms joined by ":".
//
//     core::CompositeID id{tableClass, rowId};
//     id.toString();                           // u"<tableClass>:<rowId>"
//     core::CompositeID back;
//     core::CompositeID::fromString(id.toString(), back);   // true, back == id
//
// The empty identifier has no parts. A value type: copy freely; one object is used by one thread at a time.

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Guid.h"

namespace core {

// An ordered list of GUIDs; see the top of this file.
class KERN83_API CompositeID {
 public:
  // The empty identifier, or one of the given parts in order.
  CompositeID() = default;
  CompositeID(std::initializer_list<GUID> parts) : parts_(parts) {}
  explicit CompositeID(std::span<const GUID> parts) : parts_(parts.begin(), parts.end()) {}

  // The parts in order (valid until the identifier changes), their number, and part `i` (below size()).
  std::span<const GUID> parts() const noexcept { return parts_; }
  std::size_t size() const noexcept { return parts_.size(); }
  bool empty() const noexcept { return parts_.empty(); }
  const GUID& operator[](std::size_t i) const noexcept { return parts_[i]; }
  // Adds a part at the end.
  void append(const GUID& part) { parts_.push_back(part); }

  // The parts' text forms joined by ":"; empty for the empty identifier.
  avo::WString toString() const;
  // Reads the text form (the empty text gives the empty identifier). Returns false and leaves `out`
  // unchanged on malformed text.
  static bool fromString(std::u16string_view text, CompositeID& out);
  // A 32-bit mix of all parts, in order.
  std::uint32_t hash() const noexcept;

  // The same parts in the same order.
  friend bool operator==(const CompositeID&, const CompositeID&) = default;

 private:
  std::vector<GUID, nexa::StdAllocator<GUID>> parts_;
};

}  // namespace core
