// Counts the entries that a call of the library deletes, which the library does not tell.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/log/number_of.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// Counts the rows changed on every connection that is opened and closed while it exists. One at a time.
class CountedChanges {
 public:
  CountedChanges();
  ~CountedChanges();
  CountedChanges(const CountedChanges&) = delete;
  CountedChanges& operator=(const CountedChanges&) = delete;

  [[nodiscard]] std::int64_t rows() const { return rows_; }

 private:
  struct Hooks;

  std::int64_t rows_ = 0;
};

// Says how many entries a command has deleted or would delete.
enum class Deed { kDone, kOnlyLooked };
void say_deleted(std::int64_t count, const Log& log, Deed deed, Session& session);

// The command that deletes, for programs that record deletions.
struct DeletingVerb {
  const char* name;
  bool deletes_all = false;
};

// Has the library delete, says how many it deleted, and returns the exit status.
[[nodiscard]] int delete_and_say(const Call& call, DeletingVerb verb, Session& session,
                                 const std::function<int()>& call_library);

// Adds "--dry-run".
void add_dry_run(CLI::App& command, bool& dry_run);

}  // namespace annalctl
