// Watches and opens the log's file, fills pages with entries and gaps, and tells a recreated log by ids and digests.
#include "tools/export/log_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <string_view>
#include <variant>

#include "tools/annalctl/proof/redaction.h"

namespace exporter {

namespace {

using annalctl::SqliteDatabase;
using annalctl::SqliteStatement;
using Clock = std::chrono::steady_clock;

constexpr int kPrimary = 0xFF;  // of an extended code
constexpr std::int64_t kNanoseconds = 1'000'000'000;

// A page that takes longer ends with fewer records: a writer that meets it waits this long, and a little.
constexpr std::chrono::milliseconds kPageAtMost{20};

std::int64_t nanoseconds(const struct statx_timestamp& time) {
  return time.tv_sec * kNanoseconds + time.tv_nsec;
}

// Such an entry is no longer what was sent, and its log is still the same.
bool is_redacted(const Record& entry) {
  return std::any_of(entry.fields.begin(), entry.fields.end(), [](const Field& field) {
    const auto* const text = std::get_if<std::string_view>(&field.value);
    return text != nullptr && *text == annalctl::proof::kMarker;
  });
}

// While it lives the log is locked for reading.
class Turn {
 public:
  explicit Turn(const SqliteDatabase& database) : database_(database), begun_(database.run("BEGIN")) {}
  ~Turn() {
    if (begun_ && !database_.run("COMMIT")) {
      database_.run("ROLLBACK");
    }
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  [[nodiscard]] bool begun() const { return begun_; }

 private:
  const SqliteDatabase& database_;
  bool begun_;
};

}  // namespace

LogReader::LogReader(const SourceLog& log) : log_(log) {}

void LogReader::close() {
  database_.reset();
}

LogReader::FileLook LogReader::look() const {
  FileLook look;
  struct statx status {};
  if (statx(AT_FDCWD, log_.path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0 ||
      !S_ISREG(status.stx_mode)) {
    return look;
  }
  look.inode = status.stx_ino;
  look.born = (status.stx_mask & STATX_BTIME) != 0 ? nanoseconds(status.stx_btime) : 0;
  look.sizes_and_times = {static_cast<std::int64_t>(status.stx_size), nanoseconds(status.stx_mtime), 0, 0};
  std::int64_t newest = nanoseconds(status.stx_mtime);
  struct statx ahead {};
  if (statx(AT_FDCWD, (log_.path + "-wal").c_str(), 0, STATX_BASIC_STATS, &ahead) == 0) {
    look.sizes_and_times[2] = static_cast<std::int64_t>(ahead.stx_size);
    look.sizes_and_times[3] = nanoseconds(ahead.stx_mtime);
    newest = std::max(newest, nanoseconds(ahead.stx_mtime));
  }
  constexpr std::int64_t kTick = 50'000'000;
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t age = now.tv_sec * kNanoseconds + now.tv_nsec - newest;
  // A time ahead of the clock, which was set back, does not hold things up: later changes get other times.
  look.settled = age > kTick || age < -kTick;
  return look;
}

bool LogReader::may_have_changed() const {
  return !seen_.settled || look() != seen_;
}

void LogReader::fail() const {
  const int code = database_->code();
  if ((code & kPrimary) == SQLITE_NOMEM) {
    throw std::bad_alloc();
  }
  throw ReadTrouble(fmt::format(
      "cannot read {}: {}{}", log_.path, database_->message(),
      (code & kPrimary) == SQLITE_CORRUPT || (code & kPrimary) == SQLITE_NOTADB ? " (see 'annalctl check')" : ""));
}

bool LogReader::open() {
  const FileLook now = look();
  seen_ = now;
  if (now.inode == 0) {
    close();
    return false;
  }
  // The name may have been given to another file.
  if (database_ && (now.inode != opened_.inode || now.born != opened_.born)) {
    close();
  }
  if (!database_) {
    opened_ = now;
    // For writing, as the library opens it, so that a change that was cut off is undone first. Nothing is written.
    database_ = std::make_unique<SqliteDatabase>(log_.path, SQLITE_OPEN_READWRITE);
    if (database_->handle() == nullptr) {
      throw std::bad_alloc();
    }
    if (database_->code() != SQLITE_OK) {
      const std::string why = database_->message();
      close();
      throw ReadTrouble(fmt::format("cannot open {}: {}", log_.path, why));
    }
    constexpr int kWaitMilliseconds = 2000;
    sqlite3_busy_timeout(database_->handle(), kWaitMilliseconds);
    database_->run("PRAGMA cache_size = -256");
  }
  return true;
}

std::optional<LogReader::Facts> LogReader::facts() {
  Facts facts{.file = {.inode = opened_.inode, .born = opened_.born}};
  SqliteStatement tables(*database_, "SELECT count(*) FROM main.sqlite_schema WHERE type = 'table' AND name = ?");
  const std::string table = log_.shape->log.table;
  tables.bind(1, table);
  if (!tables.next()) {
    fail();
  }
  if (tables.integer(0) == 0) {
    return {};
  }
  SqliteStatement highest(*database_, fmt::format("SELECT max(coalesce((SELECT max(rowid) FROM main.{0}), 0), "
                                                  "coalesce((SELECT max(seq) FROM main.sqlite_sequence WHERE name = "
                                                  "'{0}' COLLATE NOCASE), 0))",
                                                  table));
  if (!highest.next()) {
    fail();
  }
  facts.highest = highest.integer(0);
  return facts;
}

// A log that was created again is told by its ids, which begin again, or by other content at the same ids. A file that
// was replaced may hold the same log, as after a migration or a restored copy.
bool LogReader::agrees(const State& state, const Facts& facts) {
  if (facts.highest < state.position) {
    return false;
  }
  SqliteStatement row(*database_, fmt::format("SELECT t.* FROM main.{} AS t WHERE rowid = ?", log_.shape->log.table));
  for (auto anchor = state.anchors.rbegin(); anchor != state.anchors.rend(); ++anchor) {
    row.bind(1, anchor->id);
    if (!row.next()) {
      if (!row.ended()) {
        fail();
      }
      row.reset();
      continue;
    }
    Page page;
    page.add_entry(row, *log_.shape);
    row.reset();
    const Record& entry = page.records().front();
    if (is_redacted(entry)) {
      continue;
    }
    if (digest_of(entry, *log_.shape) != anchor->digest) {
      return false;
    }
    // No copy is as old as an entry that it has: an equal row was stored in a new log within the same second.
    const bool replaced = state.file.inode != 0 && !facts.file.same_file(state.file);
    return !(replaced && facts.file.born != 0 && entry.seconds && *entry.seconds >= facts.file.born / kNanoseconds);
  }
  return true;
}

bool LogReader::is_log_of(const State& state) {
  if (!open()) {
    return false;
  }
  const Turn turn(*database_);
  if (!turn.begun()) {
    fail();
  }
  const std::optional<Facts> now = facts();
  return now && agrees(state, *now) && (!state.anchors.empty() || now->file.same_file(state.file));
}

void LogReader::fill(const State& state, std::size_t most_records, Reading& reading, Page& page) {
  const auto begun = Clock::now();
  SqliteStatement rows(
      *database_,
      fmt::format("SELECT t.* FROM main.{} AS t NOT INDEXED WHERE rowid > ? ORDER BY rowid", log_.shape->log.table));
  rows.bind(1, state.position);
  std::int64_t expected = state.position + 1;
  while (rows.next()) {
    const std::int64_t id = rows.integer(0);
    if (id > expected) {
      page.add_gap(expected, id - expected);
    }
    page.add_entry(rows, *log_.shape);
    expected = id + 1;
    if (page.full(most_records) || Clock::now() - begun > kPageAtMost) {
      reading.more = expected <= reading.highest;
      return;
    }
  }
  if (!rows.ended()) {
    fail();
  }
  if (expected <= reading.highest) {
    page.add_gap(expected, reading.highest - expected + 1);
  }
}

LogReader::Whose LogReader::look_up(const State& state, std::span<const std::int64_t> ids, const Visitor& visit) {
  if (!open()) {
    return Whose::kNobodys;
  }
  const Turn turn(*database_);
  if (!turn.begun()) {
    fail();
  }
  const std::optional<Facts> now = facts();
  if (!now) {
    return Whose::kNobodys;
  }
  if (!agrees(state, *now)) {
    return Whose::kAnother;
  }
  SqliteStatement row(*database_, fmt::format("SELECT t.* FROM main.{} AS t WHERE rowid = ?", log_.shape->log.table));
  for (std::size_t place = 0; place < ids.size(); ++place) {
    row.bind(1, ids[place]);
    const bool there = row.next();
    if (!there && !row.ended()) {
      fail();
    }
    visit(place, there ? &row : nullptr);
    row.reset();
  }
  return Whose::kOfTheState;
}

Reading LogReader::read(const State& state, std::size_t most_records, Page& page) {
  page.clear();
  Reading reading;
  if (!open()) {
    return reading;
  }
  const Turn turn(*database_);
  if (!turn.begun()) {
    fail();
  }
  const std::optional<Facts> now = facts();
  if (!now) {
    return reading;
  }
  reading.there = true;
  reading.file = now->file;
  reading.highest = now->highest;
  reading.another = !agrees(state, *now);
  if (!reading.another) {
    fill(state, most_records, reading, page);
  }
  return reading;
}

}  // namespace exporter
