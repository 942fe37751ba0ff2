#include <gtest/gtest.h>

#include "Kit/Base64.h"
#include "Kit/KitGUID.h"
#include "Kit/StringToInt.h"

namespace {

TEST(KitValues, Base64RoundTripsEveryLengthAndRejectsBadText) {
  std::string data;
  for (int n = 0; n < 10; ++n) {
    const std::string encoded = Kit::Base64Encode(data.data(), data.size());
    EXPECT_EQ(0u, encoded.size() % 4);
    std::string decoded;
    ASSERT_TRUE(Kit::Base64Decode(encoded, decoded));
    EXPECT_EQ(data, decoded);
    data += static_cast<char>(0xF0 + n);
  }
  EXPECT_EQ("aGk=", Kit::Base64Encode("hi", 2));
  std::string out = "x";
  for (const char* bad : {"abc", "ab!d", "a=bc", "ab==abcd", "===="}) {
    EXPECT_FALSE(Kit::Base64Decode(bad, out)) << bad;
    EXPECT_TRUE(out.empty());
  }
}

TEST(KitValues, StringToIntTakesWholeDecimalsInRangeOnly) {
  int32_t v = 5;
  EXPECT_TRUE(Kit::StringToInt("-2147483648", v));
  EXPECT_EQ(INT32_MIN, v);
  EXPECT_TRUE(Kit::StringToInt("+42", v));
  EXPECT_EQ(42, v);
  for (const char* bad : {"", "-", "2147483648", "12a", " 1", "0x10"}) {
    EXPECT_FALSE(Kit::StringToInt(bad, v)) << bad;
    EXPECT_EQ(42, v);
  }
  int64_t w = 0;
  EXPECT_TRUE(Kit::StringToInt64("9223372036854775807", w));
  EXPECT_EQ(INT64_MAX, w);
  EXPECT_FALSE(Kit::StringToInt64("9223372036854775808", w));
}

TEST(KitValues, GuidsAreDistinctAndRoundTripThroughText) {
  const KitGUID a = KitGUID::Create(), b = KitGUID::Create();
  EXPECT_FALSE(a == b);
  KitGUID back;
  ASSERT_TRUE(KitGUID::FromString(a.ToString(), back));
  EXPECT_TRUE(a == back);
  EXPECT_FALSE(KitGUID::FromString("not-a-guid", back));
  EXPECT_TRUE(KitGUID().IsNull());
}

}  // namespace
