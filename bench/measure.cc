// Times two ways of doing the same work in alternating rounds and prints a line of the results.
#include "bench/measure.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace annal::bench {

namespace {

double percentile(std::vector<double>& values, double share) {
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

}  // namespace

std::uint64_t hash(std::uint64_t seed, const char* text) {
  constexpr std::uint64_t kPrime = 1099511628211U;
  for (; *text != '\0'; ++text) {
    seed = (seed ^ static_cast<unsigned char>(*text)) * kPrime;
  }
  return (seed ^ 0xFFU) * kPrime;
}

int take_row(void* context, int columns, char** values, char** /*names*/) {
  Answer& answer = *static_cast<Answer*>(context);
  if (!answer.hashing) {
    ++answer.rows;
    return 0;
  }
  for (int i = 0; i < columns; ++i) {
    answer.rows = hash(answer.rows, values[i] != nullptr ? values[i] : "\x01");
  }
  return 0;
}

Summary summary_of(std::vector<double> values) {
  return {percentile(values, 0.5), percentile(values, 0.99), *std::max_element(values.begin(), values.end())};
}

double median(std::vector<double> values) {
  return percentile(values, 0.5);
}

double Pairs::ratio() const {
  if (!ratios.empty()) {
    return median(ratios);
  }
  std::vector<double> of_times;
  for (std::size_t i = 0; i < ours.size(); ++i) {
    of_times.push_back(ours[i] / theirs[i]);
  }
  return median(of_times);
}

double processor_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double microseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

Pairs alternate(const Work& work, const Budget& budget) {
  Pairs pairs;
  double spent = 0;
  for (int round = 0; round <= budget.fewest || (round <= budget.most && spent < budget.seconds * 1e6); ++round) {
    work.before_round();
    Answer ours{.hashing = round == 0};
    Answer theirs{.hashing = round == 0};
    double times[2] = {};
    double processor[2] = {};
    for (int turn = 0; turn < 2; ++turn) {
      const double before = processor_microseconds();
      if ((turn + round) % 2 == 0) {
        times[0] = microseconds([&] { work.ours(round, ours); });
      } else {
        times[1] = microseconds([&] { work.theirs(round, theirs); });
      }
      processor[(turn + round) % 2] = processor_microseconds() - before;
    }
    pairs.same = pairs.same && ours == theirs;
    spent += times[0] + times[1];
    if (round > 0) {
      pairs.ours.push_back(times[0]);
      pairs.theirs.push_back(times[1]);
      if (budget.ratio == Ratio::kOfProcessor) {
        pairs.ratios.push_back(processor[0] / processor[1]);
      }
    }
  }
  return pairs;
}

std::string amount(double value) {
  if (value < 9.995) {
    return fmt::format("{:.2f}", value);
  }
  return value < 99.95 ? fmt::format("{:.1f}", value) : fmt::format("{:.0f}", value);
}

bool print_line(const std::string& what, const Pairs& pairs) {
  const Summary ours = summary_of(pairs.ours);
  const Summary theirs = summary_of(pairs.theirs);
  fmt::print("| {:44} | {:>8} | {:>8} | {:>8} | {:>8} | {:>8} | {:>8} | {:>6.3f} |\n",
             what + (pairs.same ? "" : " **different work**"), amount(ours.p50), amount(ours.p99), amount(ours.max),
             amount(theirs.p50), amount(theirs.p99), amount(theirs.max), pairs.ratio());
  std::fflush(stdout);
  return pairs.same;
}

void print_counts(const std::string& what, double ours, double theirs) {
  fmt::print("| {:44} | {:>8} | {:>8} | {:>6.3f} |\n", what, amount(ours), amount(theirs), ours / theirs);
  std::fflush(stdout);
}

void progress(const std::string& what) {
  fmt::print(stderr, "  {}\n", what);
}

void run_program(const char* program, Answer& answer) {
  std::string name = program;
  char* const argv[] = {name.data(), nullptr};
  pid_t child = 0;
  int status = 0;
  if (posix_spawn(&child, program, nullptr, nullptr, argv, environ) != 0 || waitpid(child, &status, 0) != child) {
    give_up(program);
  }
  answer.result = status;
}

void give_up(const std::string& what) {
  fmt::print(stderr, "bench: {}{}{}\n", what, errno != 0 ? ": " : "", errno != 0 ? std::strerror(errno) : "");
  std::_Exit(EXIT_FAILURE);
}

}  // namespace annal::bench
