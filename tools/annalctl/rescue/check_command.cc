// "annalctl LOG check".
#include "tools/annalctl/rescue/check_command.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/number_of.h"
#include "tools/annalctl/rescue/inspection.h"

namespace annalctl {

namespace {

void write(const Log& log, const Inspection& inspection, Session& session) {
  std::vector<Finding> findings = inspection.findings;
  if (inspection.sound()) {
    findings.insert(findings.begin(), {State::kSound, number_of(inspection.entries, log)});
  }
  if (session.format() == Format::kTable) {
    for (const auto& [state, text] : findings) {
      session.output.write(printable(fmt::format("{}: {}: {}", log.path, name_of(state), text)) + "\n");
    }
    return;
  }
  const RowShape shape{{{"log", false}, {"file", false}, {"state", false}, {"text", false}}, {}};
  const std::unique_ptr<RowSink> sink = make_sink(session.view, shape, session.terminal, session.output);
  for (const auto& [state, text] : findings) {
    sink->row(std::array{log.name, log.path, name_of(state), text.c_str()});
  }
  sink->finish();
}

// Whether it is sound.
bool check(const Log& log, Session& session) {
  const Inspection inspection = inspect(log);
  write(log, inspection, session);
  return inspection.sound();
}

}  // namespace

const char* const kCheckPromise =
    "Changes nothing: opens the log read-only and creates no file. Waits up to five seconds for a locked log.\n"
    "Writers wait during the check, which takes a few seconds for a large log.\n"
    "\n"
    "Exit status: 0 only when {} sound. Remarks do not count.\n";

bool check_with_its_rights(const Log& log, Session& session) {
  session.output.finish();
  try {
    return with_rights_for(log, [&log, &session] {
      const bool sound = check(log, session);
      session.output.finish();
      return sound;
    });
  } catch (const RightsFailure& failure) {
    Inspection inspection;
    inspection.findings.push_back({State::kUnknown, failure.what()});
    write(log, inspection, session);
  }
  return false;
}

void add_check_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("check", "Tell if the log is sound and, if not, why");
  command->footer(fmt::format(fmt::runtime(kCheckPromise), "the log is") +
                  fmt::format("\nExample:\n  annalctl {}{} check", log.name, log.options));
  command->callback([&session, &log] { session.status = check(log, session) ? kSuccess : kFailure; });
}

}  // namespace annalctl
