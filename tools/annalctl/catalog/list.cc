// "annalctl catalog list": the applications, or the messages of one.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/catalog/rows.h"

namespace annalctl::catalog {

namespace {

constexpr std::array kTable{TableColumn{"Application", 0}, TableColumn{"Name", 1}, TableColumn{"Messages", 2, true},
                            TableColumn{"Phrases", 3, true}};

void list_applications(Session& session) {
  const RowShape shape{{{"app_id", false}, {"name", false}, {"messages", true}, {"phrases", true}}, kTable};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  for (const Application& application : kApplications) {
    const std::string name = name_of(application);
    const auto phrases = std::count_if(application.rows.begin(), application.rows.end(), is_phrase);
    const std::string messages = fmt::to_string(application.rows.size() - static_cast<std::size_t>(phrases));
    sink->row(std::array{application.id, name.c_str(), messages.c_str(), fmt::to_string(phrases).c_str()});
  }
  sink->finish();
}

void list_rows(const Application& application, Session& session) {
  RowWriter writer(session);
  for (const CatalogEntry& entry : application.rows) {
    writer.row(entry);
  }
  writer.finish();
}

}  // namespace

void add_list(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("list", "List the applications, or the rows of one");
  command->footer("Examples:\n  annalctl catalog list\n  annalctl catalog list A011 --csv");
  const auto id = std::make_shared<std::string>();
  const CLI::Option* const given = command->add_option("APPLICATION", *id, "\"A\" and three digits, as A011");
  command->callback([&session, id, given] {
    if (given->count() == 0) {
      list_applications(session);
    } else {
      list_rows(require_application(*id), session);
    }
  });
}

}  // namespace annalctl::catalog
