// Two ways of doing the same work, taken in turn, and the lines of the table that come of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace annal::bench {

// What a call has answered: its result, and the rows it has delivered. Rows are hashed when the sides are compared, and
// only counted while they are measured.
struct Answer {
  std::int64_t result = 0;
  std::uint64_t rows = 0;
  bool hashing = false;

  bool operator==(const Answer&) const = default;
};

// The callback of every listing; the context is the Answer.
int take_row(void* context, int columns, char** values, char** names);

std::uint64_t hash(std::uint64_t seed, const char* text);

// One side's call in a round. Rounds count from 0, and both sides get the same.
using Side = std::function<void(int round, Answer& answer)>;

struct Work {
  Side ours;
  Side theirs;
  std::function<void()> before_round = [] {};
};

// What a ratio is of. Where both sides run in this very thread and wait for nothing, the processor's time is the same
// as the clock's on a machine that does nothing else, and says the same on one that does.
enum class Ratio { kOfClock, kOfProcessor };

struct Budget {
  double seconds;
  int fewest = 5;
  int most = 2000;
  Ratio ratio = Ratio::kOfClock;
};

struct Summary {
  double p50;
  double p99;
  double max;
};

[[nodiscard]] Summary summary_of(std::vector<double> values);
[[nodiscard]] double median(std::vector<double> values);

// Microseconds by the clock, round by round.
struct Pairs {
  std::vector<double> ours{};
  std::vector<double> theirs{};
  bool same = true;              // whether every round's answers agreed
  std::vector<double> ratios{};  // of the rounds, where they are not those of the times

  // The median of the rounds' own ratios: what disturbs a round disturbs both of its sides.
  [[nodiscard]] double ratio() const;
};

// Round 0 compares the rows and is not measured. Each further round changes which side goes first.
[[nodiscard]] Pairs alternate(const Work& work, const Budget& budget);

[[nodiscard]] double microseconds(const std::function<void()>& work);

// ---- the tables, whose heads run.sh prints ----

// One line of times. Returns whether both sides did the same work; a line for which they did not says so.
bool print_line(const std::string& what, const Pairs& pairs);

// One line of counts, which are the same in every round.
void print_counts(const std::string& what, double ours, double theirs);

// 123.4, 12 345: three significant digits or all before the point.
[[nodiscard]] std::string amount(double value);

// Says on standard error what is being done, and ends the program when it cannot be.
void progress(const std::string& what);
[[noreturn]] void give_up(const std::string& what);

}  // namespace annal::bench
