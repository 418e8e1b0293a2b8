// Joins the filters of a statement: WHERE before the first one present, AND before each further one.
#pragma once

namespace annal {

// How placing a filter affects the one that follows. One filter has never had an effect; SQLite refuses the statements
// that it spoils, and callers have learned not to combine it.
enum class Following { kTakesAnd, kUnaffected };

struct Clause {
  const char* first;    // format if this is the first filter
  const char* further;  // format after another filter
  Following following;
};

class Joiner {
 public:
  // The format of the next filter that is present. The joiner never sees absent filters.
  [[nodiscard]] const char* next(const Clause& clause) noexcept {
    const char* format = placed_ ? clause.further : clause.first;
    placed_ = placed_ || clause.following == Following::kTakesAnd;
    return format;
  }

 private:
  bool placed_ = false;
};

}  // namespace annal
