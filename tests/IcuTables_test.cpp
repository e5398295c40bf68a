// The tables the Windows build answers ICU's questions from, against the ICU they were generated with:
// every property of every code point, and case-insensitive comparison on strings chosen to hit the
// foldings to several code points, surrogate pairs and unpaired surrogates.
#include "IcuTables.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/uversion.h>

#include <random>
#include <string>
#include <vector>

namespace {

TEST(IcuTables, ComeFromTheLinkedIcu) {
  UVersionInfo version;
  char text[U_MAX_VERSION_STRING_LENGTH];
  u_getVersion(version);
  u_versionToString(version, text);
  EXPECT_STREQ(icu_tables::tables_version(), text);
}

TEST(IcuTables, EveryCodePointHasIcusProperties) {
  int mismatches = 0;
  for (UChar32 c = -2; c <= 0x110001 && mismatches < 10; ++c) {
    const bool same =
        icu_tables::is_alpha(c) == (u_isalpha(c) != 0) && icu_tables::is_digit(c) == (u_isdigit(c) != 0) &&
        icu_tables::is_space(c) == (u_isspace(c) != 0) && icu_tables::digit_value(c) == u_charDigitValue(c) &&
        icu_tables::to_lower(c) == u_tolower(c) && icu_tables::to_upper(c) == u_toupper(c);
    if (!same) ADD_FAILURE() << "U+" << std::hex << c << " (" << ++mismatches << ")";
  }
}

int sign(int v) { return (v > 0) - (v < 0); }

int icu_compare(const std::u16string& a, const std::u16string& b) {
  UErrorCode status = U_ZERO_ERROR;
  const int order = u_strCaseCompare(a.data(), static_cast<int32_t>(a.size()), b.data(), static_cast<int32_t>(b.size()),
                                     U_FOLD_CASE_DEFAULT, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  return order;
}

void expect_same_order(const std::u16string& a, const std::u16string& b) {
  const int tables = icu_tables::fold_compare(a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                                              static_cast<std::int32_t>(b.size()));
  ASSERT_EQ(sign(tables), sign(icu_compare(a, b))) << "strings of " << a.size() << " and " << b.size() << " units";
}

std::u16string utf16(UChar32 c) {
  std::u16string s;
  if (c < 0x10000) return s.assign(1, static_cast<char16_t>(c));
  s.push_back(static_cast<char16_t>(U16_LEAD(c)));
  s.push_back(static_cast<char16_t>(U16_TRAIL(c)));
  return s;
}

TEST(IcuTables, EveryCodePointComparesWithItsCaseMappingsAsIcuDoes) {
  for (UChar32 c = 0; c < 0x110000; ++c) {
    const std::u16string s = utf16(c);
    for (UChar32 other : {u_toupper(c), u_tolower(c), u_foldCase(c, U_FOLD_CASE_DEFAULT), c + 1}) {
      expect_same_order(s, utf16(other));
      if (HasFatalFailure()) return;
    }
  }
}

TEST(IcuTables, RandomStringsCompareAsIcuDoes) {
  // Letters with simple and with several-unit foldings, case pairs beyond the BMP, unpaired surrogates.
  const std::vector<std::u16string> pieces = {
      u"a",      u"A",      u"s",      u"S",       u"ss",         u"SS",         u"\u00DF",     u"\u1E9E",
      u"\uFB03", u"ffi",    u"FFI",    u"\u0130",  u"i",          u"I",          u"\u0131",     u"\u03A3",
      u"\u03C3", u"\u03C2", u"\u0149", u"\u02BCn", u"\U00010400", u"\U00010428", u"\U0001E900", u"\U0001E922",
      u"\xD801", u"\xDC00", u"\u00E9", u"\u00C9",  u"e\u0301",    u"",           u"z"};
  std::mt19937 random(19);
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1), count(0, 5);
  auto make = [&] {
    std::u16string s;
    for (std::size_t n = count(random); n > 0; --n) s += pieces[pick(random)];
    return s;
  };
  for (int i = 0; i < 200000; ++i) {
    const std::u16string a = make();
    expect_same_order(a, i % 3 == 0 ? a : make());
    if (HasFatalFailure()) return;
  }
}

TEST(IcuTables, NulTerminatedStringsEndAtTheNul) {
  EXPECT_EQ(icu_tables::fold_compare(u"STRASSE", -1, u"stra\u00DFe", -1), 0);
  EXPECT_LT(icu_tables::fold_compare(u"abc", -1, u"ABCD", -1), 0);
  EXPECT_GT(icu_tables::fold_compare(u"abd", 3, u"ABCD", -1), 0);
}

}  // namespace
