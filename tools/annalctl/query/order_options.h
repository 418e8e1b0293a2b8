// The options for a listing's order.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/query/query.h"

namespace annalctl {

// The orders that all logs have; the code plus one is the reverse.
enum SortCode : unsigned {
  kOldestFirst = 0,
  kNewestFirst = 1,
  kHighestIdFirst = 13,
};

class OrderOptions {
 public:
  // Parsing the command line fills the object, which must exist until then.
  void add_options(CLI::App& command, std::span<const Sort> sorts);

  [[nodiscard]] bool given() const { return sort_.has_value() || reverse_; }
  // The order that the user chose, or the usual one.
  [[nodiscard]] unsigned order(unsigned usual) const { return sort_.value_or(usual) ^ (reverse_ ? 1U : 0U); }

 private:
  std::vector<Choice> choices_;
  std::optional<unsigned> sort_;
  bool reverse_ = false;
};

}  // namespace annalctl
