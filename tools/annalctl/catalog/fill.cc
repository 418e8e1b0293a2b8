// "annalctl catalog fill": puts values into a message.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <memory>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/catalog/model.h"

namespace annalctl::catalog {

namespace {

constexpr char kFooter[] =
    "The first value goes where the template has {0}. A token, as %V002%, becomes its phrase, in a value too.\n"
    "\n"
    "Examples:\n"
    "  annalctl catalog fill A011 7 60\n"
    "  annalctl catalog fill A049 16 'Main unit' 2 --json\n"
    "  annalctl catalog fill A011 1 -- -printer-";

constexpr std::array kNoTable{TableColumn{"Text", 4}};

struct FillArguments {
  std::string application;
  std::string number;
  std::vector<std::string> values;
};

void run_fill(const FillArguments& arguments, Session& session) {
  const Application& application = require_application(arguments.application);
  const CatalogEntry& entry = require_entry(application, arguments.number);
  const std::string text = filled(application, entry, arguments.values);
  if (session.format() == Format::kTable) {
    session.output.write(printable(text) + "\n");
    return;
  }
  const RowShape shape{{{"app_id", false}, {"level", true}, {"category_id", false}, {"msg_no", false}, {"text", false}},
                       kNoTable};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  const std::string level = fmt::to_string(entry.level);
  sink->row(std::array{entry.app_id, level.c_str(), entry.category_id, entry.msg_no, text.c_str()});
  sink->finish();
}

}  // namespace

void add_fill(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("fill", "Put values into a message's placeholders");
  command->footer(kFooter);
  const auto arguments = std::make_shared<FillArguments>();
  command->add_option("APPLICATION", arguments->application, "\"A\" and three digits, as A011")->required();
  command->add_option("NUMBER", arguments->number, "The message's number")->required();
  command->add_option("VALUES", arguments->values, "One for each placeholder");
  command->callback([&session, arguments] { run_fill(*arguments, session); });
}

}  // namespace annalctl::catalog
