#include <fmt/format.h>

#include <array>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "Corix_annal.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/result.h"

namespace annalctl::event {

namespace {

constexpr char kFooter[] =
    "Exactly one of the options is needed. Entries go when their column equals the value to the letter; none that "
    "does\n"
    "is no failure. A value with a single quote (') in it cannot be used. A log that is locked is not waited for.\n"
    "\n"
    "Examples:\n"
    "  annalctl event delete --id 4711\n"
    "  annalctl event delete --date 2026-11-21\n"
    "  annalctl event delete --type information";

struct Selector {
  unsigned code;
  const char* option;
  const char* what;
  enum class Value {
    kNumber,
    kLevel,
    kText,
  } value;
};

constexpr std::array kSelectors{
    Selector{0, "--id", "id", Selector::Value::kNumber},
    Selector{1, "--type", "level", Selector::Value::kLevel},
    Selector{2, "--date", "date, as 2026-11-21", Selector::Value::kText},
    Selector{3, "--time", "time, as 10:00:00", Selector::Value::kText},
    Selector{4, "--user", "user", Selector::Value::kText},
    Selector{5, "--ip", "address", Selector::Value::kText},
    Selector{6, "--computer", "computer", Selector::Value::kText},
    Selector{7, "--message", "message", Selector::Value::kText},
    Selector{8, "--msgid", "message id", Selector::Value::kText},
    Selector{9, "--timestamp", "time stamp, in seconds since 1970", Selector::Value::kNumber},
};

struct Deletion {
  unsigned selector = 0;
  std::variant<std::monostate, int, std::string> value;
};

// The text becomes part of a statement as it is, where a quote would end it and the rest would be executed.
void require_no_quote(const std::string& text) {
  if (text.find('\'') != std::string::npos) {
    throw Refusal("a value with a single quote (') cannot be deleted by: nothing was deleted (use --id instead)");
  }
}

int run_delete(const Deletion& deletion) {
  const auto* const text = std::get_if<std::string>(&deletion.value);
  if (text != nullptr) {
    require_no_quote(*text);
  }
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "delete the events", Purpose::kWriting};
  const void* const value =
      text != nullptr ? static_cast<const void*>(text->c_str()) : std::get_if<int>(&deletion.value);
  return report(call, annal_event_del(deletion.selector, value));
}

CLI::Option* add_selector(CLI::App& command, const Selector& selector, Deletion& deletion) {
  const std::string help = fmt::format("Entries of this {}", selector.what);
  switch (selector.value) {
    case Selector::Value::kNumber:
      return command.add_option_function<int>(
          selector.option,
          [&deletion, &selector](const int& number) {
            deletion = {selector.code, number};
          },
          help);
    case Selector::Value::kLevel:
      return command.add_option_function<std::string>(
          selector.option,
          [&deletion, &selector](const std::string& name) {
            deletion = {selector.code, static_cast<int>(require_code(kLevels, selector.option, name))};
          },
          fmt::format("{}: {}", help, names_of(kLevels)));
    case Selector::Value::kText:
      break;
  }
  return command.add_option_function<std::string>(
      selector.option,
      [&deletion, &selector](const std::string& text) {
        deletion = {selector.code, text};
      },
      help);
}

}  // namespace

void add_delete(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("delete", "Delete the events that have a value");
  const auto deletion = std::make_shared<Deletion>();
  command->footer(kFooter);
  auto* const selectors = command->add_option_group("Value");
  for (const Selector& selector : kSelectors) {
    add_selector(*selectors, selector, *deletion);
  }
  selectors->require_option(1);
  command->callback([deletion, &program] { program.status = run_delete(*deletion); });
}

}  // namespace annalctl::event
