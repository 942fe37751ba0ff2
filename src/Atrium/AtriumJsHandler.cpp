#include "Atrium/AtriumJsHandler.h"

#include <cctype>
#include <cmath>
#include <limits>

#include "Atrium/AtriumClient.h"
#include "Util/AtriumUtil.h"

namespace tessel_atriumclient {
namespace {

bool EqualsNoCase(const std::string& a, const char* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i] != '\0'; ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return i == a.size() && b[i] == '\0';
}

// The low 8 bits of an element's integer value; false when the element has
// no integer value (text, arrays, objects, numbers beyond 64 bits).
bool LowByte(const Json::Value& v, uint8_t& out) {
  if (v.isNull()) {
    out = 0;
  } else if (v.isBool()) {
    out = v.asBool() ? 1 : 0;
  } else if (v.isInt64()) {
    out = static_cast<uint8_t>(static_cast<uint64_t>(v.asInt64()));
  } else if (v.isUInt64()) {
    out = static_cast<uint8_t>(v.asUInt64());
  } else if (v.isDouble()) {
    const double d = v.asDouble();
    if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) return false;
    out = static_cast<uint8_t>(static_cast<uint64_t>(static_cast<int64_t>(d)));
  } else {
    return false;
  }
  return true;
}

}  // namespace

AtriumJsHandler::~AtriumJsHandler() { functions_.clear(); }

void AtriumJsHandler::RegisterFunctions() {
  using Method = int32_t (AtriumJsHandler::*)(const AtriumJsReq&, AtriumJsRes&);
  const auto bind = [this](Method method) {
    AtriumJsHandler* self = this;
    return [self, method](const AtriumJsReq& req, AtriumJsRes& res) -> int32_t {
      return self ? (self->*method)(req, res) : 0;
    };
  };
  Register("reload", bind(&AtriumJsHandler::Reload));
  Register("getAuthConfig", bind(&AtriumJsHandler::GetAuthConfig));
  Register("reservationReady", bind(&AtriumJsHandler::ReservationReady));
  Register("sendMsgToUSB", bind(&AtriumJsHandler::SendMsgToUSB));
  Register("sendDataToClientUI", bind(&AtriumJsHandler::SendDataToClientUI));
  Register("queryCachedMsg", bind(&AtriumJsHandler::QueryCachedMsg));
  Register("scanDelivery", bind(&AtriumJsHandler::ScanDelivery));
  Register("isSupportScanDelivery", bind(&AtriumJsHandler::IsSupportScanDelivery));
}

Json::Value AtriumJsHandler::USBMessageJson(const USBMessage& message) {
  Json::Value out(Json::objectValue);
  out["message_type"] = message.type;
  Json::Value bytes(Json::arrayValue);
  bytes.resize(static_cast<Json::ArrayIndex>(message.bytes.size()));
  for (Json::ArrayIndex i = 0; i < bytes.size(); ++i) bytes[i] = message.bytes[i];
  out["message"].swap(bytes);
  return out;
}

Json::Value AtriumJsHandler::DeepLinkJson(const AtriumDeepLinkData& data) {
  Json::Value out(Json::objectValue);
  for (const auto& entry : data) out[entry.first] = Json::Value(entry.second);
  return out;
}

Json::Value AtriumJsHandler::DeliveryJson(const Kit::CStringA& image,
                                          const std::vector<AtriumDeliveryInfo>& infos) {
  Json::Value out(Json::objectValue);
  out["image"] = Json::Value(image);
  Json::Value list(Json::arrayValue);
  for (const auto& info : infos) {
    Json::Value item(Json::objectValue);
    item["symbology"] = Json::Value(info.symbology);
    item["text"] = Json::Value(info.text);
    item["x"] = info.x;
    item["y"] = info.y;
    item["width"] = info.width;
    item["height"] = info.height;
    item["confidence"] = info.confidence;
    list.append(std::move(item));
  }
  out["infos"].swap(list);
  return out;
}

int32_t AtriumJsHandler::Reload(const AtriumJsReq&, AtriumJsRes&) {
  AtriumClient* client = AtriumClient::Instance();
  if (client && client->HostSink()) client->HostSink()->ReloadPage();
  return 1;
}

int32_t AtriumJsHandler::GetAuthConfig(const AtriumJsReq&, AtriumJsRes& res) {
  res.returnCode = 0;
  res.result = Json::Value(Json::objectValue);
  res.result[Json::StaticString("zak")] = Json::Value(AtriumUtil::GetWebTokenUtf8());
  return 1;
}

int32_t AtriumJsHandler::ReservationReady(const AtriumJsReq& req, AtriumJsRes&) {
  if (!req.params.isObject() || !req.params.isMember("ready")) return 0;
  const Json::Value& ready = req.params["ready"];
  if (!ready.isBool()) return 1;
  AtriumClient* client = AtriumClient::Instance();
  if (!client) return 1;
  client->SetPageReady(ready.asBool());
  if (ready.asBool()) {
    client->FirePendAction(kPendActionUSBMsg);
    client->FirePendAction(kPendActionDeepLink);
  }
  return 1;
}

int32_t AtriumJsHandler::SendMsgToUSB(const AtriumJsReq& req, AtriumJsRes&) {
  if (!req.params.isObject() || !req.params.isMember("data")) return 0;
  const Json::Value& data = req.params["data"];
  if (!data.isArray()) return 0;
  std::vector<uint8_t> bytes(data.size());
  for (Json::ArrayIndex i = 0; i < data.size(); ++i)
    if (!LowByte(data[i], bytes[i])) return 1;  // nothing sent for unconvertible data
  AtriumClient* client = AtriumClient::Instance();
  if (client && client->HIDChannel())
    client->HIDChannel()->Send(3, bytes.data(), static_cast<uint32_t>(bytes.size()));
  return 1;
}

int32_t AtriumJsHandler::SendDataToClientUI(const AtriumJsReq& req, AtriumJsRes&) {
  if (!req.params.isObject()) return 0;
  AtriumClient* client = AtriumClient::Instance();
  if (client && client->ClientUISink()) {
    const Json::Value& text = req.params["notification"];
    client->ClientUISink()->OnClientUIData(
        1, text.isString() ? Kit::kit_str_convert::Utf8ToWide(text.asString()) : Kit::CStringW());
  }
  return 1;
}

int32_t AtriumJsHandler::QueryCachedMsg(const AtriumJsReq& req, AtriumJsRes& res) {
  AtriumClient* client = AtriumClient::Instance();
  if (!client || !req.params.isArray()) return 0;
  if (req.params.empty()) return 1;
  Json::Value items(Json::arrayValue);
  for (const Json::Value& element : req.params) {
    if (!element.isObject()) continue;
    const Json::Value& key = element["key"];
    if (!key.isString()) continue;
    const std::string name = key.asString();
    Json::Value item(Json::objectValue);
    item["key"] = Json::Value(name);  // the text only: a comment on it stays behind
    item["value"] = Json::Value();
    if (EqualsNoCase(name, "usbMsg")) {
      auto action = client->TakePendAction(kPendActionUSBMsg);
      if (auto* usb = dynamic_cast<RecvUSBMsgAction*>(action.get()))
        item["value"] = USBMessageJson(usb->message);
    } else if (EqualsNoCase(name, "deeplinkData")) {
      auto action = client->TakePendAction(kPendActionDeepLink);
      if (auto* link = dynamic_cast<RecvDeepLinkDataAction*>(action.get()))
        item["value"] = DeepLinkJson(link->data);
    } else {
      continue;
    }
    items.append(std::move(item));
  }
  res.result.swap(items);
  return 1;
}

int32_t AtriumJsHandler::ScanDelivery(const AtriumJsReq&, AtriumJsRes&) {
  AtriumClient* client = AtriumClient::Instance();
  if (!client || !client->HostSink()) return 0;
  client->HostSink()->StartScanDelivery();
  return 1;
}

int32_t AtriumJsHandler::IsSupportScanDelivery(const AtriumJsReq&, AtriumJsRes& res) {
  res.result = Json::Value(Json::objectValue);
  res.result["supported"] = false;
  return 1;
}

}  // namespace tessel_atriumclient
