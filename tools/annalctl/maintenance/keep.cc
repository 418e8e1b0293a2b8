// Deletes the oldest entries by age and by size.
#include "tools/annalctl/maintenance/keep.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/maintenance/facts.h"
#include "tools/annalctl/maintenance/noted_deletions.h"
#include "tools/annalctl/maintenance/oldest.h"
#include "tools/annalctl/maintenance/paced_deletion.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

// The first day to keep, as in the log's date column.
Condition::Value first_day_kept(const Log& log, int days) {
  const std::time_t now = std::time(nullptr);
  std::tm day{};
  localtime_r(&now, &day);
  day.tm_mday -= days;
  day.tm_hour = day.tm_min = day.tm_sec = 0;
  day.tm_isdst = -1;
  const std::time_t midnight = std::mktime(&day);
  if (log.time == nullptr) {
    return std::int64_t{midnight};
  }
  return date_and_time(midnight).date;
}

class Keeper {
 public:
  Keeper(const Log& log, const KeepOptions& options) : log_(log), options_(options), reader_(log) {}

  // Both count the deleted entries, even if they throw ReadFailure.
  void delete_too_old(std::int64_t& deleted) {
    if (options_.days > 0) {
      Query old;
      old.conditions.push_back(before_first_day());
      delete_in_order(
          old, [] { return std::numeric_limits<std::size_t>::max(); }, deleted);
    }
  }
  void delete_too_much(std::int64_t& deleted) {
    if (options_.size > 0) {
      const double each = static_cast<double>(bytes_in_use(reader_)) /
                          static_cast<double>(std::max<std::int64_t>(reader_.count({}), 1));
      delete_in_order(
          {}, [this, each] { return entries_too_many(each); }, deleted);
    }
  }

  // How many entries both would delete. For the size this assumes entries of average size.
  [[nodiscard]] std::int64_t count() {
    const std::int64_t all = reader_.count({});
    std::int64_t gone = 0;
    if (options_.days > 0) {
      Query old;
      old.conditions.push_back(before_first_day());
      gone = reader_.count(old);
    }
    const std::int64_t used = bytes_in_use(reader_);
    if (options_.size > 0 && all > 0 && used > 0) {
      const double share = 1.0 - static_cast<double>(options_.size) / static_cast<double>(used);
      gone = std::max(gone, static_cast<std::int64_t>(share * static_cast<double>(all)));
    }
    return gone;
  }

 private:
  [[nodiscard]] Condition before_first_day() const {
    return {fmt::format("{} < ?", log_.date), {first_day_kept(log_, options_.days)}};
  }

  // About how many to delete if each takes its average: at least one while the log is too large.
  [[nodiscard]] std::size_t entries_too_many(double each) {
    const double excess = static_cast<double>(bytes_in_use(reader_)) - static_cast<double>(options_.size);
    return excess > 0 ? static_cast<std::size_t>(excess / std::max(each, 1.0)) + 1 : 0;
  }

  // most: called repeatedly, returns how many may still go.
  template <typename Most>
  void delete_in_order(const Query& query, Most most, std::int64_t& deleted) {
    const std::int64_t before = deleted;
    OldestFirst oldest(reader_, log_, query);
    PacedDeletion deletion(reader_, query);
    std::vector<std::int64_t> found;
    while (most() > 0 && oldest.next(found)) {
      for (std::span<const std::int64_t> left = found; !left.empty();) {
        const std::size_t some = std::min(left.size(), most());
        if (some == 0) {
          return;
        }
        left = left.subspan(deletion.delete_first(left.first(some)));
        deleted = before + deletion.deleted();
      }
    }
  }

  const Log& log_;
  const KeepOptions& options_;
  Reader reader_;
};

void say(const Log& log, std::int64_t deleted, const KeepOptions& options, Session& session) {
  if (session.format() == Format::kTable) {
    session.output.write(fmt::format("{}: {}{}\n", log.path,
                                     !options.dry_run   ? "deleted "
                                     : options.size > 0 ? "would delete about "
                                                        : "would delete ",
                                     number_of(deleted, log)));
    return;
  }
  const RowShape shape{{{"log", false}, {"file", false}, {options.dry_run ? "would_delete" : "deleted", true}}, {}};
  const std::unique_ptr<RowSink> sink = make_sink(session.view, shape, session.terminal, session.output);
  const std::string number = fmt::to_string(deleted);
  sink->row(std::array{log.name, log.path, number.c_str()});
  sink->finish();
}

// In bytes. The parser's own check of sizes, without its list of all units.
std::string read_size(std::string& text) {
  const std::string given = text;
  try {
    if (CLI::AsSizeValue(false)(text).empty()) {
      return {};
    }
  } catch (const CLI::Error&) {
    // The sentence below says so.
  }
  return fmt::format("'{}' is not a size: write it as 200M", given);
}

}  // namespace

const char* const kKeepNotes =
    "--days N keeps today and the N days before. --size counts what the entries\n"
    "take: the file itself does not shrink, and reuses the room ('compact' gives it\n"
    "back). K, M and G mean 1024, its square and its cube.\n"
    "\n"
    "Deletes the oldest first, in short steps: writers wait for some hundredths of a\n"
    "second at most, as long as the disk keeps up. An interrupted run has deleted\n"
    "what it got to.\n";

void require_what_to_keep(const KeepOptions& options) {
  if (options.days == 0 && options.size == 0) {
    throw Refusal("it does not say what to keep: give --days, --size or both");
  }
}

void add_keep_options(CLI::App& command, KeepOptions& options) {
  command.add_option("--days", options.days, "Delete entries that are older than N days")
      ->type_name("N")
      ->check(CLI::Range(1, 365000));
  command.add_option("--size", options.size, "Delete the oldest until the rest fits, as in 200M")
      ->type_name("SIZE")
      ->transform(CLI::Validator(read_size, ""))
      ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()));
  add_dry_run(command, options.dry_run);
}

int run_keep(const Log& log, const KeepOptions& options, Session& session) {
  const Call call{log, fmt::format("delete the oldest {}", log.entries), Purpose::kWriting};
  std::int64_t deleted = 0;
  NotedDeletions noted(log, "keep");
  try {
    Keeper keeper(log, options);
    if (options.dry_run) {
      deleted = keeper.count();
    } else {
      keeper.delete_too_old(deleted);
      keeper.delete_too_much(deleted);
    }
  } catch (const ReadFailure& failure) {
    noted.tell();
    if (deleted > 0) {
      say(log, deleted, options, session);
      session.output.finish();
    }
    return report_failure(call, failure);
  }
  noted.tell();
  say(log, deleted, options, session);
  return kSuccess;
}

void add_keep_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("keep", "Delete what is too old or too much");
  const auto options = std::make_shared<KeepOptions>();
  command->footer(kKeepNotes + fmt::format("\nExamples:\n"
                                           "  annalctl {0}{1} keep --days 90\n"
                                           "  annalctl {0}{1} keep --days 90 --size 200M --dry-run",
                                           log.name, log.options));
  add_keep_options(*command, *options);
  command->callback([options, &session, &log] {
    require_what_to_keep(*options);
    session.status = check_log_exists(log) ? run_keep(log, *options, session) : static_cast<int>(kFailure);
  });
}

}  // namespace annalctl
