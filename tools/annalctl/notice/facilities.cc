// "annalctl facilities": the sources that notices can name.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>

#include "tools/annalctl/notice/device_commands.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl {

namespace {

constexpr std::array kTable{TableColumn{"Number", 0, true}, TableColumn{"Name", 1}};

void run_facilities(Session& session) {
  const RowShape shape{{{"number", true}, {"name", false}}, kTable};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  for (const notice::Facility& facility : notice::facilities()) {
    const std::string number = fmt::to_string(facility.number);
    sink->row(std::array{number.c_str(), facility.name.c_str()});
  }
  sink->finish();
}

}  // namespace

void add_facilities(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("facilities", "List the facilities that notices come from");
  command->footer("Examples:\n  annalctl facilities\n  annalctl facilities --json");
  command->fallthrough();
  command->callback([&session] { run_facilities(session); });
}

}  // namespace annalctl
