#include <fmt/format.h>

#include <array>

#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl {

namespace {

constexpr std::array kTable{TableColumn{"Number", 0, true}, TableColumn{"Name", 1}};

void run_facilities(Program& program) {
  const RowShape shape{{{"number", true}, {"name", false}}, kTable};
  const std::unique_ptr<RowSink> sink = make_sink(program.format(), shape, program.terminal, program.output);
  for (const notice::Facility& facility : notice::facilities()) {
    const std::string number = fmt::to_string(facility.number);
    sink->row(std::array{number.c_str(), facility.name.c_str()});
  }
  sink->finish();
}

}  // namespace

void add_facilities(CLI::App& app, Program& program) {
  CLI::App* const command = app.add_subcommand("facilities", "List the facilities that notices come from");
  command->footer("Examples:\n  annalctl facilities\n  annalctl facilities --json");
  command->fallthrough();
  command->callback([&program] { run_facilities(program); });
}

}  // namespace annalctl
