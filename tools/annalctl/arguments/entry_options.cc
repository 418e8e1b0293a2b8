// Adds and reads the options that give a new entry its texts and its time.
#include "tools/annalctl/arguments/entry_options.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"

namespace annalctl {

void add_text_options(CLI::App& command, std::span<const TextField> fields, std::span<std::string> texts) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const TextField& field = fields[i];
    CLI::Option* const option =
        command.add_option(field.option, texts[i], fmt::format("The {}, up to {} bytes", field.label, field.bound));
    option->type_name("TEXT")->required(option->get_positional());
  }
}

void add_time_option(CLI::App& command, std::string& time) {
  command.add_option("--time", time, "When it happened: local time or @SECONDS since 1970; default: now")
      ->type_name("TIME");
}

std::optional<std::int64_t> seconds_from_option(const std::string& time) {
  if (time.empty()) {
    return {};
  }
  const std::optional<std::int64_t> seconds = parse_time(time);
  if (!seconds) {
    throw Refusal(fmt::format("'{}' is not a time: write it as '2026-11-21 10:00:00' or '@1795255200'", time));
  }
  return seconds;
}

}  // namespace annalctl
