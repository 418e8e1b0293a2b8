// Options that take one of a few names.
#include "tools/annalctl/arguments/choice.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {
constexpr char kOffer[] = "offer";
}

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

CLI::Option* offer(CLI::Option* option, std::span<const Choice> choices) {
  // It takes everything: what is not known is told by whoever reads the value. The help leaves its description out.
  return option->check(CLI::Validator([](const std::string&) { return std::string(); }, names_of(choices), kOffer));
}

std::vector<std::string> offered(CLI::Option& option) {
  try {
    std::vector<std::string> names = CLI::detail::split(option.get_validator(kOffer)->get_description(), ',');
    std::for_each(names.begin(), names.end(), [](std::string& name) { CLI::detail::trim(name); });
    return names;
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
}

CLI::Option* add_choice(CLI::App& command, const char* option, std::optional<unsigned>& code,
                        std::span<const Choice> choices, const char* help) {
  auto* const added = command.add_option_function<std::string>(
      option, [&code, choices, option](const std::string& name) { code = require_code(choices, option, name); },
      fmt::format("{}: {}", help, names_of(choices)));
  return offer(added->type_name("NAME"), choices);
}

}  // namespace annalctl
