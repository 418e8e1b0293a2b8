// A row that outlives the page that it was read in.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/output/output.h"

namespace annalctl {

class KeptRow {
 public:
  explicit KeptRow(Row values);

  // The pointers are the row's own.
  [[nodiscard]] std::vector<const char*> values() const;

  // Whether both are the same as far as both go: a migration adds columns behind those that are there.
  [[nodiscard]] bool agrees_with(const KeptRow& other) const;

 private:
  std::vector<std::optional<std::string>> values_;
};

}  // namespace annalctl
