// The delete command, which differs between the logs by its selectors.
#include "tools/annalctl/maintenance/delete_command.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/maintenance/noted_deletions.h"
#include "tools/annalctl/maintenance/paced_deletion.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

constexpr char kNotes[] =
    "Deletes the entries that meet all conditions: the filters of 'list', and exact\n"
    "values of a column, such as --id; --user and the like are exact here, too. It is\n"
    "not a failure to find no entry. With one exact value and nothing else, deletes in\n"
    "one step and does not wait for a locked log. Otherwise deletes in short steps, so\n"
    "that writers do not wait for long; an interrupted run has deleted what it got to.\n"
    "\n";

constexpr char kDryRun[] = "--dry-run";

struct Chosen {
  FilterOptions filters;
  LogFilters table{};             // the list's
  std::vector<TextFilter> texts;  // including those compared exactly
  std::map<const DeleteOption*, std::string> values;
  bool dry_run = false;
};

std::string_view name_of(const char* option) {
  const std::string_view names = option;
  return names.substr(0, names.find(','));
}

const DeleteOption* selector_of(const DeleteCommand& deletion, std::string_view option) {
  const auto found = std::find_if(deletion.selectors.begin(), deletion.selectors.end(),
                                  [option](const DeleteOption& one) { return option == one.option; });
  return found == deletion.selectors.end() ? nullptr : &*found;
}

const void* address_of(const DeleteValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) {
    return text->c_str();
  }
  return std::get_if<int>(&value);
}

DeleteValue value_from(const DeleteOption& selector, const std::string& text) {
  try {
    return selector.read(text);
  } catch (const Refusal& refusal) {
    throw Refusal(fmt::format("{}: {}", selector.option, refusal.what()));
  }
}

Condition condition_of(const DeleteOption& selector, const std::string& text) {
  if (selector.compared != nullptr) {
    return equals(selector.column, selector.compared(text));
  }
  const DeleteValue value = value_from(selector, text);
  if (const int* const number = std::get_if<int>(&value)) {
    return equals(selector.column, std::int64_t{*number});
  }
  return equals(selector.column, text);
}

// The request, if it is one value that the library can delete by.
struct OneValue {
  const DeleteOption* selector = nullptr;
  std::string text;
};

OneValue one_value_of(const DeleteCommand& deletion, const CLI::App& command) {
  OneValue one;
  std::size_t given = 0;
  for (const CLI::Option* option : command.get_options()) {
    if (option->count() > 0 && !option->check_name(kDryRun)) {
      given += option->count();
      one = {selector_of(deletion, option->get_name()), option->results().front()};
    }
  }
  if (given == 0) {
    throw Refusal("it does not say what to delete ('flush' deletes all)");
  }
  const bool of_library = one.selector != nullptr && one.selector->what != nullptr;
  return given == 1 && of_library ? one : OneValue();
}

int delete_by_library(const DeleteCommand& deletion, const OneValue& one, const Call& call, Session& session) {
  const DeleteValue value = value_from(*one.selector, one.text);
  return delete_and_say(call, {"delete"}, session,
                        [&deletion, &one, &value] { return deletion.run(one.selector->code, address_of(value)); });
}

int delete_by_conditions(const Chosen& chosen, const Call& call, Session& session) {
  Query query;
  query.conditions = chosen.filters.conditions(chosen.table);
  for (const auto& [selector, text] : chosen.values) {
    query.conditions.push_back(condition_of(*selector, text));
  }
  std::int64_t deleted = 0;
  NotedDeletions noted(call.log, "delete");
  try {
    Reader reader(call.log);
    if (chosen.dry_run) {
      deleted = reader.count(query);
    } else {
      delete_matching(reader, query, deleted);
    }
  } catch (const ReadFailure& failure) {
    noted.tell();
    if (deleted > 0) {
      say_deleted(deleted, call.log, Deed::kDone, session);
      session.output.finish();
    }
    return report_failure(call, failure);
  }
  noted.tell();
  say_deleted(deleted, call.log, chosen.dry_run ? Deed::kOnlyLooked : Deed::kDone, session);
  return kSuccess;
}

int run_delete(const DeleteCommand& deletion, const CLI::App& command, const Chosen& chosen, Session& session) {
  const Log& log = deletion.queries.log;
  const OneValue one = one_value_of(deletion, command);
  if (one.selector != nullptr) {
    static_cast<void>(value_from(*one.selector, one.text));  // refuses a value that cannot be looked for
  }
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const Call call{log, fmt::format("delete the {}", log.entries), Purpose::kWriting};
  return one.selector != nullptr && !chosen.dry_run ? delete_by_library(deletion, one, call, session)
                                                    : delete_by_conditions(chosen, call, session);
}

void add_selector(CLI::App& command, const DeleteOption& selector, Chosen& chosen) {
  CLI::Option* const option = command.add_option_function<std::string>(
      selector.option,
      [&selector, &chosen](const std::string& text) {
        static_cast<void>(value_from(selector, text));
        chosen.values[&selector] = text;
      },
      fmt::format("Entries of this {}", selector.what));
  option->type_name(selector.form);
  if (selector.names) {
    take_names(option, *selector.names);
  }
}

}  // namespace

void add_delete_command(CLI::App& commands, Session& session, const DeleteCommand& deletion) {
  const Log& log = deletion.queries.log;
  CLI::App* const command = commands.add_subcommand("delete", fmt::format("Delete {}", log.entries));
  const auto chosen = std::make_shared<Chosen>();
  command->footer(fmt::format("{}{}{}\nExamples:\n{}", kNotes, kFilterNotes, kWhenForms, deletion.examples));
  for (TextFilter filter : deletion.queries.filters.texts) {
    if (const DeleteOption* const selector = selector_of(deletion, name_of(filter.option))) {
      filter.columns = {selector->column};
      filter.match = Match::kEquals;
    }
    chosen->texts.push_back(filter);
  }
  chosen->table = deletion.queries.filters;
  chosen->table.texts = chosen->texts;
  chosen->filters.add_options(*command, chosen->table, log.entries);
  for (const DeleteOption& selector : deletion.selectors) {
    if (command->get_option_no_throw(selector.option) == nullptr) {
      add_selector(*command, selector, *chosen);
    }
  }
  add_dry_run(*command, chosen->dry_run);
  command->callback(
      [command, chosen, &session, &deletion] { session.status = run_delete(deletion, *command, *chosen, session); });
}

DeleteValue read_number(const std::string& text) {
  const auto number = whole_number<int>(text);
  if (!number) {
    throw Refusal(fmt::format("'{}' is not a whole number of 32 bits", text));
  }
  return *number;
}

DeleteValue read_text(const std::string& text) {
  return text;
}

DeleteValue read_level(const std::string& name) {
  const std::optional<unsigned> code = code_of(kLevels, name);
  if (!code) {
    throw Refusal(fmt::format("'{}' is not known; it takes one of {}", name, names_of(kLevels)));
  }
  return static_cast<int>(*code);
}

DeleteValue read_text_without_quote(const std::string& text) {
  if (text.find('\'') != std::string::npos) {
    throw Refusal("a value with a single quote (') cannot be deleted by: nothing was deleted (use --id instead)");
  }
  return text;
}

}  // namespace annalctl
