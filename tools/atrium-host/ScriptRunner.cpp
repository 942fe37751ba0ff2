#include "ScriptRunner.h"

#include <json/reader.h>
#include <json/writer.h>

#include <istream>
#include <memory>
#include <ostream>
#include <sstream>

#include "RoomSinks.h"
#include "hostsim/SimRooms.h"

namespace {

std::wstring Wide(const std::string& s) { return Kit::kit_str_convert::Utf8ToWide(s); }
std::string Narrow(const std::wstring& s) { return Kit::kit_str_convert::WideToUtf8(s); }

Json::Value HeadersJson(const tesselus::UnifyWebViewHeaders& headers) {
  Json::Value out(Json::objectValue);
  for (const auto& h : headers) out[Narrow(h.first)] = Narrow(h.second);
  return out;
}

// The JSON payload inside "window.tesselSdk.native2js(...)", or null.
Json::Value ScriptPayload(const std::string& script) {
  static const std::string kPrefix = "window.tesselSdk.native2js(";
  if (script.compare(0, kPrefix.size(), kPrefix) != 0 || script.back() != ')') return Json::Value();
  const std::string text = script.substr(kPrefix.size(), script.size() - kPrefix.size() - 1);
  Json::Value payload;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  if (!reader->parse(text.data(), text.data() + text.size(), &payload, nullptr)) return Json::Value();
  return payload;
}

bool Need(const Json::Value& op, const char* member, bool (Json::Value::*is)() const,
          std::string& error) {
  if ((op[member].*is)()) return true;
  error = std::string("missing or mistyped \"") + member + "\"";
  return false;
}

}  // namespace

ScriptRunner::ScriptRunner(const PluginEntries& entries, std::ostream& out)
    : entries_(entries), out_(out) {
  hostsim::SetEventListener([this](const hostsim::SimEvent& e) { PrintEvent(e); });
}

ScriptRunner::~ScriptRunner() {
  hostsim::SetEventListener(nullptr);
  // Whatever the script left wired points at this runner.
  hostsim::SetRoomMessageReceiver(hostsim::Side::Main, nullptr);
  hostsim::SetRoomMessageReceiver(hostsim::Side::Meeting, nullptr);
  hostsim::SetPairAnswerHandler(nullptr);
}

void ScriptRunner::Shutdown() {
  for (int side = 0; side < 2; ++side)
    if (rooms_[side].service) DestroyRoomService(side);
  if (entries_.destroyClient) entries_.destroyClient();  // nothing when there is none
  client_ = nullptr;
  hostsim::SetEventListener(nullptr);
  hostsim::Reset();
}

// Never throws: it runs inside the plug-in's calls to the host.
void ScriptRunner::Print(const Json::Value& line) {
  try {
    static const std::unique_ptr<Json::StreamWriter> writer = [] {
      Json::StreamWriterBuilder b;
      b["indentation"] = "";
      b["emitUTF8"] = true;
      return std::unique_ptr<Json::StreamWriter>(b.newStreamWriter());
    }();
    // "event" leads the line; the other members follow in the writer's order.
    Json::Value rest = line;
    Json::Value event;
    rest.removeMember("event", &event);
    if (!process_.empty() && !rest.isMember("process")) rest["process"] = process_;
    std::ostringstream body;
    writer->write(rest, &body);
    std::string text = body.str();
    if (!event.isNull()) {
      std::ostringstream head;
      writer->write(event, &head);
      text = "{\"event\":" + head.str() + (text == "{}" ? "}" : "," + text.substr(1));
    }
    out_ << text << '\n';
    out_.flush();
  } catch (const std::exception&) {
    // Out of memory while printing: the line is lost, the run goes on.
  }
}

// Never throws: the simulated host calls it while it serves the plug-in.
void ScriptRunner::PrintEvent(const hostsim::SimEvent& event) {
  try {
    Json::Value line(Json::objectValue);
    line["event"] = event.kind;
    for (const auto& name : event.data.getMemberNames()) line[name] = event.data[name];
    if (event.kind == "script") line["payload"] = ScriptPayload(event.data["script"].asString());
    Print(line);
  } catch (const std::exception&) {
  }
}

int ScriptRunner::Run(std::istream& in) {
  std::string text;
  int failures = 0;
  for (int number = 1; std::getline(in, text); ++number)
    if (!RunText(text, number)) ++failures;
  return failures;
}

bool ScriptRunner::RunText(const std::string& text, int number) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos || text[first] == '#') return true;
  std::string error;
  try {
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value op;
    if (!reader->parse(text.data(), text.data() + text.size(), &op, &error) || !op.isObject()) {
      if (error.empty()) error = "a line must be one JSON object";
    } else {
      RunLine(op, error);
    }
  } catch (const std::exception& e) {  // a member of the wrong type, nesting too deep
    error = e.what();
    if (error.empty()) error = "the line could not be run";
  }
  if (error.empty()) return true;
  PrintError(number, error);
  return false;
}

void ScriptRunner::PrintError(int number, const std::string& message) {
  Json::Value line(Json::objectValue);
  line["event"] = "error";
  line["line"] = number;
  line["message"] = message;
  Print(line);
}

bool ScriptRunner::RunLine(const Json::Value& op, std::string& error) {
  if (!Need(op, "op", &Json::Value::isString, error)) return false;
  const std::string name = op["op"].asString();

  if (name == "note") {
    Json::Value line(Json::objectValue);
    line["event"] = "note";
    line["text"] = op["text"];
    Print(line);
  } else if (name == "host.set") {
    return HostSet(op, error);
  } else if (name == "webview.create" || name == "webview.close") {
    if (!Need(op, "id", &Json::Value::isString, error)) return false;
    if (name == "webview.create")
      hostsim::CreateWebView(Wide(op["id"].asString()));
    else
      hostsim::CloseWebView(Wide(op["id"].asString()));
  } else if (name == "webview.loadState") {
    if (!Need(op, "id", &Json::Value::isString, error) ||
        !Need(op, "state", &Json::Value::isUInt, error))
      return false;
    hostsim::ReportLoadState(Wide(op["id"].asString()), op["state"].asUInt());
  } else if (name == "webview.navigate") {
    if (!Need(op, "id", &Json::Value::isString, error) ||
        !Need(op, "address", &Json::Value::isString, error))
      return false;
    bool handled = false;
    const int allow =
        hostsim::Navigate(Wide(op["id"].asString()), Wide(op["address"].asString()), &handled);
    Json::Value line(Json::objectValue);
    line["event"] = "navigate";
    line["view"] = op["id"];
    line["address"] = op["address"];
    line["allow"] = allow;
    line["handled"] = handled;
    Print(line);
  } else if (name == "webview.requestHeaders") {
    if (!Need(op, "id", &Json::Value::isString, error) ||
        !Need(op, "address", &Json::Value::isString, error))
      return false;
    tesselus::UnifyWebViewHeaders headers;
    for (const auto& key : op["headers"].getMemberNames())
      headers[Wide(key)] = Wide(op["headers"][key].asString());
    const bool handled =
        hostsim::RequestHeaders(Wide(op["id"].asString()), Wide(op["address"].asString()), headers);
    Json::Value line(Json::objectValue);
    line["event"] = "headers";
    line["view"] = op["id"];
    line["address"] = op["address"];
    line["handled"] = handled;
    line["headers"] = HeadersJson(headers);
    Print(line);
  } else if (name == "page.call") {
    if (!Need(op, "id", &Json::Value::isString, error)) return false;
    std::string text;
    if (op["text"].isString()) {
      text = op["text"].asString();
    } else if (op.isMember("call")) {
      Json::StreamWriterBuilder b;
      b["indentation"] = "";
      text = Json::writeString(b, op["call"]);
    } else {
      error = "page.call needs \"call\" or \"text\"";
      return false;
    }
    hostsim::PostJsMessage(Wide(op["id"].asString()), Wide(text));
  } else if (name == "hid.event") {
    if (!Need(op, "event", &Json::Value::isInt, error)) return false;
    std::vector<uint8_t> bytes;
    for (const auto& b : op["bytes"]) bytes.push_back(static_cast<uint8_t>(b.asUInt()));
    hostsim::RaiseHIDEvent(op["event"].asInt(), bytes);
  } else if (name == "main.run") {
    Json::Value line(Json::objectValue);
    line["event"] = "mainQueue";
    line["ran"] = Json::UInt64(hostsim::RunMainQueue());
    Print(line);
  } else if (name == "clock.advance") {
    if (!Need(op, "ms", &Json::Value::isInt64, error)) return false;
    hostsim::AdvanceClock(op["ms"].asInt64());
  } else if (name.compare(0, 7, "client.") == 0) {
    return ClientOp(name.substr(7), op, error);
  } else if (name.compare(0, 5, "room.") == 0) {
    return RoomOp(name.substr(5), op, error);
  } else if (name.compare(0, 6, "rooms.") == 0) {
    return RoomsOp(name.substr(6), op, error);
  } else if (name.compare(0, 4, "krc.") == 0) {
    return ControllerOp(name.substr(4), op, error);
  } else if (name.compare(0, 4, "web.") == 0) {
    return WebOp(name.substr(4), op, error);
  } else if (name.compare(0, 6, "relay.") == 0) {
    return RelayOp(name.substr(6), op, error);
  } else {
    error = "unknown op \"" + name + "\"";
    return false;
  }
  return true;
}

bool ScriptRunner::HostSet(const Json::Value& op, std::string& error) {
  if (op.isMember("session")) hostsim::SetSessionState(op["session"].asInt());
  if (op.isMember("webToken")) hostsim::SetWebToken(op["webToken"].asString());
  if (op.isMember("userIdentity")) hostsim::SetUserIdentity(Wide(op["userIdentity"].asString()));
  if (op.isMember("confUserIdentity"))
    hostsim::SetConfUserIdentity(Wide(op["confUserIdentity"].asString()));
  if (op.isMember("pageAddress")) hostsim::SetPageAddress(Wide(op["pageAddress"].asString()));
  const Json::Value& options = op["options"];
  for (const auto& section : options.getMemberNames()) {
    for (const auto& key : options[section].getMemberNames()) {
      const Json::Value& value = options[section][key];
      if (value.isNull())
        hostsim::RemoveOption(section, key);
      else
        hostsim::SetOption(section, key, value.asString());
    }
  }
  for (const auto& address : op["trusted"]) hostsim::AddTrustedAddress(Wide(address.asString()));
  for (const auto& lookup : op["fail"]) hostsim::SetLookupFails(lookup.asString(), true);
  for (const auto& lookup : op["succeed"]) hostsim::SetLookupFails(lookup.asString(), false);
  if (op.isMember("extraHeaders")) {
    hostSink_.extraHeaders.clear();
    for (const auto& key : op["extraHeaders"].getMemberNames())
      hostSink_.extraHeaders[Wide(key)] = Wide(op["extraHeaders"][key].asString());
  }
  (void)error;
  return true;
}

bool ScriptRunner::ClientOp(const std::string& name, const Json::Value& op, std::string& error) {
  if (name == "create") {
    client_ = entries_.getClient();
    return true;
  }
  if (name == "destroy") {
    entries_.destroyClient();
    client_ = nullptr;
    return true;
  }
  if (!client_) {
    error = "no client: run client.create first";
    return false;
  }
  if (name == "setHostSink") {
    client_->SetHostSink(op["none"].asBool() ? nullptr : &hostSink_);
  } else if (name == "setClientUISink") {
    client_->SetClientUISink(op["none"].asBool() ? nullptr : &uiSink_);
  } else if (name == "setWebViewId") {
    client_->SetWebViewId(Wide(op["id"].asString()));
  } else if (name == "loadHomePage") {
    client_->LoadHomePage();
  } else if (name == "resumeHomePage") {
    client_->ResumeHomePage();
  } else if (name == "applicationActive") {
    client_->OnApplicationActiveChanged(op["active"].asInt());
  } else if (name == "tabChanged") {
    client_->OnTabChanged(op["active"].asInt());
  } else if (name == "optionsChanged") {
    client_->OnOptionsChanged();
  } else if (name == "deeplink") {
    tessel_atriumclient::AtriumDeepLinkData data;
    for (const auto& key : op["data"].getMemberNames()) data[key] = op["data"][key].asString();
    client_->OnRecvDeeplinkData(data);
  } else if (name == "deliveryInfo") {
    std::vector<tessel_atriumclient::AtriumDeliveryInfo> infos;
    for (const auto& item : op["infos"]) {
      tessel_atriumclient::AtriumDeliveryInfo info;
      info.symbology = item["symbology"].asString();
      info.text = item["text"].asString();
      info.x = item["x"].asInt();
      info.y = item["y"].asInt();
      info.width = item["width"].asInt();
      info.height = item["height"].asInt();
      info.confidence = item["confidence"].asDouble();
      infos.push_back(info);
    }
    client_->OnRecvDeliveryInfo(op["image"].asString(), infos);
  } else if (name == "deviceMessage") {
    const std::string data = op["data"].asString();
    client_->OnDeviceMessage(op["type"].asInt(), data.c_str(), static_cast<uint32_t>(data.size()));
  } else if (name == "initHID") {
    client_->InitHID(op["parameter"].asUInt64());
  } else if (name == "uninitHID") {
    client_->UninitHID();
  } else if (name == "uninit") {
    client_->Uninit();
  } else if (name == "nearby") {
    tessel_atriumclient::INearbyService* nearby = client_->GetNearbyService();
    Json::Value line(Json::objectValue);
    line["event"] = "nearby";
    line["hasNearbyRoom"] = nearby ? nearby->HasNearbyRoom() : false;
    line["bleState"] = nearby ? nearby->GetBLEState() : 0;
    Print(line);
  } else {
    error = "unknown op \"client." + name + "\"";
    return false;
  }
  return true;
}
