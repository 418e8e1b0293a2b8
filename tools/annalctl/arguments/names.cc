// Reads the file of names, and finds names and numbers in it.
#include "tools/annalctl/arguments/names.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

constexpr char kUsualFile[] = "/etc/Corix_annal/names.tsv";
constexpr std::uintmax_t kLargestFile = 1U << 20U;
constexpr std::size_t kLongestName = 64;

struct Kind {
  const char* word;  // in the file
  const char* form;  // of an option's value, which the help leaves out
};

// In the order of Named.
constexpr std::array kKinds{
    Kind{"service", "service by name"},
    Kind{"action", "action by name"},
    Kind{"operation", "operation by name"},
};

using NamesOfKind = std::map<std::int64_t, std::string>;
using Names = std::array<NamesOfKind, kKinds.size()>;

const std::string* name_for(const NamesOfKind& names, std::int64_t number) {
  const auto found = names.find(number);
  return found == names.end() ? nullptr : &found->second;
}

std::optional<std::int64_t> number_for(const NamesOfKind& names, std::string_view name) {
  const auto found =
      std::find_if(names.begin(), names.end(), [name](const auto& one) { return same_letters(one.second, name); });
  return found == names.end() ? std::nullopt : std::optional(found->first);
}

std::string require_name(const std::string& name) {
  if (name.empty() || name.size() > kLongestName) {
    throw Refusal(fmt::format("a name has 1 to {} bytes", kLongestName));
  }
  // What is written as it is to a terminal, and told from an option and a number on a command line.
  if (printable(name) != name || name.front() == ' ' || name.back() == ' ') {
    throw Refusal("a name has no control characters, and no blank at its ends");
  }
  if (name.front() == '-' || whole_number<std::int64_t>(name)) {
    throw Refusal(fmt::format("'{}' cannot be a name: it would be taken for an option or a number", name));
  }
  return name;
}

void read_line(const std::string& line, Names& names) {
  const std::size_t first = line.find('\t');
  const std::size_t second = line.find('\t', first == std::string::npos ? first : first + 1);
  if (second == std::string::npos) {
    throw Refusal("a line is a kind, a number and a name, with a TAB between them");
  }
  const std::string word = line.substr(0, first);
  const auto* const kind =
      std::find_if(kKinds.begin(), kKinds.end(), [&word](const Kind& one) { return one.word == word; });
  if (kind == kKinds.end()) {
    throw Refusal(fmt::format("'{}' is no kind of number: there are service, action and operation", printable(word)));
  }
  const std::string digits = line.substr(first + 1, second - first - 1);
  const std::optional<std::int32_t> number = whole_number<std::int32_t>(digits);
  if (!number || *number < 0) {
    throw Refusal(fmt::format("'{}' is no number", printable(digits)));
  }
  const std::string name = require_name(line.substr(second + 1));
  NamesOfKind& known = names.at(static_cast<std::size_t>(kind - kKinds.begin()));
  if (name_for(known, *number) != nullptr || number_for(known, name)) {
    throw Refusal(fmt::format("{} {} '{}' is there already, by its number or its name", word, *number, name));
  }
  known.emplace(*number, name);
}

Names read_names(const std::string& file) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) {
    throw Refusal(fmt::format("cannot read {}: {}", file, error ? error.message() : "it is no regular file"));
  }
  if (std::filesystem::file_size(file, error) > kLargestFile) {
    throw Refusal(fmt::format("cannot read {}: it is larger than {} bytes", file, kLargestFile));
  }
  std::ifstream stream(file);
  if (!stream) {
    throw Refusal(fmt::format("cannot read {}: {}", file, system_message(errno)));
  }
  Names names;
  int number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    if (line.empty() || line.front() == '#') {
      continue;
    }
    try {
      read_line(line, names);
    } catch (const Refusal& refusal) {
      throw Refusal(fmt::format("{}:{}: {}", file, number, refusal.what()));
    }
  }
  return names;
}

// Nothing in it may keep somebody from reading a log.
Names usual_names() {
  std::error_code error;
  if (!std::filesystem::exists(kUsualFile, error) && !error) {
    return {};
  }
  try {
    return read_names(kUsualFile);
  } catch (const Refusal& refusal) {
    complain(fmt::format("{} (going on with numbers)", refusal.what()));
  }
  return {};
}

std::optional<Names>& names_in_use() {
  static std::optional<Names> names;
  return names;
}

const NamesOfKind& names_of_kind(Named kind) {
  std::optional<Names>& names = names_in_use();
  if (!names) {
    names = usual_names();
  }
  return names->at(static_cast<std::size_t>(kind));
}

}  // namespace

void use_names(const std::string& file) {
  names_in_use() = read_names(file);
}

std::string name_of_number(Named kind, std::string_view stored) {
  const std::optional<std::int64_t> number = whole_number<std::int64_t>(stored);
  const std::string* const name = number ? name_for(names_of_kind(kind), *number) : nullptr;
  return name == nullptr ? std::string(stored) : *name;
}

std::optional<std::int64_t> number_of_name(Named kind, std::string_view name) {
  return number_for(names_of_kind(kind), name);
}

std::vector<std::string> numbers_and_names(Named kind) {
  std::vector<std::string> list;
  for (const auto& [number, name] : names_of_kind(kind)) {
    list.push_back(fmt::format("{} {}", number, name));
  }
  return list;
}

CLI::Option* take_names(CLI::Option* option, Named kind) {
  const auto number_for_name = [kind](std::string& text) {
    if (!whole_number<std::int64_t>(text)) {
      if (const std::optional<std::int64_t> number = number_of_name(kind, text)) {
        text = std::to_string(*number);
      }
    }
    return std::string();
  };
  return option->transform(CLI::Validator(number_for_name, kKinds.at(static_cast<std::size_t>(kind)).form));
}

std::optional<Named> names_taken(const CLI::Option& option) {
  const std::string form = option.get_type_name();
  const auto* const kind = std::find_if(kKinds.begin(), kKinds.end(),
                                        [&form](const Kind& one) { return form.find(one.form) != std::string::npos; });
  return kind == kKinds.end() ? std::nullopt : std::optional(static_cast<Named>(kind - kKinds.begin()));
}

}  // namespace annalctl
