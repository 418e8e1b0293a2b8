// Formats a record's key and its JSON.
#include "tools/export/record.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace exporter {

namespace {

using Json = nlohmann::ordered_json;

Json json_value(const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) {
    return *number;
  }
  if (const auto* const text = std::get_if<std::string_view>(&value)) {
    return *text;
  }
  return nullptr;
}

}  // namespace

std::string_view name_of(Kind kind) {
  switch (kind) {
    case Kind::kGap:
      return "gap";
    case Kind::kRedaction:
      return "redaction";
    case Kind::kHead:
      return "head";
    default:
      return "entry";
  }
}

std::string key_of(const Stream& stream, const Record& record) {
  const std::string from = fmt::format("{}/{}/{}", stream.appliance, stream.log, stream.generation);
  switch (record.kind) {
    case Kind::kGap:
      return fmt::format("{}/gap/{}+{}", from, record.id, record.count);
    case Kind::kRedaction:
      return fmt::format("{}/redaction/{}", from, record.id);
    case Kind::kHead:
      return fmt::format("{}/head/{}/{}", from, record.chain, record.id);
    default:
      return fmt::format("{}/{}", from, record.id);
  }
}

std::string json_of(const Stream& stream, const Record& record) {
  Json json = Json::object();
  json["appliance"] = stream.appliance;
  json["log"] = stream.log;
  json["generation"] = stream.generation;
  json["kind"] = name_of(record.kind);
  json["id"] = record.id;
  if (record.kind == Kind::kGap) {
    json["count"] = record.count;
  }
  json["date"] = record.date;
  json["time"] = record.time;
  json["timestamp"] = record.seconds ? Json(*record.seconds) : Json(nullptr);
  if (record.kind == Kind::kHead) {
    json["head"] = Json::parse(record.head);
  }
  if (has_row(record.kind)) {
    json["level"] = record.level;
    json["severity"] = record.severity;
    json["message"] = record.message;
    Json& fields = json["fields"] = Json::object();
    for (const Field& field : record.fields) {
      fields[std::string(field.name)] = json_value(field.value);
    }
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string text_of(const Stream& stream, const Record& record) {
  switch (record.kind) {
    case Kind::kGap:
      return fmt::format("{} entries of the {} log, from {} on, were deleted before they were sent.", record.count,
                         stream.log, record.id);
    case Kind::kHead:
      return fmt::format("The {} log was sealed: head {} of the chain {}.", stream.log, record.id, record.chain);
    default:
      return std::string(record.message);
  }
}

}  // namespace exporter
