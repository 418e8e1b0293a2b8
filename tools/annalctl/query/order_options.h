// The options that give a listing its order.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <span>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/query/query.h"

namespace annalctl {

// The orders that all logs have; one more is the other direction.
enum SortCode : unsigned {
  kOldestFirst = 0,
  kNewestFirst = 1,
  kHighestIdFirst = 13,
};

class OrderOptions {
 public:
  // The object is filled when the command line is read, and has to be there until then.
  void add_options(CLI::App& command, std::span<const Sort> sorts);

  [[nodiscard]] bool given() const { return sort_.has_value() || reverse_; }
  // The order asked for, or the usual one.
  [[nodiscard]] unsigned order(unsigned usual) const { return sort_.value_or(usual) ^ (reverse_ ? 1U : 0U); }

 private:
  std::vector<Choice> choices_;
  std::optional<unsigned> sort_;
  bool reverse_ = false;
};

}  // namespace annalctl
