#pragma once
// Exact decimal numbers.
//
// core::Numeric is the platform's number: an arbitrary-precision signed decimal, never a binary floating
// point value. Sums, differences and products are exact; a quotient carries at least 27 fractional
// digits (see operator/=); rounding is explicit (round, digits) and follows a NumericRoundMode.
//
//     core::Numeric price;
//     price.fromString("19.99");
//     core::Numeric total = price * 3;                            // 59.97, exactly
//     total += core::Numeric(0.1) + core::Numeric(0.2);           // 60.27: doubles enter with 15 digits
//     core::Numeric share = total / 7;                            // 8.61 (1/3 would keep 27 digits)
//     avo::WString text = share.round(2).toString();              // u"8.61"
//     char field[16];
//     share.digits(field, 8, 2, core::Round15as20);               // "+000008.61"
//
// Representation: base 10^9 limbs, least significant first, with a limb exponent `scale`:
//     value = sign * sum(limb[i] * 10^(9 * (i - scale))), i = 0 .. count-1.
// A positive scale counts fractional limbs; a negative scale counts implicit zero limbs below limb 0. After
// every public operation (1) limb 0 is non-zero, (2) the top limb is non-zero and (3) zero is count 0,
// scale 0, sign +1 (there is no negative zero). Numbers of up to 4 limbs (36 digits) live in the object
// itself and never allocate; larger ones own a heap array of exactly the size they needed.
//
// Failures: NumericException (core/Exception.h) with code 1 DivideByZero, 2 NegativePower, 3 Overflow;
// IllegalArgumentException from the literal factories. An operation that throws leaves its operand as it
// was, except pow (see there).
//
// Thread safety: a Numeric has no shared state; distinct objects may be used on distinct threads freely,
// one object by one thread at a time. The rounding mode and the NumericLimits stack are per thread.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <type_traits>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "nexa/Memory.h"

namespace core {

class IReader;
class IWriter;
class IListOutStream;
class IListInStream;
class Numeric;

namespace detail {
struct NumericInternal;
}

// How an exact half is decided when digits are cut off (round, digits). A dropped part above one half
// always rounds away from zero, one below never does; rounding acts on the magnitude and keeps the sign.
// Any value other than Round15as20 behaves as Round15as10. Script names: "Round15as10", "Round15as20"
// (enumeration "RoundMode").
enum NumericRoundMode {
  Round15as10 = 0,  // an exact half is dropped: 1.5 -> 1, -1.5 -> -1
  Round15as20 = 1,  // an exact half rounds away from zero: 1.5 -> 2, -1.5 -> -2
};

// The calling thread's rounding mode, used by round(digits) and digits(out, length, precision): the
// thread's own setting, or the process default Round15as20 when the thread has none.
KERN83_API NumericRoundMode get_default_round_mode() noexcept;
// Sets the calling thread's rounding mode; other threads are unaffected.
KERN83_API void set_default_round_mode(NumericRoundMode mode) noexcept;
// Forgets the calling thread's setting, so that the process default applies again.
KERN83_API void reset_default_round_mode() noexcept;

// A scoped limit on the integer digits of Numeric::pow results, for the calling thread:
//
//     {
//       core::NumericLimits limit(20);
//       x.pow(30);   // throws NumericException(Overflow) once the power passes 20 integer digits
//     }
//
// Guards nest; the innermost one is in force. Each guard pops exactly the entry it pushed, so guards
// must be destroyed in reverse order of construction on the thread that made them (automatic variables
// do this).
class KERN83_API NumericLimits {
 public:
  // Pushes `maxIntegerDigits` on the calling thread's stack. Throws std::bad_alloc if the stack cannot
  // grow (then nothing was pushed).
  explicit NumericLimits(std::uint32_t maxIntegerDigits);
  ~NumericLimits();

  NumericLimits(const NumericLimits&) = delete;
  // Assignment exists but changes nothing: a guard keeps the entry it pushed itself.
  NumericLimits& operator=(const NumericLimits&) noexcept { return *this; }

  // The limit in force on the calling thread, or nothing when no guard is active.
  static std::optional<std::uint32_t> current() noexcept;

 private:
  bool pushed_ = false;
};

// The automation DECIMAL (Windows field layout and names, 16 bytes): a 96-bit magnitude Hi32:Mid32:Lo32
// (Lo64 = Mid32:Lo32), a power-of-ten scale and a sign byte (0x80 = negative).
struct tagDEC {
  std::uint16_t wReserved;  // always 0
  union {
    struct {
      std::uint8_t scale;
      std::uint8_t sign;
    };
    std::uint16_t signscale;
  };
  std::uint32_t Hi32;  // the magnitude's high 32 bits
  union {
    struct {
      std::uint32_t Lo32;
      std::uint32_t Mid32;
    };
    std::uint64_t Lo64;
  };
};
static_assert(sizeof(tagDEC) == 16, "tagDEC must keep the automation layout");
// The automation name of the same layout.
using DECIMAL = tagDEC;

template <class T>
concept NumericOperand = std::is_arithmetic_v<T>;

// An exact decimal number: the value, its scale and sign in base-10^9 limbs (see the top of this header).
class KERN83_API Numeric {
 public:
  static constexpr std::uint32_t kBase = 1000000000;  // one limb holds 0 .. kBase-1
  static constexpr std::uint32_t kInlineLimbs = 4;    // limbs stored in the object itself

  // ---- Construction -----------------------------------------------------------------------------------

  // Zero.
  Numeric() noexcept = default;

  // Exact conversions from every integer width. Never allocate.
  Numeric(short v) noexcept;               // NOLINT(google-explicit-constructor)
  Numeric(unsigned short v) noexcept;      // NOLINT(google-explicit-constructor)
  Numeric(int v) noexcept;                 // NOLINT(google-explicit-constructor)
  Numeric(unsigned int v) noexcept;        // NOLINT(google-explicit-constructor)
  Numeric(long v) noexcept;                // NOLINT(google-explicit-constructor)
  Numeric(unsigned long v) noexcept;       // NOLINT(google-explicit-constructor)
  Numeric(long long v) noexcept;           // NOLINT(google-explicit-constructor)
  Numeric(unsigned long long v) noexcept;  // NOLINT(google-explicit-constructor)

  // From a double. An integral magnitude up to 999,999,999,999,999 converts exactly; any other value is
  // first rounded (correctly) to 15 significant decimal digits, so Numeric(0.1) is exactly 0.1 and
  // Numeric(1.0 / 3) is 0.333333333333333. -0.0 gives zero. NaN and infinities throw
  // NumericException(Overflow).
  Numeric(double v);  // NOLINT(google-explicit-constructor)

  // Copying gives the copy exactly `getCount()` limbs of storage (the inline 4 when that is enough);
  // copy assignment gives the target the source's capacity. Moving steals a heap array, or copies the
  // inline limbs; the moved-from number is left zero on its inline array.
  Numeric(const Numeric& other) : count_(other.count_), scale_(other.scale_), sign_(other.sign_) {
    if (other.count_ <= std::int32_t(kInlineLimbs)) {
      copyInline(other);  // every array has at least 4 limbs, so reading 4 is safe
    } else {
      copyToHeap(other);
    }
  }
  Numeric(Numeric&& other) noexcept { moveFrom(other); }
  Numeric& operator=(const Numeric& other) {
    if (capacity_ == kInlineLimbs && other.capacity_ == kInlineLimbs) {
      copyInline(other);
      count_ = other.count_;
      scale_ = other.scale_;
      sign_ = other.sign_;
      return *this;
    }
    return assignSlow(other);
  }
  Numeric& operator=(Numeric&& other) noexcept {
    if (this != &other) {
      releaseStorage();
      moveFrom(other);
    }
    return *this;
  }
  ~Numeric() { releaseStorage(); }

  // Parses decimal text and replaces the value; never throws (except std::bad_alloc for a text of more
  // than 36 digits when memory runs out). Syntax: optional blanks (tab, line feed, carriage return,
  // space), an optional sign directly before the digits, digits, an optional point and digits; no
  // exponent, no grouping, no length limit. Whatever is not a number reads as zero: "-x", "-", "." and ""
  // give 0, "- 5" gives 0. `end` (may be null) receives the position of the character that stopped the
  // scan (not consumed): "  -12.50x" gives -12.5 and stops at 'x'. A code unit of 256 or more stops the
  // scan. Returns *this.
  Numeric& fromString(const char* text, const char** end = nullptr);
  Numeric& fromString(const char16_t* text, const char16_t** end = nullptr);

  // ---- Arithmetic (modify *this and return it) ----------------------------------------------------------

  // Exact sum and difference.
  Numeric& operator+=(const Numeric& b);
  Numeric& operator-=(const Numeric& b);
  // Exact product. Throws NumericException(Overflow) only when the result's exponent leaves the range
  // of the representation (beyond 10^(+-19 billion)).
  Numeric& operator*=(const Numeric& b);
  // Quotient with getCount(b) + 2 limbs (at least 27 digits) below the units of the limb quotient,
  // the last one rounded half away from zero whatever the rounding mode: 1/3 = 0.333...333 (27 threes),
  // 2/3 = 0.666...667. Throws NumericException(DivideByZero) for b = 0, leaving *this unchanged.
  Numeric& operator/=(const Numeric& b);
  // *this - t * b, where t is the quotient of operator/= truncated toward zero: the remainder of the
  // truncated division, with the sign of *this: -7 % 2 = -1, 7 % -2 = 1. Deliberately kept: when b has
  // 27 or more fractional digits beyond those of *this, the quotient is rounded coarsely enough to reach
  // the next integer, and the remainder then has the other sign (1 % 6E-27 = -2E-27). Throws
  // NumericException(DivideByZero) for b = 0, leaving *this unchanged.
  Numeric& operator%=(const Numeric& b);
  // Raises *this to the power e.
  //  - e an integer of at most 9 digits: exact square-and-multiply (a negative e then takes 1/x with
  //    operator/=); e = 0 gives 1. Under a NumericLimits guard, a step whose value has more integer
  //    digits than the limit throws NumericException(Overflow) and leaves that intermediate power in
  //    *this.
  //  - otherwise, through double: a negative base throws NegativePower, a zero base with a negative e
  //    throws DivideByZero, a result that is not finite throws Overflow (*this unchanged in these
  //    three cases); the result has 15 significant digits.
  Numeric& pow(const Numeric& e);

  // -x (zero stays zero) and |x|.
  Numeric operator-() const;
  Numeric abs() const;

  // Rounded to `digits` fractional digits; a negative `digits` rounds to tens (-1), hundreds (-2)...
  // round(2.5, 0) is 2 with Round15as10 and 3 with Round15as20; round(1234, -2) is 1200.
  Numeric round(int digits, NumericRoundMode mode) const;
  // The same with the calling thread's rounding mode (get_default_round_mode).
  Numeric round(int digits) const;
  // The greatest integer not above the value: floor(-1.5) = -2.
  Numeric floor() const;

  // ---- Comparison ---------------------------------------------------------------------------------------

  // -1, 0 or +1 as *this is less than, equal to or greater than b. Inline for the common case of two
  // numbers of one sign whose top limbs differ in position or value (sorting depends on its speed).
  int compare(const Numeric& b) const noexcept {
    if (sign_ == b.sign_ && count_ != 0 && b.count_ != 0) {
      const std::int64_t topA = std::int64_t(count_) - scale_;
      const std::int64_t topB = std::int64_t(b.count_) - b.scale_;
      const std::uint32_t limbA = limbs_[count_ - 1];
      const std::uint32_t limbB = b.limbs_[b.count_ - 1];
      // Computed without branching on the data: random pairs would mispredict every branch.
      const int first = 2 * ((topA > topB) - (topA < topB)) + ((limbA > limbB) - (limbA < limbB));
      if (first != 0) return sign_ * ((first > 0) - (first < 0));
    }
    return compareSlow(b);
  }
  // -1 for a negative number, 0 for zero, +1 otherwise.
  int sign() const noexcept { return count_ == 0 ? 0 : sign_; }
  bool isZero() const noexcept { return count_ == 0; }

  // ---- Conversions --------------------------------------------------------------------------------------

  // Plain conversions: the fraction is dropped (toward zero), the integer part is reduced modulo 2^width
  // (silent wrap-around), then negated for a negative number. Never fail.
  operator short() const noexcept;               // NOLINT(google-explicit-constructor)
  operator unsigned short() const noexcept;      // NOLINT(google-explicit-constructor)
  operator int() const noexcept;                 // NOLINT(google-explicit-constructor)
  operator unsigned int() const noexcept;        // NOLINT(google-explicit-constructor)
  operator long() const noexcept;                // NOLINT(google-explicit-constructor)
  operator unsigned long() const noexcept;       // NOLINT(google-explicit-constructor)
  operator long long() const noexcept;           // NOLINT(google-explicit-constructor)
  operator unsigned long long() const noexcept;  // NOLINT(google-explicit-constructor)
  // The nearest double of the top three limbs (27 digits); lower limbs do not take part.
  operator double() const noexcept;  // NOLINT(google-explicit-constructor)

  // Checked conversions: the exact value, or NumericException(Overflow) when it is negative (except
  // safeAsInt64), has a fraction or does not fit. Checks are on the value, not on a rounded value.
  // safeAsByte deliberately looks only at limb 0 of a number with implicit zero limbs, so 5,000,000,000
  // answers 5; stored data may depend on that.
  std::uint8_t safeAsByte() const;
  std::uint16_t safeAsUInt16() const;
  std::uint32_t safeAsUInt32() const;
  std::uint64_t safeAsUInt64() const;
  std::int64_t safeAsInt64() const;
  // Stores the value and returns true for an integer of at most 18 digits; returns false (out untouched)
  // for a fraction or any value of 10^18 or more in magnitude, even where an int64 could hold it.
  bool toInteger(long long& out) const noexcept;

  // ---- Text ---------------------------------------------------------------------------------------------

  // The canonical text: "-" for a negative number, the integer part ("0" below one), and when there is
  // a fraction "." and its digits without trailing zeros; no grouping, no exponent, "." in every locale.
  // 1234567890.5 -> "1234567890.5", -0.25 -> "-0.25", 10^20 -> "100000000000000000000".
  avo::WString toString() const;
  // The same into `out` (replacing its content; no allocation when `out` has room).
  void toString(avo::String& out) const;
  void toString(avo::WString& out) const;
  // The canonical text truncated to size-1 characters and NUL-terminated; size 0 writes nothing. Returns
  // the number of characters written before the NUL. Never allocates.
  unsigned digits(char* out, unsigned size) const noexcept;
  // Fixed-width text of round(precision, mode): a sign character ('+' or '-'), zeros up to `length` -
  // `precision` integer digits, and when precision > 0 the point and exactly `precision` fractional
  // digits; the integer "0" is left out when length == precision. 12.5 (5, 2) -> "+012.50", 0.5 (2, 2)
  // -> "+.50". Returns false when the integer part does not fit: then the text is all nines ("+999" for
  // 1234 with (3, 0)). `out` must hold length + 3 characters. A precision above length is taken as
  // length.
  bool digits(char* out, unsigned length, unsigned precision, NumericRoundMode mode) const;
  bool digits(char* out, unsigned length, unsigned precision) const;
  // Significant digits and fractional digits: zero -> (1, 0), 0.5 -> (1, 1), 1200 -> (4, 0),
  // 12.34 -> (4, 2).
  void lengthAndPrecision(unsigned& length, unsigned& precision) const noexcept;

  // List streams: the canonical text as one string item; reading takes one string item and parses it
  // with fromString (text after the number is ignored). Errors of the stream (ListStreamException) pass
  // through; on such an error the value is unchanged.
  void toBinary(IListOutStream* out) const;
  void fromBinary(IListInStream* in);

  // Character streams. Writes the canonical text to `writer`.
  void toStream(IWriter* writer) const;
  // Reads a number from `reader`: consumes the characters that the syntax of fromString accepts (leading
  // blanks included) and leaves the first other one unread, then parses them. Returns true when at least
  // one digit was read; otherwise the value is zero. Errors of the reader pass through.
  bool fromStream(IReader* reader);

  // ---- Hashing and checksums ----------------------------------------------------------------------------

  // Hash consistent with compare: the 32-bit wrapping sum hash = hash * 10^9 + group over the base-10^9
  // positions from the top down to the units (or to limb 0 for fractions), negated for a negative number;
  // zero hashes to 0.
  std::int32_t hashCode() const noexcept;
  // CRC-style checksum of the representation (scale, sign byte, limbs) continued from `seed`. Stored
  // checksums depend on its exact definition.
  unsigned calculateChecksum(unsigned seed) const noexcept;

  // ---- Representation (read-only; for tests and serialisers) -------------------------------------------

  // Limbs the array can hold: 4 while the inline array is used, otherwise the heap array's exact size.
  std::uint32_t getCapacity() const noexcept { return capacity_; }
  // Limbs in use; 0 for zero.
  std::int32_t getCount() const noexcept { return count_; }
  // Limb exponent (see the top of this file).
  std::int32_t getScale() const noexcept { return scale_; }
  // The stored sign: +1 or -1 (+1 for zero).
  std::int8_t getSignByte() const noexcept { return sign_; }
  // The limbs, least significant first; getCount() of them are valid.
  const std::uint32_t* getLimbs() const noexcept { return limbs_; }
  bool usesInlineLimbs() const noexcept { return limbs_ == inline_; }

 private:
  friend struct detail::NumericInternal;

  void copyInline(const Numeric& other) noexcept {
    for (std::uint32_t i = 0; i < kInlineLimbs; ++i) inline_[i] = other.limbs_[i];
  }
  void copyToHeap(const Numeric& other);
  int compareSlow(const Numeric& b) const noexcept;
  Numeric& assignSlow(const Numeric& other);
  void releaseStorage() noexcept {
    if (limbs_ != inline_) nexa_free(limbs_);
  }
  void moveFrom(Numeric& other) noexcept {
    count_ = other.count_;
    scale_ = other.scale_;
    sign_ = other.sign_;
    if (other.limbs_ != other.inline_) {
      capacity_ = other.capacity_;
      limbs_ = other.limbs_;
      other.limbs_ = other.inline_;
      other.capacity_ = kInlineLimbs;
    } else {
      capacity_ = kInlineLimbs;
      limbs_ = inline_;
      for (std::uint32_t i = 0; i < kInlineLimbs; ++i) inline_[i] = other.inline_[i];
    }
    other.count_ = 0;
    other.scale_ = 0;
    other.sign_ = 1;
  }

  std::uint32_t capacity_ = kInlineLimbs;
  std::int32_t count_ = 0;
  std::int32_t scale_ = 0;
  std::int8_t sign_ = 1;
  std::uint32_t* limbs_ = inline_;
  std::uint32_t inline_[kInlineLimbs] = {};
};

// Binary arithmetic and comparison, for convenience: each is the compound operation on a copy. Mixed
// operands of any arithmetic type are converted with the constructors above.
inline Numeric operator+(Numeric a, const Numeric& b) { return a += b; }
inline Numeric operator-(Numeric a, const Numeric& b) { return a -= b; }
inline Numeric operator*(Numeric a, const Numeric& b) { return a *= b; }
inline Numeric operator/(Numeric a, const Numeric& b) { return a /= b; }
inline Numeric operator%(Numeric a, const Numeric& b) { return a %= b; }
template <NumericOperand T>
Numeric operator+(Numeric a, T b) {
  return a += Numeric(b);
}
template <NumericOperand T>
Numeric operator+(T a, const Numeric& b) {
  return Numeric(a) += b;
}
template <NumericOperand T>
Numeric operator-(Numeric a, T b) {
  return a -= Numeric(b);
}
template <NumericOperand T>
Numeric operator-(T a, const Numeric& b) {
  return Numeric(a) -= b;
}
template <NumericOperand T>
Numeric operator*(Numeric a, T b) {
  return a *= Numeric(b);
}
template <NumericOperand T>
Numeric operator*(T a, const Numeric& b) {
  return Numeric(a) *= b;
}
template <NumericOperand T>
Numeric operator/(Numeric a, T b) {
  return a /= Numeric(b);
}
template <NumericOperand T>
Numeric operator/(T a, const Numeric& b) {
  return Numeric(a) /= b;
}
template <NumericOperand T>
Numeric operator%(Numeric a, T b) {
  return a %= Numeric(b);
}
template <NumericOperand T>
Numeric operator%(T a, const Numeric& b) {
  return Numeric(a) %= b;
}

// Comparisons by value, as compare(): 1.5 == 1.50, and a C++ number is taken exactly.
inline bool operator==(const Numeric& a, const Numeric& b) noexcept { return a.compare(b) == 0; }
inline std::strong_ordering operator<=>(const Numeric& a, const Numeric& b) noexcept { return a.compare(b) <=> 0; }
template <NumericOperand T>
bool operator==(const Numeric& a, T b) {
  return a.compare(Numeric(b)) == 0;
}
template <NumericOperand T>
std::strong_ordering operator<=>(const Numeric& a, T b) {
  return a.compare(Numeric(b)) <=> 0;
}

// Writes the canonical text (for test diagnostics and logs).
KERN83_API std::ostream& operator<<(std::ostream& os, const Numeric& n);

// Converts an automation DECIMAL: its magnitude printed in decimal with the point `scale` digits from the
// right, parsed with fromString. Returns false, leaving `out` untouched, when that text would not fit in
// 128 characters (a scale above about 125).
KERN83_API bool DECIMAL_to_numeric(const tagDEC& dec, Numeric& out);

// Reads a hexadecimal literal "0x..." (lower-case x; digits 0-9, A-F, a-f) or a binary literal "0b..."
// (digits 0 and 1) of any length, exactly. A text shorter than 3 characters, a missing prefix or any
// other character throws IllegalArgumentException with the message key
// "IDS_ERR_INVALID_HEX_STRING_FORMAT" or "IDS_ERR_INVALID_BINARY_STRING_FORMAT".
KERN83_API Numeric create_numeric_from_hex_literal_string(const avo::WString& text);
KERN83_API Numeric create_numeric_from_hex_literal_string(const char16_t* text);
KERN83_API Numeric create_numeric_from_binary_literal_string(const avo::WString& text);
KERN83_API Numeric create_numeric_from_binary_literal_string(const char16_t* text);

}  // namespace core
