#include "SimWebView.h"

#include <algorithm>

#include "SimState.h"

namespace hostsim {

void SimWebView::LoadAddress(const wchar_t* address) {
  Json::Value data(Json::objectValue);
  data["view"] = Narrow(id_);
  data["address"] = Narrow(address ? address : L"");
  LogEvent("load", std::move(data));
}

void SimWebView::ExecuteScript(const wchar_t* script) {
  if (script == nullptr) return;
  if (recording) scripts.emplace_back(script);
  if (!State().logging) return;
  Json::Value data(Json::objectValue);
  data["view"] = Narrow(id_);
  data["script"] = Narrow(script);
  LogEvent("script", std::move(data));
}

void SimWebView::AddSink(tesselus::IUnifyWebViewInstSink* sink) {
  if (sink && std::find(sinks_.begin(), sinks_.end(), sink) == sinks_.end()) sinks_.push_back(sink);
}

void SimWebView::RemoveSink(tesselus::IUnifyWebViewInstSink* sink) {
  sinks_.erase(std::remove(sinks_.begin(), sinks_.end(), sink), sinks_.end());
}

SimWebView* FindWebView(std::wstring_view id) {
  auto it = State().webViews.find(id);
  return it == State().webViews.end() ? nullptr : it->second.get();
}

void CreateWebView(const std::wstring& id) {
  auto it = State().webViews.find(id);
  if (it == State().webViews.end()) State().webViews.emplace(id, std::make_unique<SimWebView>(id));
}

void CloseWebView(const std::wstring& id) {
  auto it = State().webViews.find(id);
  if (it == State().webViews.end()) return;
  std::unique_ptr<SimWebView> view = std::move(it->second);
  State().webViews.erase(it);
  for (auto* sink : view->Sinks()) sink->OnClosed(view.get());
}

bool HasWebView(const std::wstring& id) { return FindWebView(id) != nullptr; }

std::size_t WebViewSinkCount(const std::wstring& id) {
  SimWebView* v = FindWebView(id);
  return v ? v->Sinks().size() : 0;
}

std::vector<std::wstring> WebViewScripts(const std::wstring& id) {
  SimWebView* v = FindWebView(id);
  return v ? v->scripts : std::vector<std::wstring>();
}

void ClearWebViewScripts(const std::wstring& id) {
  if (SimWebView* v = FindWebView(id)) v->scripts.clear();
}

void SetWebViewRecording(const std::wstring& id, bool record) {
  if (SimWebView* v = FindWebView(id)) v->recording = record;
}

bool PostJsMessage(const std::wstring& id, const std::wstring& message) {
  SimWebView* v = FindWebView(id);
  bool handled = false;
  if (!v) return false;
  for (auto* sink : v->Sinks()) sink->OnJsMessage(v, message.c_str(), handled);
  return handled;
}

int Navigate(const std::wstring& id, const std::wstring& address, bool* handled) {
  SimWebView* v = FindWebView(id);
  int allow = 1;  // the engine's own default
  bool h = false;
  if (v) {
    for (auto* sink : v->Sinks()) sink->OnBeforeNavigate(v, 0, address.c_str(), allow, true, h);
  }
  if (handled) *handled = h;
  return allow;
}

bool RequestHeaders(const std::wstring& id, const std::wstring& address,
                    tesselus::UnifyWebViewHeaders& headers) {
  SimWebView* v = FindWebView(id);
  bool handled = false;
  if (!v) return false;
  for (auto* sink : v->Sinks()) sink->OnRequestHeaders(v, address.c_str(), headers, handled);
  return handled;
}

void ReportLoadState(const std::wstring& id, uint32_t state) {
  SimWebView* v = FindWebView(id);
  if (!v) return;
  for (auto* sink : v->Sinks()) sink->OnLoadStateChanged(v, state);
}

}  // namespace hostsim
