#pragma once
// A location of a resource (file, network address). The library only carries URLs around (in file and
// storage errors); parsing and access belong to the file subsystem.

#include "avo/BasicString.h"
#include "core/Export.h"

namespace core {

// The text of a location, kept as given (no parsing, no normalisation). A value type.
class URL {
 public:
  // The empty location.
  URL() = default;
  // The location `text`, taken as it is.
  explicit URL(std::u16string_view text) : text_(text) {}

  // The text as given.
  const avo::WString& toString() const noexcept { return text_; }
  // Whether the text is empty.
  bool empty() const noexcept { return text_.empty(); }
  // The same text, unit for unit.
  friend bool operator==(const URL&, const URL&) = default;

 private:
  avo::WString text_;
};

}  // namespace core
