// The value array kind: a vector of owning handles behind IValueArray.
//
// Equality and hash are the object defaults (identity): the contents change, so an array used as a key
// must not move between buckets. Every change checks its index before touching the vector, which is
// what keeps a failed call from changing anything.
#include <vector>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "values/Builtins.h"

namespace core {
namespace detail {
namespace {

class ValueArray final : public KindValue<IValueArray> {
 public:
  ValueArray() : KindValue(value_array_type()) {}

  std::uint32_t getCount() const noexcept override { return static_cast<std::uint32_t>(items_.size()); }
  Value getAt(std::uint32_t index) const override { return items_[checked(index, __LINE__)]; }
  void setAt(std::uint32_t index, const GenericValue& value) override { items_[checked(index, __LINE__)] = value; }
  void add(const GenericValue& value) override { items_.emplace_back(value); }
  void insert(std::uint32_t index, const GenericValue& value) override {
    if (index > items_.size()) out_of_range(__LINE__);
    items_.emplace(items_.begin() + index, value);
  }
  void remove(std::uint32_t index) override { items_.erase(items_.begin() + checked(index, __LINE__)); }
  void clear() noexcept override { items_.clear(); }

  bool isFilled() const noexcept override { return !items_.empty(); }

  void reserve(std::size_t count) { items_.reserve(count); }

 private:
  ~ValueArray() override = default;

  [[noreturn]] static void out_of_range(int line) {
    throw IllegalArgumentException(KERN83_SOURCE_FILE("ValueArray"), line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  std::size_t checked(std::uint32_t index, int line) const {
    if (index >= items_.size()) out_of_range(line);
    return index;
  }

  std::vector<Value, nexa::StdAllocator<Value>> items_;
};

}  // namespace

IValue* default_value_array_value() { return static_cast<IValue*>(new ValueArray()); }

}  // namespace detail

InterfacePtr<IValueArray> create_value_array() {
  return InterfacePtr<IValueArray>(static_cast<IValueArray*>(new detail::ValueArray()), adopt_ref);
}

InterfacePtr<IValueArray> create_value_array(std::span<const Value> values) {
  auto* array = new detail::ValueArray();
  InterfacePtr<IValueArray> held(static_cast<IValueArray*>(array), adopt_ref);
  array->reserve(values.size());
  for (const Value& value : values) array->add(value);
  return held;
}

}  // namespace core
