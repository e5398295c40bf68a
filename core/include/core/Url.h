#pragma once
// A location of a resource (file, network address). The library only carries URLs around (in file and
// storage errors); parsing and access belong to the file subsystem.

#include "avo/BasicString.h"
#include "core/Export.h"

namespace core {

class URL {
 public:
  URL() = default;
  explicit URL(std::u16string_view text) : text_(text) {}

  const avo::WString& toString() const noexcept { return text_; }
  bool empty() const noexcept { return text_.empty(); }
  friend bool operator==(const URL&, const URL&) = default;

 private:
  avo::WString text_;
};

}  // namespace core
