// Deleting entries: by the library if a column equals a value, and otherwise those that a list's conditions find.
#pragma once

#include <span>
#include <string>
#include <variant>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl {

// In the library's form: the address of an int, or a text.
using DeleteValue = std::variant<int, std::string>;

struct DeleteOption {
  unsigned code;
  const char* option;
  const char* what;  // completes "Entries of this …"; null: the library cannot delete by it
  DeleteValue (*read)(const std::string& text);  // throws Refusal
  const char* form;                              // of the value, for the help
  const char* column;                            // that the value is compared with
  // The compared value, if that is neither the number nor the text itself.
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

// For a text that the library puts unescaped into a statement: SQLite would run what follows a quote.
[[nodiscard]] DeleteValue read_text_without_quote(const std::string& text);

}  // namespace annalctl
