// Fuzzes the two external inputs of the room side: room messages relayed from
// the other process (IKRService::OnRoomMessage) and script calls posted by the
// room pages, on the main-application service and on the meeting-process
// service, with the simulated host relaying between the two.
//
// An input is a series of records, one a line; a record's first byte says
// what it is, the rest of the line is its text:
//   M m   room message to the main / meeting service
//   P p   page call posted to the main / meeting service's view
//   A     answer the newest unanswered pairing request; "A<code><text>" refuses it
//   a     answer the newest pairing request with the text as the room's basic data
//   F     finish the last connection ("F<code><text>": fail it)
//   L     the paired room's connection drops ("L<code>": with a code)
//   E     the host asks for the pairing to end
//   W     complete the oldest personal-room listing ("W<code><extra room name>")
//   R     rename the room connected last (or the first room)
//   S s   StartPair on the main / meeting service ("S0": without generating a key)
//   Z N   ResetPair / Unpair on the main service
//   X Y   pairing requests / web requests refused on or off
//   U u   the main / meeting process unreachable on or off
//   D     drain the queue, destroy both services and make them anew
//   +     hold the main-thread queue on or off (messages pile up and race)
// Unless held, the main-thread queue runs after each record. Checks:
//   - every script in a view is one native2js call with a strict-JSON envelope,
//     "showUIInConf" says which process the view belongs to, page pair
//     statuses are 0-3;
//   - every relayed room message is an object whose integer "type" goes the
//     right way (1-6 to the main service, 7-11 to the meeting service), and
//     relayed messages do not bounce without end;
//   - the main service's pair state is 0-6, and it is paired only with room
//     information;
//   - a posted page call is claimed, and each view keeps its one service;
//   - a service destroyed leaves no sink with the room controller or its view;
//   - when nothing reached the meeting service except through the relay (and
//     its host did not open the pairing there), it mirrors the main service
//     whenever the queue has run: pair state, room information and personal
//     rooms.
// A broken check prints what failed and aborts, so libFuzzer keeps the input.
#include <json/reader.h>
#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KR/KRRoomInfo.h"
#include "KR/KRServiceConf.h"
#include "KR/KRServicePT.h"
#include "hostsim/SimHost.h"
#include "hostsim/SimRooms.h"

namespace {

using tessel_atriumclient::KRServiceBase;
using tessel_atriumclient::KRServiceConf;
using tessel_atriumclient::KRServicePT;

const std::wstring kMainView = L"kr-main";
const std::wstring kConfView = L"kr-conf";
const std::wstring kScriptPrefix = L"window.tesselSdk.native2js(";
const std::wstring kBoardJid = L"board@rooms.invalid";
// Relayed messages allowed per input: a few per record is all the services send.
constexpr std::size_t kRelayPerRecord = 32;

struct Harness {
  KRServicePT* main = nullptr;
  KRServiceConf* conf = nullptr;
  tessel_atriumclient::IKRServiceEventSink eventSink;
  tessel_atriumclient::IKRServiceHostSink hostSink;
  std::unique_ptr<Json::CharReader> strict;
  std::size_t relayed = 0;
  std::size_t relayBudget = 0;
  bool relayOverrun = false;
};

Harness& H() {
  static Harness* harness = new Harness();  // never destroyed
  return *harness;
}

[[noreturn]] void Fail(const char* what, const std::string& detail = std::string()) {
  std::fprintf(stderr, "room_message_fuzzer: check failed: %s\n", what);
  if (!detail.empty()) std::fprintf(stderr, "  %s\n", detail.c_str());
  std::abort();
}

void Require(bool condition, const char* what, const std::string& detail = std::string()) {
  if (!condition) Fail(what, detail);
}

std::string Narrow(const std::wstring& text) { return Kit::kit_str_convert::WideToUtf8(text); }
std::wstring Wide(std::string_view text) {
  return Kit::kit_str_convert::Utf8ToWide(text.data(), text.size());
}

bool ParseStrict(const std::string& text, Json::Value& out) {
  return H().strict->parse(text.data(), text.data() + text.size(), &out, nullptr);
}

// A relayed message: handed on unless the budget is spent.
void Relay(bool toMain, const std::string& text) {
  Harness& h = H();
  if (++h.relayed > h.relayBudget) {
    h.relayOverrun = true;
    return;
  }
  Json::Value message;
  Require(ParseStrict(text, message) && message.isObject() && message["type"].isInt(),
          "a relayed room message is not an object with an integer type", text);
  const int type = message["type"].asInt();
  Require(toMain ? (type >= 1 && type <= 6) : (type >= 7 && type <= 11),
          toMain ? "the meeting service sent a type that is not a request"
                 : "the main service sent a type that is not a report",
          text);
  if (toMain && h.main) h.main->OnRoomMessage(text);
  if (!toMain && h.conf) h.conf->OnRoomMessage(text);
}

void MakeServices() {
  Harness& h = H();
  h.main = KRServicePT::GetInstance();
  h.conf = KRServiceConf::GetInstance();
  h.main->AttachWebView(kMainView);
  h.conf->AttachWebView(kConfView);
  for (KRServiceBase* s :
       {static_cast<KRServiceBase*>(h.main), static_cast<KRServiceBase*>(h.conf)}) {
    s->AddEventSink(&h.eventSink);
    s->SetHostSink(&h.hostSink);
  }
}

void DestroyServices() {
  Harness& h = H();
  h.main = nullptr;
  h.conf = nullptr;
  KRServicePT::Destroy();
  KRServiceConf::Destroy();
  Require(hostsim::RoomSinkCount() == 0,
          "a destroyed service left a sink with the room controller");
  Require(hostsim::WebViewSinkCount(kMainView) == 0 && hostsim::WebViewSinkCount(kConfView) == 0,
          "a destroyed service is still bound to its view");
}

void CheckScripts(const std::wstring& view) {
  const bool inConf = view == kConfView;
  for (const std::wstring& script : hostsim::WebViewScripts(view)) {
    if (script.size() <= kScriptPrefix.size() + 1 ||
        script.compare(0, kScriptPrefix.size(), kScriptPrefix) != 0 || script.back() != L')')
      Fail("a script is not one native2js call", Narrow(script));
    const std::string shown =
        Narrow(script.substr(kScriptPrefix.size(), script.size() - kScriptPrefix.size() - 1));
    Json::Value root;
    Require(ParseStrict(shown, root), "the native2js argument is not strict JSON", shown);
    Require(root.isObject() && root.size() == 3 && root["jsCallId"].isString() &&
                root["returnCode"].isInt() && !root["result"].isNull(),
            "the page message is not a jsCallId/returnCode/result object", shown);
    const Json::Value& result = root["result"];
    const Json::Value& data = result.isObject() ? result["data"] : Json::Value::nullSingleton();
    for (const Json::Value* record : {&result, &data}) {
      if (!record->isObject() || !record->isMember("showUIInConf")) continue;
      Require((*record)["showUIInConf"].isBool() && (*record)["showUIInConf"].asBool() == inConf,
              "showUIInConf does not match the view's process", shown);
    }
    if (result.isObject() && result["notification"] == "onUpdatePairStatus") {
      const Json::Value& status = data["status"];
      Require(status.isInt() && status.asInt() >= 0 && status.asInt() <= 3,
              "a page pair status is not 0-3", shown);
    }
  }
  hostsim::ClearWebViewScripts(view);
}

void CheckMirror() {
  Harness& h = H();
  Require(h.main->GetPairState() == h.conf->GetPairState(),
          "the meeting service's pair state differs from the main service's",
          std::to_string(h.main->GetPairState()) + " vs " + std::to_string(h.conf->GetPairState()));
  tessel_atriumclient::KRRoomInfo a, b;
  const bool hasA = h.main->GetRoomInfo(a), hasB = h.conf->GetRoomInfo(b);
  Require(hasA == hasB && (!hasA || a == b),
          "the meeting service's room information differs from the main service's",
          Narrow(a.basic.roomName) + " / " + Narrow(b.basic.roomName));
  Require(h.main->Rooms().pair.GetPkrList() == h.conf->Rooms().pair.GetPkrList(),
          "the meeting service's personal rooms differ from the main service's");
}

// Runs what is queued (unless held) and checks the state that follows; with
// everything delivered, `mirror` asks for the meeting service to mirror the
// main one.
void Settle(bool runQueue, bool mirror) {
  Harness& h = H();
  if (runQueue) hostsim::RunMainQueue();
  Require(!h.relayOverrun, "room messages keep bouncing between the processes",
          std::to_string(h.relayed) + " relayed");
  CheckScripts(kMainView);
  CheckScripts(kConfView);
  Require(hostsim::WebViewSinkCount(kMainView) == 1 && hostsim::WebViewSinkCount(kConfView) == 1,
          "a view lost (or gained) a service");
  const uint32_t state = h.main->GetPairState();
  Require(state <= 6, "the main service's pair state is out of range", std::to_string(state));
  tessel_atriumclient::KRRoomInfo info;
  Require(state != 6 || h.main->GetRoomInfo(info),
          "the main service is paired without room information");
  if (runQueue && mirror) CheckMirror();
}

// A leading decimal number of a record's text (at most 9 digits), taken off it.
int32_t TakeNumber(std::string_view& text, int32_t fallback) {
  std::size_t n = 0;
  int32_t value = 0;
  while (n < text.size() && n < 9 && text[n] >= '0' && text[n] <= '9')
    value = value * 10 + (text[n++] - '0');
  text.remove_prefix(n);
  return n ? value : fallback;
}

// The newest pairing request (not yet answered, if `open`), or null.
const hostsim::SimPairRequest* NewestRequest(const std::vector<hostsim::SimPairRequest>& all,
                                             bool open) {
  for (auto it = all.rbegin(); it != all.rend(); ++it)
    if (!open || !it->answered) return &*it;
  return nullptr;
}

void SetUpHost() {
  hostsim::Reset();
  hostsim::SetEventLogging(false);
  hostsim::SetSessionState(1);
  hostsim::SetWebToken("fuzz-web-token");
  hostsim::SetUserIdentity(L"fuzz.user@atrium.invalid");
  hostsim::SetConfUserIdentity(L"fuzz.user@atrium.invalid");
  hostsim::CreateWebView(kMainView);
  hostsim::CreateWebView(kConfView);

  hostsim::SimRoom board;
  board.name = L"Board Room";
  board.jid = kBoardJid;
  board.sharingKey = L"ABC123";
  board.logicEmail = L"board@atrium.invalid";
  board.address = L"10.0.0.7";
  board.nearby = true;
  board.featureList["supports_join_meeting"] = 1;
  board.featureList["support_paired_whiteboard"] = 1;
  board.meetingInfo["in_meeting"] = 1;
  board.meetingInfo["meeting_id"] = "m-77";
  board.account["is_pkr"] = 1;
  board.account["sharing_code"] = "ABC-123";
  hostsim::AddRoom(board);
  hostsim::SimRoom huddle;
  huddle.name = L"Huddle \u00e9 2";
  huddle.jid = L"huddle2@rooms.invalid";
  huddle.sharingKey = L"HUD2";
  huddle.online = false;
  hostsim::AddRoom(huddle);

  hostsim::SetRoomMessageReceiver(hostsim::Side::Main,
                                  [](const std::string& text) { Relay(true, text); });
  hostsim::SetRoomMessageReceiver(hostsim::Side::Meeting,
                                  [](const std::string& text) { Relay(false, text); });
  hostsim::SetPairAnswerHandler([](const tesselus::KRCPairAnswer& answer) {
    if (H().main) H().main->OnPairResult(answer.requestId, 0, answer);
  });
}

std::vector<NW_webservice::PersonalTesselRoom> PersonalRooms(std::string_view extraName) {
  std::vector<NW_webservice::PersonalTesselRoom> rooms;
  NW_webservice::PersonalTesselRoom board;
  board.name = L"Board Room";
  board.displayName = L"Board Room (3rd floor)";
  board.roomJID = kBoardJid;
  board.deviceID = L"dev-1";
  board.resourceID = L"res-1";
  rooms.push_back(board);
  NW_webservice::PersonalTesselRoom huddle;
  huddle.name = L"Huddle";
  huddle.roomJID = L"huddle2@rooms.invalid";
  rooms.push_back(huddle);
  if (!extraName.empty()) {
    NW_webservice::PersonalTesselRoom extra;
    extra.name = extra.displayName = Wide(extraName);
    extra.roomJID = L"extra@rooms.invalid";
    rooms.push_back(extra);
  }
  return rooms;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Json::CharReaderBuilder strict;
  Json::CharReaderBuilder::strictMode(&strict.settings_);
  H().strict.reset(strict.newCharReader());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Harness& h = H();
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  SetUpHost();
  MakeServices();
  h.relayed = 0;
  h.relayBudget = kRelayPerRecord;
  h.relayOverrun = false;
  bool hold = false, mirror = true;
  bool refusePairs = false, refuseWeb = false, mainGone = false, confGone = false;
  Settle(true, mirror);

  std::size_t start = 0;
  while (start < input.size()) {
    std::size_t end = input.find('\n', start);
    if (end == std::string_view::npos) end = input.size();
    std::string_view record = input.substr(start, end - start);
    start = end + 1;
    if (record.empty()) continue;
    const char op = record[0];
    std::string_view text = record.substr(1);
    h.relayBudget += kRelayPerRecord;

    switch (op) {
      case 'M':
        h.main->OnRoomMessage(std::string(text));
        break;
      case 'm':
        mirror = false;  // the meeting service now knows what the main one does not
        h.conf->OnRoomMessage(std::string(text));
        break;
      case 'P':
      case 'p': {
        const std::wstring& view = op == 'P' ? kMainView : kConfView;
        Require(hostsim::PostJsMessage(view, Wide(text)),
                "a service did not claim a page call posted to its view", std::string(text));
        break;
      }
      case 'A': {
        const auto requests = hostsim::PairRequests();
        if (const hostsim::SimPairRequest* r = NewestRequest(requests, true)) {
          if (text.empty()) {
            hostsim::AnswerPairRequest(r->id);
          } else {
            const int32_t code = TakeNumber(text, 1);
            hostsim::AnswerPairRequestWithError(r->id, code, Wide(text));
          }
        }
        break;
      }
      case 'a': {
        const auto requests = hostsim::PairRequests();
        if (const hostsim::SimPairRequest* r = NewestRequest(requests, false)) {
          tesselus::KRCPairAnswer answer;
          answer.requestId = r->id;
          answer.roomJID = kBoardJid;
          answer.basic = std::string(text);
          hostsim::SendPairAnswer(answer);
        }
        break;
      }
      case 'F': {
        const int32_t code = TakeNumber(text, 0);
        hostsim::FinishPairing(code, Wide(text));
        break;
      }
      case 'L':
        hostsim::LoseConnection(!text.empty(), TakeNumber(text, 0));
        break;
      case 'E':
        hostsim::RequestEndPairing();
        break;
      case 'W': {
        const int32_t code = TakeNumber(text, 0);
        hostsim::CompletePersonalRoomsRequest(PersonalRooms(text), code);
        break;
      }
      case 'R': {
        const auto connects = hostsim::ConnectRequests();
        hostsim::RenameRoom(connects.empty() ? kBoardJid : connects.back().roomJID, Wide(text));
        break;
      }
      case 'S':
        h.main->StartPair(text.empty() || text[0] != '0' ? 1 : 0);
        break;
      case 's': {
        const bool generate = text.empty() || text[0] != '0';
        // A pairing opened there carries a marker that the main service does not know.
        if (generate) mirror = false;
        h.conf->StartPair(generate ? 1 : 0);
        break;
      }
      case 'Z':
        h.main->ResetPair();
        break;
      case 'N':
        h.main->Unpair();
        break;
      case 'X':
        hostsim::SetPairRequestsRefused(refusePairs = !refusePairs);
        break;
      case 'Y':
        hostsim::SetWebRequestsRefused(refuseWeb = !refuseWeb);
        break;
      case 'U':
      case 'u':
        mirror = false;  // reports or requests get lost
        if (op == 'U')
          hostsim::SetPeerUnavailable(hostsim::Side::Main, mainGone = !mainGone);
        else
          hostsim::SetPeerUnavailable(hostsim::Side::Meeting, confGone = !confGone);
        break;
      case 'D':
        Settle(true, mirror);
        DestroyServices();
        MakeServices();
        break;
      case '+':
        hold = !hold;
        break;
      default:
        break;
    }
    Settle(!hold, mirror);
  }
  Settle(true, mirror);

  DestroyServices();
  hostsim::Reset();  // frees the web requests still pending
  return 0;
}
