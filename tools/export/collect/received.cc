// Parses the exporter's JSON into a record, and owns the texts that the record refers to.
#include "tools/export/collect/received.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>
#include <vector>

namespace exporter::collect {

namespace {

using Json = nlohmann::ordered_json;

Kind kind_of(const std::string& name) {
  for (const Kind kind : {Kind::kEntry, Kind::kGap, Kind::kRedaction, Kind::kHead}) {
    if (name == name_of(kind)) {
      return kind;
    }
  }
  throw std::runtime_error("'" + name + "' is no kind of record");
}

std::string_view text_in(const Json& json, const char* key) {
  return json.at(key).get_ref<const std::string&>();
}

Value value_of(const Json& json) {
  if (json.is_number_integer()) {
    return json.get<std::int64_t>();
  }
  if (json.is_string()) {
    return std::string_view(json.get_ref<const std::string&>());
  }
  if (json.is_null()) {
    return std::monostate();
  }
  throw std::runtime_error("a field is neither a number nor a text");
}

}  // namespace

struct Received::Content {
  // NOLINTNEXTLINE(bugprone-exception-escape): it takes the JSON library's own assertions for exceptions
  Content() = default;
  ~Content() = default;
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  Json json;  // has the texts
  Stream stream;
  std::vector<Field> fields;
  std::string head;
  Record record;
};

Received::Received(std::string_view text) : content_(std::make_unique<Content>()) {
  try {
    Json& json = content_->json = Json::parse(text);
    content_->stream = {.appliance = json.at("appliance").get<std::string>(),
                        .log = json.at("log").get<std::string>(),
                        .generation = json.at("generation").get<std::int64_t>()};
    Record& record = content_->record;
    record.kind = kind_of(json.at("kind").get<std::string>());
    record.id = json.at("id").get<std::int64_t>();
    record.date = text_in(json, "date");
    record.time = text_in(json, "time");
    if (!json.at("timestamp").is_null()) {
      record.seconds = json.at("timestamp").get<std::int64_t>();
    }
    if (record.kind == Kind::kGap) {
      record.count = json.at("count").get<std::int64_t>();
      return;
    }
    if (record.kind == Kind::kHead) {
      record.chain = text_in(json.at("head"), "chain");
      record.head = content_->head = json.at("head").dump();
      return;
    }
    record.level = text_in(json, "level");
    record.severity = json.at("severity").get<int>();
    record.message = text_in(json, "message");
    for (const auto& [name, value] : json.at("fields").items()) {
      content_->fields.push_back({name, value_of(value)});
    }
    record.fields = content_->fields;
  } catch (const Json::exception& failure) {
    throw std::runtime_error(failure.what());
  }
}

Received::~Received() = default;
Received::Received(Received&& other) noexcept = default;
Received& Received::operator=(Received&& other) noexcept = default;

const Stream& Received::stream() const {
  return content_->stream;
}

const Record& Received::record() const {
  return content_->record;
}

}  // namespace exporter::collect
