// Fills a line from named parts, and looks in its text for an address and a user.
#include "tools/annalctl/import/line_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "Corix_annal.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/line_level.h"
#include "tools/annalctl/import/line_times.h"

namespace annalctl {

struct FieldSetters {
  struct Field {
    std::string_view name;
    std::string LogLine::*text;  // null: not just a text
    void (*set)(LineFields& fields, std::string_view text);
  };

  static void set_time(LineFields& fields, std::string_view text) {
    const std::optional<std::int64_t> seconds = line_time(text, fields.now_, fields.time_format_);
    if (!seconds) {
      throw Refusal(fmt::format("'{}' is not a time that exists", text));
    }
    fields.line_.time = *seconds;
    fields.timed_ = true;
  }

  static void set_address(LineFields& fields, std::string_view text) {
    std::string copy(text);
    // A client may have a name, which stays in the message: the field takes addresses only.
    if (annal_checkip(copy.data()) == ANNAL_OK) {
      fields.line_.address = text;
    }
  }

  static void set_level(LineFields& fields, std::string_view text) {
    fields.levelled_ = set_level_by_name(fields.line_, text) || fields.levelled_;
  }

  static void set_priority(LineFields& fields, std::string_view text) {
    set_level_by_priority(fields.line_, text);
    fields.levelled_ = true;
  }

  static void set_status(LineFields& fields, std::string_view text) {
    set_level_by_status(fields.line_, text);
    fields.levelled_ = true;
  }

  static constexpr std::array kFields{
      Field{"time", nullptr, set_time},
      Field{"host", &LogLine::host, nullptr},
      Field{"program", &LogLine::program, nullptr},
      Field{"pid", &LogLine::process, nullptr},
      Field{"category", &LogLine::category, nullptr},
      Field{"user", &LogLine::user, nullptr},
      Field{"ip", nullptr, set_address},
      Field{"level", nullptr, set_level},
      Field{"priority", nullptr, set_priority},
      Field{"status", nullptr, set_status},
      Field{"agent", &LogLine::agent, nullptr},
      Field{"message", &LogLine::text, nullptr},
  };

  static const Field* find(std::string_view name) {
    const auto* const found =
        std::find_if(kFields.begin(), kFields.end(), [name](const Field& field) { return field.name == name; });
    return found == kFields.end() ? nullptr : found;
  }
};

namespace {

// The word after the first mark at the start of a word, ignoring case.
std::string_view word_after(std::string_view text, std::string_view mark) {
  const auto same = [](char left, char right) { return lower(left) == right; };
  for (const auto* from = text.begin();;) {
    const auto* const found = std::search(from, text.end(), mark.begin(), mark.end(), same);
    if (found == text.end()) {
      return {};
    }
    const auto place = static_cast<std::size_t>(found - text.begin());
    if (place == 0 || !is_letter(text[place - 1])) {
      const std::string_view rest = text.substr(place + mark.size());
      return rest.substr(0, rest.find_first_of(" ,;()[]\"'\t"));
    }
    from = found + 1;
  }
}

}  // namespace

std::string_view address_in(std::string_view text) {
  for (const std::string_view mark : {"rhost=", "from ", "addr=", "client: "}) {
    const std::string_view word = word_after(text, mark);
    std::string copy(word);
    if (!word.empty() && annal_checkip(copy.data()) == ANNAL_OK) {
      return word;
    }
  }
  return {};
}

std::string_view user_in(std::string_view text) {
  for (const std::string_view mark :
       {"user=", "invalid user ", "password for ", "publickey for ", "for user ", "acct=\""}) {
    const std::string_view word = word_after(text, mark);
    if (!word.empty()) {
      return word;
    }
  }
  return {};
}

bool LineFields::knows(std::string_view name) {
  return FieldSetters::find(name) != nullptr;
}

void LineFields::set(std::string_view name, std::string_view text) {
  const FieldSetters::Field* const field = FieldSetters::find(name);
  if (field == nullptr) {
    throw Refusal(fmt::format("'{}' is not a part of a line: {}", name, names_of_line_fields()));
  }
  if (text.empty() || (text == "-" && name != "message")) {
    return;
  }
  if (field->text != nullptr) {
    line_.*field->text = text;
  } else {
    field->set(*this, text);
  }
}

LogLine LineFields::finish() {
  if (!timed_) {
    line_.time = now_;
  }
  if (!levelled_) {
    set_level_by_words(line_, line_.text);
  }
  if (line_.address.empty()) {
    line_.address = address_in(line_.text);
  }
  if (line_.user.empty()) {
    line_.user = user_in(line_.text);
  }
  return std::exchange(line_, {});
}

std::string names_of_line_fields() {
  std::string names;
  for (const FieldSetters::Field& field : FieldSetters::kFields) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", field.name);
  }
  return names;
}

}  // namespace annalctl
