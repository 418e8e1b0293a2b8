// Frames of RELP: "NUMBER COMMAND LENGTH DATA\n". The client numbers its commands, and the server's answers to them
// have the same numbers.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace exporter::sinks {

struct RelpFrame {
  int number;
  std::string command;
  std::string data;
};

inline constexpr int kRelpLastNumber = 999999999;  // the next one is 1

[[nodiscard]] std::string relp_frame(int number, std::string_view command, std::string_view data);

class RelpError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Takes the first whole frame out of what was received; nothing if it is not complete yet. Throws RelpError if the
// bytes cannot be the beginning of one.
[[nodiscard]] std::optional<RelpFrame> take_relp_frame(std::string& received);

// The code that an answer's data begins with, such as 200; 0 if there is none.
[[nodiscard]] int relp_code(std::string_view data);

}  // namespace exporter::sinks
