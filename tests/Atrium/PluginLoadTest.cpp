// The built plug-in as a host sees it: loaded by path, entry points by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "AtriumClientApi.h"
#include "KRServiceApi.h"
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

TEST(PluginLoad, RoomServiceEntryPointsGiveOneServicePerProcessHalf) {
  hostsim::Reset();
  void* handle = dlopen(ATRIUM_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, handle) << dlerror();
  auto getPT = reinterpret_cast<GetKRServiceFn>(dlsym(handle, "GetKRServicePT"));
  auto destroyPT = reinterpret_cast<DestroyKRServiceFn>(dlsym(handle, "DestroyKRServicePT"));
  auto getConf = reinterpret_cast<GetKRServiceFn>(dlsym(handle, "GetKRServiceConf"));
  auto destroyConf = reinterpret_cast<DestroyKRServiceFn>(dlsym(handle, "DestroyKRServiceConf"));
  ASSERT_TRUE(getPT && destroyPT && getConf && destroyConf);

  destroyPT();  // before any Get: nothing to do
  tessel_atriumclient::IKRService* pt = getPT();
  EXPECT_EQ(pt, getPT());
  EXPECT_NE(pt, getConf());
  hostsim::CreateWebView(L"room");
  pt->AttachWebView(L"room");
  EXPECT_EQ(1u, hostsim::WebViewSinkCount(L"room"));
  hostsim::PostJsMessage(L"room", LR"({"functionName":"getRoomInfo","jsCallId":"4"})");
  ASSERT_EQ(1u, hostsim::WebViewScripts(L"room").size());
  EXPECT_NE(std::wstring::npos, hostsim::WebViewScripts(L"room")[0].find(L"\"isPaired\" : false"));

  destroyPT();
  destroyPT();
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(L"room"));
  pt = getPT();  // a new service: no views attached
  hostsim::ClearWebViewScripts(L"room");
  EXPECT_FALSE(hostsim::PostJsMessage(L"room", LR"({"functionName":"getRoomInfo","jsCallId":"5"})"));
  destroyPT();
  destroyConf();
  destroyConf();
  dlclose(handle);
  hostsim::Reset();
}

}  // namespace
