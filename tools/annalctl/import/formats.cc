// The known log formats as data: how a line of each begins, and the expression or function that parses it.
#include "tools/annalctl/import/formats.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/regex.h"
#include "tools/annalctl/import/line_fields.h"
#include "tools/annalctl/import/line_times.h"

namespace annalctl {

namespace {

// "9" stands for any digit.
bool has_shape(std::string_view line, std::string_view shape) {
  if (line.size() < shape.size()) {
    return false;
  }
  for (std::size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] == '9' ? !is_digit(line[i]) : line[i] != shape[i]) {
      return false;
    }
  }
  return true;
}

bool begins_as_dpkg(std::string_view line) {
  return has_shape(line, "9999-99-99 99:99:99 ");
}

bool begins_as_syslog(std::string_view line) {
  return has_shape(line, "9999-99-99T99:99:99") || has_shape(line, "<9") || begins_with_month(line);
}

LogLine dpkg_line(std::string_view line, std::int64_t /*now*/) {
  return parse_dpkg(line);
}

// RFC 5424, which other lines of a syslog with a priority are told from by its version.
constexpr char kRfc5424[] =
    R"(^<(?P<priority>\d{1,3})>1 (?P<time>\S+) (?P<host>\S+) (?P<program>\S+) (?P<pid>\S+) (?P<category>\S+) )"
    R"((?:-|(?:\[(?:[^\]"]|"(?:[^"\\]|\\.)*")*\])+)(?: (?:\xEF\xBB\xBF)?(?P<message>.*))?$)";

constexpr char kApacheError[] =
    R"(^\[(?P<time>\w{3} \w{3} [ \d]\d [\d:.]+ \d{4})\] \[(?:(?P<category>\w+):)?(?P<level>\w+)\] (?:\[pid (?P<pid>\d+)(?::tid \d+)?\] )?)"
    R"((?:\[(?:client|remote) (?P<ip>[0-9A-Fa-f.:]+?)(?::\d+)?\] )?(?P<message>.*)$)";

constexpr char kNginxError[] =
    R"(^(?P<time>\d{4}/\d\d/\d\d \d\d:\d\d:\d\d) \[(?P<level>\w+)\] (?P<pid>\d+)#\d+: (?P<message>.*)$)";

constexpr char kAccess[] =
    R"re(^(?P<ip>\S+) \S+ (?P<user>.*?) \[(?P<time>\d\d/\w{3}/\d{4}:\d\d:\d\d:\d\d [+-]\d{4})\] )re"
    R"re((?P<message>"(?:[^"\\]|\\.)*" (?P<status>\d{3})\b(?:.*? "(?P<agent>(?:[^"\\]|\\.)*)"$|.*)))re";

constexpr char kKernel[] =
    R"(^(?:\w+ *:(?P<level>\w+) *: )?\[(?P<time>\w{3} \w{3} [ \d]\d [\d:.]+ \d{4})\] (?P<message>.*)$)";

constexpr char kAudit[] =
    R"(^(?:node=(?P<host>\S+) )?type=(?P<category>\S+) msg=audit\((?P<time>\d+(?:\.\d+)?):(?P<pid>\d+)\):)"
    R"( (?P<message>.*)$)";

constexpr std::array kFormatTable{
    LineFormat{"dpkg", "2024-01-01 10:00:00 install foo:amd64 <none> 1.0", begins_as_dpkg, dpkg_line, nullptr, nullptr},
    LineFormat{"syslog5424", "<34>1 2026-11-21T10:00:00Z host prog 123 ID - text", nullptr, nullptr, kRfc5424, nullptr},
    LineFormat{"syslog", "Jun 14 15:16:01 host prog[123]: text", begins_as_syslog, parse_syslog, nullptr, nullptr},
    LineFormat{"apache", "[Sat Nov 21 10:00:00.1 2026] [core:error] [pid 7] text", nullptr, nullptr, kApacheError,
               "apache"},
    LineFormat{"nginx", "2026/11/21 10:00:00 [error] 7#7: *1 text, client: 10.0.0.1", nullptr, nullptr, kNginxError,
               "nginx"},
    LineFormat{"access", "10.0.0.1 - bob [21/Nov/2026:10:00:00 +0100] \"GET / HTTP/1.1\" 200 5", nullptr, nullptr,
               kAccess, "httpd"},
    LineFormat{"dmesg", "[Sat Nov 21 10:00:00 2026] eth0: link up", nullptr, nullptr, kKernel, "kernel"},
    LineFormat{"audit", "type=USER_LOGIN msg=audit(1795255200.1:7): acct=\"bob\" res=failed", nullptr, nullptr, kAudit,
               "audit"},
};

const Regex& expression_of(const LineFormat& format) {
  static const std::vector<Regex> expressions = [] {
    std::vector<Regex> all;
    all.reserve(kFormatTable.size());
    for (const LineFormat& one : kFormatTable) {
      all.emplace_back(one.pattern == nullptr ? "" : one.pattern, Regex::Letters::kAsTheyAre, Regex::Text::kBytes);
    }
    return all;
  }();
  return expressions[static_cast<std::size_t>(&format - kFormatTable.data())];
}

}  // namespace

const std::span<const LineFormat> kLineFormats = kFormatTable;

const LineFormat* find_line_format(std::string_view name) {
  const auto* const found = std::find_if(kFormatTable.begin(), kFormatTable.end(),
                                         [name](const LineFormat& one) { return one.name == name; });
  return found == kFormatTable.end() ? nullptr : found;
}

const LineFormat* looks_like(std::string_view line) {
  const auto* const found = std::find_if(kFormatTable.begin(), kFormatTable.end(), [line](const LineFormat& one) {
    return one.detects != nullptr ? one.detects(line) : expression_of(one).found_in(line);
  });
  return found == kFormatTable.end() ? nullptr : found;
}

LogLine parse_line(const LineFormat& format, std::string_view line, std::int64_t now) {
  if (format.parse != nullptr) {
    return format.parse(line, now);
  }
  const Regex& expression = expression_of(format);
  std::vector<std::string_view> groups;
  if (!expression.find_groups(line, groups)) {
    throw Refusal(fmt::format("it is not a line of the format '{}'", format.name));
  }
  static const std::string known_times;
  LineFields fields(now, known_times);
  if (format.program != nullptr) {
    fields.set("program", format.program);
  }
  for (std::size_t i = 0; i < groups.size(); ++i) {
    fields.set(expression.names()[i], groups[i]);
  }
  return fields.finish();
}

}  // namespace annalctl
