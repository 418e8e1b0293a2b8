// Builds the JSON of a request, and reads the rejected count and the error message from an answer.
#include "tools/export/sinks/otlp_request.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "tools/annalctl/base/printable.h"

namespace exporter::sinks {

namespace {

using Json = nlohmann::ordered_json;

// Numbers of 64 bits are texts in the protocol's JSON, because JavaScript's numbers cannot hold them.
Json number_value(std::int64_t number) {
  return {{"intValue", std::to_string(number)}};
}

Json text_value(std::string_view text) {
  return {{"stringValue", text}};
}

Json attribute(std::string key, Json value) {
  Json pair = Json::object();
  pair["key"] = std::move(key);
  pair["value"] = std::move(value);
  return pair;
}

Json attributes_of(const Stream& stream, const Record& record) {
  Json attributes = Json::array();
  attributes.push_back(attribute("log.record.uid", text_value(key_of(stream, record))));
  attributes.push_back(attribute("annal.log", text_value(stream.log)));
  attributes.push_back(attribute("annal.generation", number_value(stream.generation)));
  attributes.push_back(attribute("annal.kind", text_value(name_of(record.kind))));
  attributes.push_back(attribute("annal.id", number_value(record.id)));
  if (record.kind == Kind::kGap) {
    attributes.push_back(attribute("annal.count", number_value(record.count)));
  }
  if (record.kind == Kind::kHead) {
    attributes.push_back(attribute("annal.head", text_value(record.head)));
  }
  for (const Field& field : record.fields) {
    std::string key = fmt::format("annal.{}.{}", stream.log, field.name);
    if (const auto* const number = std::get_if<std::int64_t>(&field.value)) {
      attributes.push_back(attribute(std::move(key), number_value(*number)));
    } else if (const auto* const text = std::get_if<std::string_view>(&field.value)) {
      attributes.push_back(attribute(std::move(key), text_value(*text)));
    }
  }
  return attributes;
}

Json log_record(const Stream& stream, const Record& record, std::int64_t observed) {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max() / kNanoseconds;
  Json json = Json::object();
  // Without this one the receiver goes by when it was observed.
  if (record.seconds && *record.seconds > 0 && *record.seconds < kLast) {
    json["timeUnixNano"] = std::to_string(*record.seconds * kNanoseconds);
  }
  json["observedTimeUnixNano"] = std::to_string(observed);
  const bool gap = record.kind == Kind::kGap;
  constexpr int kWarning = 4;
  json["severityNumber"] = otlp_severity(gap ? kWarning : record.severity);
  json["severityText"] = gap                          ? std::string_view("warning")
                         : record.kind == Kind::kHead ? std::string_view("information")
                                                      : record.level;
  json["body"] = text_value(text_of(stream, record));
  json["attributes"] = attributes_of(stream, record);
  return json;
}

// A number that may come as a text.
std::uint64_t count_in(const Json& value) {
  if (value.is_number_unsigned()) {
    return value.get<std::uint64_t>();
  }
  if (!value.is_string()) {
    return 0;
  }
  const auto& text = value.get_ref<const std::string&>();
  std::uint64_t count = 0;
  for (const char c : text) {
    if (!annalctl::is_digit(c)) {
      return 0;
    }
    constexpr std::uint64_t kDecimal = 10;
    count = std::min<std::uint64_t>(count * kDecimal + static_cast<std::uint64_t>(c - '0'), INT64_MAX / kDecimal);
  }
  return count;
}

Json parsed(std::string_view body) {
  return Json::parse(body, nullptr, false);
}

}  // namespace

int otlp_severity(int severity) {
  constexpr std::array<int, 8> kNumbers{21, 19, 18, 17, 13, 10, 9, 5};
  return kNumbers.at(static_cast<std::size_t>(std::clamp(severity, 0, static_cast<int>(kNumbers.size()) - 1)));
}

std::string otlp_request(const OtlpResource& resource, const Stream& stream, std::span<const Record> records,
                         std::int64_t observed) {
  Json logs = Json::array();
  for (const Record& record : records) {
    logs.push_back(log_record(stream, record, observed));
  }
  Json scope_logs = Json::object();
  scope_logs["scope"] = {{"name", "annal." + stream.log}, {"version", resource.version}};
  scope_logs["logRecords"] = std::move(logs);
  Json resource_logs = Json::object();
  resource_logs["resource"]["attributes"] =
      Json::array({attribute("service.name", text_value(resource.service)),
                   attribute("service.instance.id", text_value(stream.appliance)),
                   attribute("host.id", text_value(stream.appliance)),
                   attribute("host.name", text_value(resource.host)), attribute("os.type", text_value("linux"))});
  resource_logs["scopeLogs"] = Json::array({std::move(scope_logs)});
  Json request = Json::object();
  request["resourceLogs"] = Json::array({std::move(resource_logs)});
  return request.dump(-1, ' ', false, Json::error_handler_t::replace);
}

PartialSuccess read_partial_success(std::string_view body) {
  const Json json = parsed(body);
  const auto partial = json.is_object() ? json.find("partialSuccess") : json.end();
  if (!json.is_object() || partial == json.end() || !partial->is_object()) {
    return {};
  }
  PartialSuccess result;
  if (const auto rejected = partial->find("rejectedLogRecords"); rejected != partial->end()) {
    result.rejected = count_in(*rejected);
  }
  if (const auto message = partial->find("errorMessage"); message != partial->end() && message->is_string()) {
    result.message = annalctl::printable(message->get<std::string>());
  }
  return result;
}

std::string failure_message(std::string_view body) {
  constexpr std::size_t kMost = 200;
  const Json json = parsed(body);
  if (json.is_object()) {
    if (const auto message = json.find("message"); message != json.end() && message->is_string()) {
      return annalctl::printable(message->get<std::string>().substr(0, kMost));
    }
  }
  return annalctl::printable(body.substr(0, kMost));
}

}  // namespace exporter::sinks
