#include "tools/annalctl/rescue/check_command.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/rescue/inspection.h"

namespace annalctl {

namespace {

constexpr char kPromise[] =
    "Looks and changes nothing: the log is opened for reading alone, and no file is created. A log that is locked is\n"
    "waited for, for five seconds. Writers wait while it is read, which takes a few seconds for a large log.\n"
    "\n"
    "Exit status: 0 only when {} sound. Remarks do not count.\n";

void write(const Log& log, const Inspection& inspection, Program& program) {
  std::vector<Finding> findings = inspection.findings;
  if (inspection.sound()) {
    findings.insert(findings.begin(), {State::kSound, fmt::format("{} {}", inspection.entries, log.entries)});
  }
  if (program.format() == Format::kTable) {
    for (const auto& [state, text] : findings) {
      program.output.write(printable(fmt::format("{}: {}: {}", log.path, name_of(state), text)) + "\n");
    }
    return;
  }
  const RowShape shape{{{"log", false}, {"file", false}, {"state", false}, {"text", false}}, {}};
  const std::unique_ptr<RowSink> sink = make_sink(program.format(), shape, program.terminal, program.output);
  for (const auto& [state, text] : findings) {
    sink->row(std::array{log.name, log.path, name_of(state), text.c_str()});
  }
  sink->finish();
}

// Whether it is sound.
bool check(const Log& log, Program& program) {
  const Inspection inspection = inspect(log);
  write(log, inspection, program);
  return inspection.sound();
}

// Whether it is sound. Each log may need other rights than the next one.
bool check_with_its_rights(const Log& log, Program& program) {
  program.output.finish();
  try {
    return with_rights_for(log, [&log, &program] {
      const bool sound = check(log, program);
      program.output.finish();
      return sound;
    });
  } catch (const RightsFailure& failure) {
    Inspection inspection;
    inspection.findings.push_back({State::kUnknown, failure.what()});
    write(log, inspection, program);
  }
  return false;
}

void check_all(const std::vector<std::string>& files, Program& program) {
  bool sound = true;
  for (const Log* log : {&event::kLog, &conn::kLog, &notice::kLog}) {
    sound = check_with_its_rights(*log, program) && sound;
  }
  for (const std::string& file : files) {
    fileop::use_file(file);
    sound = check_with_its_rights(fileop::kLog, program) && sound;
  }
  program.status = sound ? kSuccess : kFailure;
}

}  // namespace

void add_check_command(CLI::App& commands, Program& program, const Log& log) {
  CLI::App* const command = commands.add_subcommand("check", "Tell whether the log is sound, and if not, why");
  command->footer(fmt::format(kPromise, "the log is") +
                  fmt::format("\nExample:\n  annalctl {}{} check", log.name, log.options));
  command->callback([&program, &log] { program.status = check(log, program) ? kSuccess : kFailure; });
}

void add_check_of_all(CLI::App& app, Program& program) {
  CLI::App* const command = app.add_subcommand("check", "Tell whether the logs are sound, and if not, why");
  const auto files = std::make_shared<std::vector<std::string>>();
  command->footer(
      "Checks the logs of events, connections and notices, and the files of file operations that are named.\n" +
      fmt::format(kPromise, "all of them are") +
      "\nExamples:\n  annalctl check\n  annalctl check --db operations.db --json\n  annalctl event check");
  command->add_option("--db", *files, "A log of file operations too")->type_name("FILE");
  command->fallthrough();
  command->callback([files, &program] { check_all(*files, program); });
}

}  // namespace annalctl
