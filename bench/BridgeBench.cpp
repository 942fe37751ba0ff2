// The script bridge's round trip: one page call posted to the simulated web
// view, through the client's sink, the UTF-8 conversion, parse, dispatch,
// reply writing and script formatting, to the reply script run in the view.
//
// Beside it runs the floor that no bridge built on jsoncpp can beat: parsing
// the same call text, building the same reply from the call's identifier and
// the token, and writing it, with a reader, a writer and an output stream
// that are made once and reused. After the
// benchmark output the program prints both as calls per second and
// nanoseconds per call, and the ratio of the two; the bridge aims to stay
// within 1.5 times the floor.
//
// The other benchmarks take the round trip apart so that a regression can be
// placed: the handler entry without the web view and the wide text, the reply
// text alone, and the floor's parse and write alone.
//
// Accepts the usual benchmark flags (--benchmark_min_time,
// --benchmark_repetitions, --benchmark_filter, ...). With repetitions the
// table uses the median of each benchmark, which a busy machine disturbs
// less than the mean.

#include <benchmark/benchmark.h>
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Atrium/AtriumClient.h"
#include "Atrium/BaseJsHandler.h"
#include "hostsim/SimHost.h"

namespace {

using tessel_atriumclient::AtriumClient;

// A web token of a realistic length (base64url, 110 characters).
const char kToken[] =
    "eyJ0eXAiOiJKV1QiLCJhbGciOiJIUzI1NiJ9.eyJ1aWQiOiJ1X2JlbmNoIiwiZXhwIjoxOTAwMDAwMDAwfQ."
    "c2lnbmF0dXJlX2Zvcl9iZW5jaA";
const char kCallText[] = R"({"functionName":"getAuthConfig","params":{},"jsCallId":"42"})";
const wchar_t kCallTextWide[] = LR"({"functionName":"getAuthConfig","params":{},"jsCallId":"42"})";
const wchar_t kViewId[] = L"main";

const char kRoundTripName[] = "BM_BridgeRoundTrip";
const char kFloorName[] = "BM_JsonFloor";

// A signed-in host with the client bound to the view "main", and nothing
// kept per call: no event log and no recorded scripts. Built fresh for each
// benchmark run and torn down after it.
class BridgeHost {
 public:
  BridgeHost() {
    AtriumClient::Destroy();
    hostsim::Reset();
    hostsim::SetSessionState(1);
    hostsim::SetWebToken(kToken);
    hostsim::CreateWebView(kViewId);
    client_ = AtriumClient::GetInstance();
    client_->SetWebViewId(kViewId);
  }
  ~BridgeHost() {
    AtriumClient::Destroy();
    hostsim::Reset();
  }
  BridgeHost(const BridgeHost&) = delete;
  BridgeHost& operator=(const BridgeHost&) = delete;

  AtriumClient& Client() { return *client_; }

  // Sends one call with the view recording and checks that exactly one reply
  // script came back carrying the token; then stops all recording. Returns
  // an error text, empty when the bridge answered as expected.
  std::string CheckAndQuiet() {
    if (!hostsim::PostJsMessage(kViewId, kCallTextWide)) return "the call was not handled";
    const std::vector<std::wstring> scripts = hostsim::WebViewScripts(kViewId);
    if (scripts.size() != 1) return "expected one reply script";
    const std::string script = Kit::kit_str_convert::WideToUtf8(scripts.front());
    if (script.find(kToken) == std::string::npos || script.find("\"42\"") == std::string::npos)
      return "the reply lacks the token or the call id";
    hostsim::ClearWebViewScripts(kViewId);
    hostsim::SetEventLogging(false);
    hostsim::SetWebViewRecording(kViewId, false);
    return std::string();
  }

 private:
  AtriumClient* client_ = nullptr;
};

// The reply that getAuthConfig gives, built as the floor writes it.
Json::Value ReplyObject() {
  Json::Value reply(Json::objectValue);
  reply["jsCallId"] = "42";
  reply["result"] = Json::Value(Json::objectValue);
  reply["result"]["zak"] = kToken;
  reply["returnCode"] = 0;
  return reply;
}

// ---- the round trip

void BM_BridgeRoundTrip(benchmark::State& state) {
  BridgeHost host;
  const std::string error = host.CheckAndQuiet();
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return;
  }
  const std::wstring call(kCallTextWide);
  const std::wstring view(kViewId);
  for (auto _ : state) {
    bool handled = hostsim::PostJsMessage(view, call);
    benchmark::DoNotOptimize(handled);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BridgeRoundTrip);

// ---- the floor: jsoncpp at its fastest honest use
//
// What any bridge on jsoncpp must do per call, done as cheaply as jsoncpp
// allows: parse the call text, put the call's identifier and the token into
// a reply whose shape is built once (pointing at both texts, copying
// neither), and write it. The reader, the writer and the output buffer are
// made once too.

void BM_JsonFloor(benchmark::State& state) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
  const std::string call(kCallText);
  const std::string token(kToken);
  Json::Value reply = ReplyObject();
  Json::Value& replyId = reply["jsCallId"];
  Json::Value& replyToken = reply["result"]["zak"];
  std::ostringstream out;
  for (auto _ : state) {
    Json::Value root;
    bool ok = reader->parse(call.data(), call.data() + call.size(), &root, nullptr);
    benchmark::DoNotOptimize(ok);
    const Json::Value* id = root.find("jsCallId", "jsCallId" + 8);
    const char* begin = nullptr;
    const char* end = nullptr;
    if (id && id->getString(&begin, &end)) replyId = Json::StaticString(begin);
    replyToken = Json::StaticString(token.c_str());
    out.str(std::string());  // keeps the buffer's capacity
    out.clear();
    writer->write(reply, &out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_JsonFloor);

// ---- the round trip taken apart

// The handler's entry with narrow text: parse, dispatch, reply and script,
// without the view's sink and the wide-to-UTF-8 conversion of the call.
void BM_HandlerNarrow(benchmark::State& state) {
  BridgeHost host;
  const std::string error = host.CheckAndQuiet();
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return;
  }
  const Kit::CStringW view(kViewId);
  const Kit::CStringA call(kCallText);
  for (auto _ : state) host.Client().JsHandler().HandleJsMessage(view, call);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HandlerNarrow);

// The reply text alone: the reply object built and written.
void BM_ResponseText(benchmark::State& state) {
  tessel_atriumclient::AtriumJsRes res;
  res.webViewId = kViewId;
  res.jsCallId = "42";
  res.result = ReplyObject()["result"];
  for (auto _ : state) {
    std::string text = tessel_atriumclient::BaseJsHandler::ResponseText(res);
    benchmark::DoNotOptimize(text);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ResponseText);

void BM_JsonFloorParse(benchmark::State& state) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  const std::string call(kCallText);
  for (auto _ : state) {
    Json::Value root;
    bool ok = reader->parse(call.data(), call.data() + call.size(), &root, nullptr);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(root);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_JsonFloorParse);

void BM_JsonFloorWrite(benchmark::State& state) {
  const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
  const Json::Value reply = ReplyObject();
  std::ostringstream out;
  for (auto _ : state) {
    out.str(std::string());
    out.clear();
    writer->write(reply, &out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_JsonFloorWrite);

// ---- reporting

// Passes everything to the display reporter chosen by the flags and keeps
// the round trip's and the floor's results for the figure table.
class CapturingReporter : public benchmark::BenchmarkReporter {
 public:
  explicit CapturingReporter(benchmark::BenchmarkReporter* display) : display_(display) {}

  bool ReportContext(const Context& context) override { return display_->ReportContext(context); }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) Keep(run);
    display_->ReportRuns(runs);
  }
  void Finalize() override { display_->Finalize(); }

  // Nanoseconds of CPU time per call; negative when the benchmark did not run.
  double RoundTripNs() const { return roundTripNs_; }
  double FloorNs() const { return floorNs_; }

 private:
  void Keep(const Run& run) {
    if (run.error_occurred || run.iterations == 0) return;
    // One iteration run, or the median over repetitions, which then wins.
    const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    if (run.run_type == Run::RT_Aggregate && !median) return;
    const double ns =
        run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
    const std::string& name = run.run_name.function_name;
    if (name == kRoundTripName && (median || !roundTripMedian_)) {
      roundTripNs_ = ns;
      roundTripMedian_ = median;
    } else if (name == kFloorName && (median || !floorMedian_)) {
      floorNs_ = ns;
      floorMedian_ = median;
    }
  }

  benchmark::BenchmarkReporter* display_;
  double roundTripNs_ = -1;
  double floorNs_ = -1;
  bool roundTripMedian_ = false;
  bool floorMedian_ = false;
};

void PrintRow(std::FILE* to, const char* what, double ns) {
  if (ns <= 0) {
    std::fprintf(to, "%-22s %14s %12s\n", what, "not run", "-");
    return;
  }
  std::fprintf(to, "%-22s %14.0f %12.1f\n", what, 1e9 / ns, ns);
}

void PrintTable(std::FILE* to, const CapturingReporter& reporter) {
  const double roundTrip = reporter.RoundTripNs();
  const double floor = reporter.FloorNs();
  std::fprintf(to, "\nScript bridge, getAuthConfig (CPU time per call)\n");
  std::fprintf(to, "%-22s %14s %12s\n", "", "calls/s", "ns/call");
  PrintRow(to, "round trip", roundTrip);
  PrintRow(to, "jsoncpp floor", floor);
  if (roundTrip > 0 && floor > 0) {
    const double ratio = roundTrip / floor;
    std::fprintf(to, "ratio round trip / floor: %.2fx (target 1.50x or less: %s)\n", ratio,
                 ratio <= 1.5 ? "met" : "missed");
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::BenchmarkReporter* display = benchmark::CreateDefaultDisplayReporter();
  CapturingReporter reporter(display);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  // After console output the table goes to stdout too; JSON or CSV output
  // stays machine-readable and the table goes to stderr.
  const bool console = dynamic_cast<benchmark::ConsoleReporter*>(display) != nullptr;
  std::cout.flush();
  PrintTable(console ? stdout : stderr, reporter);
  benchmark::Shutdown();
  return 0;
}
