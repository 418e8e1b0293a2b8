// Help texts for a terminal of 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace annalctl {

class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat();

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  std::string make_description(const CLI::App* app) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_footer(const CLI::App* app) const override;
};

// Refills each paragraph to the width. Lines that begin with a blank stay as they are.
[[nodiscard]] std::string wrapped(const std::string& text);

}  // namespace annalctl
