#pragma once
// The list stream's two encodings: every constant of the text grammar and of the packed bytes lives
// here (the prose description is docs/list-stream.md). Stored data depends on each value below: none may
// change.
//
// Text encoding (UTF-16 code units):
//   list    = "{" [item *("," item)] "}"          blanks (ICU u_isspace) allowed before every token
//   integer = ["+" / "-"] 1*digit                 any Unicode decimal digit when reading
//   boolean = "0" / "1"
//   double  = 16 significant digits, plain ("15", "1.5") while the point falls inside or right after the
//             digits, else d[.ddd]e<exponent> ("1.5e2", "5e-1"); "inf", "-inf", "nan" for the others
//   numeric = the canonical text of Numeric
//   GUID    = 36 characters 8-4-4-4-12, lowercase hexadecimal
//   string  = '"' units '"'; '"' inside doubled; a surrogate unit as '"\' and 4 lowercase hex digits
//   bytes   = Base64, "\r\n" after every 64 characters written
//
// Packed encoding (bytes): every item is one tag byte and a payload. The tag's low five bits are the
// kind of the item (0: no item, the byte only carries marks); its high three bits are marks that stand
// before the item, taken in the order end of list, separator, begin of list.

#include <cstddef>
#include <cstdint>

namespace core::detail::list_format {

// ----- text

inline constexpr char16_t kBeginOfList = u'{';
inline constexpr char16_t kEndOfList = u'}';
inline constexpr char16_t kSeparator = u',';
inline constexpr char16_t kNewLine = u'\n';
inline constexpr char16_t kQuote = u'"';
inline constexpr char16_t kEscape = u'\\';  // after a quotation mark inside a string: a unit in hex follows
inline constexpr int kEscapeDigits = 4;
inline constexpr char16_t kMinus = u'-';
inline constexpr char16_t kPlus = u'+';

// Floating items: significant digits written (the reader takes any count).
inline constexpr int kDoubleDigits = 16;

inline constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char16_t kBase64Pad = u'=';
// The writer puts "\r\n" after every this many Base64 characters (also after the last one when the
// text length is a multiple of it); readers skip blanks anywhere in Base64 text.
inline constexpr int kBase64LineLength = 64;

// ----- packed

// Marks, in the order they are interpreted within one tag byte.
inline constexpr std::uint8_t kMarkEndOfList = 0x20;
inline constexpr std::uint8_t kMarkSeparator = 0x80;
inline constexpr std::uint8_t kMarkBeginOfList = 0x40;
inline constexpr std::uint8_t kMarkMask = 0xE0;
inline constexpr std::uint8_t kKindMask = 0x1F;

// Kinds. The reader knows the type it expects, so one number may mean different things for different
// types; but the payload size follows from the kind alone, which is what lets a reader skip items of
// unknown type (skipListContent).
enum Kind : std::uint8_t {
  kNone = 0,
  // Integers (and booleans, written as 0 and 1): kinds 1-10 are the values 0-9 themselves.
  kSmallFirst = 1,
  kSmallLast = 10,
  kUInt8 = 11,  // magnitude in 1 byte, non-negative
  kNegInt8 = 12,
  kUInt16 = 13,  // 2 bytes
  kNegInt16 = 14,
  kUInt32 = 15,  // 4 bytes
  kNegInt32 = 16,
  kUInt64 = 17,  // 8 bytes
  kNegInt64 = 18,
  kFloat = 19,   // 4 bytes, IEEE single
  kDouble = 20,  // 8 bytes, IEEE double
  // GUID: 16 bytes, Data1 (4, little-endian), Data2 (2), Data3 (2), Data4 (8 in order).
  kFixed16 = 21,
  // Byte data: chunks, each a 2-byte length (1..kChunkSize) and that many bytes, then a 2-byte zero.
  // Also the embedded file contents and the binary form of a Numeric (below).
  kChunked = 22,
  // Strings. Kind 1 (value 0 above) is the empty string; kind 11 (1-byte integer above) is a string of
  // one unit not above 255, stored as that byte.
  kStringEmpty = kSmallFirst,
  kStringOneByte = kUInt8,
  kWide8 = 23,    // 1-byte length, then that many units, 2 bytes each
  kWide16 = 24,   // 2-byte length
  kWide64 = 25,   // 8-byte length
  kNarrow8 = 26,  // all units <= 255: 1-byte length, then one byte per unit
  kNarrow16 = 27,
  kNarrow64 = 28,
};

// Largest chunk of kChunked data; files are copied in blocks of this size.
inline constexpr std::size_t kChunkSize = 16384;

// The binary form of a Numeric inside kChunked data (used when the number is not an integer of at most
// 64 bits, which is written with the integer kinds): one flag byte (bit 0: negative), the limb exponent
// as 4 bytes, then the base-10^9 limbs, least significant first, 4 bytes each. The reader checks every
// representation invariant of Numeric. Numbers whose limb exponent lies beyond kNumericMaxScale either
// way are written as their canonical text in a string item instead (the reader takes both).
inline constexpr std::size_t kNumericHeader = 5;
inline constexpr std::int32_t kNumericMaxScale = 1 << 20;

}  // namespace core::detail::list_format
