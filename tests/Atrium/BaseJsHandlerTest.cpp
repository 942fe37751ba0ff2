// The envelope: which calls are usable, and the exact texts that reach the page.
#include <stdexcept>

#include "Atrium/BaseJsHandler.h"
#include "TestHost.h"

using tessel_atriumclient::AtriumJsReq;
using tessel_atriumclient::AtriumJsRes;
using tessel_atriumclient::BaseJsHandler;

namespace {

class ProbeHandler : public BaseJsHandler {
 public:
  void RegisterFunctions() override {
    Register("echo", [this](const AtriumJsReq& req, AtriumJsRes& res) {
      seen.push_back(req.params);
      res.result = req.params;
      return 1;
    });
    Register("silent", [](const AtriumJsReq&, AtriumJsRes&) { return 0; });
    Register("code", [](const AtriumJsReq&, AtriumJsRes& res) {
      res.returnCode = 7;
      return 1;
    });
    Register("throws", [](const AtriumJsReq& req, AtriumJsRes&) -> int32_t {
      return req.params.asInt();  // an object has no integer value
    });
    Register("empty", nullptr);
  }
  std::vector<Json::Value> seen;
};

class EnvelopeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    hostsim::Reset();
    hostsim::CreateWebView(L"v");
    handler.RegisterFunctions();
  }
  void TearDown() override { hostsim::Reset(); }
  std::vector<Json::Value> Send(const std::string& text) {
    hostsim::ClearWebViewScripts(L"v");
    handler.HandleJsMessage(L"v", text);
    return testhost::Payloads(L"v");
  }
  ProbeHandler handler;
};

TEST_F(EnvelopeTest, CallsWithoutIdentifierOrNameOrObjectRootAreDropped) {
  for (const char* text : {
           R"({"functionName":"echo"})",
           R"({"jsCallId":"1"})",
           R"({"jsCallId":null,"functionName":"echo"})",
           R"({"jsCallId":"1","functionName":null})",
           R"({"jsCallId":["1"],"functionName":"echo"})",
           R"({"jsCallId":"1","functionName":{"n":"echo"}})",
           R"([{"jsCallId":"1","functionName":"echo"}])",
           R"("echo")",
           "",
           "{not json",
           "null",
       }) {
    EXPECT_TRUE(Send(text).empty()) << text;
  }
  EXPECT_TRUE(handler.seen.empty());
}

TEST_F(EnvelopeTest, MissingParamsDispatchWithNullAndNullResultIsSentAsEmptyText) {
  auto replies = Send(R"({"functionName":"echo","jsCallId":"7"})");
  ASSERT_EQ(1u, replies.size());
  ASSERT_EQ(1u, handler.seen.size());
  EXPECT_TRUE(handler.seen[0].isNull());
  EXPECT_EQ("7", replies[0]["jsCallId"].asString());
  EXPECT_EQ(0, replies[0]["returnCode"].asInt());
  EXPECT_EQ(Json::Value(""), replies[0]["result"]);
}

TEST_F(EnvelopeTest, UnknownSilentEmptyAndFailingFunctionsSendNothing) {
  EXPECT_TRUE(Send(R"({"functionName":"Echo","jsCallId":"1"})").empty());  // case matters
  EXPECT_TRUE(Send(R"({"functionName":"silent","jsCallId":"1"})").empty());
  EXPECT_TRUE(Send(R"({"functionName":"empty","jsCallId":"1"})").empty());
  EXPECT_TRUE(Send(R"({"functionName":"throws","jsCallId":"1","params":{}})").empty());
}

TEST_F(EnvelopeTest, ReplyCarriesTheFunctionsCodeAndScalarIdentifiersAsText) {
  auto replies = Send(R"({"functionName":"code","jsCallId":12})");
  ASSERT_EQ(1u, replies.size());
  EXPECT_EQ(Json::Value("12"), replies[0]["jsCallId"]);
  EXPECT_EQ(7, replies[0]["returnCode"].asInt());
}

TEST_F(EnvelopeTest, NestingBeyondTheReadersLimitIsDroppedNotThrown) {
  const auto nested = [](int levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  const std::string call = R"({"functionName":"echo","jsCallId":"1","params":)";
  EXPECT_TRUE(Send(call + nested(5000) + "}").empty());
  // The reader takes 1000 levels in all, the call's own object included.
  EXPECT_TRUE(Send(call + nested(1000) + "}").empty());
  EXPECT_EQ(1u, Send(call + nested(999) + "}").size());
  // Brackets in strings and comments are not nesting.
  const std::string many(3000, '[');
  EXPECT_EQ(1u, Send(call + "\"" + many + "\" /* " + many + " */}").size());
  EXPECT_EQ(1u, Send(call + "1 // " + many + "\n}").size());
}

TEST(EnvelopeText, ReplyAndNotificationAreWrittenByTheDefaultStreamWriter) {
  AtriumJsRes res;
  res.jsCallId = "abc";
  res.result["zak"] = "t";
  EXPECT_EQ("{\n\t\"jsCallId\" : \"abc\",\n\t\"result\" : \n\t{\n\t\t\"zak\" : \"t\"\n\t},\n"
            "\t\"returnCode\" : 0\n}",
            BaseJsHandler::ResponseText(res));

  AtriumJsReq note;
  note.functionName = "onTabChanged";
  EXPECT_EQ("{\n\t\"jsCallId\" : \"\",\n\t\"result\" : \n\t{\n\t\t\"data\" : \"\",\n"
            "\t\t\"notification\" : \"onTabChanged\"\n\t},\n\t\"returnCode\" : 0\n}",
            BaseJsHandler::NotificationText(note));
}

TEST_F(EnvelopeTest, RepliesToAClosedOrUnknownViewAreDropped) {
  hostsim::CloseWebView(L"v");
  AtriumJsRes res;
  res.webViewId = L"v";
  handler.SendResponse(res);  // nothing to run it in, nothing to fail
  AtriumJsReq note;
  note.webViewId = L"gone";
  note.functionName = "x";
  handler.SendNotification(note);
  EXPECT_TRUE(hostsim::EventsOf("script").empty());
}

TEST_F(EnvelopeTest, TextOutsideTheBasicPlaneSurvivesTheRoundTrip) {
  auto replies = Send(u8R"({"functionName":"echo","jsCallId":"1","params":"a😀é"})");
  ASSERT_EQ(1u, replies.size());
  EXPECT_EQ(u8"a😀é", replies[0]["result"].asString());
}

}  // namespace
