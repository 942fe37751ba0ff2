// Out-of-line destructors of the host interfaces: their type information and
// virtual tables live in the host library, as with a real host.
#include "ConfApp/IConfAppAPI.h"
#include "KRC/IKRController.h"
#include "Kit/KitMQ.h"
#include "NW_webservice/WebService.h"
#include "Kit/Timer.h"
#include "PTApp/INWPTAppAPI.h"
#include "TesselTask/TesselTask.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"
#include "tthost/HIDComm.h"

IKitModule::~IKitModule() = default;
IKitMQService::~IKitMQService() = default;
Kit::CTimer::~CTimer() = default;
IHIDCommCallback::~IHIDCommCallback() = default;
IHIDComm::~IHIDComm() = default;

namespace tesselus {
IHostUser::~IHostUser() = default;
IHostSettings::~IHostSettings() = default;
IPTSession::~IPTSession() = default;
INWPTAppAPI::~INWPTAppAPI() = default;
IConfAppAPI::~IConfAppAPI() = default;
IUnifyWebViewInstSink::~IUnifyWebViewInstSink() = default;
IUnifyWebViewInstance::~IUnifyWebViewInstance() = default;
IUnifyWebViewInstManager::~IUnifyWebViewInstManager() = default;
IUnifyWebViewModuleAPI::~IUnifyWebViewModuleAPI() = default;
IKRCAppSink::~IKRCAppSink() = default;
IKRController::~IKRController() = default;
}  // namespace tesselus

namespace TesselTask {
ITesselTask::~ITesselTask() = default;
ITLTManager::~ITLTManager() = default;
}  // namespace TesselTask

namespace NW_webservice {
BaseRequest::~BaseRequest() = default;
ListPersonalTesselRoomsRequest::~ListPersonalTesselRoomsRequest() = default;
PairedKRActionRequest::~PairedKRActionRequest() = default;
IWebService::~IWebService() = default;
}  // namespace NW_webservice
