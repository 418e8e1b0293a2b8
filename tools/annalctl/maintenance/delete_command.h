// Deleting the entries of a log whose column equals a value.
#pragma once

#include <CLI/CLI.hpp>
#include <span>
#include <string>
#include <variant>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// As the library takes it: by the address of an int, or as a text.
using DeleteValue = std::variant<int, std::string>;

struct DeleteOption {
  unsigned code;
  const char* option;
  const char* what;  // completes "Entries of this …"; null: understood, but not shown in the help
  DeleteValue (*read)(const std::string& text);  // throws Refusal
  const char* form;                              // of the value, for the help
};

struct DeleteCommand {
  const Log& log;
  std::span<const DeleteOption> selectors;
  int (*run)(unsigned selector, const void* value) noexcept;
  const char* footer;
};

// The command keeps the reference.
void add_delete_command(CLI::App& commands, Session& session, const DeleteCommand& deletion);

[[nodiscard]] DeleteValue read_number(const std::string& text);
[[nodiscard]] DeleteValue read_text(const std::string& text);
[[nodiscard]] DeleteValue read_level(const std::string& name);

// For a text that becomes part of a statement as it is, where a quote would end it and the rest would be executed.
[[nodiscard]] DeleteValue read_text_without_quote(const std::string& text);

}  // namespace annalctl
