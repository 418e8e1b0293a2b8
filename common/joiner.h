// Joining the filters of a statement: WHERE before the first that is there, AND before every further one.
#pragma once

namespace annal {

// Whether a filter, once placed, makes the next one a further one. All do, but for one that never has; the statements
// it spoils are refused by SQLite, and callers have learnt not to combine it.
enum class Counts { kYes, kNo };

struct Clause {
  const char* first;    // format in the place of the first filter
  const char* further;  // format behind another filter
  Counts counts;
};

class Joiner {
 public:
  // The format of the next filter that is there. Filters that are absent are not shown to the joiner at all.
  [[nodiscard]] const char* next(const Clause& clause) noexcept {
    const char* format = placed_ ? clause.further : clause.first;
    placed_ = placed_ || clause.counts == Counts::kYes;
    return format;
  }

 private:
  bool placed_ = false;
};

}  // namespace annal
