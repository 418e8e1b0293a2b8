// Reads a log in short transactions, by ranges of ids.
//
// SQLite's rollback journal lets no writer commit while a reader has a row in its hands. So each transaction reads one
// range into memory and ends before anything is written out. A range grows or shrinks until it takes a few
// milliseconds. Between two transactions entries may come and go; ids only rise, so continuing after the last id skips
// and repeats none that stays.
#include "tools/annalctl/query/reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

#include "Corix_annal.h"
#include "tools/annalctl/query/fold.h"
#include "tools/annalctl/query/regular_expression.h"

namespace annalctl {

namespace {

using Clock = ReadFailure::Clock;

constexpr int kPrimary = 0xFF;  // of an extended code

// As the library waits.
constexpr int kBusyTimeoutMilliseconds = 20000;

// No writer waits longer than this for one statement over the whole log.
constexpr std::chrono::milliseconds kAtOnceAtMost{25};

constexpr std::int64_t kFirstWidth = 128;
constexpr std::int64_t kGreatestWidth = 4096;

// Writes only temporary files.
constexpr std::array kTemporaryFailures{SQLITE_FULL, SQLITE_IOERR_GETTEMPPATH, SQLITE_IOERR_WRITE,
                                        SQLITE_IOERR_TRUNCATE};

// Interrupts a connection's statement that runs for too long. Waiting for a lock does not count.
class Deadline {
 public:
  explicit Deadline(const SqliteDatabase& database) : database_(database) {
    constexpr int kInstructions = 500;
    sqlite3_progress_handler(database.handle(), kInstructions, &Deadline::passed, this);
  }
  ~Deadline() { sqlite3_progress_handler(database_.handle(), 0, nullptr, nullptr); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  static int passed(void* context) {
    auto& deadline = *static_cast<Deadline*>(context);
    const auto now = Clock::now();
    if (!deadline.end_) {
      deadline.end_ = now + kAtOnceAtMost;
    }
    return now > *deadline.end_ ? 1 : 0;
  }

  const SqliteDatabase& database_;
  std::optional<Clock::time_point> end_;
};

// Groups: finds the id of each group's newest row and its size, then looks up that row by id.
std::string all_groups(const Query& query, const std::string& table) {
  return fmt::format(
      "SELECT g.annal_id, {0}, g.annal_size FROM (SELECT max(rowid) AS annal_id, count(*) AS annal_size FROM {1}{2} "
      "GROUP BY {3}) AS g JOIN {1} AS t ON t.rowid = g.annal_id{4} LIMIT ? OFFSET ?",
      query.columns, table, where(query), listed(query.groups), order_of_groups(query, "g.annal_size"));
}

std::string all_rows(const Query& query, const std::string& table, Indexes indexes) {
  return fmt::format("SELECT t.rowid, {} FROM {} AS t{}{} LIMIT ? OFFSET ?", query.columns, table,
                     where(query, {}, indexes), order_of_rows(query, "t.rowid"));
}

}  // namespace

// --- the connection ---

Reader::Reader(const Log& log) : log_(log), database_(log.path, SQLITE_OPEN_READWRITE) {
  if (database_.handle() == nullptr) {
    throw std::bad_alloc();
  }
  if (database_.code() != SQLITE_OK) {
    throw ReadFailure(ANNAL_OPEN_FAILED, begun_);
  }
  sqlite3_busy_timeout(database_.handle(), kBusyTimeoutMilliseconds);
  add_regular_expressions(database_);
  add_folding(database_);
}

ReadFailure Reader::failure() const {
  if ((database_.code() & kPrimary) == SQLITE_NOMEM) {
    throw std::bad_alloc();
  }
  for (const int code : kTemporaryFailures) {
    if (database_.code() == code || (database_.code() & kPrimary) == code) {
      return {ANNAL_QUERY_FAILED, begun_,
              fmt::format("the folder for temporary files cannot take what has to be sorted: {} (make room there, or "
                          "name another folder in SQLITE_TMPDIR)",
                          database_.message())};
    }
  }
  ReadFailure failure(ANNAL_QUERY_FAILED, begun_);
  // With this code there is something wrong with the statement, such as the user's own condition in it.
  if (database_.code() == SQLITE_ERROR) {
    failure.set_refusal(database_.message());
  }
  return failure;
}

SqliteStatement Reader::prepare(const std::string& text) {
  SqliteStatement statement(database_, text);
  if (!statement.prepared()) {
    throw failure();
  }
  return statement;
}

void Reader::run(const std::string& text) {
  if (!database_.run(text)) {
    throw failure();
  }
}

void Reader::begin_change() {
  begun_ = Clock::now();
  run("BEGIN IMMEDIATE");
  try {
    require_same_log();
  } catch (...) {
    database_.run("ROLLBACK");
    throw;
  }
}

bool Reader::next(SqliteStatement& statement) {
  const bool row = statement.next();
  if (!row && !statement.ended()) {
    const ReadFailure why = failure();
    statement.reset();
    throw ReadFailure(why);
  }
  return row;
}

void Reader::require_released() const {
  if (sqlite3_txn_state(database_.handle(), "main") != SQLITE_TXN_NONE) {
    throw std::logic_error("a log is locked while its rows are written out");
  }
}

bool Reader::is_of(const FileState& state) {
  int moved = 0;
  sqlite3_file_control(database_.handle(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  const Turn turn(*this);
  return moved == 0 && static_cast<std::uint32_t>(schema_.value_or(0)) == state.identity.schema;
}

std::optional<std::int64_t> Reader::highest_id_ever() {
  SqliteStatement statement(database_,
                            fmt::format("SELECT seq FROM main.sqlite_sequence WHERE name = '{}'", log_.table));
  return statement.next() ? std::optional(statement.integer(0)) : std::nullopt;
}

// The schema also changes with a trigger, an index or a compaction. A recreated table shows in its ids, which start
// again: a listing could not continue in it.
void Reader::require_same_log() {
  if (!schema_statement_) {
    schema_statement_.emplace(prepare("PRAGMA main.schema_version"));
  }
  next(*schema_statement_);
  const std::int64_t schema = schema_statement_->integer(0);
  schema_statement_->reset();
  if (schema_ == schema) {
    return;
  }
  const std::optional<std::int64_t> highest_id = highest_id_ever();
  if (schema_ && highest_id_ && highest_id.value_or(0) < *highest_id_) {
    throw ReadFailure(ANNAL_QUERY_FAILED, begun_,
                      fmt::format("{} was recreated while it was read (run this again)", log_.path));
  }
  schema_ = schema;
  highest_id_ = highest_id;
}

// --- transactions ---

Reader::Turn::Turn(Reader& reader) : reader_(reader) {
  reader_.begun_ = Clock::now();
  reader_.run("BEGIN");
  try {
    reader_.require_same_log();
  } catch (...) {
    reader_.database_.run("ROLLBACK");
    throw;
  }
  locked_ = Clock::now();
}

Reader::Turn::~Turn() {
  if (!reader_.database_.run("COMMIT")) {
    reader_.database_.run("ROLLBACK");
  }
}

Clock::duration Reader::Turn::lasted() const {
  return Clock::now() - locked_;
}

bool Reader::read_at_once(const Query& query, std::int64_t limit, std::int64_t offset, RowBuffer& page) {
  const std::string text =
      query.groups.empty() ? all_rows(query, table(), Indexes::kForAll) : all_groups(query, table());
  return read_page(text, query, limit, offset, page);
}

bool Reader::read_in_order(const Query& query, std::int64_t limit, std::int64_t offset, RowBuffer& page) {
  return read_page(all_rows(query, table(), Indexes::kForOrder), query, limit, offset, page);
}

bool Reader::read_page(const std::string& text, const Query& query, std::int64_t limit, std::int64_t offset,
                       RowBuffer& page) {
  page.clear();
  begun_ = Clock::now();
  SqliteStatement statement = prepare(text);
  const int place = bind_values(statement, query, 1);
  statement.bind(place, std::min<std::int64_t>(limit, RowBuffer::kMostRows + 1));
  statement.bind(place + 1, offset);
  const Deadline deadline(database_);
  while (statement.next()) {
    if (page.full()) {
      page.clear();
      return false;
    }
    page.add(statement, 1);
  }
  if ((database_.code() & kPrimary) == SQLITE_INTERRUPT) {
    page.clear();
    return false;
  }
  if (!statement.ended()) {
    throw failure();
  }
  return true;
}

std::int64_t Reader::highest_id() {
  begun_ = Clock::now();
  SqliteStatement statement = prepare(fmt::format("SELECT max(rowid) FROM {}", table()));
  next(statement);
  const bool empty = sqlite3_column_type(statement.handle(), 0) == SQLITE_NULL;
  return empty ? std::numeric_limits<std::int64_t>::min() : statement.integer(0);
}

std::int64_t Reader::count(const Query& query) {
  begun_ = Clock::now();
  {
    SqliteStatement statement = prepare(fmt::format("SELECT count(*) FROM {} AS t{}", table(), where(query)));
    bind_values(statement, query, 1);
    std::optional<Deadline> deadline;
    if (!query.conditions.empty()) {
      deadline.emplace(database_);
    }
    if (statement.next()) {
      return statement.integer(0);
    }
    if ((database_.code() & kPrimary) != SQLITE_INTERRUPT) {
      throw failure();
    }
  }
  // Too many to count at once: writers would wait.
  IdRanges ranges(*this, IdRanges::Direction::kRising, {.through = highest_id()});
  SqliteStatement statement =
      prepare(fmt::format("SELECT count(*) FROM {} AS t NOT INDEXED{}", table(), where(query, IdRanges::condition())));
  bind_values(statement, query, 3);
  std::int64_t total = 0;
  for (bool more = true; more;) {
    const Turn turn(*this);
    const std::optional<IdRanges::Bounds> range = ranges.next();
    more = range.has_value();
    if (more) {
      statement.bind(1, range->after);
      statement.bind(2, range->through);
      next(statement);
      total += statement.integer(0);
      statement.reset();
      ranges.learn_from(turn);
    }
  }
  return total;
}

// --- ranges of ids ---

IdRanges::IdRanges(Reader& reader, Direction direction, Bounds bounds, Pace pace)
    : reader_(reader),
      direction_(direction),
      left_(bounds),
      pace_(pace),
      end_(reader.prepare(fmt::format("SELECT rowid FROM {} NOT INDEXED WHERE {} ORDER BY rowid{} LIMIT 1 OFFSET ?3",
                                      reader.table(), condition(), direction == Direction::kRising ? "" : " DESC"))),
      width_(kFirstWidth) {}

const char* IdRanges::condition() {
  return "rowid > ?1 AND rowid <= ?2";
}

std::optional<IdRanges::Bounds> IdRanges::next() {
  if (ended_) {
    return {};
  }
  end_.bind(1, left_.after);
  end_.bind(2, left_.through);
  end_.bind(3, width_ - 1);
  Bounds range = left_;
  if (reader_.next(end_)) {
    const std::int64_t last = end_.integer(0);
    if (direction_ == Direction::kRising) {
      range.through = left_.after = last;
    } else {
      range.after = left_.through = last - 1;
    }
  } else {
    ended_ = true;
  }
  end_.reset();
  return range;
}

void IdRanges::stopped_at(std::int64_t id) {
  if (direction_ == Direction::kRising) {
    left_.after = id;
  } else {
    left_.through = id - 1;
  }
  ended_ = false;
}

void IdRanges::learn_from(const Reader::Turn& turn) {
  const auto lasted = turn.lasted();
  if (lasted < pace_.is_short) {
    width_ = std::min(width_ * 2, kGreatestWidth);
  } else if (lasted > pace_.is_long) {
    width_ = std::max<std::int64_t>(width_ / 2, 1);
  }
}

// --- rows by their ids ---

RowStream::RowStream(Reader& reader, const Query& query, IdRanges::Direction direction, IdRanges::Bounds bounds)
    : reader_(reader),
      ranges_(reader, direction, bounds),
      rows_(reader.prepare(fmt::format("SELECT t.rowid, {} FROM {} AS t NOT INDEXED{} ORDER BY t.rowid{}",
                                       query.columns, reader.table(), where(query, IdRanges::condition()),
                                       direction == IdRanges::Direction::kRising ? "" : " DESC"))) {
  bind_values(rows_, query, 3);
}

bool RowStream::next(RowBuffer& page) {
  page.clear();
  while (page.empty()) {
    const Reader::Turn turn(reader_);
    const std::optional<IdRanges::Bounds> range = ranges_.next();
    if (!range) {
      return false;
    }
    rows_.bind(1, range->after);
    rows_.bind(2, range->through);
    while (!page.full() && reader_.next(rows_)) {
      page.add(rows_, 1);
    }
    if (page.full()) {
      ranges_.stopped_at(page.id(page.size() - 1));
    }
    rows_.reset();
    ranges_.learn_from(turn);
  }
  return true;
}

}  // namespace annalctl
