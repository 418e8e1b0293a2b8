// "annalctl catalog show": everything about one message.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/catalog/rows.h"

namespace annalctl::catalog {

namespace {

struct ShowArguments {
  std::string application;
  std::string number;
};

// Not as a table, which would cut the template at a terminal.
void show_to_person(const Application& application, const CatalogEntry& entry, Session& session) {
  session.output.write(fmt::format("Application  {} {}\n", application.id, printable(name_of(application))));
  session.output.write(fmt::format("Number       {}\n", entry.msg_no));
  session.output.write(fmt::format("Level        {}\n", level_cell(fmt::to_string(entry.level).c_str()).text));
  session.output.write(fmt::format("Category     {}\n", entry.category_id));
  session.output.write(fmt::format("Template     {}\n", printable(entry.msg_template)));
}

void run_show(const ShowArguments& arguments, Session& session) {
  const Application& application = require_application(arguments.application);
  const CatalogEntry& entry = require_entry(application, arguments.number);
  if (session.format() == Format::kTable) {
    show_to_person(application, entry, session);
    return;
  }
  RowWriter writer(session);
  writer.row(entry);
  writer.finish();
}

}  // namespace

void add_show(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("show", "Show one row");
  command->footer("Examples:\n  annalctl catalog show A011 7\n  annalctl catalog show A002 %V002%");
  const auto arguments = std::make_shared<ShowArguments>();
  command->add_option("APPLICATION", arguments->application, "\"A\" and three digits, as A011")->required();
  command->add_option("NUMBER", arguments->number, "The message's number, or a phrase's token")->required();
  command->callback([&session, arguments] { run_show(*arguments, session); });
}

}  // namespace annalctl::catalog
