#include "tools/tail.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/diagnosis.h"
#include "tools/failure.h"
#include "tools/file_state.h"
#include "tools/kept_row.h"
#include "tools/number.h"
#include "tools/result.h"

namespace annalctl {

namespace {

constexpr double kShortestInterval = 0.01;
constexpr double kLongestInterval = 86400;

// --- how it ends ---

volatile std::sig_atomic_t g_writing = 0;
volatile std::sig_atomic_t g_ending = 0;

extern "C" void end_on_signal(int /*signal*/) {
  // Between two batches nothing is left to write, and a read of the log can be given up anywhere. That may be a wait of
  // 20 seconds for a lock, which nobody who has pressed ^C wants to see to its end.
  if (g_writing == 0) {
    _exit(kSuccess);
  }
  g_ending = 1;
}

void end_on(int signal) {
  struct sigaction before {};
  if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) {
    return;  // as under nohup
  }
  struct sigaction action {};
  action.sa_handler = end_on_signal;  // without SA_RESTART: a write to a reader that does not read is given up as well
  sigemptyset(&action.sa_mask);
  static_cast<void>(sigaction(signal, &action, nullptr));
}

// While it lives a signal waits for the end of the batch, so that no line is cut.
class Writing {
 public:
  Writing() { g_writing = 1; }
  ~Writing() {
    g_writing = 0;
    if (g_ending != 0) {
      _exit(kSuccess);
    }
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
};

// Waits, and notices meanwhile that the reader has gone away: the next write may be hours ahead.
void wait(double seconds) {
  pollfd reader{STDOUT_FILENO, 0, 0};
  const int ready = poll(&reader, 1, static_cast<int>(seconds * 1000));
  if (ready > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0) {
    throw WriteFailure(EPIPE);
  }
  if (ready > 0) {
    static_cast<void>(poll(nullptr, 0, static_cast<int>(seconds * 1000)));
  }
}

// --- what it shows ---

bool is_about_the_log(int code) {
  return code != ANNAL_BAD_ARGUMENT && code != ANNAL_NO_MEMORY;
}

class Follower {
 public:
  Follower(const Tail& tail, const TailOptions& options, Program& program)
      : tail_(tail),
        options_(options),
        program_(program),
        sink_(make_sink(program.format(), tail.listing.shape, program.terminal, program.output)) {}

  int show_page() {
    if (!log_is_there(log())) {
      return kFailure;
    }
    const int code = ask_for_page();
    if (code == ANNAL_OK) {
      write();
    }
    return report(tail_.listing.call, code);
  }

  int follow() {
    for (;; wait(options_.interval)) {
      const FileState now = state_of(log().path);
      if (asked_ == now) {
        continue;
      }
      if (const auto obstacle = file_obstacle(log(), Purpose::kReading)) {
        tell(fmt::format("cannot open {}: {}", log().path, *obstacle));
        continue;
      }
      const int code = ask_for_news(now);
      if (code == ANNAL_OK) {
        told_.clear();
      } else if (is_about_the_log(code)) {
        tell(failure_text(call_now(), code));
      } else {
        return report(tail_.listing.call, code);
      }
    }
  }

 private:
  struct Last {
    long long id;
    KeptRow row;
  };

  [[nodiscard]] const Log& log() const { return tail_.listing.call.log; }

  [[nodiscard]] Call call_now() const { return {log(), tail_.listing.call.doing, tail_.listing.call.purpose, begun_}; }

  // Once, until something else stands in the way.
  void tell(const std::string& obstacle) {
    if (obstacle != told_) {
      complain(obstacle + " - waiting");
      told_ = obstacle;
    }
  }

  int ask_for_page() {
    rows_.clear();
    // With no lines to show, the newest is still needed to know what comes after it.
    const int code = ask(tail_.listing.query, {0, std::max(options_.lines, 1)}, [this](Row row) {
      keep(row);
      return true;
    });
    if (code == ANNAL_OK) {
      remember();
      rows_.resize(std::min(rows_.size(), static_cast<std::size_t>(options_.lines)), KeptRow({}));
    }
    return code;
  }

  // One statement, stopped at what has been shown: a page at a time would lose its place among others' changes.
  int ask_for_entries_behind(bool another) {
    rows_.clear();
    bool same = !another;
    const int code = ask(tail_.listing.query, {0, 0}, [this, another, &same](Row row) {
      if (last_ && is_known(row, another)) {
        same = true;
        return false;
      }
      keep(row);
      return true;
    });
    if (code == ANNAL_OK) {
      if (!same) {
        last_.reset();
      }
      remember();
    }
    return code;
  }

  // In what may be another log the id alone says nothing.
  [[nodiscard]] bool is_known(Row row, bool another) const {
    const long long id = number_in(row, tail_.id);
    return another ? id == last_->id && KeptRow(row).agrees_with(last_->row) : id <= last_->id;
  }

  int ask_for_news(const FileState& now) {
    begun_ = std::chrono::steady_clock::now();
    const std::optional<Last> before = last_;
    const int code = asked_ ? ask_for_entries_behind(may_be_another_log(*asked_, now)) : ask_for_page();
    if (code != ANNAL_OK) {
      return code;
    }
    if (state_of(log().path).identity != now.identity) {
      last_ = before;  // It was replaced meanwhile, and which of the two has answered is not known: the next turn asks.
      return code;
    }
    asked_ = now;
    write();
    return code;
  }

  void keep(Row row) {
    if (rows_.empty()) {
      newest_ = number_in(row, tail_.id);
    }
    rows_.emplace_back(row);
  }

  void remember() {
    if (!rows_.empty()) {
      last_ = Last{newest_, rows_.front()};
    }
  }

  void write() {
    const Writing writing;
    for (auto row = rows_.rbegin(); row != rows_.rend(); ++row) {
      sink_->row(row->values());
    }
    sink_->finish();
    program_.output.finish();
    rows_.clear();
  }

  const Tail& tail_;
  const TailOptions& options_;
  Program& program_;
  std::unique_ptr<RowSink> sink_;
  std::optional<FileState> asked_;  // as it was before it last answered
  std::optional<Last> last_;        // the newest entry that was there then
  std::vector<KeptRow> rows_;       // the newest first
  long long newest_ = 0;
  std::chrono::steady_clock::time_point begun_;
  std::string told_;
};

}  // namespace

void add_tail_options(CLI::App& command, TailOptions& options) {
  command.add_option("--lines,-n", options.lines, "Begin with so many of the newest; without it 10")
      ->type_name("N")
      ->check(at_least(0));
  auto* const no_follow = command.add_flag("--no-follow", options.no_follow, "Leave when those are shown");
  command.add_option("--interval", options.interval, "Look for new ones every so many seconds; without it 1")
      ->type_name("SECONDS")
      ->check(CLI::Range(kShortestInterval, kLongestInterval))
      ->excludes(no_follow);
}

std::string tail_footer(const Log& log) {
  return fmt::format(
      "Shows the newest {1} in the order in which they were stored, then each new one, until it is interrupted (^C or\n"
      "SIGTERM), which is a success. A log that is not there yet, is locked or otherwise cannot be read is waited "
      "for:\n"
      "what stands in the way is told once. A log that was made anew is shown from its first entry on. What was "
      "stored\n"
      "and deleted again between two looks is not seen.\n"
      "\n"
      "Examples:\n"
      "  annalctl {0}{2} tail\n"
      "  annalctl {0}{2} tail --lines 100 --no-follow\n"
      "  annalctl {0}{2} tail --lines 0 --json",
      log.name, log.entries, log.options);
}

int show_tail(const Tail& tail, const TailOptions& options, Program& program) {
  Follower follower(tail, options, program);
  if (options.no_follow) {
    return follower.show_page();
  }
  end_on(SIGINT);
  end_on(SIGTERM);
  return follower.follow();
}

}  // namespace annalctl
