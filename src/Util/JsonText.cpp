#include "Util/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

namespace tessel_atriumclient {
namespace JsonText {

bool Parse(const char* text, std::size_t length, Json::Value& out) {
  out = Json::Value();
  if (!text) return false;
  try {
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string errors;
    if (reader->parse(text, text + length, &out, &errors)) return true;
  } catch (...) {
  }
  out = Json::Value();
  return false;
}

std::string Compact(const Json::Value& value) {
  try {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    return Json::writeString(builder, value);
  } catch (...) {
    return std::string();
  }
}

}  // namespace JsonText
}  // namespace tessel_atriumclient
