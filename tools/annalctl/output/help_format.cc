// Wraps help texts.
#include "tools/annalctl/output/help_format.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

#include "tools/annalctl/arguments/names.h"

namespace annalctl {

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kNameColumns = 28;

// Appends words to a line, and continues on indented lines below it.
std::string filled(const std::string& words, std::size_t used, std::size_t indent) {
  std::istringstream stream(words);
  std::string text;
  std::size_t place = used;
  bool first = true;
  for (std::string word; stream >> word; first = false) {
    if (!first && place + 1 + word.size() > kWidth) {
      text += "\n" + std::string(indent, ' ');
      place = indent;
    } else if (!first) {
      text += ' ';
      ++place;
    }
    text += word;
    place += word.size();
  }
  return text;
}

// A name, and its description beside or below it.
std::string entry(const std::string& name, const std::string& description) {
  std::string line = "  " + name;
  if (description.empty()) {
    return line + "\n";
  }
  if (line.size() + 2 > kNameColumns) {
    line += "\n" + std::string(kNameColumns, ' ');
  } else {
    line.resize(kNameColumns, ' ');
  }
  return line + filled(description, kNameColumns, kNameColumns) + "\n";
}

// Whether the word before a blank is an option, whose value should not be on another line.
bool follows_option(std::string_view line, std::size_t blank) {
  return line.substr(line.rfind(' ', blank - 1) + 1).starts_with("--");
}

// Where to break a line so that the first part fits: at a blank outside quotes; 0 if there is none.
std::size_t place_to_break(std::string_view line, std::size_t room) {
  std::size_t place = 0;
  char quote = 0;
  const std::size_t indent = line.find_first_not_of(' ');
  for (std::size_t i = indent; i < line.size() && i <= room; ++i) {
    if (quote != 0) {
      quote = line[i] == quote ? '\0' : quote;
    } else if (line[i] == '\'' || line[i] == '"') {
      quote = line[i];
    } else if (line[i] == ' ' && (!follows_option(line, i) || place == 0)) {
      place = i;
    }
  }
  return place;
}

// Breaks an indented line so that an example stays a valid command.
std::string broken(std::string line) {
  const std::string indent(line.find_first_not_of(' ') + 4, ' ');
  const std::string_view end = line.starts_with("  annalctl ") ? " \\" : "";
  std::string text;
  while (line.size() > kWidth) {
    const std::size_t place = place_to_break(line, kWidth - end.size());
    if (place < indent.size()) {
      break;
    }
    text.append(line, 0, place).append(end).append("\n");
    line.replace(0, place + 1, indent);
  }
  return text + line + "\n";
}

}  // namespace

std::string wrapped(const std::string& text) {
  std::istringstream stream(text);
  std::string all;
  std::string paragraph;
  const auto end_paragraph = [&all, &paragraph] {
    if (!paragraph.empty()) {
      all += filled(paragraph, 0, 0) + "\n";
      paragraph.clear();
    }
  };
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line.find_first_not_of(' ') == std::string::npos) {
      end_paragraph();
      all += "\n";
    } else if (line.front() == ' ') {
      end_paragraph();
      all += broken(line);
    } else {
      paragraph += (paragraph.empty() ? "" : " ") + line;
    }
    if (line.ends_with(':')) {
      end_paragraph();
    }
  }
  end_paragraph();
  return all;
}

HelpFormat::HelpFormat() {
  label("SUBCOMMAND", "COMMAND");
}

// The parser's own formatter leaves a second blank line where options belong to a group without a name.
std::string HelpFormat::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
  std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
  text = CLI::detail::find_and_replace(std::move(text), "\n\n\n", "\n\n");
  return CLI::detail::find_and_replace(std::move(text), "\nSubcommands:\n", "\nCommands:\n");
}

std::string HelpFormat::make_option(const CLI::Option* option, bool is_positional) const {
  return entry(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
}

// The name of an option's value, without its bounds, which the description tells, and without what it excludes.
std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
  if (option->get_items_expected_max() == 0) {
    return {};
  }
  const std::string type = option->get_type_name();
  const std::string name = type.substr(0, type.find(':'));
  const bool several = option->get_expected_max() >= CLI::detail::expected_max_vector_size;
  return (name.empty() ? "" : " " + name) + (several ? " ..." : "") + (option->get_required() ? " REQUIRED" : "");
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
  const std::optional<Named> kind = names_taken(*option);
  const std::vector<std::string> names = kind ? numbers_and_names(*kind) : std::vector<std::string>();
  const std::string description = CLI::Formatter::make_option_desc(option);
  return names.empty() ? description : fmt::format("{}, or its name: {}", description, fmt::join(names, ", "));
}

std::string HelpFormat::make_subcommand(const CLI::App* command) const {
  return entry(command->get_name(), command->get_description());
}

std::string HelpFormat::make_description(const CLI::App* app) const {
  return wrapped(CLI::Formatter::make_description(app));
}

std::string HelpFormat::make_usage(const CLI::App* app, std::string name) const {
  return wrapped(CLI::Formatter::make_usage(app, std::move(name)));
}

std::string HelpFormat::make_footer(const CLI::App* app) const {
  return wrapped(CLI::Formatter::make_footer(app));
}

}  // namespace annalctl
