// The bridge's fast conversions agree with the host's converter on every text.
#include <gtest/gtest.h>

#include "Util/TextConvert.h"

namespace tc = tessel_atriumclient::TextConvert;

namespace {

TEST(TextConvert, AgreesWithTheHostConverterOnAsciiAndBeyond) {
  const std::string samples[] = {"", "plain ascii {\"a\":1}", u8"caf\u00e9", u8"\U0001F600x",
                                 std::string("nul\0inside", 10), "\xFF\xFE bad"};
  for (const auto& s : samples) {
    std::wstring wide = L"<";
    tc::AppendWide(wide, s.data(), s.size());
    EXPECT_EQ(L"<" + Kit::kit_str_convert::Utf8ToWide(s), wide);
    const std::wstring back = Kit::kit_str_convert::Utf8ToWide(s);
    EXPECT_EQ(Kit::kit_str_convert::WideToUtf8(back), tc::ToUtf8(back.data(), back.size()));
  }
  const wchar_t negative[] = {L'a', static_cast<wchar_t>(-1)};
  EXPECT_EQ(Kit::kit_str_convert::WideToUtf8(negative, 2), tc::ToUtf8(negative, 2));
}

}  // namespace
