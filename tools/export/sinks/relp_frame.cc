// Formats frames, and takes complete ones off the received bytes, with limits on what a server may send.
#include "tools/export/sinks/relp_frame.h"

#include <fmt/format.h>

#include <charconv>
#include <cstddef>
#include <system_error>

namespace exporter::sinks {

namespace {

constexpr std::size_t kMostDigits = 9;
constexpr std::size_t kMostCommand = 32;
// A server's answers are short. More is not kept in memory for it.
constexpr std::size_t kMostData = 128UL * 1024;

[[noreturn]] void reject() {
  throw RelpError("what the receiver answers is not RELP");
}

// The word at a place, up to the blank that ends it, or for the last one a line end; nothing if that has not arrived.
std::optional<std::string_view> word_at(std::string_view text, std::size_t place, std::size_t most, bool last = false) {
  const std::size_t end = text.find_first_of(" \n", place);
  if ((end == std::string_view::npos ? text.size() : end) - place > most) {
    reject();
  }
  if (end == std::string_view::npos) {
    return {};
  }
  if (text[end] != ' ' && !last) {
    reject();
  }
  return text.substr(place, end - place);
}

int number_of(std::string_view word) {
  int number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size() || word.empty() || number < 0) {
    reject();
  }
  return number;
}

}  // namespace

std::string relp_frame(int number, std::string_view command, std::string_view data) {
  return data.empty() ? fmt::format("{} {} 0\n", number, command)
                      : fmt::format("{} {} {} {}\n", number, command, data.size(), data);
}

std::optional<RelpFrame> take_relp_frame(std::string& received) {
  const std::string_view text = received;
  const auto number = word_at(text, 0, kMostDigits);
  if (!number) {
    return {};
  }
  const int answers = number_of(*number);
  std::size_t place = number->size() + 1;
  const auto command = word_at(text, place, kMostCommand);
  if (!command) {
    return {};
  }
  place += command->size() + 1;
  const auto length_word = word_at(text, place, kMostDigits, true);
  if (!length_word) {
    return {};
  }
  const auto length = static_cast<std::size_t>(number_of(*length_word));
  place += length_word->size();
  if (length > kMostData) {
    reject();
  }
  if (length > 0) {
    if (text[place] != ' ') {
      reject();
    }
    ++place;
  } else if (text[place] == ' ') {  // some send a blank before no data
    ++place;
  }
  if (text.size() < place + length + 1) {
    return {};
  }
  if (text[place + length] != '\n') {
    reject();
  }
  RelpFrame frame{.number = answers, .command = std::string(*command), .data = std::string(text.substr(place, length))};
  received.erase(0, place + length + 1);
  return frame;
}

int relp_code(std::string_view data) {
  int code = 0;
  std::from_chars(data.data(), data.data() + data.size(), code);
  return code;
}

}  // namespace exporter::sinks
