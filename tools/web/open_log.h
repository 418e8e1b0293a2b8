// A log that is open for reading alone.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/query/reader.h"
#include "tools/web/parts.h"
#include "tools/web/selection.h"

namespace annal_web {

struct OpenLog {
  const Part* part = nullptr;
  std::vector<annalctl::Condition> conditions;
  std::unique_ptr<annalctl::Reader> reader{};  // null: see obstacle
  std::string obstacle{};
  bool was_read = false;  // it has been closed since
  bool missing = false;   // it has not been created yet, which is no fault

  [[nodiscard]] bool readable() const { return reader != nullptr; }
};

// Opens those of a selection. What cannot be opened says why.
[[nodiscard]] std::vector<OpenLog> open_logs(const Selection& selection);

// Why it cannot be read, for a page that says nothing else.
[[nodiscard]] std::string sentence_about(const OpenLog& log);

// Closes a log that could not be read on.
void give_up(OpenLog& log, const std::string& doing, const annalctl::ReadFailure& failure);

// A reader that may not write cannot tell a change that is just being finished from one that was cut off. The first is
// over in a moment, so it asks again.
[[nodiscard]] bool may_be_over_in_a_moment(const annalctl::ReadFailure& failure, int attempts);

template <typename Work>
auto patiently(Work work) {
  for (int attempts = 1;; ++attempts) {
    try {
      return work();
    } catch (const annalctl::ReadFailure& failure) {
      if (!may_be_over_in_a_moment(failure, attempts)) {
        throw;
      }
    }
  }
}

}  // namespace annal_web
