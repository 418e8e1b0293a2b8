#include "tools/annalctl/maintenance/delete_command.h"

#include <fmt/format.h>

#include <memory>

#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/result.h"

namespace annalctl {

namespace {

struct Chosen {
  const DeleteOption* selector = nullptr;
  DeleteValue value;
};

const void* address_of(const DeleteValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) {
    return text->c_str();
  }
  return std::get_if<int>(&value);
}

int run_delete(const DeleteCommand& deletion, const Chosen& choice) {
  if (!check_log_exists(deletion.log)) {
    return kFailure;
  }
  const Call call{deletion.log, fmt::format("delete the {}", deletion.log.entries), Purpose::kWriting};
  return report(call, deletion.run(choice.selector->code, address_of(choice.value)));
}

void add_selector(CLI::App& command, const DeleteOption& selector, Chosen& choice) {
  CLI::Option* const option = command.add_option_function<std::string>(
      selector.option,
      [&selector, &choice](const std::string& text) {
        try {
          choice = {&selector, selector.read(text)};
        } catch (const Refusal& refusal) {
          throw Refusal(fmt::format("{}: {}", selector.option, refusal.what()));
        }
      },
      selector.what == nullptr ? "" : fmt::format("Entries of this {}", selector.what));
  if (selector.what == nullptr) {
    option->group("");
  } else {
    option->type_name(selector.form);
  }
}

}  // namespace

void add_delete_command(CLI::App& commands, Session& session, const DeleteCommand& deletion) {
  CLI::App* const command =
      commands.add_subcommand("delete", fmt::format("Delete the {} that have a value", deletion.log.entries));
  const auto choice = std::make_shared<Chosen>();
  command->footer(deletion.footer);
  auto* const selectors = command->add_option_group("Value");
  for (const DeleteOption& selector : deletion.selectors) {
    add_selector(*selectors, selector, *choice);
  }
  selectors->require_option(1);
  command->callback([choice, &session, &deletion] { session.status = run_delete(deletion, *choice); });
}

DeleteValue read_number(const std::string& text) {
  const auto number = whole_number<int>(text);
  if (!number) {
    throw Refusal(fmt::format("'{}' is no whole number of 32 bits", text));
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
