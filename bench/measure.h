// Times two ways of doing the same work in alternating rounds and prints the lines of the result tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace annal::bench {

// A call's result and the rows that it delivered. Rows are hashed when the sides are compared, and only counted during
// measurement.
struct Answer {
  std::int64_t result = 0;
  std::uint64_t rows = 0;
  bool hashing = false;

  bool operator==(const Answer&) const = default;
};

// The callback of every listing; the context is the Answer.
int take_row(void* context, int columns, char** values, char** names);

std::uint64_t hash(std::uint64_t seed, const char* text);

// One side's call in a round. Rounds count from 0; both sides get the same number.
using Side = std::function<void(int round, Answer& answer)>;

struct Work {
  Side ours;
  Side theirs;
  std::function<void()> before_round = [] {};
};

// What a ratio compares. If both sides run in this thread and never wait, processor time equals clock time on an idle
// machine and stays the same on a busy one.
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

// Clock time in microseconds, one value a round.
struct Pairs {
  std::vector<double> ours{};
  std::vector<double> theirs{};
  bool same = true;              // whether every round's answers agreed
  std::vector<double> ratios{};  // of each round, if not computed from the times

  // The median of the rounds' ratios: a disturbance affects both sides of a round.
  [[nodiscard]] double ratio() const;
};

// Round 0 compares the rows and is not measured. After it, the sides alternate in going first.
[[nodiscard]] Pairs alternate(const Work& work, const Budget& budget);

[[nodiscard]] double microseconds(const std::function<void()>& work);

// Runs a program to its end; the result is its wait status.
void run_program(const char* program, Answer& answer);

// ---- the tables; run.sh prints their heads ----

// Prints a line of times. Returns whether both sides did the same work; if they did not, the line says so.
bool print_line(const std::string& what, const Pairs& pairs);

// Prints a line of counts, which are the same in every round.
void print_counts(const std::string& what, double ours, double theirs);

// Formats as 123.4 or 12 345: three significant digits, or all before the point.
[[nodiscard]] std::string amount(double value);

// Reports a step on standard error; exits if the step fails.
void progress(const std::string& what);
[[noreturn]] void give_up(const std::string& what);

}  // namespace annal::bench
