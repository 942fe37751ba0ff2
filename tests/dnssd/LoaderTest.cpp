// Which DNS-SD library the layer loads. The choice is made once per process,
// so every scenario runs in a child process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "LayerTestSupport.h"
#include "Platform/Platform.h"
#include "cpt_bonjour.h"
#include "dnssd_api.h"

namespace {

class LoaderTest : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// Ends the child with 0 when `ok`, else with a code that names the check.
#define CHILD_CHECK(ok, code) \
  do {                        \
    if (!(ok)) std::_Exit(code); \
  } while (0)

TEST_F(LoaderTest, NothingToLoadMakesEveryCallFailSoftly) {
  EXPECT_EXIT(
      {
        layertest::InstallLogger();
        platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
        platform::testing::SetModuleDirectory("/nonexistent");
        dnssd_api& api = dnssd_api::instance();
        CHILD_CHECK(!api.loaded(), 2);
        CHILD_CHECK(layertest::Logged("[bonjour] load mdnsclient.dll, (nil)"), 3);
        DNSServiceRef ref = nullptr;
        char name[1024];
        CHILD_CHECK(api.create_connection(&ref, nullptr) == kDNSServiceErr_Unsupported, 4);
        CHILD_CHECK(api.browse(&ref, 0, 0, "_t._tcp", "", nullptr, nullptr) == -65544, 5);
        CHILD_CHECK(api.resolve(&ref, 0, 0, "n", "_t._tcp", "", nullptr, nullptr) == -65544, 6);
        CHILD_CHECK(api.get_addr_info(&ref, 0, 0, 3, "h", nullptr, nullptr) == -65544, 7);
        CHILD_CHECK(api.register_service(&ref, 0, 0, "n", "_t._tcp", "", nullptr, 0, 0, nullptr,
                                         nullptr, nullptr, nullptr) == -65544, 8);
        CHILD_CHECK(api.construct_full_name(name, "n", "_t._tcp", "local") == -65544, 9);
        CHILD_CHECK(api.process_result(ref) == -65544, 10);
        CHILD_CHECK(api.ref_sock_fd(ref) == -1, 11);
        TXTRecordRef txt;
        api.txt_create(&txt);
        CHILD_CHECK(api.txt_set_value(&txt, "k", 1, "v") == -65544, 12);
        CHILD_CHECK(api.txt_length(&txt) == 0 && api.txt_bytes(&txt) == nullptr, 13);
        CHILD_CHECK(api.txt_count(3, "\x02k=") == 0, 14);
        api.ref_deallocate(ref);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(LoaderTest, OwnLibraryComesFromThePluginsFolder) {
  EXPECT_EXIT(
      {
        layertest::InstallLogger();
        platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
        platform::testing::SetModuleDirectory(layertest::Layout("own"));
        dnssd_api& api = dnssd_api::instance();
        CHILD_CHECK(api.loaded(), 2);
        CHILD_CHECK(layertest::LoggedPrefix("[bonjour] load mdnsclient.dll, 0x"), 3);
        DNSServiceRef ref = nullptr;
        CHILD_CHECK(api.create_connection(&ref, nullptr) == kDNSServiceErr_NoError, 4);
        CHILD_CHECK(api.ref_sock_fd(ref) >= 0, 5);
        api.ref_deallocate(ref);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(LoaderTest, AnOwnLibraryOthersCouldHaveChangedIsRefused) {
  char tmpl[] = "/tmp/atrium-layout-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(tmpl));
  const std::string dir = tmpl;
  ASSERT_EQ(0, std::system(("cp " + layertest::Layout("own") + "/libmdnsclient.so " + dir +
                            " && chmod 775 " + dir + "/libmdnsclient.so")
                               .c_str()));
  EXPECT_EXIT(
      {
        platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
        platform::testing::SetModuleDirectory(dir);
        CHILD_CHECK(!dnssd_api::instance().loaded(), 2);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  std::system(("rm -rf " + dir).c_str());
}

TEST_F(LoaderTest, AUsableSystemLibraryIsPreferred) {
  EXPECT_EXIT(
      {
        layertest::InstallLogger();
        platform::testing::SetSystemClientLibrary(layertest::Layout("own") + "/libmdnsclient.so");
        platform::testing::SetModuleDirectory("/nonexistent");
        CHILD_CHECK(platform::SystemDaemonUsable(), 2);
        CHILD_CHECK(dnssd_api::instance().loaded(), 3);
        CHILD_CHECK(layertest::LoggedPrefix("[bonjour] load dnssd.dll\xEF\xBC\x8C 0x"), 4);
        // With the system's daemon there, no own responder is started.
        cpt_bonjour* bonjour = create_cpt_bonjour();
        CHILD_CHECK(layertest::Logged("[bonjour] bonjour service is running."), 5);
        CHILD_CHECK(!layertest::LoggedPrefix("[bonjour] load mdnsresponder.dll"), 6);
        delete bonjour;
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(LoaderTest, ASystemLibraryWithoutAddressLookUpIsNotUsable) {
  EXPECT_EXIT(
      {
        layertest::InstallLogger();
        platform::testing::SetSystemClientLibrary(layertest::Layout("partial") +
                                                  "/libmdnsclient.so");
        platform::testing::SetModuleDirectory(layertest::Layout("own"));
        CHILD_CHECK(!platform::SystemDaemonUsable(), 2);
        CHILD_CHECK(dnssd_api::instance().loaded(), 3);
        CHILD_CHECK(layertest::LoggedPrefix("[bonjour] load mdnsclient.dll, 0x"), 4);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
