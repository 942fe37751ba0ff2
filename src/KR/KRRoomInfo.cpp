#include "KR/KRRoomInfo.h"


namespace tessel_atriumclient {
namespace {

// One member of a record: its JSON name and either a text or a number field.
template <class T>
struct Member {
  const char* name;
  Kit::CStringW T::*text;
  int32_t T::*number;
};

template <class T>
constexpr Member<T> Text(const char* name, Kit::CStringW T::*field) {
  return {name, field, nullptr};
}
template <class T>
constexpr Member<T> Number(const char* name, int32_t T::*field) {
  return {name, nullptr, field};
}

template <class T, std::size_t N>
Json::Value Write(const T& r, const Member<T> (&members)[N]) {
  Json::Value out(Json::objectValue);
  for (const auto& m : members) {
    if (m.text)
      out[m.name] = Json::Value(Kit::kit_str_convert::WideToUtf8(r.*m.text));
    else
      out[m.name] = r.*m.number;
  }
  return out;
}

template <class T, std::size_t N>
void Read(const Json::Value& v, T& r, const Member<T> (&members)[N]) {
  if (!v.isObject()) return;  // members of anything else are never present
  for (const auto& m : members) {
    const Json::Value* member = v.find(m.name, m.name + std::char_traits<char>::length(m.name));
    if (!member) continue;
    if (m.text && member->isString())
      r.*m.text = Kit::kit_str_convert::Utf8ToWide(member->asString());
    else if (m.number && member->isInt())
      r.*m.number = member->asInt();
  }
}

const Member<KRRoomBasic> kBasic[] = {
    Text("roomName", &KRRoomBasic::roomName),
    Text("roomLogicEmail", &KRRoomBasic::roomLogicEmail),
    Text("roomSharingKey", &KRRoomBasic::roomSharingKey),
    Text("roomJID", &KRRoomBasic::roomJID),
    Text("roomAddress", &KRRoomBasic::roomAddress),
    Text("roomToken", &KRRoomBasic::roomToken),
    Text("roomLimitedToken", &KRRoomBasic::roomLimitedToken),
    Text("roomNWSToken", &KRRoomBasic::roomNWSToken),
    Text("roomAESKey", &KRRoomBasic::roomAESKey),
    Number("isForceKRUsingGCM", &KRRoomBasic::isForceKRUsingGCM),
    Number("isKRSupportsGCM", &KRRoomBasic::isKRSupportsGCM),
};

const Member<KRFeatureList> kFeatures[] = {
    Number("supports_join_meeting", &KRFeatureList::supports_join_meeting),
    Number("supports_open_apps", &KRFeatureList::supports_open_apps),
    Number("supports_open_apps_option", &KRFeatureList::supports_open_apps_option),
    Number("supports_keep_pair_after_meeting", &KRFeatureList::supports_keep_pair_after_meeting),
    Number("supports_client_notify_kr_leave_meeting",
           &KRFeatureList::supports_client_notify_kr_leave_meeting),
    Number("support_enc_for_direct_share", &KRFeatureList::support_enc_for_direct_share),
    Number("support_tessel_event", &KRFeatureList::support_tessel_event),
    Number("support_paired_whiteboard", &KRFeatureList::support_paired_whiteboard),
    Number("support_input_password", &KRFeatureList::support_input_password),
};

const Member<KRRoomInitInfo> kInit[] = {
    Number("status", &KRRoomInitInfo::status),
    Text("email", &KRRoomInitInfo::email),
    Text("room_version", &KRRoomInitInfo::room_version),
    Text("platform", &KRRoomInitInfo::platform),
    Text("kr_device_id", &KRRoomInitInfo::kr_device_id),
};

const Member<KRRoomMeetingInfo> kMeeting[] = {
    Number("in_meeting", &KRRoomMeetingInfo::in_meeting),
    Text("meeting_id", &KRRoomMeetingInfo::meeting_id),
    Text("meeting_number", &KRRoomMeetingInfo::meeting_number),
    Number("my_userid", &KRRoomMeetingInfo::my_userid),
    Number("participant_id", &KRRoomMeetingInfo::participant_id),
    Text("authorizer_id", &KRRoomMeetingInfo::authorizer_id),
    Text("my_user_guid", &KRRoomMeetingInfo::my_user_guid),
    Text("meeting_password", &KRRoomMeetingInfo::meeting_password),
    Text("original_meeting_number", &KRRoomMeetingInfo::original_meeting_number),
    Text("meeting_title", &KRRoomMeetingInfo::meeting_title),
    Number("is_host_or_cohost", &KRRoomMeetingInfo::is_host_or_cohost),
};

const Member<KRRoomAccount> kAccount[] = {
    Number("is_valid", &KRRoomAccount::is_valid),
    Text("sharing_code", &KRRoomAccount::sharing_code),
    Text("room_account_id", &KRRoomAccount::room_account_id),
    Text("room_handoff_jid", &KRRoomAccount::room_handoff_jid),
    Text("room_extension_number", &KRRoomAccount::room_extension_number),
    Text("room_phone_numbers", &KRRoomAccount::room_phone_numbers),
    Text("domain", &KRRoomAccount::domain),
    Text("resource_id", &KRRoomAccount::resource_id),
    Number("is_pkr", &KRRoomAccount::is_pkr),
    Text("room_user_id", &KRRoomAccount::room_user_id),
    Text("room_logic_email", &KRRoomAccount::room_logic_email),
};

const Member<KRPersonalRoom> kPersonalRoom[] = {
    Text("name", &KRPersonalRoom::name),
    Text("displayName", &KRPersonalRoom::displayName),
    Text("roomJID", &KRPersonalRoom::roomJID),
    Text("deviceID", &KRPersonalRoom::deviceID),
    Text("resourceID", &KRPersonalRoom::resourceID),
    Number("isOnline", &KRPersonalRoom::isOnline),
};

template <class T, std::size_t N>
bool Equal(const T& a, const T& b, const Member<T> (&members)[N]) {
  for (const auto& m : members) {
    if (m.text ? !(a.*m.text == b.*m.text) : a.*m.number != b.*m.number) return false;
  }
  return true;
}

}  // namespace

Json::Value ToJson(const KRRoomBasic& r) { return Write(r, kBasic); }
Json::Value ToJson(const KRFeatureList& r) { return Write(r, kFeatures); }
Json::Value ToJson(const KRRoomMeetingInfo& r) { return Write(r, kMeeting); }
Json::Value ToJson(const KRRoomAccount& r) { return Write(r, kAccount); }
Json::Value ToJson(const KRPersonalRoom& r) { return Write(r, kPersonalRoom); }

Json::Value ToJson(const KRRoomInitInfo& r) {
  Json::Value out = Write(r, kInit);
  out["feature_list"] = ToJson(r.feature_list);
  return out;
}

void FromJson(const Json::Value& v, KRRoomBasic& r) { Read(v, r, kBasic); }
void FromJson(const Json::Value& v, KRFeatureList& r) { Read(v, r, kFeatures); }
void FromJson(const Json::Value& v, KRRoomMeetingInfo& r) { Read(v, r, kMeeting); }
void FromJson(const Json::Value& v, KRRoomAccount& r) { Read(v, r, kAccount); }
void FromJson(const Json::Value& v, KRPersonalRoom& r) { Read(v, r, kPersonalRoom); }

void FromJson(const Json::Value& v, KRRoomInitInfo& r) {
  static constexpr char kFeatureList[] = "feature_list";
  if (!v.isObject()) return;
  Read(v, r, kInit);
  const Json::Value* features = v.find(kFeatureList, kFeatureList + sizeof(kFeatureList) - 1);
  if (features && features->isObject()) FromJson(*features, r.feature_list);
}

void WriteRoomInfo(const KRRoomInfo& r, Json::Value& out) {
  out["basic"] = ToJson(r.basic);
  out["initInfo"] = ToJson(r.initInfo);
  out["meetingInfo"] = ToJson(r.meetingInfo);
  out["account"] = ToJson(r.account);
}

void ReadRoomInfo(const Json::Value& v, KRRoomInfo& r) {
  if (!v.isObject()) return;
  FromJson(v["basic"], r.basic);
  FromJson(v["initInfo"], r.initInfo);
  FromJson(v["meetingInfo"], r.meetingInfo);
  FromJson(v["account"], r.account);
}

bool operator==(const KRRoomBasic& a, const KRRoomBasic& o) { return Equal(a, o, kBasic); }
bool operator==(const KRFeatureList& a, const KRFeatureList& o) { return Equal(a, o, kFeatures); }
bool operator==(const KRRoomInitInfo& a, const KRRoomInitInfo& o) {
  return Equal(a, o, kInit) && a.feature_list == o.feature_list;
}
bool operator==(const KRRoomMeetingInfo& a, const KRRoomMeetingInfo& o) {
  return Equal(a, o, kMeeting);
}
bool operator==(const KRRoomAccount& a, const KRRoomAccount& o) { return Equal(a, o, kAccount); }
bool operator==(const KRRoomInfo& a, const KRRoomInfo& o) {
  return a.basic == o.basic && a.initInfo == o.initInfo && a.meetingInfo == o.meetingInfo &&
         a.account == o.account;
}
bool operator==(const KRPersonalRoom& a, const KRPersonalRoom& o) {
  return Equal(a, o, kPersonalRoom);
}

}  // namespace tessel_atriumclient
