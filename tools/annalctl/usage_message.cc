// Rewords the parser's complaints.
#include "tools/annalctl/usage_message.h"

#include <fmt/format.h>
#include <re2/re2.h>
#include <CLI/CLI.hpp>

#include <array>

namespace annalctl {

namespace {

struct Rewording {
  const char* sentence;  // the parser's, as an expression
  const char* words;
};

constexpr std::array kRewordings{
    Rewording{R"(^(.+): Value (.*) not in range (.+?)(?:\.0+|(\.\d*[1-9])0*)? to (.+?)(?:\.0+)?$)",
              R"(\1: '\2' is not a number from \3\4 to \5)"},
    Rewording{R"(^(.+?): \d+ required .*missing$)", R"(\1 needs a value)"},
    Rewording{R"(^(.+?): At Most 1 required but received \d+$)", R"(\1 can be given only once)"},
    Rewording{R"(^(.+?) excludes (.+)$)", R"(\1 cannot be combined with \2)"},
    Rewording{R"(^(.+?): (.*) not in \{(.+)\}$)", R"(\1: '\2' is not known; it takes one of \3)"},
    Rewording{R"(^A subcommand is required$)", "a command is missing"},
};

constexpr char kNotConverted[] = "^Could not convert: (.+?) = (.*)$";

RE2::Options any_bytes() {
  RE2::Options options;
  options.set_encoding(RE2::Options::EncodingLatin1);
  options.set_dot_nl(true);
  return options;
}

bool is_flag(const CLI::App& command, const std::string& name) {
  const CLI::Option* option = nullptr;
  for (const CLI::App* app = &command; app != nullptr && option == nullptr; app = app->get_parent()) {
    option = app->get_option_no_throw(name);
  }
  return option != nullptr && option->get_items_expected_max() == 0;
}

}  // namespace

std::string usage_message(const CLI::App& command, const std::string& sentence) {
  std::string words;
  for (const Rewording& rewording : kRewordings) {
    if (RE2::Extract(sentence, RE2(rewording.sentence, any_bytes()), rewording.words, &words)) {
      return words;
    }
  }
  std::string name;
  std::string value;
  if (RE2::FullMatch(sentence, RE2(kNotConverted, any_bytes()), &name, &value)) {
    return is_flag(command, name) ? fmt::format("{} takes no value", name)
                                  : fmt::format("{}: '{}' is not a number", name, value);
  }
  return sentence;
}

}  // namespace annalctl
