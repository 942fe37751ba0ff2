#include "hostsim/RecordingSinks.h"

#include "SimState.h"

namespace hostsim {

void RecordingHostSink::ReloadPage() { LogEvent("reload", Json::Value(Json::objectValue)); }

void RecordingHostSink::StartScanDelivery() {
  LogEvent("scanDelivery", Json::Value(Json::objectValue));
}

tesselus::UnifyWebViewHeaders RecordingHostSink::GetExtraHeaders(const wchar_t*) {
  return extraHeaders;
}

void RecordingClientUISink::OnClientUIData(int32_t kind, const Kit::CStringW& text) {
  Json::Value data(Json::objectValue);
  data["kind"] = kind;
  data["text"] = Narrow(text);
  LogEvent("clientUI", std::move(data));
}

}  // namespace hostsim
