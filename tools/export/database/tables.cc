// Lists each log's columns, builds the COPY and INSERT statements from them and formats records as COPY's lines.
#include "tools/export/database/tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

namespace exporter::database {

namespace {

// Of a column that the table calls as the log does. PostgreSQL's names are in lower case.
constexpr Column number(std::string_view name) {
  return {name, name, true};
}
constexpr Column text(std::string_view name) {
  return {name, name, false};
}

constexpr std::array kEventColumns{
    number("event_type"),   text("event_date"),      text("event_time"),       text("event_user"),
    text("event_ip"),       text("event_comp"),      text("event_desc"),       text("event_msgid"),
    number("event_timet"),  text("event_app_id"),    text("event_app_name"),   text("event_category_id"),
    text("event_category"), text("event_client_id"), text("event_client_app"), text("event_client_agent"),
};

constexpr std::array kConnColumns{
    number("conn_type"),
    text("conn_date"),
    text("conn_time"),
    text("conn_user"),
    text("conn_ip"),
    text("conn_comp"),
    text("conn_res"),
    number("conn_serv"),
    number("conn_action"),
    text("conn_app"),
    number("conn_action_result"),
    text("conn_client_id"),
    text("conn_client_app"),
    text("conn_client_agent"),
};

constexpr std::array kFileopColumns{
    number("event_type"),   text("event_date"),
    text("event_time"),     text("event_user"),
    text("event_ip"),       text("event_oldfilepath"),
    text("event_filepath"), Column{"event_isFolder", "event_isfolder", true},
    number("event_action"), number("event_filesize"),
    text("event_comp"),     text("event_duid"),
    text("event_desc"),     text("sub_user"),
    number("pid"),
};

// The table's own column severity is that of syslog for every log.
constexpr std::array kNoticeColumns{
    Column{"severity", "notice_severity", true},
    number("server"),
    number("action"),
    Column{"serviceName", "servicename", false},
    number("facility"),
    number("time"),
    number("endtime"),
    text("user"),
    text("ip"),
    text("client"),
    text("desc"),
    Column{"msgCode", "msgcode", false},
    Column{"varNum", "varnum", true},
    Column{"varContent", "varcontent", false},
    text("name"),
    number("status"),
    number("uid"),
    number("gid"),
    text("link_id"),
    text("link_option"),
    text("title"),
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

// A column's name, and its type.
using SideColumn = std::pair<std::string_view, std::string_view>;

Statements side_statements(std::string_view table, std::initializer_list<SideColumn> columns) {
  std::string names;
  std::string types;
  for (const auto& [name, type] : columns) {
    const std::string_view comma = names.empty() ? "" : ", ";
    names += fmt::format("{}{}", comma, name);
    types += fmt::format("{}{} {}", comma, name, type);
  }
  return {.create =
              fmt::format("CREATE TEMPORARY TABLE IF NOT EXISTS incoming_{} ({}) ON COMMIT DELETE ROWS", table, types),
          .copy = fmt::format("COPY incoming_{} ({}) FROM STDIN", table, names),
          // In the order of keys, as for the logs' tables.
          .insert = fmt::format(
              "INSERT INTO annal.{0} ({1}) SELECT {1} FROM incoming_{0} ORDER BY {1} ON CONFLICT DO NOTHING", table,
              names)};
}

void append_stream(std::string& line, const Stream& stream) {
  append_text(line, stream.appliance);
  line += '\t';
  append_text(line, stream.log);
  line += '\t';
  append_number(line, stream.generation);
  line += '\t';
}

void append_gap_line(std::string& lines, const Stream& stream, const Record& gap) {
  append_stream(lines, stream);
  append_number(lines, gap.id);
  lines += '\t';
  append_number(lines, gap.count);
  lines += '\t';
  append_moment(lines, gap.seconds);
  lines += '\n';
}

void append_head_line(std::string& lines, const Stream& stream, const Record& head) {
  append_stream(lines, stream);
  append_moment(lines, head.seconds);
  lines += '\t';
  append_text(lines, head.head);
  lines += '\n';
}

}  // namespace

std::span<const LogTable> log_tables() {
  return kTables;
}

Statements statements_for(const LogTable& table) {
  Statements statements;
  const std::string list = names(table);
  std::string columns =
      "appliance uuid, generation bigint, id bigint, stored_date date, happened timestamptz, severity smallint, level "
      "text";
  for (const Column& column : table.columns) {
    columns += fmt::format(", \"{}\" {}", column.name, column.number ? "bigint" : "text");
  }
  statements.create = fmt::format(
      "CREATE TEMPORARY TABLE IF NOT EXISTS incoming_{} ({}, other_fields jsonb, redacted boolean) ON COMMIT DELETE "
      "ROWS",
      table.log, columns);
  statements.copy = fmt::format("COPY incoming_{} ({}, redacted) FROM STDIN", table.log, list);
  // In the order of keys, so that two that deliver the same entries do not wait for each other crosswise.
  statements.insert = fmt::format(
      "INSERT INTO annal.{0} ({1}) SELECT {1} FROM incoming_{0} ORDER BY redacted DESC, appliance, generation, id ON "
      "CONFLICT DO NOTHING",
      table.log, list);
  return statements;
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

std::span<const SideTable> side_tables() {
  static const std::array kSideTables{
      SideTable{Kind::kGap,
                side_statements("gap", {{"appliance", "uuid"},
                                        {"log", "text"},
                                        {"generation", "bigint"},
                                        {"first_id", "bigint"},
                                        {"entries", "bigint"},
                                        {"found", "timestamptz"}}),
                append_gap_line},
      SideTable{Kind::kHead,
                side_statements("head", {{"appliance", "uuid"},
                                         {"log", "text"},
                                         {"generation", "bigint"},
                                         {"sealed", "timestamptz"},
                                         {"head", "jsonb"}}),
                append_head_line},
  };
  return kSideTables;
}

bool is_appliance(std::string_view text) {
  constexpr std::size_t kDigits = 32;
  constexpr std::string_view kHexadecimal = "0123456789abcdefABCDEF";
  return text.size() == kDigits && text.find_first_not_of(kHexadecimal) == std::string_view::npos;
}

}  // namespace exporter::database
