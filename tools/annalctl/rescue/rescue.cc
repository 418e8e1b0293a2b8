// Rescues rows in passes, each of which adds what the ones before it missed:
// - SQLite reads the table through its tree, from both ends, up to the damage;
// - the page reader takes every record of the right shape from the pages, whatever the tree says;
// - the indexes, which list every row a second time, confirm rows, replace damaged values and name lost rows.
// A row that only the pages have was deleted, and is not saved, if most of the intact indexes lack it.
#include "tools/annalctl/rescue/rescue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <string_view>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/log/limits.h"
#include "tools/annalctl/rescue/damaged_file.h"
#include "tools/annalctl/rescue/page_layout.h"
#include "tools/annalctl/rescue/page_reader.h"
#include "tools/annalctl/rescue/testimony.h"

namespace annalctl {

namespace {

// The percentage that is done after reading the table and its indexes, and after reading all pages.
constexpr int kRead = 50;
constexpr int kSearched = 60;

// The number after a word of the trigger's text; 0 if there is none.
int number_after(std::string_view text, std::string_view word) {
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
  std::string fallback;           // SQL: the value of rows that are older than the column
  const Column* known = nullptr;  // in this release; null: unknown
  bool same_kind = true;          // it is declared for numbers or texts like the known one
};

using Columns = std::vector<const Column*>;

class Rescue {
 public:
  Rescue(const Log& log, const std::string& damaged, const std::string& new_log, Advance& advance)
      : log_(log),
        file_(damaged),
        layout_(layout_of(file_)),
        view_(file_, corrected_header(file_, layout_)),
        old_(CorrectedView::name(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI),
        pages_(file_, layout_),
        new_(log, new_log),
        advance_(advance) {
    file_.count_from_here();
  }

  Rescued run() {
    static_cast<void>(old_.run("PRAGMA cell_size_check = ON"));
    look_at_schema();
    if (schema_read_) {
      walk_table();
      hear_indexes();
    }
    if (!rescued_.whole || testimony_.intact == 0 || !testimony_.missing.empty()) {
      read_pages();
      hear_indexes();
    }
    tell_columns_lost();
    count();
    keep_last_id();
    set_limit();
    rescued_.rows = new_.rows();
    rescued_.refused = file_.refused();
    return std::move(rescued_);
  }

 private:
  // --- what is known about the old file ---

  void look_at_schema() {
    SqliteStatement objects(old_, "SELECT type, name, tbl_name, sql FROM sqlite_master");
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
    // Rows with more values than the table has columns mean that the table's text is damaged: two columns may have
    // become one in it, and all later columns have the wrong name.
    schema_read_ = !columns_.empty() && layout_.usual_values <= columns_.size();
    if (!schema_read_) {
      columns_.clear();
      for (const Column& column : log_.columns) {
        columns_.push_back({column.name, fallback_of(column), &column});
      }
    }
    for (const OldColumn& column : columns_) {
      if (column.known == nullptr) {
        rescued_.columns_left.push_back(column.name);
      }
    }
  }

  static std::string fallback_of(const Column& column) { return column.older == nullptr ? "NULL" : column.older; }

  void look_at_columns() {
    std::vector<std::string> declared;
    SqliteStatement columns(old_, fmt::format("PRAGMA table_info({})", log_.table));
    while (columns.next()) {
      const std::string name = columns.text(1);
      const auto known = std::find_if(log_.columns.begin(), log_.columns.end(), [&name](const Column& column) {
        return sqlite3_stricmp(name.c_str(), column.name) == 0;
      });
      columns_.push_back({name, columns.text(4), known == log_.columns.end() ? nullptr : &*known});
      declared.push_back(columns.text(2));
    }
    // A column with an unknown name in the place of a missing one is that one, with a damaged name.
    for (std::size_t i = 0; i < std::min(columns_.size(), log_.columns.size()); ++i) {
      const Column& expected = log_.columns[i];
      if (columns_[i].known == nullptr && !is_there(expected)) {
        columns_[i].known = &expected;
      }
    }
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      OldColumn& column = columns_[i];
      if (column.fallback.empty()) {
        column.fallback = column.known == nullptr ? "NULL" : fallback_of(*column.known);
      }
      column.same_kind = column.known != nullptr &&
                         sqlite3_stricmp(declared[i].c_str(), column.known->integer ? "INTEGER" : "TEXT") == 0;
    }
  }

  [[nodiscard]] bool is_there(const Column& column) const {
    return std::any_of(columns_.begin(), columns_.end(), [&](const OldColumn& old) { return old.known == &column; });
  }

  void take_trigger(const std::string& name, std::string_view text) {
    const int limit = number_after(text, "WHEN ");
    const int batch = number_after(text, "LIMIT ");
    if (name == trigger_of(log_) && limit > 0 && batch > 0) {
      rescued_.limit = limit;
      rescued_.batch = batch;
      rescued_.limit_kept = true;
    }
  }

  // --- the statements that store a row ---

  // A column that the row lacks gets the value of rows older than the column, never the current default.
  std::string insert_of(const std::function<std::string(std::size_t)>& value_of_column) {
    std::string names = "rowid";
    std::string places = "?";
    for (const Column& column : log_.columns.subspan(1)) {
      const auto old = std::find_if(columns_.begin(), columns_.end(),
                                    [&column](const OldColumn& one) { return one.known == &column; });
      names += ", " + quoted_name(column.name);
      places += ", ";
      if (old != columns_.end()) {
        places += value_of_column(static_cast<std::size_t>(old - columns_.begin()));
      } else {
        places += column.older != nullptr ? column.older : new_.default_of(column.name);
      }
    }
    return fmt::format("INSERT OR IGNORE INTO {} ({}) VALUES ({})", log_.table, names, places);
  }

  // The parameter for a column of the old table. The first is the id, then the values in the order of the row.
  static std::string parameter(std::size_t place) { return fmt::format("?{}", place + 2); }

  // --- by the table's tree ---

  // From the lowest id up and, where that ends at damage, from the highest down.
  void walk_table() {
    std::string names;
    for (const OldColumn& column : columns_) {
      names += ", " + quoted_name(column.name);
    }
    const std::string select = fmt::format("SELECT rowid{} FROM {} NOT INDEXED ", names, log_.table);
    SqliteStatement insert(new_.database(), insert_of(parameter));
    if (!insert.prepared()) {
      new_.fail();
    }
    std::optional<std::int64_t> highest;
    rescued_.whole = walk(select + "ORDER BY rowid", insert, [&highest](std::int64_t id) {
      const bool ascends = !highest || id > *highest;
      highest = ascends ? id : highest;
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

  // in_order: false ends the walk. Returns whether it reached the end.
  bool walk(const std::string& select, SqliteStatement& insert, const std::function<bool(std::int64_t)>& in_order) {
    SqliteStatement rows(old_, select);
    while (rows.next()) {
      if (!in_order(rows.integer(0))) {
        return false;
      }
      const int values = std::min(sqlite3_column_count(rows.handle()), sqlite3_bind_parameter_count(insert.handle()));
      Columns hidden;
      for (int i = 0; i < values; ++i) {
        const int type = sqlite3_column_type(rows.handle(), i);
        if (i > 0 && hides_kind(columns_[static_cast<std::size_t>(i) - 1], type)) {
          hidden.push_back(columns_[static_cast<std::size_t>(i) - 1].known);
        }
        if (type == SQLITE_TEXT) {
          // As UTF-8: SQLite would take a mark at the start of a UTF-16 text as its byte order, and drop it.
          const char* const text = reinterpret_cast<const char*>(sqlite3_column_text(rows.handle(), i));
          sqlite3_bind_text(insert.handle(), i + 1, text, sqlite3_column_bytes(rows.handle(), i), SQLITE_STATIC);
        } else {
          sqlite3_bind_value(insert.handle(), i + 1, sqlite3_column_value(rows.handle(), i));
        }
      }
      store(insert, rows.integer(0), hidden);
    }
    return rows.ended();
  }

  // hidden: columns whose values change their kind.
  void store(SqliteStatement& insert, std::int64_t id, const Columns& hidden) {
    if (new_.store(insert)) {
      for (const Column* const column : hidden) {
        hiding_.emplace(id, column);
      }
    }
    advance_.rows = new_.rows();
    tell_read();
  }

  // Whether storing a value of this kind may hide that the library cannot have stored it, because the column turns it
  // into a number or a text.
  static bool hides_kind(const OldColumn& column, int type) {
    if (column.known == nullptr || !column.same_kind) {
      return false;
    }
    return type == SQLITE_FLOAT || type == (column.known->integer ? SQLITE_TEXT : SQLITE_INTEGER);
  }

  void tell_read() {
    const std::uint64_t size = std::max<std::uint64_t>(file_.size(), 1);
    const std::uint64_t part = std::min<std::uint64_t>(file_.bytes_read() * kRead / size, kRead);
    advance_.percent = std::max<int>(advance_.percent, static_cast<int>(part));
  }

  void hear_indexes() {
    if (!schema_read_) {
      return;
    }
    std::map<std::string, const Column*> known;
    for (const OldColumn& column : columns_) {
      if (column.known != nullptr) {
        known.emplace(column.name, column.known);
      }
    }
    Witnesses witnesses(log_, old_, layout_.encoding, std::move(known));
    for (const std::string& index : indexes_) {
      witnesses.add(index);
    }
    std::set<ValueId> mended = std::move(testimony_.mended);
    testimony_ = witnesses.hear(new_, [this] { tell_read(); });
    testimony_.mended.merge(mended);
  }

  // --- by its pages ---

  void read_pages() {
    pages_.read(
        [this](const StoredRecord& record) {
          if (is_row(record.values.size()) && record.values[0].kind == StoredValue::Kind::kNull) {
            store(record);
          } else if (is_trigger(record)) {
            take_trigger(std::string(record.values[1].bytes), record.values[4].bytes);
          } else if (record.values[0].kind == StoredValue::Kind::kNull && rescued_.tables_left.empty()) {
            broken_.insert(record.id);  // its layout is unknown
          }
        },
        [this](std::int64_t id, std::size_t values) {
          if (is_row(values) && id > 0) {
            broken_.insert(id);
          }
        });
    advance_.percent = kSearched;
  }

  [[nodiscard]] bool is_row(std::size_t values) const {
    return values >= std::min(log_.earliest_columns, columns_.size()) && values <= columns_.size();
  }

  static bool is_trigger(const StoredRecord& record) {
    constexpr std::size_t kSchemaColumns = 5;
    return record.values.size() == kSchemaColumns && record.values[0].bytes == "trigger" &&
           record.values[4].kind == StoredValue::Kind::kText;
  }

  void store(const StoredRecord& record) {
    // Intact indexes list all rows: a row that they lack was deleted.
    if (testimony_.intact > 0 && !testimony_.missing.contains(record.id)) {
      return;
    }
    SqliteStatement& insert = insert_of(record.values.size());
    sqlite3_bind_int64(insert.handle(), 1, record.id);
    const auto last = static_cast<std::size_t>(sqlite3_bind_parameter_count(insert.handle()));
    Columns hidden;
    for (std::size_t i = 0; i < record.values.size() && i + 2 <= last; ++i) {
      if (i > 0 && hides_kind(columns_[i], type_of(record.values[i]))) {
        hidden.push_back(columns_[i].known);
      }
      bind(insert, static_cast<int>(i + 2), record.values[i]);
    }
    store(insert, record.id, hidden);
  }

  static int type_of(const StoredValue& value) {
    switch (value.kind) {
      case StoredValue::Kind::kInteger:
        return SQLITE_INTEGER;
      case StoredValue::Kind::kReal:
        return SQLITE_FLOAT;
      case StoredValue::Kind::kText:
        return SQLITE_TEXT;
      case StoredValue::Kind::kBlob:
        return SQLITE_BLOB;
      case StoredValue::Kind::kNull:
        break;
    }
    return SQLITE_NULL;
  }

  // SQLite drops the first mark, so one is added, and a mark of the text itself is kept.
  [[nodiscard]] std::string marked(std::string_view text) const {
    return (layout_.encoding == Encoding::kUtf16Little ? "\xFF\xFE" : "\xFE\xFF") + std::string(text);
  }

  void bind_text(const SqliteStatement& insert, int place, std::string_view text) const {
    const bool utf8 = layout_.encoding == Encoding::kUtf8;
    const std::string kept = utf8 ? std::string() : marked(text);
    text = utf8 ? text : kept;
    sqlite3_bind_text64(insert.handle(), place, text.data(), text.size(), SQLITE_TRANSIENT,
                        static_cast<unsigned char>(layout_.encoding));
  }

  void bind(const SqliteStatement& insert, int place, const StoredValue& value) const {
    switch (value.kind) {
      case StoredValue::Kind::kInteger:
        sqlite3_bind_int64(insert.handle(), place, value.integer);
        break;
      case StoredValue::Kind::kReal:
        sqlite3_bind_double(insert.handle(), place, value.real);
        break;
      case StoredValue::Kind::kText:
        bind_text(insert, place, value.bytes);
        break;
      case StoredValue::Kind::kBlob:
        sqlite3_bind_blob64(insert.handle(), place, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT);
        break;
      case StoredValue::Kind::kNull:
        sqlite3_bind_null(insert.handle(), place);
    }
  }

  SqliteStatement& insert_of(std::size_t values) {
    const auto known = inserts_.find(values);
    if (known != inserts_.end()) {
      return known->second;
    }
    SqliteStatement insert(new_.database(), insert_of([this, values](std::size_t place) {
                             return place < values ? parameter(place) : columns_[place].fallback;
                           }));
    if (!insert.prepared()) {
      new_.fail();
    }
    return inserts_.emplace(values, std::move(insert)).first->second;
  }

  // --- the report ---

  void tell_columns_lost() {
    for (const Column& column : log_.columns) {
      if (!is_there(column) && column.older == nullptr) {
        rescued_.columns_lost.emplace_back(column.name);
      }
    }
  }

  void count() {
    rescued_.doubtful = rows_with_impossible_values(log_, new_);
    for (const ValueId& value : hiding_) {
      if (!testimony_.mended.contains(value)) {
        rescued_.doubtful.insert(value.first);
      }
    }
    rescued_.doubtful.insert(testimony_.doubtful.begin(), testimony_.doubtful.end());
    rescued_.doubtful.insert(testimony_.unknown.begin(), testimony_.unknown.end());
    for (const auto& [id, column] : testimony_.mended) {
      if (!rescued_.doubtful.contains(id)) {
        rescued_.mended.insert(id);
      }
    }
    rescued_.uncompared = new_.rows() - testimony_.compared;
    for (const Column& column : log_.columns.subspan(1)) {
      if (is_there(column) && !testimony_.columns.contains(column.name)) {
        rescued_.columns_uncompared.emplace_back(column.name);
      }
    }
    rescued_.lost_ids = testimony_.missing;
    for (const std::int64_t id : broken_) {
      if (!new_.has(id) && testimony_.intact == 0) {
        rescued_.lost_ids.insert(id);
      }
    }
    const bool known = testimony_.intact > 0 || rescued_.whole || !rescued_.lost_ids.empty();
    rescued_.lost = known ? std::optional(static_cast<std::int64_t>(rescued_.lost_ids.size())) : std::nullopt;
  }

  // --- the rest of the new file ---

  void keep_last_id() {
    SqliteStatement last(old_, fmt::format("SELECT seq FROM sqlite_sequence WHERE name = '{}'", log_.table));
    // At its end the counter would refuse every entry.
    if (last.next() && last.integer(0) > 0 && last.integer(0) < std::numeric_limits<std::int64_t>::max()) {
      new_.raise_last_id(last.integer(0));
    }
  }

  // If the old limit is unknown, the new one must not delete saved rows.
  void set_limit() {
    if (!rescued_.limit_kept) {
      const auto rows = std::min<std::int64_t>(new_.rows(), std::numeric_limits<int>::max());
      rescued_.limit = std::max(log_.usual_limit, static_cast<int>(rows));
      rescued_.batch = usual_batch(rescued_.limit);
    }
    new_.finish(rescued_.limit, rescued_.batch,
                [this](int percent) { advance_.percent = kSearched + percent * (100 - kSearched) / 100; });
  }

  const Log& log_;
  DamagedFile file_;
  Layout layout_;
  CorrectedView view_;
  SqliteDatabase old_;
  PageReader pages_;
  NewLog new_;
  Advance& advance_;
  std::vector<OldColumn> columns_;
  std::vector<std::string> indexes_;
  std::map<std::size_t, SqliteStatement> inserts_;
  Testimony testimony_;
  Ids broken_;                // rows that begin well, but continue where they cannot be read
  std::set<ValueId> hiding_;  // of a kind that the library does not store, which the new log may hide
  bool schema_read_ = false;
  Rescued rescued_;
};

}  // namespace

Rescued rescue(const Log& log, const std::string& damaged, const std::string& new_log, Advance& advance) {
  return Rescue(log, damaged, new_log, advance).run();
}

}  // namespace annalctl
