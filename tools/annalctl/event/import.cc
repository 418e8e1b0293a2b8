#include <array>
#include <ctime>
#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/event/record.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/run.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::event {

namespace {

constexpr char kFooter[] =
    "Formats, told apart line by line unless --format names one:\n"
    "  dpkg    2024-01-01 10:00:00 install foo:amd64 <none> 1.0\n"
    "  syslog  Jun 14 15:16:01 host prog[123]: text   (the latest year that does not lie in the future)\n"
    "          2026-11-21T09:27:01.123456+00:00 host prog[1]: text\n"
    "  jsonl   {\"event_type\":2,\"event_desc\":\"text\",\"event_timet\":1795255200}, as 'list --json' prints it\n"
    "\n"
    "A line that cannot be stored as it is - unknown, or with a text that is too long - is reported with its number "
    "and\n"
    "left out; the others are stored, and the exit status is 1. Nothing is ever cut. Blank lines do not count.\n"
    "\n"
    "Examples:\n"
    "  annalctl event import /var/log/dpkg.log /var/log/dpkg.log.1.gz\n"
    "  annalctl event list --all --oldest --json | ssh other annalctl event import -\n"
    "  annalctl event import --dry-run messages";

constexpr unsigned code(LineFormat format) {
  return static_cast<unsigned>(format);
}

constexpr std::array kFormats{
    Choice{"auto", code(LineFormat::kUnknown)},
    Choice{"dpkg", code(LineFormat::kDpkg)},
    Choice{"syslog", code(LineFormat::kSyslog)},
    Choice{"jsonl", code(LineFormat::kJsonLines)},
};

struct Arguments {
  ImportRequest request;
  std::optional<unsigned> format;
  std::optional<unsigned> level;
};

EventRecord parse(std::string_view line, LineFormat format, std::int64_t now) {
  switch (format == LineFormat::kUnknown ? looks_like(line) : format) {
    case LineFormat::kDpkg:
      return record_of(parse_dpkg(line));
    case LineFormat::kSyslog:
      return record_of(parse_syslog(line, now));
    case LineFormat::kJsonLines:
      return record_of(parse_json_line(line));
    case LineFormat::kUnknown:
      break;
  }
  throw Refusal("it is no line of dpkg's log, of a syslog or of JSON Lines");
}

int run_import(const Arguments& arguments, Session& session) {
  if (!arguments.request.dry_run && !check_log_exists(kLog)) {
    return kFailure;
  }
  const auto format = static_cast<LineFormat>(arguments.format.value_or(code(LineFormat::kUnknown)));
  const std::int64_t now = std::time(nullptr);
  EventRecord record{};
  const LineStore lines{
      .take =
          [&arguments, format, now, &record](std::string_view line) {
            record = parse(line, format, now);
            if (arguments.level) {
              record.event_type = static_cast<std::int32_t>(*arguments.level);
            }
            return true;
          },
      .store =
          [&record] {
            const int result = annal_event_add_msgid_ex3(&record);
            return Stored{result, result == ANNAL_OK ? 1U : 0U};
          },
      .batch = 1,
  };
  return import_files(arguments.request, kLog, lines, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the lines of log files as events");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  add_import_options(*command, arguments->request);
  add_choice(*command, "--format", arguments->format, kFormats, "Format of the lines; without it auto");
  add_choice(*command, "--type", arguments->level, kLevels, "Level of all events, whatever the lines say");
  command->callback([arguments, &session] { session.status = run_import(*arguments, session); });
}

}  // namespace annalctl::event
