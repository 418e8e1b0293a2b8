// Derives a line's level from its priority, level, status or words.
#include "tools/annalctl/import/line_level.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

struct SeverityWord {
  std::string_view word;
  Severity severity;
};

constexpr std::array kWordsInTexts{
    SeverityWord{"error", Severity::kError},      SeverityWord{"errors", Severity::kError},
    SeverityWord{"fatal", Severity::kError},      SeverityWord{"fail", Severity::kError},
    SeverityWord{"fails", Severity::kError},      SeverityWord{"failed", Severity::kError},
    SeverityWord{"failure", Severity::kError},    SeverityWord{"failures", Severity::kError},
    SeverityWord{"panic", Severity::kError},      SeverityWord{"critical", Severity::kError},
    SeverityWord{"warn", Severity::kWarning},     SeverityWord{"warning", Severity::kWarning},
    SeverityWord{"warnings", Severity::kWarning}, SeverityWord{"denied", Severity::kWarning},
    SeverityWord{"refused", Severity::kWarning},  SeverityWord{"invalid", Severity::kWarning},
    SeverityWord{"timeout", Severity::kWarning},
};

constexpr std::array kNamesOfLevels{
    SeverityWord{"emerg", Severity::kError},
    SeverityWord{"emergency", Severity::kError},
    SeverityWord{"panic", Severity::kError},
    SeverityWord{"alert", Severity::kError},
    SeverityWord{"crit", Severity::kError},
    SeverityWord{"critical", Severity::kError},
    SeverityWord{"fatal", Severity::kError},
    SeverityWord{"severe", Severity::kError},
    SeverityWord{"err", Severity::kError},
    SeverityWord{"error", Severity::kError},
    SeverityWord{"warn", Severity::kWarning},
    SeverityWord{"warning", Severity::kWarning},
    SeverityWord{"notice", Severity::kInformation},
    SeverityWord{"info", Severity::kInformation},
    SeverityWord{"information", Severity::kInformation},
    SeverityWord{"debug", Severity::kInformation},
    SeverityWord{"trace", Severity::kInformation},
};

// The numbers of syslog: 0 emergency to 3 error, 4 warning, 5 notice to 7 debug.
Severity severity_of_number(unsigned number) {
  constexpr unsigned kError = 3;
  constexpr unsigned kWarning = 4;
  if (number <= kError) {
    return Severity::kError;
  }
  return number == kWarning ? Severity::kWarning : Severity::kInformation;
}

std::optional<Severity> severity_named(std::span<const SeverityWord> words, std::string_view name) {
  const auto found =
      std::find_if(words.begin(), words.end(), [name](const SeverityWord& known) { return known.word == name; });
  return found == words.end() ? std::nullopt : std::optional(found->severity);
}

std::string lowered(std::string_view text) {
  std::string copy(text);
  std::transform(copy.begin(), copy.end(), copy.begin(), lower);
  return copy;
}

}  // namespace

void set_level_by_words(LogLine& line, std::string_view text) {
  line.severity = Severity::kInformation;
  line.level_from = "no word of a fault";
  std::string word;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && is_letter(text[i])) {
      word += lower(text[i]);
      continue;
    }
    const std::optional<Severity> severity = severity_named(kWordsInTexts, word);
    if (severity && *severity > line.severity) {
      line.severity = *severity;
      line.level_from = fmt::format("the word '{}'", word);
    }
    word.clear();
  }
}

bool set_level_by_name(LogLine& line, std::string_view name) {
  constexpr unsigned kHighestNumber = 7;
  std::optional<Severity> severity = severity_named(kNamesOfLevels, lowered(name));
  const std::optional<unsigned> number = whole_number<unsigned>(name);
  if (number && *number <= kHighestNumber) {
    severity = severity_of_number(*number);
  }
  if (!severity) {
    return false;
  }
  line.severity = *severity;
  line.level_from = fmt::format("the level '{}'", name);
  return true;
}

void set_level_by_priority(LogLine& line, std::string_view priority) {
  constexpr unsigned kHighest = 191;
  constexpr unsigned kSeverities = 8;
  const std::optional<unsigned> number = whole_number<unsigned>(priority);
  if (!number || *number > kHighest) {
    throw Refusal(fmt::format("'{}' is not a syslog priority: 0 to {}", priority, kHighest));
  }
  line.severity = severity_of_number(*number % kSeverities);
  line.level_from = fmt::format("the priority {}", *number);
}

void set_level_by_status(LogLine& line, std::string_view status) {
  const char kind = status.empty() ? '0' : status.front();
  line.severity = kind == '5' ? Severity::kError : kind == '4' ? Severity::kWarning : Severity::kInformation;
  line.level_from = fmt::format("the status {}", status);
}

const char* const kLevelRules =
    "How a level is chosen: by --type; else by the priority, level or status that\n"
    "the line names (emergency to error: error; warning: warning; below: information;\n"
    "status 5xx: error, 4xx: warning); else by the worst word in its text ('error',\n"
    "'failed', 'fatal', 'panic', 'critical' and the like: error; 'warning', 'denied',\n"
    "'refused', 'invalid', 'timeout': warning). --dry-run shows which of them did.\n";

}  // namespace annalctl
