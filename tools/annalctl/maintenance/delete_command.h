// Deleting entries: those whose column equals a value, by the library, and those that any of a list's conditions find.
#pragma once

#include <CLI/CLI.hpp>
#include <span>
#include <string>
#include <variant>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl {

// As the library takes it: by the address of an int, or as a text.
using DeleteValue = std::variant<int, std::string>;

struct DeleteOption {
  unsigned code;
  const char* option;
  const char* what;  // completes "Entries of this …"; null: the library cannot delete by it
  DeleteValue (*read)(const std::string& text);  // throws Refusal
  const char* form;                              // of the value, for the help
  const char* column;                            // that the value is compared with
  // What it is compared with when that is neither the number nor the text itself.
  Condition::Value (*compared)(const std::string& text) = nullptr;
  std::optional<Named> names{};  // it takes these names, too
};

struct DeleteCommand {
  const QueryCommands& queries;  // whose conditions it takes, too
  std::span<const DeleteOption> selectors;
  int (*run)(unsigned selector, const void* value) noexcept;
  const char* examples;
};

// The command keeps the reference.
void add_delete_command(CLI::App& commands, Session& session, const DeleteCommand& deletion);

[[nodiscard]] DeleteValue read_number(const std::string& text);
[[nodiscard]] DeleteValue read_text(const std::string& text);
[[nodiscard]] DeleteValue read_level(const std::string& name);

// For a text that becomes part of a statement as it is, where a quote would end it and the rest would be executed.
[[nodiscard]] DeleteValue read_text_without_quote(const std::string& text);

}  // namespace annalctl
