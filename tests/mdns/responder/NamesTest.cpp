// Names and TXT data as they pass between the local protocol and the stack.
#include <avahi-common/strlst.h>
#include <gtest/gtest.h>

#include "names.h"

namespace mdns_responder {
namespace {

TEST(Names, FullNameEscapesTheInstanceOnlyAndEndsInADot) {
  EXPECT_EQ("Room A._tesselrooms._tcp.local.", FullName("Room A", "_tesselrooms._tcp", "local"));
  EXPECT_EQ("Room A._tesselrooms._tcp.local.", FullName("Room A", "_tesselrooms._tcp.", "local."));
  EXPECT_EQ("Room A._tesselrooms._tcp.local.", FullName("Room A", "_tesselrooms._tcp", ""));
  EXPECT_EQ("a\\.b\\\\c._x._udp.local.", FullName("a.b\\c", "_x._udp", "local"));
  EXPECT_EQ("t\\009ab\\127._x._udp.local.", FullName("t\tab\x7f", "_x._udp", "local"));
  EXPECT_EQ("r._x._tcp.example.org.", FullName("r", "_x._tcp", "example.org."));
}

TEST(Names, InterfaceListsIgnoreBlanksAndEmptyItems) {
  EXPECT_EQ((std::vector<std::string>{"lo"}), SplitInterfaces("lo"));
  EXPECT_EQ((std::vector<std::string>{"lo", "eth0"}), SplitInterfaces(" lo ,, eth0,"));
  EXPECT_TRUE(SplitInterfaces("").empty());
  EXPECT_TRUE(SplitInterfaces(" , ").empty());
}

// Registrations parse the client's TXT bytes into the stack's list, and
// resolves serialize the stack's list back: the items keep their order.
TEST(Names, TxtBytesSurviveTheStacksList) {
  const std::vector<uint8_t> txt = {5, 'k', '1', '=', 'v', '1', 3, 'k', '2', '=', 2, 'k', '3'};
  AvahiStringList* list = nullptr;
  ASSERT_EQ(0, avahi_string_list_parse(txt.data(), txt.size(), &list));
  std::vector<uint8_t> back(64);
  back.resize(avahi_string_list_serialize(list, back.data(), back.size()));
  avahi_string_list_free(list);
  EXPECT_EQ(txt, back);

  const std::vector<uint8_t> overrun = {5, 'k', '1'};
  list = nullptr;
  EXPECT_NE(0, avahi_string_list_parse(overrun.data(), overrun.size(), &list));
  avahi_string_list_free(list);
}

}  // namespace
}  // namespace mdns_responder
