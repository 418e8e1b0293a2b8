// Finds the name that is closest to a mistyped one.
#include "tools/annalctl/suggestion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>

namespace annalctl {

namespace {

struct Synonym {
  std::string_view elsewhere;
  const char* here;
};

// What other programs, and the titles of the tables, call an option.
constexpr std::array kUsualElsewhere{
    Synonym{"--level", "--type"},   Synonym{"--severity", "--type"}, Synonym{"--address", "--ip"},
    Synonym{"--from", "--since"},   Synonym{"--after", "--since"},   Synonym{"--to", "--until"},
    Synonym{"--before", "--until"}, Synonym{"--message", "--text"},  Synonym{"--search", "--text"},
    Synonym{"--lines", "--limit"},  Synonym{"--tail", "--follow"},   Synonym{"--format", "--output"},
};

// Letters to insert, delete, replace or swap with their neighbours.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::vector<std::size_t>> table(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) {
    table[i][0] = i;
  }
  std::iota(table[0].begin(), table[0].end(), 0U);
  for (std::size_t i = 1; i <= one.size(); ++i) {
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t replaced = table[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      table[i][j] = std::min({table[i - 1][j] + 1, table[i][j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
      if (swapped) {
        table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
      }
    }
  }
  return table[one.size()][other.size()];
}

void add_commands(const CLI::App& app, std::vector<std::string>& names) {
  for (const CLI::App* child : app.get_subcommands({})) {
    if (!child->get_name().empty()) {
      names.push_back(child->get_name());
    }
  }
}

void add_options(const CLI::App& app, std::vector<std::string>& names) {
  // Options in a group of their own belong to a part of the command that has no name.
  std::vector<const CLI::App*> parts{&app};
  for (const CLI::App* child : app.get_subcommands({})) {
    if (child->get_name().empty()) {
      parts.push_back(child);
    }
  }
  for (const CLI::App* part : parts) {
    for (const CLI::Option* option : part->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
  }
}

}  // namespace

std::optional<std::string> most_like(std::string_view word, const std::vector<std::string>& names) {
  constexpr std::size_t kLongest = 40;  // of a mistyped word
  if (word.size() > kLongest) {
    return {};
  }
  std::optional<std::string> best;
  // A third of the letters may be wrong.
  std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string& name : names) {
    const std::size_t now = distance(word, name);
    if (now < least) {
      least = now;
      best = name;
    }
  }
  if (best) {
    return best;
  }
  const auto begins =
      std::find_if(names.begin(), names.end(), [word](const std::string& name) { return name.starts_with(word); });
  constexpr std::size_t kFewest = 2;
  return begins != names.end() && word.size() > kFewest ? std::optional(*begins) : std::nullopt;
}

std::optional<std::string> suggestion(const CLI::App& command, const std::string& word) {
  std::vector<std::string> names;
  if (!word.starts_with('-')) {
    add_commands(command, names);
    return most_like(word, names);
  }
  for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
    add_options(*app, names);
  }
  const std::string option = word.substr(0, word.find('='));
  const auto* const usual = std::find_if(kUsualElsewhere.begin(), kUsualElsewhere.end(),
                                         [&option](const Synonym& one) { return option == one.elsewhere; });
  if (usual != kUsualElsewhere.end() && std::find(names.begin(), names.end(), usual->here) != names.end()) {
    return usual->here;
  }
  return most_like(option, names);
}

}  // namespace annalctl
