#include "core/Resources.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class ResourcesTest : public ::testing::Test {
 protected:
  void TearDown() override { core::reset_thread_resource_language(); }
};

TEST_F(ResourcesTest, EnglishByDefaultAndTheThreadLanguageOnlyOnItsThread) {
  EXPECT_EQ(core::get_resource_language(), "en");
  EXPECT_EQ(core::resource_string("IDS_NUMERROR_DIVIDEBYZERO"), std::u16string(u"Division by zero"));
  core::set_thread_resource_language("ru");
  EXPECT_EQ(core::resource_string("IDS_NUMERROR_DIVIDEBYZERO"), std::u16string(u"Деление на ноль"));
  std::u16string other;
  std::thread([&] {
    auto text = core::resource_string("IDS_NUMERROR_DIVIDEBYZERO");
    other.assign(text.begin(), text.end());
  }).join();
  EXPECT_EQ(other, u"Division by zero");
}

TEST_F(ResourcesTest, MissingLanguageFallsBackToEnglishAndUnknownKeyToItself) {
  core::set_thread_resource_language("de");
  EXPECT_EQ(core::resource_string("IDS_LISTSTREAMERROR"), core::load_resource_string("kern83", "IDS_LISTSTREAMERROR"));
  EXPECT_FALSE(core::has_resource_string("kern83", "IDS_LISTSTREAMERROR", "de"));
  EXPECT_EQ(core::resource_string("IDS_NO_SUCH_KEY"), std::u16string(u"IDS_NO_SUCH_KEY"));
  EXPECT_EQ(core::load_resource_string("no-module", "IDS_LISTSTREAMERROR"), std::u16string(u"IDS_LISTSTREAMERROR"));
}

TEST_F(ResourcesTest, EveryKeyHasBothLanguages) {
  const char* keys[] = {"IDS_CRONPARSE_VALUE_EXPECTED",
                        "IDS_CRONPARSE_INVALID_VALUE",
                        "IDS_CRONPARSE_OUT_OF_RANGE",
                        "IDS_CRONPARSE_INVALID_RANGE",
                        "IDS_CRONPARSE_UNEXPECTED_CHARACTER",
                        "IDS_CRONPARSE_NONEXISTENT_DATE",
                        "IDS_ERROR_SAFEMODE",
                        "IDS_ERR_ILLEGAL_ARGUMENT",
                        "IDS_ERR_ILLEGAL_STATE",
                        "IDS_ERR_INVALID_BINARY_STRING_FORMAT",
                        "IDS_ERR_INVALID_HEX_STRING_FORMAT",
                        "IDS_LISTSTREAMERROR",
                        "IDS_NUMERROR_DIVIDEBYZERO",
                        "IDS_NUMERROR_NEGATIVEPOW",
                        "IDS_NUMERROR_OVERFLOW",
                        "IDS_VALUEROUNDMODE_ROUND15AS10",
                        "IDS_VALUEROUNDMODE_ROUND15AS20",
                        "IDS_ENUM_EXCEPTIONCATEGORY_INET",
                        "IDS_ENUM_EXCEPTIONCATEGORY_OTHER",
                        "IDS_ENUM_EXCEPTIONCATEGORY_ALL"};
  for (const char* key : keys) {
    SCOPED_TRACE(key);
    EXPECT_TRUE(core::has_resource_string("kern83", key, "en"));
    EXPECT_TRUE(core::has_resource_string("kern83", key, "ru"));
  }
}

}  // namespace
