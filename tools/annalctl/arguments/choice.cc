// Options that take one of a few names.
#include "tools/annalctl/arguments/choice.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

std::optional<unsigned> code_of(std::span<const Choice> choices, std::string_view name) {
  const auto found = std::find_if(choices.begin(), choices.end(),
                                  [name](const Choice& choice) { return same_letters(choice.name, name); });
  return found == choices.end() ? std::nullopt : std::optional<unsigned>(found->code);
}

unsigned require_code(std::span<const Choice> choices, const char* option, const std::string& name) {
  const std::optional<unsigned> code = code_of(choices, name);
  if (!code) {
    throw CLI::ValidationError(option, fmt::format("'{}' is not known; it takes one of {}", name, names_of(choices)));
  }
  return *code;
}

std::string names_of(std::span<const Choice> choices) {
  std::string names;
  for (const Choice& choice : choices) {
    if (choice.listed) {
      names += names.empty() ? "" : ", ";
      names += choice.name;
    }
  }
  return names;
}

std::string name_of(std::span<const Choice> choices, std::string_view code) {
  for (const Choice& choice : choices) {
    if (fmt::to_string(choice.code) == code) {
      return choice.name;
    }
  }
  return std::string(code);
}

CLI::Option* add_choice(CLI::App& command, const char* option, std::optional<unsigned>& code,
                        std::span<const Choice> choices, const char* help) {
  return command
      .add_option_function<std::string>(
          option, [&code, choices, option](const std::string& name) { code = require_code(choices, option, name); },
          fmt::format("{}: {}", help, names_of(choices)))
      ->type_name("NAME");
}

}  // namespace annalctl
