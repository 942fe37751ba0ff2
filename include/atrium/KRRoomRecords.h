// The room information record, its four sub-records and the personal-room
// entry: everything the plug-in knows about the paired room and the user's
// personal rooms, as a host receives it from the room service.
#pragma once

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
};

struct KRRoomInitInfo {
  int32_t status = 0;
  KRFeatureList feature_list;
  Kit::CStringW email;
  Kit::CStringW room_version;
  Kit::CStringW platform;
  Kit::CStringW kr_device_id;
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
};

struct KRRoomInfo {
  KRRoomBasic basic;
  KRRoomInitInfo initInfo;
  KRRoomMeetingInfo meetingInfo;
  KRRoomAccount account;
};

// One room of the user's personal-room list.
struct KRPersonalRoom {
  Kit::CStringW name;
  Kit::CStringW displayName;
  Kit::CStringW roomJID;
  Kit::CStringW deviceID;
  Kit::CStringW resourceID;
  int32_t isOnline = 0;
};

}  // namespace tessel_atriumclient
