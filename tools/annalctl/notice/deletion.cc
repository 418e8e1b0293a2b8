// The columns to delete notices by.
#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/maintenance/delete_command.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

namespace {

constexpr char kExamples[] =
    "  annalctl notice delete --id 4711\n"
    "  annalctl notice delete --facility 'USB Drive'\n"
    "  annalctl notice delete --severity debug --until -30d --dry-run";

// The library takes the time as a text, which SQLite converts to a number for comparing.
DeleteValue read_time(const std::string& text) {
  return fmt::to_string(seconds_of(text));
}

DeleteValue read_end_time(const std::string& text) {
  using Seconds = std::numeric_limits<int>;
  const std::int64_t seconds = seconds_of(text);
  if (seconds < Seconds::min() || seconds > Seconds::max()) {
    throw Refusal("the time cannot be looked for: only 1901-12-13 to 2038-01-19 can");
  }
  return static_cast<int>(seconds);
}

Condition::Value compared_time(const std::string& text) {
  return seconds_of(text);
}

// By its name or its number, which need not have a name.
DeleteValue read_severity(const std::string& text) {
  const std::optional<unsigned> code = code_of(kSeverities, text);
  return code ? DeleteValue(static_cast<int>(*code)) : read_number(text);
}

DeleteValue read_facility(const std::string& text) {
  return facility_of(text);
}

// For the columns whose value the library puts into its statement as an expression with doubled quotes, which breaks
// every literal. This expression has no quotes, whatever the text: it lists the characters by number.
DeleteValue read_text_as_expression(const std::string& text) {
  const std::optional<std::u32string> characters = characters_of(text);
  if (!characters) {
    throw Refusal("the text is not valid UTF-8, and cannot be looked for");
  }
  constexpr std::size_t kMostArguments = 100;  // the limit of every build of SQLite
  std::string expression = "char(";
  for (std::size_t i = 0; i < characters->size(); ++i) {
    if (i > 0) {
      expression += i % kMostArguments == 0 ? ")||char(" : ",";
    }
    fmt::format_to(std::back_inserter(expression), "{}", static_cast<std::uint32_t>((*characters)[i]));
  }
  return expression + ")";
}

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N", "id"},
    DeleteOption{1, "--severity", "severity, by name or as syslog numbers it", read_severity, "NAME|N", "severity"},
    DeleteOption{2, "--server", "server", read_number, "N", "server"},
    DeleteOption{3, "--action", "action", read_number, "N", "action"},
    DeleteOption{4, "--service", "service name", read_text, "TEXT", "serviceName"},
    DeleteOption{5, "--facility", "facility, by number or name", read_facility, "N|NAME", "facility"},
    DeleteOption{6, "--time", "time", read_time, "TIME", "time", compared_time},
    DeleteOption{7, "--endtime", "end time", read_end_time, "TIME", "endtime", compared_time},
    DeleteOption{8, "--user", "user", read_text, "TEXT", "user"},
    DeleteOption{9, "--ip", "address", read_text, "TEXT", "ip"},
    DeleteOption{10, "--client", nullptr, read_text, nullptr, "client"},
    DeleteOption{11, "--description", "description", read_text, "TEXT", "desc"},
    DeleteOption{12, "--msgcode", "message code", read_text, "TEXT", "msgCode"},
    DeleteOption{13, "--varnum", "number of variables", read_number, "N", "varNum"},
    DeleteOption{14, "--varcontent", "content of the variables", read_text, "TEXT", "varContent"},
    DeleteOption{15, "--name", "name", read_text, "TEXT", "name"},
    DeleteOption{16, "--status", "status", read_number, "N", "status"},
    DeleteOption{17, "--uid", "user number", read_number, "N", "uid"},
    DeleteOption{18, "--gid", "group number", read_number, "N", "gid"},
    DeleteOption{19, "--link-id", "link id", read_text_as_expression, "TEXT", "link_id"},
    DeleteOption{20, "--link-option", "link option", read_text_as_expression, "TEXT", "link_option"},
    DeleteOption{21, "--title", "title", read_text_as_expression, "TEXT", "title"},
};

}  // namespace

constinit const DeleteCommand kDeletion{kQueries, kSelectors, annal_notice_del, kExamples};

}  // namespace annalctl::notice
