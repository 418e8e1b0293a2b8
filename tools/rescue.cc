#include "tools/rescue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <string_view>

#include "tools/blueprint.h"
#include "tools/maintenance.h"
#include "tools/pages.h"
#include "tools/sqlite.h"

namespace annalctl {

namespace {

// The number behind a word of the trigger's text; 0 when there is none that can be one.
int number_behind(std::string_view text, std::string_view word) {
  const std::size_t place = text.find(word);
  int number = 0;
  if (place != std::string_view::npos) {
    const std::string_view digits = text.substr(place + word.size());
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
  }
  return std::max(number, 0);
}

// A column of the damaged table.
struct OldColumn {
  std::string name;
  std::string fallback;  // an expression: what a row has that is older than the column
  bool known;            // to this release
};

class NewLog {
 public:
  NewLog(const Log& log, const std::string& path)
      : log_(log), database_(path, SQLITE_OPEN_READWRITE), blueprint_(make_blueprint(log.usual_limit, 1)) {
    // Until it has its name nobody needs the file but this process, and a journal would be one more to leave behind.
    run(fmt::format("PRAGMA page_size = {}; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; BEGIN",
                    blueprint_.page_size));
    make("table");
    look_up_.emplace(database_, fmt::format("SELECT 1 FROM {} WHERE rowid = ?", log_.table));
  }

  [[nodiscard]] const Database& database() const { return database_; }
  [[nodiscard]] std::int64_t rows() const { return rows_; }

  void run(const std::string& statements) const {
    if (!database_.run(statements)) {
      fail();
    }
  }

  // Stores the row that a statement has been given, unless there is one of its id already.
  void store(Statement& insert) {
    if (insert.next() || !insert.ended()) {
      fail();
    }
    rows_ += sqlite3_changes(database_.handle());
    sqlite3_reset(insert.handle());
  }

  [[nodiscard]] bool has(std::int64_t id) {
    sqlite3_bind_int64(look_up_->handle(), 1, id);
    const bool found = look_up_->next();
    sqlite3_reset(look_up_->handle());
    return found;
  }

  // An id that was given once is not given again.
  void raise_last_id(std::int64_t id) const {
    run(
        fmt::format("UPDATE sqlite_sequence SET seq = MAX(seq, {0}) WHERE name = '{1}'; INSERT INTO sqlite_sequence "
                    "SELECT '{1}', {0} WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = '{1}')",
                    id, log_.table));
  }

  // The trigger comes last: while the rows are copied none of them may go.
  void finish(int limit, int batch) {
    make("index");
    blueprint_ = make_blueprint(limit, batch);
    make("trigger");
    run("COMMIT");
    Statement check(database_, "PRAGMA integrity_check");
    if (!check.next() || check.text(0) != "ok") {
      throw RescueFailure("the new file is not sound");
    }
  }

  [[noreturn]] void fail() const {
    throw RescueFailure(fmt::format("the new file cannot be written: {}", database_.message()));
  }

 private:
  [[nodiscard]] Blueprint make_blueprint(int limit, int batch) const {
    std::optional<Blueprint> blueprint = blueprint_of(log_, limit, batch);
    if (!blueprint) {
      throw RescueFailure("what the library makes of a new log cannot be had: this SQLite keeps no database in memory");
    }
    return std::move(*blueprint);
  }

  void make(std::string_view type) const {
    for (const SchemaObject& object : blueprint_.objects) {
      const bool of_sqlite = object.text.empty() || object.name.starts_with("sqlite_");
      if (object.type == type && !of_sqlite) {
        run(object.text);
      }
    }
  }

  const Log& log_;
  Database database_;
  Blueprint blueprint_;
  std::optional<Statement> look_up_;
  std::int64_t rows_ = 0;
};

class Rescue {
 public:
  Rescue(const Log& log, const std::string& damaged, const std::string& anew)
      : log_(log),
        old_(immutable_name(damaged), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI),
        pages_(damaged),
        new_(log, anew) {}

  Rescued run() {
    static_cast<void>(old_.run("PRAGMA cell_size_check = ON"));
    look_at_schema();
    if (schema_read_) {
      walk_table();
      count_lost();
    }
    if (!rescued_.whole || rescued_.lost.value_or(0) > 0) {
      read_pages();
      count_lost();
    }
    keep_last_id();
    set_limit();
    rescued_.rows = new_.rows();
    return std::move(rescued_);
  }

 private:
  // --- what is known about the old file ---

  void look_at_schema() {
    Statement objects(old_, "SELECT type, name, tbl_name, sql FROM sqlite_master");
    bool table = false;
    while (objects.next()) {
      const std::string type = objects.text(0);
      const std::string name = objects.text(1);
      const bool ours = sqlite3_stricmp(objects.text(2).c_str(), log_.table) == 0;
      table = table || (type == "table" && ours);
      if (type == "index" && ours) {
        indexes_.push_back(name);
      } else if (type == "table" && !ours && !name.starts_with("sqlite_")) {
        rescued_.tables_left.push_back(name);
      } else if (type == "trigger") {
        take_trigger(name, objects.text(3));
      }
    }
    if (objects.ended() && table) {
      look_at_columns();
    }
    schema_read_ = !columns_.empty();
    if (!schema_read_) {
      for (const Column& column : log_.columns) {
        columns_.push_back({column.name, {}, true});
      }
    }
  }

  void look_at_columns() {
    Statement columns(old_, fmt::format("PRAGMA table_info({})", log_.table));
    while (columns.next()) {
      const std::string name = columns.text(1);
      const bool known = std::any_of(log_.columns.begin(), log_.columns.end(), [&name](const Column& column) {
        return sqlite3_stricmp(name.c_str(), column.name) == 0;
      });
      if (!known) {
        rescued_.columns_left.push_back(name);
      }
      columns_.push_back({name, columns.text(4), known});
    }
  }

  void take_trigger(const std::string& name, std::string_view text) {
    const int limit = number_behind(text, "WHEN ");
    const int batch = number_behind(text, "LIMIT ");
    if (name == trigger_of(log_) && limit > 0 && batch > 0) {
      rescued_.limit = limit;
      rescued_.batch = batch;
      rescued_.limit_kept = true;
    }
  }

  // --- by the table's tree ---

  // From the lowest id up and, where that ends at damage, from the highest down.
  void walk_table() {
    std::string names;
    std::string places;
    for (const OldColumn& column : columns_) {
      if (column.known && sqlite3_stricmp(column.name.c_str(), log_.columns.front().name) != 0) {
        names += ", " + quoted_name(column.name);
        places += ", ?";
      }
    }
    const std::string select = fmt::format("SELECT rowid{} FROM {} ", names, log_.table);
    Statement insert(new_.database(),
                     fmt::format("INSERT OR IGNORE INTO {} (rowid{}) VALUES (?{})", log_.table, names, places));
    std::optional<std::int64_t> highest;
    rescued_.whole = walk(select + "ORDER BY rowid", insert, [&highest](std::int64_t id) {
      const bool ascends = !highest || id > *highest;
      highest = id;
      return ascends;
    });
    if (!rescued_.whole) {
      std::optional<std::int64_t> lowest;
      walk(select + "ORDER BY rowid DESC", insert, [&](std::int64_t id) {
        const bool descends = (!lowest || id < *lowest) && (!highest || id > *highest);
        lowest = id;
        return descends;
      });
    }
  }

  // in_order: false ends it. Whether it came to the end.
  bool walk(const std::string& select, Statement& insert, const std::function<bool(std::int64_t)>& in_order) {
    Statement rows(old_, select);
    while (rows.next()) {
      if (!in_order(rows.integer(0))) {
        return false;
      }
      for (int i = 0; i < sqlite3_column_count(rows.handle()); ++i) {
        sqlite3_bind_value(insert.handle(), i + 1, sqlite3_column_value(rows.handle(), i));
      }
      new_.store(insert);
    }
    return rows.ended();
  }

  // Each index lists the ids of all rows: one that is intact tells what is missing.
  void count_lost() {
    rescued_.lost = rescued_.whole ? std::optional<std::int64_t>(0) : std::nullopt;
    for (const std::string& index : indexes_) {
      Statement ids(old_, fmt::format("SELECT rowid FROM {} INDEXED BY {}", log_.table, quoted_name(index)));
      std::int64_t missing = 0;
      while (ids.next()) {
        missing += new_.has(ids.integer(0)) ? 0 : 1;
      }
      if (ids.ended()) {
        rescued_.lost = std::max(rescued_.lost.value_or(0), missing);
      }
    }
  }

  // --- by its pages ---

  void read_pages() {
    constexpr std::uint32_t kLargestPage = 65536;
    constexpr std::uint32_t kSmallestPage = 512;
    if (const std::optional<std::uint32_t> told = pages_.page_size()) {
      if (take_rows(*told) || schema_read_) {
        return;
      }
    }
    // The right size of a page is the one that makes sense of most.
    std::uint32_t best = 0;
    std::int64_t most = 0;
    for (std::uint32_t size = kSmallestPage; size <= kLargestPage; size *= 2) {
      std::int64_t found = 0;
      pages_.read(size, [&](const StoredRecord& record) { found += is_row(record) ? 1 : 0; });
      if (found > most) {
        most = found;
        best = size;
      }
    }
    if (best != 0) {
      take_rows(best);
    }
  }

  bool take_rows(std::uint32_t page_size) {
    bool any = false;
    pages_.read(page_size, [this, &any](const StoredRecord& record) {
      if (is_row(record)) {
        any = true;
        store(record);
      } else if (is_schema(record)) {
        take_trigger(std::string(record.values[1].bytes), record.values[4].bytes);
      }
    });
    return any;
  }

  // The column of the id, which is the first in each log, is empty in the row itself: the tree has it.
  [[nodiscard]] bool is_row(const StoredRecord& record) const {
    return record.values.size() >= std::min(log_.first_columns, columns_.size()) &&
           record.values.size() <= columns_.size() && record.values[0].kind == StoredValue::Kind::kNull;
  }

  static bool is_schema(const StoredRecord& record) {
    constexpr std::size_t kSchemaColumns = 5;
    return record.values.size() == kSchemaColumns && record.values[0].bytes == "trigger" &&
           record.values[4].kind == StoredValue::Kind::kText;
  }

  void store(const StoredRecord& record) {
    Statement& insert = insert_of(record.values.size());
    sqlite3_bind_int64(insert.handle(), 1, record.id);
    int place = 1;
    for (std::size_t i = 1; i < record.values.size(); ++i) {
      if (columns_[i].known) {
        bind(insert, ++place, record.values[i]);
      }
    }
    new_.store(insert);
  }

  void bind(const Statement& insert, int place, const StoredValue& value) const {
    switch (value.kind) {
      case StoredValue::Kind::kInteger:
        sqlite3_bind_int64(insert.handle(), place, value.integer);
        break;
      case StoredValue::Kind::kReal:
        sqlite3_bind_double(insert.handle(), place, value.real);
        break;
      case StoredValue::Kind::kText:
        sqlite3_bind_text64(insert.handle(), place, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT,
                            encoding());
        break;
      case StoredValue::Kind::kBlob:
        sqlite3_bind_blob64(insert.handle(), place, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT);
        break;
      case StoredValue::Kind::kNull:
        sqlite3_bind_null(insert.handle(), place);
    }
  }

  [[nodiscard]] unsigned char encoding() const {
    switch (pages_.encoding()) {
      case Pages::Encoding::kUtf16Little:
        return SQLITE_UTF16LE;
      case Pages::Encoding::kUtf16Big:
        return SQLITE_UTF16BE;
      case Pages::Encoding::kUtf8:
        break;
    }
    return SQLITE_UTF8;
  }

  // A row that is older than a column has nothing for it in the file, and the column's default when it is read.
  Statement& insert_of(std::size_t values) {
    const auto known = inserts_.find(values);
    if (known != inserts_.end()) {
      return known->second;
    }
    std::string names = "rowid";
    std::string places = "?";
    for (std::size_t i = 1; i < columns_.size(); ++i) {
      const OldColumn& column = columns_[i];
      const bool stored = i < values;
      if (column.known && (stored || !column.fallback.empty())) {
        names += ", " + quoted_name(column.name);
        places += ", " + (stored ? "?" : column.fallback);
      }
    }
    Statement insert(new_.database(),
                     fmt::format("INSERT OR IGNORE INTO {} ({}) VALUES ({})", log_.table, names, places));
    if (!insert.prepared()) {
      new_.fail();
    }
    return inserts_.emplace(values, std::move(insert)).first->second;
  }

  // --- the rest of the new file ---

  void keep_last_id() {
    Statement last(old_, fmt::format("SELECT seq FROM sqlite_sequence WHERE name = '{}'", log_.table));
    // At its end the counter would let no entry in.
    if (last.next() && last.integer(0) > 0 && last.integer(0) < std::numeric_limits<std::int64_t>::max()) {
      new_.raise_last_id(last.integer(0));
    }
  }

  // Without the old limit no row that was saved may go because of the new one.
  void set_limit() {
    if (!rescued_.limit_kept) {
      const auto rows = std::min<std::int64_t>(new_.rows(), std::numeric_limits<int>::max());
      rescued_.limit = std::max(log_.usual_limit, static_cast<int>(rows));
      rescued_.batch = usual_batch(rescued_.limit);
    }
    new_.finish(rescued_.limit, rescued_.batch);
  }

  const Log& log_;
  Database old_;
  Pages pages_;
  NewLog new_;
  std::vector<OldColumn> columns_;
  std::vector<std::string> indexes_;
  std::map<std::size_t, Statement> inserts_;
  bool schema_read_ = false;
  Rescued rescued_;
};

}  // namespace

Rescued rescue(const Log& log, const std::string& damaged, const std::string& anew) {
  return Rescue(log, damaged, anew).run();
}

}  // namespace annalctl
