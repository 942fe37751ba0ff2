// What the system knows about the paired room, and its JSON form. The same
// member names travel between the main-application half and the meeting
// half, so writer and reader use exactly these names.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "KRRoomRecords.h"

namespace tessel_atriumclient {

// Field-by-field equality.
bool operator==(const KRRoomBasic& a, const KRRoomBasic& b);
bool operator==(const KRFeatureList& a, const KRFeatureList& b);
bool operator==(const KRRoomInitInfo& a, const KRRoomInitInfo& b);
bool operator==(const KRRoomMeetingInfo& a, const KRRoomMeetingInfo& b);
bool operator==(const KRRoomAccount& a, const KRRoomAccount& b);
bool operator==(const KRRoomInfo& a, const KRRoomInfo& b);
bool operator==(const KRPersonalRoom& a, const KRPersonalRoom& b);

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
