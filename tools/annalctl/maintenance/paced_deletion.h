// Deletes many entries in steps, each of which locks the log for a moment only: those that write come in between.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

class PacedDeletion {
 public:
  using Clock = std::chrono::steady_clock;

  // guard: what a row has to meet still when its turn has come. Its id alone may be another row's by then.
  PacedDeletion(Reader& reader, Query guard);

  // Deletes some of the rows, the first ones first, in one step, and then leaves the log alone for a while. Returns how
  // many of the ids it is through with: at least one.
  [[nodiscard]] std::size_t delete_first(std::span<const std::int64_t> ids);

  [[nodiscard]] std::int64_t deleted() const { return deleted_; }

 private:
  void learn_from(Clock::duration held);

  Reader& reader_;
  Query guard_;
  SqliteStatement statement_;
  std::size_t at_once_;
  std::int64_t deleted_ = 0;
};

// Deletes the rows that satisfy the conditions of a query, in the order of their ids, of those that are there now.
// deleted: how many are gone, also when it throws ReadFailure.
void delete_matching(Reader& reader, const Query& query, std::int64_t& deleted);

}  // namespace annalctl
