// Generates valid and invalid command lines from CLI11's description of the commands.
#include "tests/tools/command_lines.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "tools/annalctl/program.h"

namespace annal::test {

namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

constexpr std::size_t kLongest = 100'000;  // the kernel accepts 131,071 bytes in one argument

// ---- what the program has ----

// An option's description contains the names of levels, columns and the like.
Texts words_of(const std::string& text) {
  Texts words;
  std::string word;
  for (const char c : text + " ") {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

void add_parameters(const CLI::App& app, std::vector<Parameter>& parameters) {
  for (const CLI::Option* option : app.get_options()) {
    Parameter parameter{{}, option->get_items_expected_max() > 0, option->get_required(), {}};
    for (const std::string& name : option->get_lnames()) {
      parameter.names.push_back("--" + name);
    }
    for (const std::string& name : option->get_snames()) {
      parameter.names.push_back("-" + name);
    }
    if (parameter.takes_value) {
      const bool file = option->get_type_name() == "FILE" || option->get_name() == "FILE";
      parameter.likely_values =
          file ? Texts{"/etc/logs/fileop.db", "/etc/logs/lines", "-"} : words_of(option->get_description());
    }
    parameters.push_back(parameter);
  }
  for (const CLI::App* part : app.get_subcommands([](const CLI::App* child) { return child->get_name().empty(); })) {
    add_parameters(*part, parameters);
  }
}

void add_commands(const CLI::App& app, const Command& above, std::vector<Command>& commands) {
  for (const CLI::App* child : app.get_subcommands([](const CLI::App* part) { return !part->get_name().empty(); })) {
    Command command = above;
    command.words.push_back(child->get_name());
    add_parameters(*child, command.parameters.emplace_back());
    commands.push_back(command);
    add_commands(*child, command, commands);
  }
}

// ---- what a line is made of ----

template <typename Choices>
const auto& one_of(const Choices& choices, const Choose& choose) {
  // Also chooses among more than 256.
  const std::size_t size = std::size(choices);
  const std::size_t place = size <= 256 ? choose(static_cast<unsigned>(size)) : choose(256) * 256 + choose(256);
  return *std::next(std::begin(choices), static_cast<std::ptrdiff_t>(place % size));
}

std::string bytes(const Choose& choose) {
  std::string text;
  for (unsigned left = choose(12); left > 0; --left) {
    const char c = static_cast<char>(1 + choose(255));
    text += c == '/' ? '|' : c;
  }
  return text;
}

std::string long_text(const Choose& choose) {
  static const std::array kUnits{"x"s, "9"s, "-"s, "'"s, "%"s, "\xE2\x84\x83"s, "\xFF"s, "a="s, "["s, ","s};
  static const std::array<std::size_t, 6> kLengths{63, 255, 256, 1023, 4096, kLongest};
  const std::string& unit = one_of(kUnits, choose);
  const std::size_t length = one_of(kLengths, choose) + choose(3);
  std::string text;
  while (text.size() < length) {
    text += unit;
  }
  return text;
}

std::string value(const Choose& choose) {
  static const std::array kValues{
      ""s, " "s, "-"s, "--"s, "---"s, "-1"s, "0"s, "1"s, "2"s, "3"s, "10"s, "01"s, "+1"s, "1.5"s, "0x10"s,
      // Numbers near the limits
      "255"s, "65536"s, "2147483647"s, "2147483648"s, "-2147483648"s, "-2147483649"s, "4294967295"s, "4294967296"s,
      "9223372036854775807"s, "18446744073709551616"s, "99999999999999999999999999"s, "1e9"s, "1e308"s, "1e999"s,
      "nan"s, "inf"s, "-inf"s,
      // Times
      "yesterday"s, "today"s, "now"s, "-7d"s, "2 days ago"s, "99999999999 years ago"s, "2026-11-01"s,
      "2026-11-01 10:00:00"s, "2026-02-30"s, "0001-01-01"s, "9999-12-31 23:59:59"s, "@0"s, "@-1"s,
      "@9223372036854775807"s,
      // Names
      "error"s, "warning"s, "information"s, "all"s, "user"s, "id"s, "admin"s, "A011"s, "203.0.113.7"s, "::1"s,
      // Texts with a meaning to a parser, a format, a statement or a terminal
      "' OR 1=1 --"s, "x'y"s, "a=b"s, "[1,2]"s, "[]"s, "{}"s, "{0}"s, "%n%s"s, "%"s, "1,2"s, "true"s, "false"s, "a b"s,
      "\n"s, "\x1B[2J"s, "\xFF\xFE"s, "\xC3"s, "\xE2\x84"s, "\xE2\x84\x83"s, "\xED\xA0\x80"s, "?"s, "-h"s, "--json"s,
      // Files
      "."s, ".."s, "no-such-file"s, "/etc/logs"s, "/etc/logs/event.log"s, "/etc/logs/conn.log"s,
      "/etc/logs/notice.log"s, "/etc/logs/fileop.db"s, "/etc/logs/lines"s, "event.log"s, ":memory:"s,
      "file:x?mode=ro"s};
  switch (choose(16)) {
    case 0:
      return bytes(choose);
    case 1:
      return choose(4) == 0 ? long_text(choose) : "x";
    default:
      return one_of(kValues, choose);
  }
}

std::string value_of(const Parameter& parameter, const Choose& choose) {
  return parameter.likely_values.empty() || choose(3) == 0 ? value(choose) : one_of(parameter.likely_values, choose);
}

std::string name_of(const Parameter& parameter, const Choose& choose) {
  return parameter.names.empty() ? value(choose) : one_of(parameter.names, choose);
}

void add_whole(const Parameter& parameter, const Choose& choose, Texts& line) {
  if (!parameter.names.empty()) {
    line.push_back(name_of(parameter, choose));
  }
  if (parameter.takes_value) {
    line.push_back(value_of(parameter, choose));
  }
}

// An option of this command or another.
const Parameter& some_parameter(const Command& command, const Choose& choose) {
  const auto& parameters = choose(4) == 0 ? one_of(command.parameters, choose) : command.parameters.back();
  static const Parameter kNone{{}, true, false, {}};
  return parameters.empty() ? kNone : one_of(parameters, choose);
}

void add_something(const Command& command, const std::vector<Command>& all, const Choose& choose, Texts& line) {
  enum Kind : unsigned {
    kWhole,
    kOfAnother,
    kJoined,
    kGlued,
    kWithoutValue,
    kAbbreviated,
    kCombined,
    kUnknown,
    kValue,
    kWord,
    kEndOfOptions,
    kKinds,
  };
  // Half of them valid, so that the invalid ones have company.
  const unsigned kind = choose(2 * kKinds);
  const Parameter& own = some_parameter(command, choose);
  switch (kind) {
    case kOfAnother:
      add_whole(some_parameter(one_of(all, choose), choose), choose, line);
      break;
    case kJoined:
      line.push_back(name_of(own, choose) + "=" + value_of(own, choose));
      break;
    case kGlued:
      line.push_back(name_of(own, choose) + value_of(own, choose));
      break;
    case kWithoutValue:
      line.push_back(name_of(own, choose));
      break;
    case kAbbreviated: {
      const std::string name = name_of(own, choose);
      line.push_back(name.substr(0, choose(static_cast<unsigned>(std::min<std::size_t>(name.size(), 255)) + 1)));
      break;
    }
    case kCombined:
      line.push_back("-n"s + one_of("hnjx=-5"s, choose) + one_of("hnjx=-5"s, choose) + bytes(choose));
      break;
    case kUnknown:
      line.push_back("--" + bytes(choose));
      break;
    case kValue:
      line.push_back(value(choose));
      break;
    case kWord: {
      const Texts& words = one_of(all, choose).words;
      line.push_back(words.empty() ? "help" : one_of(words, choose));
      break;
    }
    case kEndOfOptions:
      line.emplace_back("--");
      break;
    default:
      add_whole(own, choose, line);
      break;
  }
}

void add_required(const std::vector<Parameter>& parameters, const Choose& choose, Texts& line) {
  for (const Parameter& parameter : parameters) {
    if (parameter.required && choose(8) != 0) {
      add_whole(parameter, choose, line);
    }
  }
}

// What people do to a line that they copy.
void disturb(const Choose& choose, Texts& line) {
  if (line.empty()) {
    return;
  }
  const auto size = static_cast<unsigned>(std::min<std::size_t>(line.size(), 256));
  const auto place = line.begin() + choose(size);
  switch (choose(24)) {
    case 0:
      line.erase(place);
      break;
    case 1:
      line.insert(place, std::string(*place));
      break;
    case 2:
      std::swap(*place, line[choose(size)]);
      break;
    case 3:
      line.insert(place, value(choose));
      break;
    default:
      break;
  }
}

}  // namespace

std::vector<Command> all_commands() {
  Command none;
  std::vector<Command> commands;
  {
    annalctl::Session session;
    CLI::App app;
    annalctl::add_all_commands(app, session);
    add_parameters(app, none.parameters.emplace_back());
    add_commands(app, none, commands);
  }
  // A group creates its commands only when it is named.
  const std::vector<Command> at_the_top = commands;
  commands.assign(1, none);
  for (const Command& command : at_the_top) {
    annalctl::Session session;
    CLI::App app;
    annalctl::add_all_commands(app, session);
    try {
      app.parse("--help " + command.words.front() + " --help");
    } catch (const CLI::ParseError&) {
      // The result is the help text, and the commands now exist.
    }
    std::vector<Command> all;
    add_commands(app, none, all);
    std::copy_if(all.begin(), all.end(), std::back_inserter(commands),
                 [&command](const Command& one) { return one.words.front() == command.words.front(); });
  }
  return commands;
}

std::vector<std::string> command_line(const Command& command, const std::vector<Command>& all, const Choose& choose) {
  Texts line;
  for (std::size_t depth = 0; depth < command.parameters.size(); ++depth) {
    if (depth > 0) {
      line.push_back(command.words[depth - 1]);
    }
    add_required(command.parameters[depth], choose, line);
  }
  for (unsigned left = choose(6); left > 0; --left) {
    add_something(command, all, choose, line);
  }
  disturb(choose, line);
  return line;
}

std::string quoted(const std::vector<std::string>& arguments) {
  constexpr std::size_t kShown = 200;
  std::string text = "annalctl";
  for (const std::string& argument : arguments) {
    text += " $'";
    for (const char c : argument.substr(0, kShown)) {
      if (c == '\'' || c == '\\') {
        text += '\\';
      }
      if (std::isprint(static_cast<unsigned char>(c)) != 0) {
        text += c;
      } else {
        std::array<char, 8> code{};
        static_cast<void>(std::snprintf(code.data(), code.size(), "\\x%02X", static_cast<unsigned char>(c)));
        text += code.data();
      }
    }
    text += argument.size() > kShown ? "'... (" + std::to_string(argument.size()) + " bytes)" : "'";
  }
  return text;
}

}  // namespace annal::test
