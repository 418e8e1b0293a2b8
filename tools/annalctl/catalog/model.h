// The message catalog as data: its applications, their rows, and what fills a template.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl::catalog {

struct Application {
  const char* id;
  std::span<const CatalogEntry> rows;  // without the blank one and the terminator
};

extern const std::span<const Application> kApplications;
extern const std::span<const Choice> kLevels;

// A row's level for people.
[[nodiscard]] TableCell level_cell(const char* level);

// The name that an application's messages begin with.
[[nodiscard]] std::string name_of(const Application& application);

[[nodiscard]] bool is_phrase(const CatalogEntry& entry);

// The application or row with this name; Refusal if there is none.
[[nodiscard]] const Application& require_application(const std::string& id);
[[nodiscard]] const CatalogEntry& require_entry(const Application& application, const std::string& number);

// The template with the n-th value in place of each {n}, and phrases in place of their tokens. Refusal when the values
// are too few or too many.
[[nodiscard]] std::string filled(const Application& application, const CatalogEntry& entry,
                                 std::span<const std::string> values);

}  // namespace annalctl::catalog
