// Copies texts into the fixed fields of a record, and refuses those that do not fit.
#include "tools/annalctl/arguments/fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "Corix_annal.h"
#include "platform/platform.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/standard_input.h"

namespace annalctl {

namespace {

constexpr std::string_view kAbsent = "---";

}  // namespace

void set_text(void* record, const TextField& field, std::string_view text) {
  const bool is_address = field.kind == FieldKind::kAddress;
  if (is_address && (text.empty() || text == kAbsent)) {
    return;
  }
  if (text.size() > field.bound) {
    throw Refusal(fmt::format("the {} is {} bytes long, and at most {} fit", field.label, text.size(), field.bound));
  }
  if (text.find('\0') != std::string_view::npos) {
    throw Refusal(fmt::format("the {} holds a NUL character", field.label));
  }
  char* const to = static_cast<char*>(record) + field.offset;
  std::memset(to, 0, field.bound + 1);
  text.copy(to, text.size());
  if (field.kind == FieldKind::kMessage) {
    std::replace_if(
        to, to + text.size(), [](char c) { return c == '\t' || c == '\n'; }, ' ');
  }
  if (is_address) {
    require_address(text);
  }
}

void take_standard_input(std::span<const TextField> fields, std::span<std::string> texts) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (*fields[i].option != '-') {
      take_standard_input(texts[i]);
    }
  }
}

std::string stored_text(const void* record, const TextField& field) {
  std::string text = static_cast<const char*>(record) + field.offset;
  if (field.kind == FieldKind::kAddress) {
    // Takes the prefix off an IPv4 address in IPv6's form.
    const bool address = annal_checkip(text.data()) == ANNAL_OK;
    text.resize(address ? std::strlen(text.c_str()) : 0);
  }
  if (field.kind == FieldKind::kMessage) {
    static_cast<void>(Skip_Unicode_Control_Characters(text.data()));
    text.resize(std::strlen(text.c_str()));
    return text;
  }
  return text.empty() ? field.absent : text;
}

void require_address(std::string_view text) {
  std::string copy(text);
  if (annal_checkip(copy.data()) != ANNAL_OK) {
    throw Refusal(fmt::format("'{}' is not an IPv4 or IPv6 address", text));
  }
}

const TextField* find_field(std::span<const TextField> fields, std::string_view column) {
  const auto found =
      std::find_if(fields.begin(), fields.end(), [column](const TextField& field) { return field.column == column; });
  return found == fields.end() ? nullptr : &*found;
}

}  // namespace annalctl
