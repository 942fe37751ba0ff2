#pragma once

#include <string>
#include <vector>

#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace hostsim {

// One simulated web-view instance: records the scripts run in it and the
// addresses loaded, and forwards page and engine events to its sinks.
class SimWebView : public tesselus::IUnifyWebViewInstance {
 public:
  explicit SimWebView(std::wstring id) : id_(std::move(id)) {}

  Kit::CStringW GetId() const override { return id_; }
  void LoadAddress(const wchar_t* address) override;
  void ExecuteScript(const wchar_t* script) override;
  void AddSink(tesselus::IUnifyWebViewInstSink* sink) override;
  void RemoveSink(tesselus::IUnifyWebViewInstSink* sink) override;

  // Sinks in order; a copy, since a sink may change the list while called.
  std::vector<tesselus::IUnifyWebViewInstSink*> Sinks() const { return sinks_; }

  std::vector<std::wstring> scripts;
  bool recording = true;

 private:
  std::wstring id_;
  std::vector<tesselus::IUnifyWebViewInstSink*> sinks_;
};

}  // namespace hostsim
