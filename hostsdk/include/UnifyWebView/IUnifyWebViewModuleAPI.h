// The web-view module "com.tesselus.module.unifywebview", interface
// "tesselus.class.IUnifyWebViewModuleAPI".
#pragma once

#include <cstdint>
#include <map>

#include "Kit/CStringT.h"

namespace tesselus {

constexpr const char* kUnifyWebViewModuleId = "com.tesselus.module.unifywebview";
constexpr const char* kUnifyWebViewInterfaceName = "tesselus.class.IUnifyWebViewModuleAPI";

class IUnifyWebViewInstance;

// Request headers of one web request, by name.
using UnifyWebViewHeaders = std::map<Kit::CStringW, Kit::CStringW>;

// Events of one web-view instance. Every operation has an empty default.
class KIT_API IUnifyWebViewInstSink {
 public:
  virtual ~IUnifyWebViewInstSink();                                                      // 1
  virtual void OnCreated(IUnifyWebViewInstance*) {}                                       // 2
  virtual void OnBeforeNavigate(IUnifyWebViewInstance*, int /*navigationKind*/,           // 3
                                const wchar_t* /*address*/, int& /*allow*/,
                                bool /*mainFrame*/, bool& /*handled*/) {}
  virtual void OnNavigateComplete(IUnifyWebViewInstance*, const wchar_t*) {}              // 4
  virtual void OnJsMessage(IUnifyWebViewInstance*, const wchar_t* /*message*/,            // 5
                           bool& /*handled*/) {}
  virtual void OnRequestHeaders(IUnifyWebViewInstance*, const wchar_t* /*address*/,       // 6
                                UnifyWebViewHeaders& /*headers*/, bool& /*handled*/) {}
  virtual void OnTitleChanged(IUnifyWebViewInstance*, const wchar_t*) {}                  // 7
  virtual void OnNewWindow(IUnifyWebViewInstance*, const wchar_t*, bool&) {}              // 8
  virtual void OnDocumentReady(IUnifyWebViewInstance*) {}                                 // 9
  virtual void OnLoadStateChanged(IUnifyWebViewInstance*, uint32_t /*state*/) {}          // 10
  virtual void OnFocusChanged(IUnifyWebViewInstance*, bool) {}                            // 11
  virtual void OnClosed(IUnifyWebViewInstance*) {}                                        // 12
};

class KIT_API IUnifyWebViewInstance {
 public:
  virtual ~IUnifyWebViewInstance();
  virtual Kit::CStringW GetId() const = 0;
  virtual void LoadAddress(const wchar_t* address) = 0;
  virtual void ExecuteScript(const wchar_t* script) = 0;
  virtual void AddSink(IUnifyWebViewInstSink* sink) = 0;
  virtual void RemoveSink(IUnifyWebViewInstSink* sink) = 0;
};

class KIT_API IUnifyWebViewInstManager {
 public:
  virtual ~IUnifyWebViewInstManager();
  virtual IUnifyWebViewInstance* FindInstance(const wchar_t* id) = 0;
};

class KIT_API IUnifyWebViewModuleAPI {
 public:
  virtual ~IUnifyWebViewModuleAPI();
  virtual IUnifyWebViewInstManager* GetInstanceManager() = 0;
  virtual bool IsTrustedAddress(const wchar_t* address) = 0;
};

}  // namespace tesselus
