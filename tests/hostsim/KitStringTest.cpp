// Conversions between UTF-8 and both wide forms, whatever wchar_t is here.
#include <gtest/gtest.h>

#include "Kit/CStringT.h"

using namespace Kit::kit_str_convert;

namespace {

const std::string kMixed = u8"a\u00e9\u4e2d\U0001F600\U0010FFFF";

TEST(KitString, Utf16UsesSurrogatePairsOutsideTheBasicPlane) {
  const std::u16string utf16 = Utf8ToUtf16(kMixed.data(), kMixed.size());
  EXPECT_EQ(u"a\u00e9\u4e2d\U0001F600\U0010FFFF", utf16);
  ASSERT_EQ(7u, utf16.size());
  EXPECT_EQ(0xD83D, utf16[3]);
  EXPECT_EQ(0xDE00, utf16[4]);
  EXPECT_EQ(kMixed, Utf16ToUtf8(utf16.data(), utf16.size()));
}

TEST(KitString, Utf32AndWideRoundTrip) {
  const std::u32string utf32 = Utf8ToUtf32(kMixed.data(), kMixed.size());
  EXPECT_EQ(5u, utf32.size());
  EXPECT_EQ(kMixed, Utf32ToUtf8(utf32.data(), utf32.size()));
  const Kit::CStringW wide = Utf8ToWide(kMixed);
  EXPECT_EQ(sizeof(wchar_t) == 2 ? 7u : 5u, wide.size());
  EXPECT_EQ(kMixed, WideToUtf8(wide));
}

TEST(KitString, MalformedInputBecomesReplacementCharacters) {
  const std::string bad[] = {
      "\x80",              // stray continuation
      "\xC0\xAF",          // overlong
      "\xED\xA0\x80",      // encoded surrogate
      "\xF4\x90\x80\x80",  // beyond U+10FFFF
      "\xE4\xB8",          // truncated
  };
  for (const auto& s : bad) {
    const std::u16string out = Utf8ToUtf16(s.data(), s.size());
    ASSERT_FALSE(out.empty()) << s.size();
    for (char16_t c : out) EXPECT_EQ(0xFFFD, c);
  }
  const std::string ok = "x\xE4\xB8y";  // a truncated sequence does not eat the next character
  EXPECT_EQ(u"x\uFFFDy", Utf8ToUtf16(ok.data(), ok.size()));

  const char16_t lone[] = {u'a', 0xD800, u'b', 0xDC00};
  EXPECT_EQ(u8"a\uFFFDb\uFFFD", Utf16ToUtf8(lone, 4));
  const char32_t big[] = {0x110000, 0xD800};
  EXPECT_EQ(u8"\uFFFD\uFFFD", Utf32ToUtf8(big, 2));
}

TEST(KitString, NullAndEmptyAreEmpty) {
  EXPECT_TRUE(Utf8ToWide(nullptr, 3).empty());
  EXPECT_TRUE(WideToUtf8(nullptr, 3).empty());
  EXPECT_TRUE(Kit::CStringA(static_cast<const char*>(nullptr)).IsEmpty());
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(3u, Utf8ToWide(withNul).size());
}

}  // namespace
