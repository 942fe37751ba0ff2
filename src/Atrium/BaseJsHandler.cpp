#include "Atrium/BaseJsHandler.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>
#include <sstream>

#include "Atrium/WebViewScript.h"

namespace tessel_atriumclient {
namespace {

// A reader and a writer at the library's default settings, made once per
// thread: building them is a large part of a small call's cost.
Json::CharReader& Reader() {
  thread_local std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  return *reader;
}

std::string Write(const Json::Value& value) {
  thread_local std::unique_ptr<Json::StreamWriter> writer(
      Json::StreamWriterBuilder().newStreamWriter());
  thread_local std::ostringstream out;
  out.str(std::string());
  out.clear();
  writer->write(value, &out);
  return out.str();
}

// A member read as text. Arrays and objects have no text form, and neither
// has null: a call that names them is unusable.
bool ReadText(const Json::Value& root, const char* name, Kit::CStringA& out) {
  const Json::Value* member = root.find(name, name + std::char_traits<char>::length(name));
  if (!member || member->isNull() || member->isArray() || member->isObject()) return false;
  out = member->asString();
  return true;
}

}  // namespace

BaseJsHandler::~BaseJsHandler() { functions_.clear(); }

void BaseJsHandler::RegisterFunctions() {}

void BaseJsHandler::Register(const char* name, AtriumJsFunction function) {
  functions_[name] = std::move(function);
}

void BaseJsHandler::HandleJsMessage(const Kit::CStringW& webViewId,
                                    const Kit::CStringA& messageText) {
  AtriumJsReq req;
  req.webViewId = webViewId;
  if (ParseRequest(messageText, req)) Dispatch(req);
}

bool BaseJsHandler::ParseRequest(const Kit::CStringA& messageText, AtriumJsReq& req) {
  Json::Value root;
  try {
    // Nesting beyond the reader's stack limit is reported by an exception.
    if (!Reader().parse(messageText.data(), messageText.data() + messageText.size(), &root,
                        nullptr))
      return false;
  } catch (const std::exception&) {
    return false;
  }
  if (!root.isObject()) return false;
  Kit::CStringA jsCallId, functionName;
  if (!ReadText(root, "jsCallId", jsCallId) || !ReadText(root, "functionName", functionName))
    return false;
  req.jsCallId = std::move(jsCallId);
  req.functionName = std::move(functionName);
  root.removeMember("params", &req.params);  // leaves null when absent
  return true;
}

void BaseJsHandler::Dispatch(const AtriumJsReq& req) {
  auto it = functions_.find(req.functionName);
  if (it == functions_.end()) return;
  AtriumJsRes res;
  res.webViewId = req.webViewId;
  res.jsCallId = req.jsCallId;
  if (!it->second) return;
  int32_t send = 0;
  try {
    send = it->second(req, res);
  } catch (const std::exception&) {
    return;  // a function that cannot finish answers nothing
  }
  if (send != 0) SendResponse(res);
}

std::string BaseJsHandler::ResponseText(const AtriumJsRes& res) {
  Json::Value root(Json::objectValue);
  root["jsCallId"] = Json::Value(res.jsCallId);
  root["returnCode"] = res.returnCode;
  root["result"] = res.result.isNull() ? Json::Value("") : res.result;
  return Write(root);
}

std::string BaseJsHandler::NotificationText(const AtriumJsReq& req) {
  Json::Value result(Json::objectValue);
  result["notification"] = Json::Value(req.functionName);
  result["data"] = req.params.isNull() ? Json::Value("") : req.params;
  Json::Value root(Json::objectValue);
  root["jsCallId"] = Json::Value(req.jsCallId);
  root["returnCode"] = 0;
  root["result"].swap(result);
  return Write(root);
}

void BaseJsHandler::SendResponse(const AtriumJsRes& res) {
  SendToWebView(res.webViewId, ResponseText(res));
}

void BaseJsHandler::SendNotification(const AtriumJsReq& req) {
  SendToWebView(req.webViewId, NotificationText(req));
}

}  // namespace tessel_atriumclient
