#include <algorithm>
#include <array>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/formats.h"

namespace annalctl {

namespace {

// Later releases do the work in processes of another name.
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

// Where the server says from where. The name in front of it is whatever somebody typed, "x from 10.0.0.1 port 1 ssh2"
// too, and a key's description behind it may be of the same kind: with both there is no telling.
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
  LogIn log_in{accepted, text.substr(begin, from - begin), text.substr(from + kFrom.size())};
  log_in.address = log_in.address.substr(0, log_in.address.find(kPort));
  if (!accepted && log_in.user.starts_with(kInvalid)) {
    log_in.user.remove_prefix(kInvalid.size());
  }
  return log_in;
}

}  // namespace

std::optional<LogIn> log_in_of(const LogLine& line) {
  if (std::find(kPrograms.begin(), kPrograms.end(), line.program) == kPrograms.end()) {
    return {};
  }
  const std::string_view text = without_repetition(line.text);
  for (const Outcome& outcome : kOutcomes) {
    if (text.starts_with(outcome.begins)) {
      return parse_attempt(text, outcome.accepted);
    }
  }
  return {};
}

}  // namespace annalctl
