// Deletes many entries in steps that lock the log only for a moment, so that writers get in between.
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

  // guard: conditions that a row must still meet at its turn, when its id may belong to another row.
  PacedDeletion(Reader& reader, Query guard);

  // Deletes the first of the rows in one step, then leaves the log alone for a while. Returns how many ids it has
  // handled: at least one.
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

// Deletes the rows that meet a query's conditions and exist now, in the order of their ids. deleted: how many are gone,
// even if it throws ReadFailure.
void delete_matching(Reader& reader, const Query& query, std::int64_t& deleted);

}  // namespace annalctl
