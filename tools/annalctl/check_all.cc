// Checks every log, each with the rights it needs.
#include "tools/annalctl/check_all.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/all_logs.h"
#include "tools/annalctl/rescue/check_command.h"

namespace annalctl {

namespace {

void check_all(const std::vector<std::string>& files, Session& session) {
  bool sound = true;
  for_all_logs(files, session, Intent::kReading, [&sound, &session](const Log& log) {
    sound = check_with_its_rights(log, session) && sound;
    session.view.titled = true;
  });
  session.status = sound ? kSuccess : kFailure;
}

}  // namespace

void add_check_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("check", "Tell if the logs are sound and, if not, why");
  const auto files = std::make_shared<std::vector<std::string>>();
  command->footer("Checks the logs of events, connections and notices, and the named files of file operations.\n" +
                  fmt::format(fmt::runtime(kCheckPromise), "all of them are") +
                  "\nExamples:\n  annalctl check\n  annalctl check --db operations.db --json\n  annalctl event check");
  command->add_option("--db", *files, "A log of file operations too")->type_name("FILE");
  command->fallthrough();
  command->callback([files, &session] { check_all(*files, session); });
}

}  // namespace annalctl
