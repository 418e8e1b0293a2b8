// "annalctl catalog search": finds messages by their words.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/catalog/rows.h"

namespace annalctl::catalog {

namespace {

constexpr char kSearchFooter[] =
    "A row is found when its template has every word somewhere, in small or capital letters.\n"
    "\n"
    "Examples:\n"
    "  annalctl catalog search fan failed\n"
    "  annalctl catalog search --number 45 --level error\n"
    "  annalctl catalog search snapshot --app A002 --json";

struct SearchArguments {
  std::vector<std::string> words;
  std::string application;
  std::string number;
  std::optional<unsigned> level;

  [[nodiscard]] bool empty() const { return words.empty() && application.empty() && number.empty() && !level; }
};

bool has_word(std::string_view text, std::string_view word) {
  return std::search(text.begin(), text.end(), word.begin(), word.end(),
                     [](char one, char other) { return lower(one) == lower(other); }) != text.end();
}

bool matches(const CatalogEntry& entry, const SearchArguments& wanted) {
  return (wanted.number.empty() || wanted.number == entry.msg_no) &&
         (!wanted.level || static_cast<long>(*wanted.level) == entry.level) &&
         std::all_of(wanted.words.begin(), wanted.words.end(),
                     [&](const std::string& word) { return has_word(entry.msg_template, word); });
}

void run_search(const SearchArguments& wanted, Session& session) {
  if (wanted.empty()) {
    throw Refusal("what to search for is missing: a word, --app, --number or --level");
  }
  const std::span<const Application> applications =
      wanted.application.empty() ? kApplications : std::span(&require_application(wanted.application), 1);
  RowWriter writer(session);
  for (const Application& application : applications) {
    for (const CatalogEntry& entry : application.rows) {
      if (matches(entry, wanted)) {
        writer.row(entry);
      }
    }
  }
  writer.finish();
}

}  // namespace

void add_search(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("search", "List the rows that match");
  command->footer(kSearchFooter);
  const auto wanted = std::make_shared<SearchArguments>();
  command->add_option("WORDS", wanted->words, "What the template has, every one of them");
  command->add_option("--app", wanted->application, "Only rows of this application")->type_name("ID");
  command->add_option("--number", wanted->number, "Only rows with this number or token")->type_name("NUMBER");
  add_choice(*command, "--level", wanted->level, kLevels, "Only rows of this level");
  command->callback([&session, wanted] { run_search(*wanted, session); });
}

}  // namespace annalctl::catalog
