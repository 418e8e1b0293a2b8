// Lists each log's columns, builds the COPY and INSERT statements from them and formats records as COPY's lines.
#include "tools/export/database/tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <variant>

namespace exporter::database {

namespace {

constexpr bool kNumber = true;
constexpr bool kText = false;

constexpr std::array kEventColumns{
    Column{"event_type", "event_type", kNumber},
    Column{"event_date", "event_date", kText},
    Column{"event_time", "event_time", kText},
    Column{"event_user", "event_user", kText},
    Column{"event_ip", "event_ip", kText},
    Column{"event_comp", "event_comp", kText},
    Column{"event_desc", "event_desc", kText},
    Column{"event_msgid", "event_msgid", kText},
    Column{"event_timet", "event_timet", kNumber},
    Column{"event_app_id", "event_app_id", kText},
    Column{"event_app_name", "event_app_name", kText},
    Column{"event_category_id", "event_category_id", kText},
    Column{"event_category", "event_category", kText},
    Column{"event_client_id", "event_client_id", kText},
    Column{"event_client_app", "event_client_app", kText},
    Column{"event_client_agent", "event_client_agent", kText},
};

constexpr std::array kConnColumns{
    Column{"conn_type", "conn_type", kNumber},
    Column{"conn_date", "conn_date", kText},
    Column{"conn_time", "conn_time", kText},
    Column{"conn_user", "conn_user", kText},
    Column{"conn_ip", "conn_ip", kText},
    Column{"conn_comp", "conn_comp", kText},
    Column{"conn_res", "conn_res", kText},
    Column{"conn_serv", "conn_serv", kNumber},
    Column{"conn_action", "conn_action", kNumber},
    Column{"conn_app", "conn_app", kText},
    Column{"conn_action_result", "conn_action_result", kNumber},
    Column{"conn_client_id", "conn_client_id", kText},
    Column{"conn_client_app", "conn_client_app", kText},
    Column{"conn_client_agent", "conn_client_agent", kText},
};

constexpr std::array kFileopColumns{
    Column{"event_type", "event_type", kNumber},
    Column{"event_date", "event_date", kText},
    Column{"event_time", "event_time", kText},
    Column{"event_user", "event_user", kText},
    Column{"event_ip", "event_ip", kText},
    Column{"event_oldfilepath", "event_oldfilepath", kText},
    Column{"event_filepath", "event_filepath", kText},
    Column{"event_isFolder", "event_isfolder", kNumber},
    Column{"event_action", "event_action", kNumber},
    Column{"event_filesize", "event_filesize", kNumber},
    Column{"event_comp", "event_comp", kText},
    Column{"event_duid", "event_duid", kText},
    Column{"event_desc", "event_desc", kText},
    Column{"sub_user", "sub_user", kText},
    Column{"pid", "pid", kNumber},
};

// The table's own column severity is that of syslog for every log.
constexpr std::array kNoticeColumns{
    Column{"severity", "notice_severity", kNumber},
    Column{"server", "server", kNumber},
    Column{"action", "action", kNumber},
    Column{"serviceName", "servicename", kText},
    Column{"facility", "facility", kNumber},
    Column{"time", "time", kNumber},
    Column{"endtime", "endtime", kNumber},
    Column{"user", "user", kText},
    Column{"ip", "ip", kText},
    Column{"client", "client", kText},
    Column{"desc", "desc", kText},
    Column{"msgCode", "msgcode", kText},
    Column{"varNum", "varnum", kNumber},
    Column{"varContent", "varcontent", kText},
    Column{"name", "name", kText},
    Column{"status", "status", kNumber},
    Column{"uid", "uid", kNumber},
    Column{"gid", "gid", kNumber},
    Column{"link_id", "link_id", kText},
    Column{"link_option", "link_option", kText},
    Column{"title", "title", kText},
};

constexpr std::array kTables{
    LogTable{"event", "event_id", kEventColumns},
    LogTable{"conn", "conn_id", kConnColumns},
    LogTable{"fileop", "event_id", kFileopColumns},
    LogTable{"notice", "id", kNoticeColumns},
};

constexpr std::string_view kCommonColumns = "appliance, generation, id, stored_date, happened, severity, level";
constexpr std::string_view kNull = "\\N";

// The lists of columns that creating, copying and inserting share.
std::string names(const LogTable& table) {
  std::string list(kCommonColumns);
  for (const Column& column : table.columns) {
    list += fmt::format(", \"{}\"", column.name);
  }
  return list + ", other_fields";
}

void append_text(std::string& line, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '\\':
        line += "\\\\";
        break;
      case '\t':
        line += "\\t";
        break;
      case '\n':
        line += "\\n";
        break;
      case '\r':
        line += "\\r";
        break;
      default:
        line += c;
    }
  }
}

void append_number(std::string& line, std::int64_t number) {
  line += fmt::format(FMT_STRING("{}"), number);
}

// Whether the column has the value's kind. A number fits among texts, as SQLite itself turns it into one there.
bool fits(const Column& column, const Value& value) {
  return !column.number || !std::holds_alternative<std::string_view>(value);
}

void append_value(std::string& line, const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) {
    append_number(line, *number);
  } else if (const auto* const text = std::get_if<std::string_view>(&value)) {
    append_text(line, *text);
  } else {
    line += kNull;
  }
}

nlohmann::json json_of_value(const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) {
    return *number;
  }
  if (const auto* const text = std::get_if<std::string_view>(&value)) {
    return *text;
  }
  return nullptr;
}

// Usually the fields come in the order of the columns, so the search begins where the last one ended.
const Field* find(std::span<const Field> fields, std::string_view name, std::size_t& place) {
  for (std::size_t looked = 0; looked < fields.size(); ++looked) {
    place = place + 1 < fields.size() ? place + 1 : 0;
    if (fields[place].name == name) {
      return &fields[place];
    }
  }
  return nullptr;
}

// A damaged log may have any number as a time. What is beyond the years that all programs understand is no time.
void append_moment(std::string& line, std::optional<std::int64_t> seconds) {
  constexpr std::int64_t kFirst = -62135596800;  // 0001-01-01
  constexpr std::int64_t kLast = 253402300799;   // 9999-12-31 23:59:59
  if (!seconds || *seconds < kFirst || *seconds > kLast) {
    line += kNull;
    return;
  }
  const auto time = static_cast<std::time_t>(*seconds);
  struct tm parts {};
  gmtime_r(&time, &parts);
  line += fmt::format(FMT_STRING("{:04}-{:02}-{:02} {:02}:{:02}:{:02}+00"), parts.tm_year + 1900, parts.tm_mon + 1,
                      parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

// What the columns have no place for.
void append_other_fields(std::string& line, const LogTable& table, std::span<const Field> fields) {
  nlohmann::ordered_json others;
  for (const Field& field : fields) {
    if (field.name == table.id) {
      continue;
    }
    const auto column = std::find_if(table.columns.begin(), table.columns.end(),
                                     [&field](const Column& one) { return one.field == field.name; });
    if (column == table.columns.end() || !fits(*column, field.value)) {
      others[std::string(field.name)] = json_of_value(field.value);
    }
  }
  if (others.empty()) {
    line += kNull;
  } else {
    append_text(line, others.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  }
}

}  // namespace

std::span<const LogTable> log_tables() {
  return kTables;
}

Statements::Statements(const LogTable& table) {
  const std::string list = names(table);
  std::string columns =
      "appliance uuid, generation bigint, id bigint, stored_date date, happened timestamptz, severity smallint, level "
      "text";
  for (const Column& column : table.columns) {
    columns += fmt::format(", \"{}\" {}", column.name, column.number ? "bigint" : "text");
  }
  create = fmt::format(
      "CREATE TEMPORARY TABLE IF NOT EXISTS incoming_{} ({}, other_fields jsonb, redacted boolean) ON COMMIT DELETE "
      "ROWS",
      table.log, columns);
  copy = fmt::format("COPY incoming_{} ({}, redacted) FROM STDIN", table.log, list);
  // In the order of keys, so that two that deliver the same entries do not wait for each other crosswise.
  insert = fmt::format(
      "INSERT INTO annal.{0} ({1}) SELECT {1} FROM incoming_{0} ORDER BY redacted DESC, appliance, generation, id ON "
      "CONFLICT DO NOTHING",
      table.log, list);
}

void append_entry_line(std::string& lines, const LogTable& table, const Stream& stream, const Record& record) {
  append_text(lines, stream.appliance);
  lines += '\t';
  append_number(lines, stream.generation);
  lines += '\t';
  append_number(lines, record.id);
  lines += '\t';
  append_text(lines, record.date);
  lines += '\t';
  append_moment(lines, record.seconds);
  lines += '\t';
  append_number(lines, record.severity);
  lines += '\t';
  append_text(lines, record.level);
  std::size_t place = 0;
  for (const Column& column : table.columns) {
    lines += '\t';
    const Field* const field = find(record.fields, column.field, place);
    if (field == nullptr || !fits(column, field->value)) {
      lines += kNull;
    } else {
      append_value(lines, field->value);
    }
  }
  lines += '\t';
  append_other_fields(lines, table, record.fields);
  lines += record.kind == Kind::kRedaction ? "\tt\n" : "\tf\n";
}

void append_gap_line(std::string& lines, const Stream& stream, const Record& gap) {
  append_text(lines, stream.appliance);
  lines += '\t';
  append_text(lines, stream.log);
  lines += '\t';
  append_number(lines, stream.generation);
  lines += '\t';
  append_number(lines, gap.id);
  lines += '\t';
  append_number(lines, gap.count);
  lines += '\t';
  append_moment(lines, gap.seconds);
  lines += '\n';
}

bool is_appliance(std::string_view text) {
  constexpr std::size_t kDigits = 32;
  constexpr std::string_view kHexadecimal = "0123456789abcdefABCDEF";
  return text.size() == kDigits && text.find_first_not_of(kHexadecimal) == std::string_view::npos;
}

}  // namespace exporter::database
