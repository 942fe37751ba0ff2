// The host's side of the client's sinks, recording every request in the
// simulated host's event log.
#pragma once

#include "IAtriumClient.h"

namespace hostsim {

class RecordingHostSink : public tessel_atriumclient::IAtriumClientHostSink {
 public:
  void ReloadPage() override;
  void StartScanDelivery() override;
  tesselus::UnifyWebViewHeaders GetExtraHeaders(const wchar_t* address) override;

  // Headers that GetExtraHeaders answers with.
  tesselus::UnifyWebViewHeaders extraHeaders;
};

class RecordingClientUISink : public tessel_atriumclient::IAtriumClientUISink {
 public:
  void OnClientUIData(int32_t kind, const Kit::CStringW& text) override;
};

}  // namespace hostsim
