#pragma once
// Type descriptions: which types a place (a value table column, a form field) may hold, with optional
// qualifiers for numbers, strings, dates and binary data.
//
//     core::TypeDomainPattern amount{core::Type(core::Type::Number)};
//     amount.setNumericQualifiers({15, 2, true});           // 15 digits, 2 after the point, not negative
//     amount.containsType(core::Type::Number);             // true
//     amount.hasSeveralTypes();                            // false
//     core::Value zero(amount.createDefaultValue(), core::adopt_ref);   // the number 0
//
// A pattern keeps its types without duplicates, in the order they were added; two patterns are equal when
// they hold the same set of types and equal qualifiers. A pattern with no types restricts nothing.
// Adjusting a value to a pattern (rounding, cutting strings) is not done here.
//
// A value type: copy freely; one object is used by one thread at a time.

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Type.h"

namespace core {

// Numbers: `digits` total digits (0: no limit), `fractionDigits` of them after the point, and whether
// negative numbers are excluded.
struct NumericQualifiers {
  std::uint32_t digits = 0;          // total digits; 0: no limit
  std::uint32_t fractionDigits = 0;  // digits after the point
  bool nonnegative = false;          // negative numbers excluded
  // Field by field.
  friend bool operator==(const NumericQualifiers&, const NumericQualifiers&) = default;
};

// Whether a length is a limit (Variable) or exact (Fixed: shorter contents are padded).
enum class AllowedLength : std::uint8_t { Variable = 0, Fixed = 1 };

// Strings: at most `length` characters (0: no limit); a fixed length pads to exactly `length`.
struct StringQualifiers {
  std::uint32_t length = 0;                               // characters; 0: no limit
  AllowedLength allowedLength = AllowedLength::Variable;  // a limit, or exact
  // Field by field.
  friend bool operator==(const StringQualifiers&, const StringQualifiers&) = default;
};

// Dates: which parts of a date are meaningful.
enum class DateFractions : std::uint8_t { DateTime = 0, Date = 1, Time = 2 };

// Dates: the parts that are meaningful.
struct DateQualifiers {
  DateFractions fractions = DateFractions::DateTime;  // date and time, the date only, or the time only
  // Field by field.
  friend bool operator==(const DateQualifiers&, const DateQualifiers&) = default;
};

// Binary data: at most `length` bytes (0: no limit).
struct BinaryQualifiers {
  std::uint32_t length = 0;                               // bytes; 0: no limit
  AllowedLength allowedLength = AllowedLength::Variable;  // a limit, or exact
  // Field by field.
  friend bool operator==(const BinaryQualifiers&, const BinaryQualifiers&) = default;
};

// A type description; see the top of this file. A value type.
class KERN83_API TypeDomainPattern {
 public:
  TypeDomainPattern() = default;
  // The given types (handles that name no type are skipped, duplicates kept once), default qualifiers.
  TypeDomainPattern(std::initializer_list<Type> types);
  explicit TypeDomainPattern(std::span<const Type> types);

  // Adds a type unless it is already listed or names no type; returns whether it was added.
  bool addType(const Type& type);
  // Removes a type; returns whether it was listed.
  bool removeType(const Type& type) noexcept;
  // Whether the type is listed.
  bool containsType(const Type& type) const noexcept;
  // Whether a type with this code is listed (for code 100: any object type).
  bool containsType(Type::Code code) const noexcept;
  // The types in the order they were added, and their number.
  std::span<const Type> types() const noexcept { return types_; }
  std::size_t typeCount() const noexcept { return types_.size(); }
  bool isEmpty() const noexcept { return types_.empty(); }
  // Whether more than one type is listed.
  bool hasSeveralTypes() const noexcept { return types_.size() > 1; }

  // The qualifiers of each kind (defaults until set); they apply when the kind's type is listed.
  const NumericQualifiers& numericQualifiers() const noexcept { return numeric_; }
  const StringQualifiers& stringQualifiers() const noexcept { return string_; }
  const DateQualifiers& dateQualifiers() const noexcept { return date_; }
  const BinaryQualifiers& binaryQualifiers() const noexcept { return binary_; }
  void setNumericQualifiers(const NumericQualifiers& q) noexcept { numeric_ = q; }
  void setStringQualifiers(const StringQualifiers& q) noexcept { string_ = q; }
  void setDateQualifiers(const DateQualifiers& q) noexcept { date_ = q; }
  void setBinaryQualifiers(const BinaryQualifiers& q) noexcept { binary_ = q; }

  // The default value of the described place, carrying one reference: with exactly one type listed, that
  // type's default value (0 for numbers, "" for strings, the empty date, ...); Undefined otherwise.
  IValue* createDefaultValue() const;

  // The type names (alias 0 English, 1 Russian) joined by ", ".
  avo::WString toString(int alias = 0) const;
  // Consistent with ==: independent of the order of the types.
  std::uint32_t hash() const noexcept;

  // The same set of types (in any order) and equal qualifiers.
  friend KERN83_API bool operator==(const TypeDomainPattern& a, const TypeDomainPattern& b) noexcept;

 private:
  std::vector<Type, nexa::StdAllocator<Type>> types_;
  NumericQualifiers numeric_;
  StringQualifiers string_;
  DateQualifiers date_;
  BinaryQualifiers binary_;
};

}  // namespace core
