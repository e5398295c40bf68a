// ICU's entry points (under ICU's versioned names, as its headers declare them) answered from the tables:
// what the Windows build links in place of the ICU library.
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include "IcuTables.h"

U_CAPI UBool U_EXPORT2 u_isalpha(UChar32 c) { return icu_tables::is_alpha(c); }
U_CAPI UBool U_EXPORT2 u_isdigit(UChar32 c) { return icu_tables::is_digit(c); }
U_CAPI UBool U_EXPORT2 u_isspace(UChar32 c) { return icu_tables::is_space(c); }
U_CAPI int32_t U_EXPORT2 u_charDigitValue(UChar32 c) { return icu_tables::digit_value(c); }
U_CAPI UChar32 U_EXPORT2 u_tolower(UChar32 c) { return icu_tables::to_lower(c); }
U_CAPI UChar32 U_EXPORT2 u_toupper(UChar32 c) { return icu_tables::to_upper(c); }

// Only the default folding is in the tables; any other option is refused rather than answered wrongly.
U_CAPI int32_t U_EXPORT2 u_strCaseCompare(const UChar* s1, int32_t length1, const UChar* s2, int32_t length2,
                                          uint32_t options, UErrorCode* pErrorCode) {
  if (pErrorCode == nullptr || U_FAILURE(*pErrorCode)) return 0;
  if (s1 == nullptr || s2 == nullptr || length1 < -1 || length2 < -1 || options != U_FOLD_CASE_DEFAULT) {
    *pErrorCode = U_ILLEGAL_ARGUMENT_ERROR;
    return 0;
  }
  return icu_tables::fold_compare(s1, length1, s2, length2);
}
