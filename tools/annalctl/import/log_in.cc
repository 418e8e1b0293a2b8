// Recognizes log-ins in the lines of OpenSSH's server, PAM, su and sudo.
//
// Names come from whoever tries to log in, so a name may itself look like part of such a line. The address is taken
// from the text that the server writes after the name, and a line that can be read in two ways is refused.
#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/regex.h"
#include "tools/annalctl/import/formats.h"

namespace annalctl {

namespace {

// Later releases work in processes with other names.
constexpr std::array<std::string_view, 3> kPrograms{"sshd", "sshd-session", "sshd-auth"};

struct Outcome {
  std::string_view begins;  // followed by the method, "for" and the user
  bool accepted;
};

constexpr std::array kOutcomes{Outcome{"Accepted ", true}, Outcome{"Failed ", false}};

constexpr std::string_view kFor = " for ";
constexpr std::string_view kInvalid = "invalid user ";
constexpr std::string_view kFrom = " from ";
constexpr std::string_view kPort = " port ";

// "message repeated 2 times: [ … ]" is what a syslog daemon makes of lines that are the same.
std::string_view without_repetition(std::string_view text) {
  constexpr std::string_view kRepeated = "message repeated ";
  constexpr std::string_view kOpen = " times: [ ";
  const std::size_t open = text.find(kOpen);
  if (!text.starts_with(kRepeated) || open == std::string_view::npos || !text.ends_with(']')) {
    return text;
  }
  text.remove_suffix(1);
  return text.substr(open + kOpen.size());
}

// Whether a text is "ADDRESS port N ssh2" and nothing more.
bool is_origin(std::string_view text) {
  constexpr std::string_view kProtocol = " ssh2";
  const std::size_t port = text.find(kPort);
  if (port == std::string_view::npos || !text.ends_with(kProtocol)) {
    return false;
  }
  text.remove_suffix(kProtocol.size());
  const std::string_view digits = text.substr(std::min(port + kPort.size(), text.size()));
  return !digits.empty() && std::all_of(digits.begin(), digits.end(), is_digit);
}

// Where the server states the address. The name before it is whatever a client sent, perhaps "x from 10.0.0.1 port 1
// ssh2", and a key's description after it may look the same: with both, the line is ambiguous.
std::size_t find_origin(std::string_view text) {
  const std::size_t last = text.rfind(kFrom);
  if (last == std::string_view::npos) {
    throw Refusal("it does not say from where somebody wanted to log in");
  }
  if (!is_origin(text.substr(last + kFrom.size())) && text.find(kFrom) != last) {
    throw Refusal("it names more than one place to log in from");
  }
  return last;
}

// "METHOD for [invalid user ]NAME from ADDRESS port N ssh2[: KEY]"
LogIn parse_attempt(std::string_view text, bool accepted) {
  const std::size_t from = find_origin(text);
  const std::size_t name = text.find(kFor);
  if (name == std::string_view::npos || name + kFor.size() > from + 1) {
    throw Refusal("it does not say who wanted to log in");
  }
  const std::size_t begin = std::min(name + kFor.size(), from);
  std::string_view user = text.substr(begin, from - begin);
  const std::string_view origin = text.substr(from + kFrom.size());
  if (!accepted && user.starts_with(kInvalid)) {
    user.remove_prefix(kInvalid.size());
  }
  const std::string_view address = origin.substr(0, origin.find(kPort));
  if (address.empty()) {
    throw Refusal("it does not say from where somebody wanted to log in");
  }
  return {accepted, std::string(user), std::string(address)};
}

bool is_sshd(const LogLine& line) {
  return std::find(kPrograms.begin(), kPrograms.end(), line.program) != kPrograms.end();
}

std::optional<LogIn> log_in_by_ssh(const LogLine& line) {
  const std::string_view text = without_repetition(line.text);
  for (const Outcome& outcome : kOutcomes) {
    if (text.starts_with(outcome.begins)) {
      return parse_attempt(text, outcome.accepted);
    }
  }
  return {};
}

// The texts of the others, and their program; null: any that uses PAM.
struct Form {
  const char* program;
  bool accepted;
  const char* pattern;  // its groups: user, host
};

constexpr std::array kForms{
    Form{"su", true, R"(^Successful su for \S+ by (?P<user>\S+)$)"},
    Form{"su", true, R"(^\(to \S+\) (?P<user>\S+) on \S+$)"},
    Form{"su", false, R"(^FAILED (?:su for \S+ by|SU \(to \S+\)) (?P<user>\S+))"},
    Form{"sudo", false,
         R"(^ *(?P<user>\S+) : (?:\d+ incorrect password attempts?|user NOT in sudoers|command not allowed) ; )"},
    Form{"sudo", true, R"(^ *(?P<user>\S+) : (?:\w+=[^;]*; )*COMMAND=)"},
    Form{nullptr, false,
         R"(^(?:pam_\w+\([^)]*\): )?authentication failure; .*\brhost=(?P<host>\S*)(?: +user=(?P<user>\S+))?)"},
};

const Regex& expression_of(std::size_t form) {
  static const std::vector<Regex> expressions = [] {
    std::vector<Regex> all;
    all.reserve(kForms.size());
    for (const Form& one : kForms) {
      all.emplace_back(one.pattern, Regex::Letters::kAsTheyAre, Regex::Text::kBytes);
    }
    return all;
  }();
  return expressions[form];
}

bool is_address(std::string_view text) {
  std::string copy(text);
  return annal_checkip(copy.data()) == ANNAL_OK;
}

std::optional<LogIn> log_in_by_form(const LogLine& line) {
  std::vector<std::string_view> groups;
  for (std::size_t i = 0; i < kForms.size(); ++i) {
    const Form& form = kForms.at(i);
    if ((form.program != nullptr && line.program != form.program) || !expression_of(i).find_groups(line.text, groups)) {
      continue;
    }
    LogIn log_in{form.accepted, {}, {}};
    for (std::size_t group = 0; group < groups.size(); ++group) {
      (expression_of(i).names()[group] == "user" ? log_in.user : log_in.address) = groups[group];
    }
    // The log takes addresses, not host names.
    return log_in.address.empty() || is_address(log_in.address) ? std::optional(log_in) : std::nullopt;
  }
  return {};
}

}  // namespace

std::optional<LogIn> log_in_of(const LogLine& line) {
  // If PAM's module is in the text and not in the tag, the server's own line about the same attempt is in this log,
  // too. Older systems keep that line in another log.
  return is_sshd(line) && line.category.empty() ? log_in_by_ssh(line) : log_in_by_form(line);
}

}  // namespace annalctl
