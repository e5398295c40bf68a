#pragma once
// Values reduced to keys that sort and group a million lines without touching a reference count, copying
// a number or a string, or following a pointer on most comparisons.
//
// A KeyPart is made once per line and column from the value the line holds (borrowed: the line keeps it
// alive while the key is used). It carries the value's type code and, where it can, the whole order in
// one unsigned 128-bit word: numbers of at most 18 integer and 18 fractional digits as their exact value
// times 10^18 (biased, so that unsigned order is numeric order), booleans as 0 and 1, strings as their
// first eight UTF-16 code units (zero-padded, so that a prefix sorts first). Only when two words are equal
// and the word does not decide (a string longer than eight units, a number too long for the word) is the
// value itself compared. The order is compare_table_values'.
//
// Exact sums use the same word: FixedSum adds numbers that fit in 128-bit integers and spills into a
// Numeric only when the word would overflow or a number does not fit; a sum of one number is that number,
// so that grouping by a column of distinct values makes no new values.
#include <cstdint>
#include <memory>

#include "core/Numeric.h"
#include "core/Value.h"
#include "nexa/Memory.h"

namespace core::detail {

// A number times 10^18 as an exact 128-bit integer, when its integer part has at most 18 digits and its
// fraction at most 18; false otherwise.
bool numeric_to_fixed(const Numeric& number, __int128& fixed) noexcept;
// The Numeric whose value times 10^18 is `fixed`.
Numeric numeric_from_fixed(__int128 fixed);

// The word is kept as two halves, so that a part needs no 16-byte alignment and two parts and a row
// number fit in 56 bytes.
struct KeyPart {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  std::int32_t kind = Type::Undefined;
  bool ordered = true;  // different words order the values
  bool decided = true;  // equal words mean equal values
};

KeyPart make_key_part(const IValue* value) noexcept;
// The order of two values of the same kind that their parts leave undecided.
int compare_key_values(std::int32_t kind, const IValue* a, const IValue* b);

// What two parts tell of the order of their values: negative, zero or positive as compare_table_values
// orders them, or kUndecided when only the values can tell (then compare_key_values does).
inline constexpr int kUndecided = 2;
inline int compare_key_words(const KeyPart& a, const KeyPart& b) noexcept {
  if (a.kind != b.kind) return a.kind < b.kind ? -1 : 1;
  if (a.ordered && b.ordered) {
    if (a.high != b.high) return a.high < b.high ? -1 : 1;
    if (a.low != b.low) return a.low < b.low ? -1 : 1;
  }
  return a.decided && b.decided ? 0 : kUndecided;
}

// An exact running sum of what values make of themselves as numbers: a number its Numeric, any other
// value what getNumeric gives (nothing when it fails).
class FixedSum {
 public:
  void add(const IValue* value);
  // The sum as a Number value; a sum of one number value is that value itself.
  Value result() const;

 private:
  void add(const Numeric& number);

  __int128 fixed_ = 0;
  nexa::UniquePtr<Numeric> spilled_;  // the part that does not fit in fixed_, made when first needed
  const IValue* single_ = nullptr;    // the only value added so far
  std::uint32_t count_ = 0;
};

}  // namespace core::detail
