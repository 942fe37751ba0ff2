// What the system knows about the paired room, and its JSON form. The same
// member names travel between the main-application half and the meeting
// half, so writer and reader use exactly these names.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "Kit/CStringT.h"

namespace tessel_atriumclient {

struct KRRoomBasic {
  Kit::CStringW roomName;
  Kit::CStringW roomLogicEmail;
  Kit::CStringW roomSharingKey;
  Kit::CStringW roomJID;  // empty: no room
  Kit::CStringW roomAddress;
  Kit::CStringW roomToken;
  Kit::CStringW roomLimitedToken;
  Kit::CStringW roomNWSToken;
  Kit::CStringW roomAESKey;
  int32_t isForceKRUsingGCM = 0;
  int32_t isKRSupportsGCM = 0;
  bool operator==(const KRRoomBasic& o) const;
};

// What the room supports; each flag nonzero when supported.
struct KRFeatureList {
  int32_t supports_join_meeting = 0;
  int32_t supports_open_apps = 0;
  int32_t supports_open_apps_option = 0;
  int32_t supports_keep_pair_after_meeting = 0;
  int32_t supports_client_notify_kr_leave_meeting = 0;
  int32_t support_enc_for_direct_share = 0;
  int32_t support_tessel_event = 0;
  int32_t support_paired_whiteboard = 0;
  int32_t support_input_password = 0;
  bool operator==(const KRFeatureList& o) const;
};

struct KRRoomInitInfo {
  int32_t status = 0;
  KRFeatureList feature_list;
  Kit::CStringW email;
  Kit::CStringW room_version;
  Kit::CStringW platform;
  Kit::CStringW kr_device_id;
  bool operator==(const KRRoomInitInfo& o) const;
};

struct KRRoomMeetingInfo {
  int32_t in_meeting = 0;
  Kit::CStringW meeting_id;
  Kit::CStringW meeting_number;
  int32_t my_userid = 0;
  int32_t participant_id = 0;
  Kit::CStringW authorizer_id;
  Kit::CStringW my_user_guid;
  Kit::CStringW meeting_password;
  Kit::CStringW original_meeting_number;
  Kit::CStringW meeting_title;
  int32_t is_host_or_cohost = 0;
  bool operator==(const KRRoomMeetingInfo& o) const;
};

struct KRRoomAccount {
  int32_t is_valid = 0;
  Kit::CStringW sharing_code;
  Kit::CStringW room_account_id;
  Kit::CStringW room_handoff_jid;
  Kit::CStringW room_extension_number;
  Kit::CStringW room_phone_numbers;
  Kit::CStringW domain;
  Kit::CStringW resource_id;
  int32_t is_pkr = 0;
  Kit::CStringW room_user_id;
  Kit::CStringW room_logic_email;
  bool operator==(const KRRoomAccount& o) const;
};

struct KRRoomInfo {
  KRRoomBasic basic;
  KRRoomInitInfo initInfo;
  KRRoomMeetingInfo meetingInfo;
  KRRoomAccount account;
  bool operator==(const KRRoomInfo& o) const;
};

// One room of the user's personal-room list.
struct KRPersonalRoom {
  Kit::CStringW name;
  Kit::CStringW displayName;
  Kit::CStringW roomJID;
  Kit::CStringW deviceID;
  Kit::CStringW resourceID;
  int32_t isOnline = 0;
  bool operator==(const KRPersonalRoom& o) const;
};

// Writers give every member, always; strings as UTF-8. Readers copy a member
// only when it is present and of its JSON type; every other field keeps its
// value. The basic and init readers change nothing unless given an object,
// and "feature_list" is read only when it is an object.
Json::Value ToJson(const KRRoomBasic& r);
Json::Value ToJson(const KRFeatureList& r);
Json::Value ToJson(const KRRoomInitInfo& r);
Json::Value ToJson(const KRRoomMeetingInfo& r);
Json::Value ToJson(const KRRoomAccount& r);
Json::Value ToJson(const KRPersonalRoom& r);
void FromJson(const Json::Value& v, KRRoomBasic& r);
void FromJson(const Json::Value& v, KRFeatureList& r);
void FromJson(const Json::Value& v, KRRoomInitInfo& r);
void FromJson(const Json::Value& v, KRRoomMeetingInfo& r);
void FromJson(const Json::Value& v, KRRoomAccount& r);
void FromJson(const Json::Value& v, KRPersonalRoom& r);

// The four sub-records under "basic", "initInfo", "meetingInfo", "account".
void WriteRoomInfo(const KRRoomInfo& r, Json::Value& out);
void ReadRoomInfo(const Json::Value& v, KRRoomInfo& r);

}  // namespace tessel_atriumclient
