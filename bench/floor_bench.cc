// Compares every call of the library with the same statements run by bare SQLite, on logs of different sizes, in time
// and in instructions as callgrind counts them. Starts no consumer (quiet.cc). Run it on a private appliance.
#include <fmt/format.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/instructions.h"
#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

constexpr int kRoom = 100000;  // the limit of an empty log
constexpr int kMostWrites = 400;

// An empty log stays below its limit; any other is full, so adding an entry deletes the oldest.
void make(const LogUnderTest& log, int rows) {
  make_log(log, rows, rows > 0 ? rows : kRoom, 1);
}

std::string title(const LogUnderTest& log, const Call& call, int rows) {
  return fmt::format("{} {}, {} rows", log.name, call.name, rows);
}

// Compares both sides' statements word for word.
void expect_same_statements(const LogUnderTest& log, const Call& call) {
  const auto traced = [](const Side& side) {
    return statements_of([&side] {
      Answer answer;
      side(0, answer);
    });
  };
  const auto ours = traced(call.ours);
  const auto theirs = traced(call.theirs);
  if (ours != theirs) {
    fmt::print(stderr, "{} {}:\n", log.name, call.name);
    for (const auto* statements : {&ours, &theirs}) {
      for (const std::string& statement : *statements) {
        fmt::print(stderr, "  {}{}\n", statements == &ours ? "library: " : "floor:   ", statement.substr(0, 700));
      }
    }
    give_up("the two sides run different statements");
  }
}

// A batch scans the whole log for each of its entries, which takes minutes in a full log.
bool is_batch(const Call& call) {
  return std::strstr(call.name, "batch") != nullptr;
}

bool measure(const LogUnderTest& log, int rows, double seconds) {
  bool same = true;
  make(log, rows);
  for (const Call& call : log.calls(rows)) {
    const bool batch = is_batch(call);
    if (batch) {
      make_log(log, rows, rows + 1000000, 1);
    }
    Work work{call.ours, call.theirs};
    if (rows == 0 && call.writes) {
      work.before_round = [&log] {
        execute(log.path, fmt::format("DELETE FROM {}", log.table));
        execute(log.floor_path, fmt::format("DELETE FROM {}", log.table));
      };
    }
    Pairs pairs = alternate(
        work,
        {.seconds = seconds, .fewest = 11, .most = call.writes ? kMostWrites : 2000, .ratio = Ratio::kOfProcessor});
    pairs.same = pairs.same && (!call.writes || contents(log, log.path) == contents(log, log.floor_path));
    same = print_line(title(log, call, rows), pairs) && same;
    if (batch) {
      make(log, rows);
    }
  }
  return same;
}

// ---- instructions ----

std::vector<Call> counted_calls(const LogUnderTest& log, int rows) {
  std::vector<Call> calls = log.calls(rows);
  if (rows > 0) {
    std::erase_if(calls, is_batch);
  }
  return calls;
}

// Runs in the child under callgrind. Each call first runs uncounted, because its first run pays for symbol lookup.
int count_calls(bool ours, int rows) {
  for (const LogUnderTest& log : logs()) {
    for (const Call& call : counted_calls(log, rows)) {
      const Side& side = ours ? call.ours : call.theirs;
      Answer answer;
      side(0, answer);
      count_call(side);
    }
  }
  return EXIT_SUCCESS;
}

std::vector<double> instructions(const char* program, bool ours, int rows) {
  return counted_by(fmt::format("{} --calls {} {}", program, ours ? "ours" : "theirs", rows));
}

void compare_instructions(const char* program, int rows) {
  for (const LogUnderTest& log : logs()) {
    make(log, rows);
  }
  const std::vector<double> ours = instructions(program, true, rows);
  const std::vector<double> theirs = instructions(program, false, rows);
  std::size_t at = 0;
  for (const LogUnderTest& log : logs()) {
    for (const Call& call : counted_calls(log, rows)) {
      if (at >= ours.size() || at >= theirs.size()) {
        give_up("callgrind has counted too few calls");
      }
      print_counts(title(log, call, rows), ours[at] / 1000, theirs[at] / 1000);
      ++at;
    }
  }
}

struct Options {
  bool quick = false;
  bool instructions = false;
  std::string only;
};

int run(const char* program, const Options& options) {
  bool same = true;
  for (const LogUnderTest& log : logs()) {
    make_log(log, 2000, 2000, 1);
    for (const Call& call : log.calls(2000)) {
      expect_same_statements(log, call);
    }
  }
  if (!options.instructions) {
    const std::vector<int> sizes = options.quick ? std::vector{0, 10000} : std::vector{0, 10000, 100000};
    for (const int rows : sizes) {
      for (const LogUnderTest& log : logs()) {
        if (options.only.empty() || options.only == log.name) {
          progress(fmt::format("{} log, {} rows", log.name, rows));
          same = measure(log, rows, options.quick ? 0.1 : 3.0) && same;
        }
      }
    }
  } else {
    for (const int rows : options.quick ? std::vector{0} : std::vector{0, 10000}) {
      progress(fmt::format("instructions, {} rows", rows));
      compare_instructions(program, rows);
    }
  }
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  using namespace annal::bench;
  if (argc == 4 && std::string_view(argv[1]) == "--calls") {
    return count_calls(std::string_view(argv[2]) == "ours", std::atoi(argv[3]));
  }
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    options.quick = options.quick || argument == "--quick";
    options.instructions = options.instructions || argument == "--instructions";
    if (!argument.starts_with("--")) {
      options.only = argument;
    }
  }
  return run(argv[0], options);
}
