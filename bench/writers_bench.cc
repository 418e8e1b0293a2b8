// Measures two things that decide the cost of adding an entry besides its content: other writers of the same log, and a
// full log's limits. Starts no consumer (quiet.cc). Run it on a private appliance.
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

const LogUnderTest& event_log() {
  return logs().front();
}

Call adding() {
  const std::vector<Call> calls = event_log().calls(0);
  return *std::find_if(calls.begin(), calls.end(),
                       [](const Call& call) { return std::string_view(call.name) == "add"; });
}

// ---- many writers ----

struct Share {
  double entries = 0;
  double longest = 0;  // microseconds
};

Share write_for(const Side& side, double seconds) {
  Share share;
  double spent = 0;
  for (int round = 0; spent < seconds * 1e6; ++round) {
    Answer answer;
    const double taken = microseconds([&] { side(round, answer); });
    if (answer.result != ANNAL_OK) {
      give_up(fmt::format("a writer got {}", answer.result));
    }
    spent += taken;
    share.longest = std::max(share.longest, taken);
    share.entries += 1;
  }
  return share;
}

// Entries a second of all writers together.
Share write_together(const Side& side, int writers, double seconds) {
  int answers[2];
  if (pipe(answers) != 0) {
    give_up("no pipe");
  }
  for (int i = 0; i < writers; ++i) {
    if (fork() == 0) {
      const Share share = write_for(side, seconds);
      _exit(write(answers[1], &share, sizeof share) == sizeof share ? EXIT_SUCCESS : EXIT_FAILURE);
    }
  }
  close(answers[1]);
  Share total;
  int answered = 0;
  for (Share share; read(answers[0], &share, sizeof share) == sizeof share; ++answered) {
    total.entries += share.entries / seconds;
    total.longest = std::max(total.longest, share.longest);
  }
  close(answers[0]);
  while (wait(nullptr) > 0) {
  }
  if (answered != writers) {
    give_up("a writer has failed");
  }
  return total;
}

void compare_writers(int slices, double seconds) {
  fmt::print("\n| {:7} | {:>13} | {:>12} | {:>13} | {:>12} | {:>6} |\n", "writers", "ours, entries/s", "longest, ms",
             "bare, entries/s", "longest, ms", "ratio");
  fmt::print("|--:|--:|--:|--:|--:|--:|\n");
  const Call add = adding();
  for (const int writers : {1, 2, 4, 8}) {
    progress(fmt::format("{} writers", writers));
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    Share longest_ours;
    Share longest_theirs;
    for (int slice = 0; slice < slices; ++slice) {
      make_log(event_log(), 0, 100000, 1);
      Share by_us;
      Share by_them;
      for (int turn = 0; turn < 2; ++turn) {
        if ((turn + slice) % 2 == 0) {
          by_us = write_together(add.ours, writers, seconds);
        } else {
          by_them = write_together(add.theirs, writers, seconds);
        }
      }
      ours.push_back(by_us.entries);
      theirs.push_back(by_them.entries);
      ratios.push_back(by_us.entries / by_them.entries);
      longest_ours.longest = std::max(longest_ours.longest, by_us.longest);
      longest_theirs.longest = std::max(longest_theirs.longest, by_them.longest);
    }
    fmt::print("| {:>7} | {:>15.0f} | {:>12.0f} | {:>15.0f} | {:>12.0f} | {:>6.3f} |\n", writers, median(ours),
               longest_ours.longest / 1000, median(theirs), longest_theirs.longest / 1000, median(ratios));
    std::fflush(stdout);
  }
}

// ---- a full log's limits ----

// The mean over many entries added to a full log, because one entry in every batch pays for the whole batch's deletion.
double mean_of_adding(const Side& side, int entries) {
  double spent = 0;
  for (int round = 0; round < entries; ++round) {
    Answer answer;
    spent += microseconds([&] { side(round, answer); });
  }
  return spent / entries;
}

void compare_batches(bool quick) {
  fmt::print("\n| {:>7} | {:>14} | {:>16} | {:>14} |\n", "limit", "batch of 1, us", "batch of 1 %, us",
             "times cheaper");
  fmt::print("|--:|--:|--:|--:|\n");
  const Call add = adding();
  for (const int limit : quick ? std::vector{10000} : std::vector{10000, 100000}) {
    progress(fmt::format("a full log of {}", limit));
    const int batch = limit / 100;
    std::vector<double> ones;
    std::vector<double> batches;
    std::vector<double> ratios;
    for (int slice = 0; slice < (quick ? 3 : 5); ++slice) {
      make_log(event_log(), limit, limit, 1);
      ones.push_back(mean_of_adding(add.ours, batch / 10));
      make_log(event_log(), limit, limit, batch);
      batches.push_back(mean_of_adding(add.ours, batch));  // exactly one of these deletes a batch
      ratios.push_back(ones.back() / batches.back());
    }
    fmt::print("| {:>7} | {:>14} | {:>16} | {:>14.1f} |\n", limit, amount(median(ones)), amount(median(batches)),
               median(ratios));
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  const bool quick = argc > 1 && std::string_view(argv[1]) == "--quick";
  annal::bench::compare_writers(quick ? 1 : 5, quick ? 0.4 : 1.0);
  annal::bench::compare_batches(quick);
  return EXIT_SUCCESS;
}
