// Formats the header, the structured data with the record's JSON, and the text, each with its own escapes.
#include "tools/export/sinks/syslog_message.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

#include "tools/annalctl/base/printable.h"

namespace exporter::sinks {

namespace {

bool is_graphic(char c) {
  return c > ' ' && c <= '~';
}

// A field of the header, which has a limit and takes printable ASCII alone.
std::string header_field(std::string_view text, std::size_t most) {
  std::string field;
  for (const char c : text.substr(0, most)) {
    field += is_graphic(c) ? c : '_';
  }
  return field.empty() ? "-" : field;
}

// Years have four digits there.
std::string timestamp(std::optional<std::int64_t> seconds) {
  constexpr std::int64_t kFirst = -62135596800;
  constexpr std::int64_t kLast = 253402300799;
  if (!seconds || *seconds < kFirst || *seconds > kLast) {
    return "-";
  }
  const auto time = static_cast<std::time_t>(*seconds);
  struct tm parts {};
  gmtime_r(&time, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::string parameter_value(std::string_view text) {
  constexpr char kDelete = '\x7f';  // the one control character that JSON leaves as it is
  std::string value;
  value.reserve(text.size() + text.size() / 4);
  for (const char c : text) {
    if (c == kDelete) {
      value += R"(\\u007f)";
      continue;
    }
    if (c == '"' || c == '\\' || c == ']') {
      value += '\\';
    }
    value += c;
  }
  return value;
}

}  // namespace

bool is_element_name(const std::string& text) {
  constexpr std::size_t kMost = 32;
  return !text.empty() && text.size() <= kMost && std::all_of(text.begin(), text.end(), [](char c) {
    return is_graphic(c) && c != '=' && c != ']' && c != '"';
  });
}

std::string syslog_message(const SyslogOrigin& origin, const Stream& stream, const Record& record) {
  constexpr std::size_t kHostLimit = 255;
  constexpr int kSeverities = 8;
  const std::string_view kind = name_of(record.kind);
  const std::string message_id = record.kind == Kind::kEntry ? stream.log : fmt::format("{}-{}", stream.log, kind);
  constexpr std::size_t kMessageIdLimit = 32;
  return fmt::format(
      R"(<{}>1 {} {} annal - {} [{} appliance="{}" log="{}" generation="{}" kind="{}" id="{}" record="{}"] {})",
      origin.facility * kSeverities + std::clamp(record.severity, 0, kSeverities - 1), timestamp(record.seconds),
      header_field(origin.host, kHostLimit), header_field(message_id, kMessageIdLimit), origin.element,
      parameter_value(stream.appliance), parameter_value(stream.log), stream.generation, kind, record.id,
      parameter_value(json_of(stream, record)), annalctl::printable(text_of(stream, record)));
}

}  // namespace exporter::sinks
