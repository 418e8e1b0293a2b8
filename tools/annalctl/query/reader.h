// Reads a log without delaying writers: every read transaction is short, and none is open while rows are written out,
// however long that takes.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/files/file_state.h"
#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/row_buffer.h"

namespace annalctl {

// Reading the log failed.
class ReadFailure : public std::runtime_error {
 public:
  using Clock = std::chrono::steady_clock;

  // code: the library's for such a failure. begun: the start of the transaction that failed.
  ReadFailure(int code, Clock::time_point begun) : ReadFailure(code, begun, {}) {}
  // With a known cause.
  ReadFailure(int code, Clock::time_point begun, const std::string& cause)
      : std::runtime_error(cause), code_(code), begun_(begun) {}

  [[nodiscard]] int code() const { return code_; }
  [[nodiscard]] Clock::time_point begun() const { return begun_; }

  // What SQLite said about the statement: the reason, if the state of the log is not one.
  [[nodiscard]] const std::string& refusal() const { return refusal_; }
  void set_refusal(const std::string& refusal) { refusal_ = refusal; }

 private:
  int code_;
  Clock::time_point begun_;
  std::string refusal_;
};

class Reader {
 public:
  // Opens the log as the library does, so SQLite rolls back an interrupted change first.
  explicit Reader(const Log& log);

  // While it exists, the log is locked for reading: nothing in its scope may wait.
  class Turn {
   public:
    explicit Turn(Reader& reader);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    [[nodiscard]] std::chrono::steady_clock::duration lasted() const;

   private:
    Reader& reader_;
    std::chrono::steady_clock::time_point locked_;
  };

  [[nodiscard]] SqliteStatement prepare(const std::string& text);
  void run(const std::string& text);
  // Locks the log for a change, until commit or rollback.
  void begin_change();
  // The next row; false at the end.
  bool next(SqliteStatement& statement);

  // Fills a page by one statement that may use any index. False, with an empty page, if there are more rows than a page
  // or the statement takes longer than writers should wait.
  [[nodiscard]] bool read_at_once(const Query& query, std::int64_t limit, std::int64_t offset, RowBuffer& page);
  // The same for a query without groups, going through the rows in order: fast if many meet the conditions.
  [[nodiscard]] bool read_in_order(const Query& query, std::int64_t limit, std::int64_t offset, RowBuffer& page);

  // Of the existing rows; below all ids if there is none.
  [[nodiscard]] std::int64_t highest_id();

  // The number of rows that satisfy the conditions.
  [[nodiscard]] std::int64_t count(const Query& query);

  // The table, as "main.NAME".
  [[nodiscard]] std::string table() const { return std::string("main.") + log_.table; }

  // Call this before writing rows out: a lock held then would last as long as the reader of the output takes.
  void require_released() const;

  // Whether the log is still the one of this state, which was taken after opening and before reading.
  [[nodiscard]] bool is_of(const FileState& state);

 private:
  [[nodiscard]] bool read_page(const std::string& text, const Query& query, std::int64_t limit, std::int64_t offset,
                               RowBuffer& page);
  [[nodiscard]] ReadFailure failure() const;
  void require_same_log();
  [[nodiscard]] std::optional<std::int64_t> highest_id_ever();

  const Log& log_;
  ReadFailure::Clock::time_point begun_ = ReadFailure::Clock::now();
  SqliteDatabase database_;
  std::optional<SqliteStatement> schema_statement_;
  std::optional<std::int64_t> schema_;
  std::optional<std::int64_t> highest_id_;
};

// Goes through a table's ids in ranges that take a few milliseconds each.
class IdRanges {
 public:
  enum class Direction { kRising, kFalling };

  struct Bounds {
    std::int64_t after = std::numeric_limits<std::int64_t>::min();
    std::int64_t through = std::numeric_limits<std::int64_t>::max();
  };

  // A range grows while a turn is shorter than the first, and shrinks when one is longer than the second.
  struct Pace {
    std::chrono::microseconds is_short{2000};
    std::chrono::microseconds is_long{8000};
  };

  IdRanges(Reader& reader, Direction direction, Bounds bounds) : IdRanges(reader, direction, bounds, Pace()) {}
  IdRanges(Reader& reader, Direction direction, Bounds bounds, Pace pace);

  // "rowid > ?1 AND rowid <= ?2"
  [[nodiscard]] static const char* condition();

  // Within a turn: the next range; nothing at the end.
  [[nodiscard]] std::optional<Bounds> next();
  // Reading stopped at a row in the range.
  void stopped_at(std::int64_t id);
  // At the end of a turn.
  void learn_from(const Reader::Turn& turn);

 private:
  Reader& reader_;
  Direction direction_;
  Bounds left_;
  Pace pace_;
  SqliteStatement end_;
  bool ended_ = false;
  std::int64_t width_;
};

// The rows of a query by id, a page at a time. The query must outlive this.
class RowStream {
 public:
  RowStream(Reader& reader, const Query& query, IdRanges::Direction direction, IdRanges::Bounds bounds = {});

  // The next rows, at least one; false at the end.
  [[nodiscard]] bool next(RowBuffer& page);

 private:
  Reader& reader_;
  IdRanges ranges_;
  SqliteStatement rows_;
};

}  // namespace annalctl
