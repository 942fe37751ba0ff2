#include "Atrium/BaseJsHandler.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <ostream>
#include <streambuf>

#include "Atrium/WebViewScript.h"
#include "Util/Scratch.h"

namespace tessel_atriumclient {
namespace {

// A reader and a writer at the library's default settings, made once per
// thread: building them is a large part of a small call's cost.
Json::CharReader& Reader() {
  thread_local std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  return *reader;
}

// An output stream that appends to a string of the caller's.
class StringBuf : public std::streambuf {
 public:
  std::string* target = nullptr;

 protected:
  int_type overflow(int_type c) override {
    if (c != traits_type::eof()) target->push_back(static_cast<char>(c));
    return c;
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    target->append(s, static_cast<std::size_t>(n));
    return n;
  }
};

void Write(const Json::Value& value, std::string& text) {
  thread_local std::unique_ptr<Json::StreamWriter> writer(
      Json::StreamWriterBuilder().newStreamWriter());
  thread_local StringBuf buf;
  thread_local std::ostream out(&buf);
  text.clear();
  text.reserve(512);  // most texts fit: one allocation instead of a doubling series
  buf.target = &text;
  writer->write(value, &out);
  buf.target = nullptr;
}

// The three members of a reply or notification, kept from one write to the
// next so that only their values change.
struct Envelope {
  Envelope() : root(Json::objectValue) {
    jsCallId = &root["jsCallId"];
    result = &root["result"];
    returnCode = &root["returnCode"];
  }
  Json::Value root;
  Json::Value* jsCallId;
  Json::Value* result;
  Json::Value* returnCode;
};

// Writes the envelope with `value` in its result slot, borrowed for the write.
void WriteEnvelope(const Kit::CStringA& jsCallId, int32_t returnCode, Json::Value& value,
                   std::string& text) {
  thread_local Envelope envelope;
  // The identifier outlives the write, so the envelope may point at it
  // rather than copy it; one with a NUL inside cannot be pointed at.
  if (jsCallId.find('\0') == std::string::npos)
    *envelope.jsCallId = Json::StaticString(jsCallId.c_str());
  else
    *envelope.jsCallId = Json::Value(jsCallId);
  *envelope.returnCode = returnCode;
  if (value.isNull()) {
    *envelope.result = "";
    Write(envelope.root, text);
    return;
  }
  envelope.result->swap(value);
  Write(envelope.root, text);
  envelope.result->swap(value);
}

Json::Value NotificationResult(const AtriumJsReq& req) {
  Json::Value result(Json::objectValue);
  result["notification"] = Json::Value(req.functionName);
  result["data"] = req.params.isNull() ? Json::Value("") : req.params;
  return result;
}

// True when the text nests arrays and objects deeper than the reader's limit
// (1000) allows. The reader would refuse it too, but only after unwinding an
// exception through a thousand frames: this scan costs far less.
bool NestsTooDeep(const char* text, std::size_t length) {
  constexpr int kReaderStackLimit = 1000;
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < length; ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '/' && i + 1 < length && (text[i + 1] == '/' || text[i + 1] == '*')) {
      // Comments, which the reader allows, are skipped whole.
      const char* end = text[i + 1] == '/' ? "\n" : "*/";
      const char* stop = std::search(text + i + 2, text + length, end, end + std::strlen(end));
      i = static_cast<std::size_t>(stop - text);
    } else if (c == '[' || c == '{') {
      if (++depth > kReaderStackLimit) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

// A member read as text. Arrays and objects have no text form, and neither
// has null: a call that names them is unusable.
bool ReadText(const Json::Value& root, const char* name, Kit::CStringA& out) {
  const Json::Value* member = root.find(name, name + std::char_traits<char>::length(name));
  if (!member) return false;
  const Json::ValueType type = member->type();
  if (type == Json::nullValue || type == Json::arrayValue || type == Json::objectValue) return false;
  const char* begin = nullptr;
  const char* end = nullptr;
  if (member->getString(&begin, &end))
    out.assign(begin, end);  // no copy through a temporary
  else
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
  // Fewer bytes than the limit cannot nest beyond it.
  if (messageText.size() > 1000 && NestsTooDeep(messageText.data(), messageText.size()))
    return false;
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
  // The parsed tree is ours and about to go: take "params" out of it whole.
  static constexpr char kParams[] = "params";
  if (const Json::Value* params = root.find(kParams, kParams + sizeof(kParams) - 1))
    req.params.swap(*const_cast<Json::Value*>(params));
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
  std::string text;
  WriteEnvelope(res.jsCallId, res.returnCode, res.result, text);
  return text;
}

std::string BaseJsHandler::NotificationText(const AtriumJsReq& req) {
  Json::Value result = NotificationResult(req);
  std::string text;
  WriteEnvelope(req.jsCallId, 0, result, text);
  return text;
}

// Replies and notifications are written into a reused per-thread buffer.
void BaseJsHandler::SendResponse(const AtriumJsRes& res) {
  thread_local ScratchSlot<std::string> slot;
  Scratch<std::string> text(slot);
  WriteEnvelope(res.jsCallId, res.returnCode, res.result, text.Get());
  SendToWebView(res.webViewId, text.Get());
}

void BaseJsHandler::SendNotification(const AtriumJsReq& req) {
  thread_local ScratchSlot<std::string> slot;
  Scratch<std::string> text(slot);
  Json::Value result = NotificationResult(req);
  WriteEnvelope(req.jsCallId, 0, result, text.Get());
  SendToWebView(req.webViewId, text.Get());
}

}  // namespace tessel_atriumclient
