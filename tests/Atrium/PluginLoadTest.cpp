// The built plug-in as a host sees it: loaded by path, entry points by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "AtriumClientApi.h"
#include "hostsim/SimHost.h"

namespace {

TEST(PluginLoad, EntryPointsBuildOneClientThatAnswersThePage) {
  hostsim::Reset();
  void* handle = dlopen(ATRIUM_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, handle) << dlerror();
  auto get = reinterpret_cast<GetAtriumClientFn>(dlsym(handle, "GetAtriumClient"));
  auto destroy = reinterpret_cast<DestroyAtriumClientFn>(dlsym(handle, "DestroyAtriumClient"));
  ASSERT_NE(nullptr, get);
  ASSERT_NE(nullptr, destroy);
  EXPECT_EQ(nullptr, dlsym(handle, "_ZN18tessel_atriumclient12AtriumClient11GetInstanceEv"));

  tessel_atriumclient::IAtriumClient* client = get();
  EXPECT_EQ(client, get());
  hostsim::CreateWebView(L"page");
  client->SetWebViewId(L"page");
  hostsim::PostJsMessage(L"page", LR"({"functionName":"isSupportScanDelivery","jsCallId":"9"})");
  ASSERT_EQ(1u, hostsim::WebViewScripts(L"page").size());
  EXPECT_NE(std::wstring::npos, hostsim::WebViewScripts(L"page")[0].find(L"\"supported\" : false"));

  // The HID base is reached through the client, as a host does.
  tessel_atriumclient::IAtriumHID* hid = client;
  hid->InitHID(3);
  EXPECT_TRUE(hostsim::HIDChannelOpen());

  destroy();
  destroy();
  EXPECT_FALSE(hostsim::HIDChannelOpen());
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(L"page"));
  dlclose(handle);
  hostsim::Reset();
}

}  // namespace
