// Compacts a log's file within a bounded time.
#include "tools/annalctl/maintenance/compact.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/base/byte_text.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/facts.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// SQLite can only rewrite the whole file, with the log locked from start to end: a new file in its place would miss
// what other programs store in the one that they have open. So it has to be short, and gives up if it is not: until the
// copy is complete, the log is as it was.
constexpr double kUsualLongest = 2;
constexpr double kLongestAllowed = 15;  // The library's calls wait for 20 seconds.

// Bytes a second, of a slow disk.
constexpr double kSlowDisk = 20.0 * (1 << 20U);

struct Arguments {
  double longest = kUsualLongest;
  bool dry_run = false;
};

struct Sizes {
  std::int64_t before = 0;
  std::int64_t in_use = 0;
  std::int64_t disk_free = 0;
};

// Interrupts the statement that runs on a connection after some time.
class Deadline {
 public:
  Deadline(sqlite3* connection, Seconds time)
      : connection_(connection), end_(Clock::now() + std::chrono::duration_cast<Clock::duration>(time)) {
    constexpr int kInstructions = 1000;
    sqlite3_progress_handler(connection, kInstructions, &Deadline::passed, this);
  }
  ~Deadline() { sqlite3_progress_handler(connection_, 0, nullptr, nullptr); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  [[nodiscard]] bool is_over() const { return over_; }

 private:
  static int passed(void* context) {
    auto& deadline = *static_cast<Deadline*>(context);
    deadline.over_ = Clock::now() > deadline.end_;
    return deadline.over_ ? 1 : 0;
  }

  sqlite3* connection_;
  Clock::time_point end_;
  bool over_ = false;
};

Sizes sizes_of(const Log& log) {
  const LogFacts facts = facts_of(log);
  if (!facts.failure.empty()) {
    throw ReadFailure(ANNAL_QUERY_FAILED, Clock::now(), facts.failure);
  }
  return {facts.size, facts.in_use, facts.disk_free};
}

double expected_seconds(const Sizes& sizes) {
  return static_cast<double>(sizes.in_use) / kSlowDisk;
}

std::int64_t size_of(const Log& log) {
  struct stat status {};
  return stat(log.path, &status) == 0 ? status.st_size : 0;
}

[[noreturn]] void refuse(const std::string& reason) {
  throw ReadFailure(ANNAL_CHANGE_FAILED, Clock::now(), reason);
}

void require_short_and_roomy(const Sizes& sizes, const Arguments& arguments) {
  if (expected_seconds(sizes) > arguments.longest) {
    refuse(
        fmt::format("{} are in use, and rewriting them could lock the log for {:.1f} s (delete some, "
                    "or allow more with --longest, up to {} s)",
                    bytes_text(sizes.in_use), expected_seconds(sizes), kLongestAllowed));
  }
  if (sizes.disk_free < sizes.in_use) {
    refuse(fmt::format("{} are free on its file system, and {} are needed meanwhile (make room first)",
                       bytes_text(sizes.disk_free), bytes_text(sizes.in_use)));
  }
}

// Returns for how long the log was locked.
Seconds write_again(const Log& log, double longest) {
  Reader reader(log);
  const SqliteStatement any = reader.prepare("PRAGMA main.page_size");
  const auto begun = Clock::now();
  // The second half is for copying back into the file, which cannot be interrupted.
  Deadline deadline(sqlite3_db_handle(any.handle()), Seconds(longest / 2));
  try {
    reader.run("VACUUM");
  } catch (const ReadFailure& failure) {
    if (deadline.is_over()) {
      refuse(
          "it took too long and was given up, and the log is as it was (try again later, or allow more with "
          "--longest)");
    }
    throw;
  }
  return Clock::now() - begun;
}

void write(const Log& log, const Sizes& sizes, std::int64_t after, const Arguments& arguments, Session& session) {
  if (session.format() == Format::kTable) {
    session.output.write(sizes.before == after
                             ? fmt::format("{}: there is nothing to give back\n", log.path)
                             : fmt::format("{}: {} {}, of {}\n", log.path,
                                           arguments.dry_run ? "would give back about" : "gave back",
                                           bytes_text(sizes.before - after), bytes_text(sizes.before)));
    return;
  }
  const RowShape shape{{{"log", false}, {"file", false}, {"size_before", true}, {"size", true}}, {}};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  const std::array numbers{fmt::to_string(sizes.before), fmt::to_string(after)};
  sink->row(std::array{log.name, log.path, numbers[0].c_str(), numbers[1].c_str()});
  sink->finish();
}

int run_compact(const Log& log, const Arguments& arguments, Session& session) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const Call call{log, fmt::format("compact the {} log", log.name), Purpose::kWriting};
  try {
    const Sizes sizes = sizes_of(log);
    std::int64_t after = sizes.in_use;
    if (sizes.in_use < sizes.before) {
      require_short_and_roomy(sizes, arguments);
      if (!arguments.dry_run) {
        static_cast<void>(write_again(log, arguments.longest));
        after = size_of(log);
      }
    }
    write(log, sizes, after, arguments, session);
  } catch (const ReadFailure& failure) {
    return report_failure(call, failure);
  }
  return kSuccess;
}

}  // namespace

void add_compact_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("compact", "Give the room of deleted entries back to the disk");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(
      fmt::format("Rewrites the file, and locks the log meanwhile: programs that write or read\n"
                  "wait, and deletions by other programs, which do not wait, fail. So it only\n"
                  "starts if the size promises a short time, and gives up if it takes longer: the\n"
                  "log is then as it was, as after a power cut. It needs room for the size in use\n"
                  "twice, in the log's folder and in the folder for temporary files. Seldom\n"
                  "needed: a log reuses the room by itself.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl {0}{1} compact --dry-run\n"
                  "  annalctl {0}{1} compact --longest 10",
                  log.name, log.options));
  command->add_option("--longest", arguments->longest, "Lock the log for at most N seconds; default: 2")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, kLongestAllowed));
  command->add_flag("--dry-run", arguments->dry_run, "Only show how much it would give back");
  command->callback([arguments, &session, &log] { session.status = run_compact(log, *arguments, session); });
}

}  // namespace annalctl
