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

constexpr char kFooter[] =
    "Exactly one of the options is needed. Notices go when their column equals the value to the letter; none that "
    "does\n"
    "is no failure. A TIME is seconds since 1970, with or without '@' in front, or a local time. A log that is locked "
    "is\n"
    "not waited for.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice delete --id 4711\n"
    "  annalctl notice delete --facility 'USB Drive'\n"
    "  annalctl notice delete --time '2026-11-21 10:00:00'";

// The library takes the time as a text, which SQLite makes a number again before it compares.
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

DeleteValue read_facility(const std::string& text) {
  return facility_of(text);
}

// For the columns whose value the library puts into its statement as an expression, its quotes doubled, so that no
// literal survives. This one has no quotes, whatever the text: its characters by number.
DeleteValue read_text_as_expression(const std::string& text) {
  const std::optional<std::u32string> characters = characters_of(text);
  if (!characters) {
    throw Refusal("the text is not valid UTF-8, and cannot be looked for");
  }
  constexpr std::size_t kMostArguments = 100;  // what every build of SQLite allows a function
  std::string expression = "char(";
  for (std::size_t i = 0; i < characters->size(); ++i) {
    if (i > 0) {
      expression += i % kMostArguments == 0 ? ")||char(" : ",";
    }
    fmt::format_to(std::back_inserter(expression), "{}", static_cast<std::uint32_t>((*characters)[i]));
  }
  return expression + ")";
}

[[noreturn]] DeleteValue refuse_client(const std::string& /*text*/) {
  throw Refusal("the library cannot delete notices by client (use --id instead)");
}

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N"},
    DeleteOption{1, "--severity", "severity, as syslog numbers it: 3 error, 4 warning, 6 information", read_number,
                 "N"},
    DeleteOption{2, "--server", "server", read_number, "N"},
    DeleteOption{3, "--action", "action", read_number, "N"},
    DeleteOption{4, "--service", "service name", read_text, "TEXT"},
    DeleteOption{5, "--facility", "facility, by number or name", read_facility, "N|NAME"},
    DeleteOption{6, "--time", "time", read_time, "TIME"},
    DeleteOption{7, "--endtime", "end time", read_end_time, "TIME"},
    DeleteOption{8, "--user", "user", read_text, "TEXT"},
    DeleteOption{9, "--ip", "address", read_text, "TEXT"},
    DeleteOption{10, "--client", nullptr, refuse_client, nullptr},
    DeleteOption{11, "--description", "description", read_text, "TEXT"},
    DeleteOption{12, "--msgcode", "message code", read_text, "TEXT"},
    DeleteOption{13, "--varnum", "number of variables", read_number, "N"},
    DeleteOption{14, "--varcontent", "content of the variables", read_text, "TEXT"},
    DeleteOption{15, "--name", "name", read_text, "TEXT"},
    DeleteOption{16, "--status", "status", read_number, "N"},
    DeleteOption{17, "--uid", "user number", read_number, "N"},
    DeleteOption{18, "--gid", "group number", read_number, "N"},
    DeleteOption{19, "--link-id", "link id", read_text_as_expression, "TEXT"},
    DeleteOption{20, "--link-option", "link option", read_text_as_expression, "TEXT"},
    DeleteOption{21, "--title", "title", read_text_as_expression, "TEXT"},
};

constexpr DeleteCommand kDeletion{kLog, kSelectors, annal_notice_del, kFooter};

}  // namespace

void add_delete(CLI::App& commands, Session& session) {
  add_delete_command(commands, session, kDeletion);
}

}  // namespace annalctl::notice
