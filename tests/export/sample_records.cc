// Builds entries of each of the four logs, column by column, and gaps; owns the texts that they refer to.
#include "tests/export/sample_records.h"

#include <fmt/format.h>

#include <utility>

namespace exporter::testing {

namespace {

constexpr std::int64_t kMoment = 1795255200;  // 2026-11-21 10:00:00 in universal time
constexpr int kWarning = 4;

std::vector<Field> event_fields(std::int64_t id, std::string_view message) {
  return {{"event_id", id},
          {"event_type", 1},
          {"event_date", "2026-11-21"},
          {"event_time", "10:00:00"},
          {"event_user", "admin"},
          {"event_ip", "192.0.2.1"},
          {"event_comp", "desk"},
          {"event_desc", message},
          {"event_msgid", "0"},
          {"event_timet", kMoment},
          {"event_app_id", "A1"},
          {"event_app_name", "Storage"},
          {"event_category_id", "C1"},
          {"event_category", "Volumes"},
          {"event_client_id", "---"},
          {"event_client_app", "---"},
          {"event_client_agent", "---"}};
}

std::vector<Field> conn_fields(std::int64_t id, std::string_view message) {
  return {{"conn_id", id},           {"conn_type", 1},           {"conn_date", "2026-11-21"}, {"conn_time", "10:00:00"},
          {"conn_user", "admin"},    {"conn_ip", "192.0.2.1"},   {"conn_comp", "desk"},       {"conn_res", message},
          {"conn_serv", 3},          {"conn_action", 10},        {"conn_app", "Files"},       {"conn_action_result", 0},
          {"conn_client_id", "---"}, {"conn_client_app", "---"}, {"conn_client_agent", "---"}};
}

std::vector<Field> fileop_fields(std::int64_t id, std::string_view message) {
  return {{"event_id", id},
          {"event_type", 1},
          {"event_date", "2026-11-21"},
          {"event_time", "10:00:00"},
          {"event_user", "admin"},
          {"event_ip", "192.0.2.1"},
          {"event_oldfilepath", ""},
          {"event_filepath", message},
          {"event_isFolder", 0},
          {"event_action", 2},
          {"event_filesize", 4096},
          {"event_comp", "desk"},
          {"event_duid", "D1"},
          {"event_desc", ""},
          {"sub_user", ""},
          {"pid", 0}};
}

std::vector<Field> notice_fields(std::int64_t id, std::string_view message) {
  return {{"id", id},          {"severity", 4},   {"server", 0},    {"action", 0},     {"serviceName", "Storage"},
          {"facility", 10},    {"time", kMoment}, {"endtime", 0},   {"user", "admin"}, {"ip", "192.0.2.1"},
          {"client", "desk"},  {"desc", message}, {"msgCode", "0"}, {"varNum", 0},     {"varContent", ""},
          {"name", ""},        {"status", 0},     {"uid", 0},       {"gid", 0},        {"link_id", ""},
          {"link_option", ""}, {"title", ""}};
}

std::vector<Field> fields_of(std::string_view log, std::int64_t id, std::string_view message) {
  if (log == "conn") {
    return conn_fields(id, message);
  }
  if (log == "fileop") {
    return fileop_fields(id, message);
  }
  if (log == "notice") {
    return notice_fields(id, message);
  }
  return event_fields(id, message);
}

}  // namespace

Sample::Sample(std::string_view log) : stream{.appliance = kAppliance, .log = std::string(log), .generation = 1} {}

std::string_view Sample::keep(std::string text) {
  return texts_.emplace_back(std::move(text));
}

Record& Sample::add(std::int64_t id, std::string_view message) {
  const std::string_view kept =
      keep(message.empty() ? fmt::format("Volume {} is nearly full.", id) : std::string(message));
  const std::vector<Field>& fields = fields_.emplace_back(fields_of(stream.log, id, kept));
  return records.emplace_back(Record{.kind = Kind::kEntry,
                                     .id = id,
                                     .count = 1,
                                     .date = "2026-11-21",
                                     .time = "10:00:00",
                                     .seconds = kMoment,
                                     .level = "warning",
                                     .severity = kWarning,
                                     .message = kept,
                                     .fields = fields});
}

Record& Sample::add_gap(std::int64_t first, std::int64_t count) {
  fields_.emplace_back();
  return records.emplace_back(Record{.kind = Kind::kGap,
                                     .id = first,
                                     .count = count,
                                     .date = "2026-11-21",
                                     .time = "10:00:00",
                                     .seconds = kMoment,
                                     .level = {},
                                     .severity = kWarning,
                                     .message = {},
                                     .fields = {}});
}

Record& Sample::add_head(std::int64_t number) {
  fields_.emplace_back();
  Record& head = records.emplace_back(Record{.kind = Kind::kHead, .id = number});
  head.date = "2026-11-21";
  head.time = "10:00:00";
  head.seconds = kMoment;
  head.chain = "00112233445566778899aabbccddeeff";
  head.head = keep(
      fmt::format(R"({{"log":"{}","chain":"{}","sequence":{},"sealed":{}}})", stream.log, head.chain, number, kMoment));
  return head;
}

void Sample::set(std::string_view column, Value value) {
  if (const auto* const text = std::get_if<std::string_view>(&value)) {
    value = keep(std::string(*text));
  }
  for (Field& field : fields_.back()) {
    if (field.name == column) {
      field.value = value;
      return;
    }
  }
  fields_.back().push_back({keep(std::string(column)), value});
  records.back().fields = fields_.back();
}

Sample sample_of(std::int64_t count) {
  Sample sample;
  for (std::int64_t id = 1; id <= count; ++id) {
    sample.add(id);
  }
  return sample;
}

}  // namespace exporter::testing
