// A row that outlives the page from which it was read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/output/output.h"

namespace annalctl {

class KeptRow {
 public:
  explicit KeptRow(Row values);

  // The pointers belong to this row.
  [[nodiscard]] std::vector<const char*> values() const;

  // Whether they are equal in the columns that both have: a migration adds columns after the existing ones.
  [[nodiscard]] bool agrees_with(const KeptRow& other) const;

 private:
  std::vector<std::optional<std::string>> values_;
};

}  // namespace annalctl
