#pragma once
// The character properties kern83 takes from ICU, answered from tables generated with ICU itself: the
// Windows build has no ICU library, so it links these under ICU's names (IcuNames.cpp). The answers are
// ICU's for every code point (the Linux test IcuTables_test compares all 0x110000 of them, and folding
// comparisons on random strings, with the ICU the tables came from).
//
// Format (IcuTables.inc, written by Generate.cpp): a code point c has the record
//     kRecords[kStage2[(kStage1[c >> kBlockBits] << kBlockBits) + (c & (kBlockSize - 1))]]
// holding its flags (alphabetic, decimal digit, space: u_isalpha, u_isdigit, u_isspace), its digit value
// (u_charDigitValue, -1 for none), and the differences to its simple lowercase and uppercase mappings
// (u_tolower, u_toupper). Its full case folding (u_strFoldCase with U_FOLD_CASE_DEFAULT) is one code point,
// stored as a difference too, or with the flag kFoldsToSeveral a run of kFoldStrings: at `fold` a length n,
// then n UTF-16 units.
//
// Values outside 0..0x10FFFF are no code points: no flags, digit value -1, mapped to themselves.

#include <cstdint>

namespace icu_tables {

bool is_alpha(std::int32_t c) noexcept;
bool is_digit(std::int32_t c) noexcept;
bool is_space(std::int32_t c) noexcept;
int digit_value(std::int32_t c) noexcept;
std::int32_t to_lower(std::int32_t c) noexcept;
std::int32_t to_upper(std::int32_t c) noexcept;

// u_strCaseCompare(a, lengthA, b, lengthB, U_FOLD_CASE_DEFAULT): the order of the full case foldings of the
// two strings, compared by UTF-16 code units. A length of -1 means NUL-terminated. Negative, 0 or positive.
int fold_compare(const char16_t* a, std::int32_t lengthA, const char16_t* b, std::int32_t lengthB) noexcept;

// The ICU version the tables were generated from ("72.1").
const char* tables_version() noexcept;

namespace detail {
inline constexpr int kBlockBits = 7;
inline constexpr std::int32_t kCodePoints = 0x110000;
enum Flag { kAlpha = 1, kDigit = 2, kSpace = 4, kFoldsToSeveral = 8 };
}  // namespace detail

}  // namespace icu_tables
