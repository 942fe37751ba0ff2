// The room records' JSON form: exact member names, a faithful round trip,
// and readers that never take a member of the wrong type.
#include <gtest/gtest.h>

#include "KR/KRRoomInfo.h"

using namespace tessel_atriumclient;

namespace {

KRRoomInfo FilledRoom() {
  KRRoomInfo r;
  r.basic.roomName = L"Salle \u2615 \U0001F600";
  r.basic.roomJID = L"room-7@conference.example.test";
  r.basic.roomSharingKey = L"ABCDEF";
  r.basic.roomAESKey = L"k3y";
  r.basic.isForceKRUsingGCM = 1;
  r.basic.isKRSupportsGCM = -2;
  r.initInfo.status = 3;
  r.initInfo.feature_list.supports_join_meeting = 1;
  r.initInfo.feature_list.support_input_password = 7;
  r.initInfo.platform = L"room-os";
  r.meetingInfo.in_meeting = 1;
  r.meetingInfo.meeting_number = L"123 456 789";
  r.meetingInfo.my_userid = 16778240;
  r.meetingInfo.is_host_or_cohost = 1;
  r.account.is_pkr = 1;
  r.account.sharing_code = L"xy-12";
  r.account.room_phone_numbers = L"+1 555 0100, +1 555 0101";
  return r;
}

TEST(KRRoomInfo, WriterOutputReadsBackEqual) {
  const KRRoomInfo room = FilledRoom();
  Json::Value message(Json::objectValue);
  message["type"] = 10;
  WriteRoomInfo(room, message);
  KRRoomInfo back;
  ReadRoomInfo(message, back);
  EXPECT_TRUE(back == room);
  EXPECT_FALSE(KRRoomInfo() == room);

  KRPersonalRoom pkr;
  pkr.displayName = L"My room";
  pkr.isOnline = 1;
  KRPersonalRoom pkrBack;
  FromJson(ToJson(pkr), pkrBack);
  EXPECT_TRUE(pkrBack == pkr);
}

TEST(KRRoomInfo, WritersGiveEveryMemberUnderItsExactName) {
  const Json::Value init = ToJson(KRRoomInitInfo());
  const Json::Value& features = init["feature_list"];
  ASSERT_TRUE(features.isObject());
  EXPECT_EQ(9u, features.size());
  for (const char* name : {"supports_join_meeting", "supports_open_apps", "supports_open_apps_option",
                           "supports_keep_pair_after_meeting",
                           "supports_client_notify_kr_leave_meeting", "support_enc_for_direct_share",
                           "support_tessel_event", "support_paired_whiteboard",
                           "support_input_password"})
    EXPECT_TRUE(features[name].isInt()) << name;
  EXPECT_EQ(11u, ToJson(KRRoomBasic()).size());
  EXPECT_EQ(11u, ToJson(KRRoomMeetingInfo()).size());
  EXPECT_EQ(11u, ToJson(KRRoomAccount()).size());
  const Json::Value basic = ToJson(FilledRoom().basic);
  EXPECT_EQ(u8"Salle \u2615 \U0001F600", basic["roomName"].asString());
  EXPECT_TRUE(ToJson(KRPersonalRoom())["isOnline"].isInt());
}

TEST(KRRoomInfo, ReadersKeepFieldsForAbsentOrMistypedMembers) {
  KRRoomInfo room = FilledRoom();
  const KRRoomInfo before = room;
  Json::Value message(Json::objectValue);
  message["basic"]["roomName"] = 5;                 // a number for a text
  message["basic"]["isKRSupportsGCM"] = "1";        // a text for a number
  message["initInfo"]["feature_list"] = Json::Value(Json::arrayValue);
  message["meetingInfo"]["in_meeting"] = "1";
  message["meetingInfo"]["my_userid"] = 1.5;
  message["account"]["is_pkr"] = true;
  ReadRoomInfo(message, room);
  EXPECT_TRUE(room == before);

  // Not objects at all: nothing changes, nothing throws.
  for (const Json::Value& odd : {Json::Value(Json::arrayValue), Json::Value("x"), Json::Value(3)}) {
    ReadRoomInfo(odd, room);
    FromJson(odd, room.basic);
    FromJson(odd, room.initInfo);
    Json::Value wrapped(Json::objectValue);
    wrapped["basic"] = odd;
    wrapped["initInfo"] = odd;
    wrapped["meetingInfo"] = odd;
    wrapped["account"] = odd;
    ReadRoomInfo(wrapped, room);
  }
  EXPECT_TRUE(room == before);

  // A present member of the right type does change its field, and only it.
  message = Json::Value(Json::objectValue);
  message["initInfo"]["feature_list"]["support_tessel_event"] = 1;
  message["meetingInfo"]["meeting_title"] = "Weekly";
  ReadRoomInfo(message, room);
  EXPECT_EQ(1, room.initInfo.feature_list.support_tessel_event);
  EXPECT_EQ(7, room.initInfo.feature_list.support_input_password);
  EXPECT_EQ(L"Weekly", room.meetingInfo.meeting_title);
  EXPECT_EQ(L"123 456 789", room.meetingInfo.meeting_number);
}

}  // namespace
