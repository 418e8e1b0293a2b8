// "annalctl notice add": stores one notice.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/entry_options.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/notice/record.h"

namespace annalctl::notice {

namespace {

constexpr char kFooter[] =
    "Put a text that begins with '-' after '--'; '-' alone reads it from standard\n"
    "input. A TAB or line end in it becomes a blank. The library stamps the notice\n"
    "with the current time.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice add 'fan 2 stopped' --severity error --facility SMART\n"
    "  annalctl notice add 'backup finished' --service Backup --user admin --ip 10.0.0.5 --title Backup";

struct Number {
  const char* option;
  const char* label;
  std::int32_t NoticeRecord::*field;
};

constexpr std::array kNumbers{
    Number{"--server", "server", &NoticeRecord::server},
    Number{"--action", "action", &NoticeRecord::action},
    Number{"--varnum", "number of variables", &NoticeRecord::varNum},
    Number{"--status", "status", &NoticeRecord::status},
    Number{"--uid", "user number; default: none", &NoticeRecord::uid},
    Number{"--gid", "group number; default: none", &NoticeRecord::gid},
};

constexpr unsigned kInformation = 6;

struct Arguments {
  std::optional<unsigned> severity;
  std::string facility;
  std::vector<std::string> texts{kTextFields.size()};
  NoticeRecord record{};
};

int run_add(Arguments& arguments) {
  NoticeRecord& record = arguments.record;
  record.severity = arguments.severity.value_or(kInformation);
  if (!arguments.facility.empty()) {
    record.facility = facility_of(arguments.facility);
  }
  for (std::size_t i = 0; i < kTextFields.size(); ++i) {
    const std::string& text = arguments.texts[i];
    set_text(&record, kTextFields[i], text);
  }
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "store the notice", Purpose::kWriting};
  return report(call, annal_notice_add(&record));
}

}  // namespace

void add_add(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("add", "Store one notice; says nothing when it is stored");
  const auto arguments = std::make_shared<Arguments>();
  arguments->record.uid = -1;
  arguments->record.gid = -1;
  command->footer(kFooter);
  add_choice(*command, "--severity", arguments->severity, kSeverities, "Severity (default: information)");
  command->add_option("--facility", arguments->facility, "The facility, by number or name")->type_name("N|NAME");
  add_text_options(*command, kTextFields, arguments->texts);
  for (const auto& [option, label, field] : kNumbers) {
    command->add_option(option, arguments->record.*field, fmt::format("The {}", label))->type_name("N");
  }
  command->callback([arguments, &session] {
    take_standard_input(kTextFields, arguments->texts);
    session.status = run_add(*arguments);
  });
}

}  // namespace annalctl::notice
