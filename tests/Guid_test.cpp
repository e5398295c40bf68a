#include "core/Guid.h"

#include <gtest/gtest.h>

#include <unordered_set>

namespace {

using core::GUID;

constexpr GUID kSemaphoreId = core::guid("71DF1A80-0F8F-11D4-9853-008048DA1252");

TEST(Guid, ParsesFieldsInTheirOrderFormatsLowercaseAndRoundTrips) {
  EXPECT_EQ(kSemaphoreId.Data1, 0x71DF1A80u);
  EXPECT_EQ(kSemaphoreId.Data2, 0x0F8Fu);
  EXPECT_EQ(kSemaphoreId.Data3, 0x11D4u);
  const std::uint8_t tail[8] = {0x98, 0x53, 0x00, 0x80, 0x48, 0xDA, 0x12, 0x52};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(kSemaphoreId.Data4[i], tail[i]) << i;
  EXPECT_EQ(core::guid_to_string(kSemaphoreId), std::u16string(u"71df1a80-0f8f-11d4-9853-008048da1252"));
  GUID back{};
  ASSERT_TRUE(core::guid_from_string(core::guid_to_string(kSemaphoreId), back));
  EXPECT_EQ(back, kSemaphoreId);
}

TEST(Guid, RejectsMalformedTextAndLeavesTargetAlone) {
  const char* bad[] = {
      "",
      "71df1a80-0f8f-11d4-9853-008048da125",    // 35 characters
      "71df1a80-0f8f-11d4-9853-008048da12522",  // 37
      "{71df1a80-0f8f-11d4-9853-008048da12}",
      "71df1a80x0f8f-11d4-9853-008048da1252",  // separator
      "71df1a80-0f8f-11d4-9853-008048da125g",  // digit
      "71df1a8-00f8f-11d4-9853-008048da1252",  // dash misplaced
  };
  for (const char* text : bad) {
    SCOPED_TRACE(text);
    GUID id = kSemaphoreId;
    EXPECT_FALSE(core::guid_from_string(std::string_view(text), id));
    EXPECT_EQ(id, kSemaphoreId);
  }
}

TEST(Guid, EqualityAndHashSeeEveryByte) {
  std::unordered_set<GUID> seen;
  GUID id = kSemaphoreId;
  seen.insert(id);
  for (int i = 0; i < 8; ++i) {
    GUID changed = id;
    changed.Data4[i] ^= 1;
    EXPECT_NE(changed, id);
    EXPECT_TRUE(seen.insert(changed).second);
  }
  GUID other = id;
  other.Data3 ^= 0x100;
  EXPECT_NE(std::hash<GUID>()(other), std::hash<GUID>()(id));
}

}  // namespace
