// Follows a log: waits for it to change, then shows what is new.
#include "tools/annalctl/query/tail.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/files/file_state.h"
#include "tools/annalctl/log/diagnosis.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/output/kept_row.h"
#include "tools/annalctl/query/interruption.h"

namespace annalctl {

namespace {

// --- what it shows ---

class Follower {
 public:
  Follower(const Tail& tail, const TailOptions& options, Session& session)
      : tail_(tail),
        options_(options),
        session_(session),
        sink_(make_sink(session.view, tail.listing.shape, session.terminal, session.output)) {}

  int show_page() {
    if (!check_log_exists(log())) {
      return kFailure;
    }
    try {
      Reader reader(log());
      show_newest(reader);
    } catch (const ReadFailure& failure) {
      return report_failure(tail_.listing.call, failure);
    }
    return kSuccess;
  }

  int follow() {
    for (;; wait_for_interval(options_.interval)) {
      const FileState now = state_of(log().path);
      if (asked_ == now) {
        continue;
      }
      if (const auto obstacle = file_obstacle(log(), Purpose::kReading)) {
        tell(fmt::format("cannot open {}: {}", log().path, *obstacle));
        continue;
      }
      try {
        show_news();
        told_.clear();
      } catch (const ReadFailure& failure) {
        tell(failure_text(tail_.listing.call, failure));
      }
    }
  }

 private:
  using Direction = IdRanges::Direction;

  struct Last {
    std::int64_t id;
    KeptRow row;
  };

  [[nodiscard]] const Log& log() const { return tail_.listing.call.log; }

  // Once, until the obstacle is another one.
  void tell(const std::string& obstacle) {
    if (obstacle != told_) {
      complain(obstacle + " - waiting");
      told_ = obstacle;
    }
  }

  // The ids of the newest entries, one for each line to show. Even if there are no lines, the newest id is needed to
  // know what comes after it.
  [[nodiscard]] IdRanges::Bounds newest(Reader& reader) const {
    Query ids = tail_.listing.query;
    ids.columns = "NULL";
    RowStream stream(reader, ids, Direction::kFalling);
    RowBuffer page;
    IdRanges::Bounds bounds{0, 0};
    for (std::size_t left = static_cast<std::size_t>(std::max(options_.lines, 1)); left > 0 && stream.next(page);) {
      page.keep_only(0, left);
      bounds.through = bounds.through == 0 ? page.id(0) : bounds.through;
      bounds.after = page.id(page.size() - 1) - 1;
      left -= page.size();
    }
    return bounds;
  }

  void show_newest(Reader& reader) {
    show(reader, newest(reader), options_.lines > 0);
    if (!last_) {
      write({});  // titles, if nothing else
    }
  }

  // Writes the entries with these ids, a page at a time.
  void show(Reader& reader, IdRanges::Bounds bounds, bool written = true) {
    RowStream stream(reader, tail_.listing.query, Direction::kRising, bounds);
    RowBuffer page;
    while (stream.next(page)) {
      reader.require_released();
      const std::size_t newest = page.size() - 1;
      last_ = Last{page.id(newest), KeptRow(page.values(newest))};
      write(written ? page : RowBuffer());
    }
  }

  // The log may be another one, in which the id alone says nothing.
  [[nodiscard]] bool still_has_last(Reader& reader) const {
    RowStream stream(reader, tail_.listing.query, Direction::kRising, {last_->id - 1, last_->id});
    RowBuffer page;
    return stream.next(page) && KeptRow(page.values(0)).agrees_with(last_->row);
  }

  void show_news() {
    Reader reader(log());
    // The log is open and not yet locked, so the file can be identified: what is found later is read next.
    const FileState now = state_of(log().path);
    if (!reader.is_of(now)) {
      return;
    }
    if (!asked_) {
      show_newest(reader);
    } else {
      if (last_ && may_be_another_log(*asked_, now) && !still_has_last(reader)) {
        last_.reset();
      }
      IdRanges::Bounds news;
      news.after = last_ ? last_->id : news.after;
      show(reader, news);
    }
    asked_ = now;
  }

  void write(const RowBuffer& page) {
    const Writing writing;
    for (std::size_t row = 0; row < page.size(); ++row) {
      sink_->row(page.values(row));
    }
    sink_->finish();
    session_.output.finish();
  }

  const Tail& tail_;
  const TailOptions& options_;
  Session& session_;
  std::unique_ptr<RowSink> sink_;
  std::optional<FileState> asked_;  // as it was before it last answered
  std::optional<Last> last_;        // the newest entry that was there then
  std::string told_;
};

}  // namespace

void add_tail_options(CLI::App& command, TailOptions& options) {
  auto* const follow = command.add_flag_callback(
      "--follow,-f", [] {}, "Show new ones, too; the default");
  command.add_option("--lines,-n", options.lines, "Start with the newest N; default: 10")
      ->type_name("N")
      ->check(at_least(0));
  auto* const no_follow = command.add_flag("--no-follow", options.no_follow, "Exit after those")->excludes(follow);
  command.add_option("--interval", options.interval, "Look for new ones every N seconds; default: 1")
      ->type_name("SECONDS")
      ->check(CLI::Range(kShortestInterval, kLongestInterval))
      ->excludes(no_follow);
}

std::string tail_footer(const Log& log) {
  return fmt::format(
      "Shows the newest {1} in the order in which they were stored, then each\n"
      "new one until it is interrupted (^C or SIGTERM), and then exits with success.\n"
      "Waits for a log that does not exist yet, is locked or otherwise unreadable, and\n"
      "reports the obstacle once. Shows a recreated log from its first entry. Misses\n"
      "what was stored and deleted again between two looks.\n"
      "\n"
      "Examples:\n"
      "  annalctl {0}{2} tail\n"
      "  annalctl {0}{2} tail --lines 100 --no-follow\n"
      "  annalctl {0}{2} tail --lines 0 --json",
      log.name, log.entries, log.options);
}

int show_tail(const Tail& tail, const TailOptions& options, Session& session) {
  Follower follower(tail, options, session);
  if (options.no_follow) {
    return follower.show_page();
  }
  end_when_interrupted();
  return follower.follow();
}

}  // namespace annalctl
