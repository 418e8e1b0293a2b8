// Inspects a log from inside: its schema, its rows, and whether the library's statements work on it.
//
// "Sound" means that this library can store and read here. So the schema is compared with the one that the library
// creates, by meaning and not by text; SQLite checks the pages; and then the library's own statements run on a private
// view of the file that is discarded. The advice after each finding must help, and never delete rows.
#include "tools/annalctl/rescue/interior.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/rescue/blueprint.h"
#include "tools/annalctl/rescue/bounds.h"
#include "tools/annalctl/rescue/layout.h"

namespace annalctl {

namespace {

constexpr std::size_t kMostShown = 3;
constexpr std::size_t kMostNamed = 30;
constexpr int kMostCounted = 100;
constexpr std::size_t kMostObjects = 10000;
constexpr int kPrimary = 0xFF;  // of an extended code

bool same_name(std::string_view one, std::string_view other) {
  return one.size() == other.size() && sqlite3_strnicmp(one.data(), other.data(), static_cast<int>(one.size())) == 0;
}

std::string list_of(std::vector<std::string> names) {
  const bool more = names.size() > kMostNamed;
  names.resize(std::min(names.size(), kMostNamed));
  return fmt::format("{}{}", fmt::join(names, ", "), more ? ", …" : "");
}

class Interior {
 public:
  Interior(const Log& log, const RegularFile& file, const RegularFile& write_ahead)
      : log_(log),
        allowed_(time_for(file.occupied() + write_ahead.occupied())),
        deadline_(allowed_),
        blueprint_(blueprint_of(log, log.usual_limit, 1)),
        statements_(statements_of(log)),
        view_(file, write_ahead, deadline_),
        database_(PrivateView::name(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI),
        bounds_(database_.handle(), deadline_) {}

  Inspection run() {
    if (!blueprint_ || !statements_ || !view_.ready()) {
      report(State::kUnknown,
             "it could not be inspected: this SQLite has no databases in memory, or memory is short (try again)");
    } else {
      look();
    }
    return std::move(inspection_);
  }

 private:
  struct Object {
    std::string type;
    std::string name;
    std::string table;
    std::string text;
  };

  struct ActualColumn {
    std::string name;
    bool generated;
  };

  void report(State state, std::string text) { inspection_.findings.push_back({state, std::move(text)}); }

  // Faults that make the log unusable, and that salvage removes by recreating it.
  void report_to_remake(const std::string& text) {
    report(State::kFault, fmt::format("{} (run '{}', which recreates it and keeps its {})", text,
                                      command_for(log_, "salvage --force"), log_.entries));
  }

  void look() {
    // The view has no other user, and no shared memory for a write-ahead log.
    if (!database_.run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA cell_size_check = ON; PRAGMA mmap_size = 0") ||
        !read_schema()) {
      return explain();
    }
    const bool has_table = look_at_schema();
    if (!look_at_pages()) {
      // In a damaged log, faults of the schema are not reported: salvage mends both.
      std::erase_if(inspection_.findings, [](const Finding& finding) { return finding.state == State::kFault; });
      return;
    }
    if (has_table && inspection_.sound()) {
      try_statements();
    }
  }

  // --- the schema ---

  bool read_schema() {
    SqliteStatement schema(database_, "SELECT type, name, tbl_name, sql FROM sqlite_master");
    while (schema.next()) {
      if (objects_.size() == kMostObjects) {
        break;
      }
      objects_.push_back({schema.text(0), schema.text(1), schema.text(2), schema.text(3)});
    }
    return schema.ended() || objects_.size() == kMostObjects;
  }

  [[nodiscard]] const Object* object(std::string_view type, std::string_view name) const {
    const auto found = std::find_if(objects_.begin(), objects_.end(), [&](const Object& object) {
      return object.type == type && same_name(object.name, name);
    });
    return found == objects_.end() ? nullptr : &*found;
  }

  [[nodiscard]] const SchemaObject* made(std::string_view type, std::string_view name) const {
    const auto found =
        std::find_if(blueprint_->objects.begin(), blueprint_->objects.end(),
                     [&](const SchemaObject& object) { return object.type == type && same_name(object.name, name); });
    return found == blueprint_->objects.end() ? nullptr : &*found;
  }

  // Whether there is a table to store in.
  bool look_at_schema() {
    const Object* const table = object("table", log_.table);
    if (table == nullptr) {
      explain_missing_table();
      return false;
    }
    const std::optional<TableText> text = table_text(table->text);
    const SchemaObject* const model = made("table", log_.table);
    const std::optional<TableText> made_text = model != nullptr ? table_text(model->text) : std::nullopt;
    if (!text || !made_text || text->demand == "without") {
      report(State::kFault,
             fmt::format(
                 "its table {} is of a kind that no entries can be stored in, and no command can repair that (move the "
                 "file away, then run '{}')",
                 log_.table, command_for(log_, "create")));
      return false;
    }
    look_at_columns(*text, *made_text);
    look_at_objects();
    look_at_page_size();
    return true;
  }

  void explain_missing_table() {
    const bool others = std::any_of(objects_.begin(), objects_.end(),
                                    [](const Object& object) { return !object.name.starts_with("sqlite_"); });
    if (!others) {
      report(State::kFault, fmt::format("the log has no table yet (run '{}')", command_for(log_, "create")));
    } else if (object("view", log_.table) != nullptr) {
      report(State::kFault,
             fmt::format(
                 "{} in it is a view of other tables, which stores nothing, and no command can repair that (move the "
                 "file away, then run '{}')",
                 log_.table, command_for(log_, "create")));
    } else {
      report(State::kFault,
             fmt::format("it has no table {}, only others: it is some other database, or a log whose table "
                         "was removed (move it away, then run '{}')",
                         log_.table, command_for(log_, "create")));
    }
  }

  // --- columns ---

  void look_at_columns(const TableText& text, const TableText& made_text) {
    std::vector<ActualColumn> there;
    SqliteStatement columns(database_, fmt::format("PRAGMA table_xinfo({})", log_.table));
    while (columns.next()) {
      constexpr int kHidden = 6;
      there.push_back({columns.text(1), columns.integer(kHidden) != 0});
    }
    std::vector<std::string> missing;
    for (const Column& column : log_.columns) {
      const bool found = std::any_of(there.begin(), there.end(),
                                     [&](const ActualColumn& actual) { return same_name(actual.name, column.name); });
      if (!found) {
        missing.emplace_back(column.name);
      }
    }
    lacks_columns_ = !missing.empty();
    if (lacks_columns_) {
      report_missing_columns(missing, there);
    }
    std::vector<std::string> unknown;
    std::vector<std::string> unfit;
    for (std::size_t i = 0; i < there.size(); ++i) {
      const auto model = std::find_if(made_text.columns.begin(), made_text.columns.end(),
                                      [&](const ColumnText& column) { return same_name(column.name, there[i].name); });
      const bool known = model != made_text.columns.end();
      if (there.size() != text.columns.size() || there[i].generated ||
          !stores_alike(text.columns[i], known ? &*model : nullptr)) {
        unfit.push_back(there[i].name);
      } else if (!known) {
        unknown.push_back(there[i].name);
      }
    }
    if (!unfit.empty()) {
      report_to_remake(fmt::format("it has columns that do not keep whatever the library stores: {}", list_of(unfit)));
    }
    if (!text.demand.empty()) {
      report_to_remake(fmt::format("its table {} may refuse entries ({})", log_.table, text.demand));
    }
    if (!unknown.empty()) {
      report(State::kRemark, fmt::format("it has columns that this release does not know: {}", list_of(unknown)));
    }
  }

  // The library's migration accepts only tables that begin with exactly its own columns. That of notices deletes all
  // entries if more than the last column is missing.
  void report_missing_columns(const std::vector<std::string>& missing, const std::vector<ActualColumn>& there) {
    bool older = log_.migrates && there.size() >= log_.earliest_columns && there.size() < log_.columns.size();
    for (std::size_t i = 0; older && i < there.size(); ++i) {
      older = there[i].name == log_.columns[i].name;
    }
    const std::string text = fmt::format("it lacks columns that this release has: {}", list_of(missing));
    if (older) {
      report(State::kFault, fmt::format("{} (run '{}')", text, command_for(log_, "migrate")));
    } else {
      report_to_remake(text);
    }
  }

  // --- indexes and triggers ---

  void look_at_objects() {
    look_at_indexes();
    look_at_triggers();
  }

  // An older table gets its new columns without indexes. That is correct.
  [[nodiscard]] bool is_of_later_column(const SchemaObject& index) const {
    const Tokens tokens = tokens_of(index.text);
    const auto later = log_.columns.subspan(std::min(log_.earliest_columns, log_.columns.size()));
    return std::any_of(later.begin(), later.end(), [&](const Column& column) {
      return tokens.size() > 1 && same_name(tokens[tokens.size() - 2].text, column.name);
    });
  }

  void look_at_indexes() {
    std::vector<std::string> missing;
    std::vector<std::string> left_out;
    std::vector<std::string> others;
    for (const SchemaObject& index : blueprint_->objects) {
      if (index.type != "index" || index.text.empty()) {
        continue;
      }
      const Object* const found = object("index", index.name);
      if (found == nullptr || !same_name(found->table, log_.table)) {
        (is_of_later_column(index) ? left_out : missing).push_back(index.name);
      } else if (!same(tokens_of(found->text), tokens_of(index.text))) {
        others.push_back(index.name);
      }
    }
    std::vector<std::string> refusing;
    std::vector<std::string> foreign;
    for (const Object& index : objects_) {
      if (index.type == "index" && same_name(index.table, log_.table) && !index.text.empty() &&
          made("index", index.name) == nullptr) {
        (is_harmless_index(index.text) ? foreign : refusing).push_back(index.name);
      }
    }
    if (!missing.empty()) {
      report_to_remake(
          fmt::format("it lacks indexes, so that searching and sorting by their columns read the whole table: {}",
                      list_of(missing)));
    }
    if (!others.empty()) {
      report_to_remake(fmt::format("its indexes are not those of the library: {}", list_of(others)));
    }
    if (!refusing.empty()) {
      report_to_remake(fmt::format("it has indexes of others that may refuse entries: {}", list_of(refusing)));
    }
    if (!left_out.empty() && !lacks_columns_) {
      report(State::kRemark,
             fmt::format("it has no indexes of columns that were added later, so that searching by them "
                         "reads the whole table: {} ('{}' adds them)",
                         list_of(left_out), command_for(log_, "salvage --force")));
    }
    if (!foreign.empty()) {
      report(State::kRemark, fmt::format("it has indexes that this release does not know: {}", list_of(foreign)));
    }
  }

  void look_at_triggers() {
    const std::string limit = trigger_of(log_);
    const SchemaObject* const model = made("trigger", limit);
    const Object* const found = object("trigger", limit);
    if (found == nullptr || !same_name(found->table, log_.table)) {
      report_to_remake(fmt::format("it has no row limit and grows without end: the trigger {} is missing", limit));
    } else if (model == nullptr || !is_same_trigger(found->text, model->text)) {
      report_to_remake(fmt::format("its row limit is not the library's: the trigger {} does something else", limit));
    }
    std::vector<std::string> others;
    for (const Object& trigger : objects_) {
      if (trigger.type == "trigger" && same_name(trigger.table, log_.table) && !same_name(trigger.name, limit)) {
        others.push_back(trigger.name);
      }
    }
    if (!others.empty()) {
      report_to_remake(
          fmt::format("it has triggers of others, which may refuse or change entries: {}", list_of(others)));
    }
  }

  void look_at_page_size() {
    SqliteStatement statement(database_, "PRAGMA page_size");
    if (statement.next() && blueprint_->page_size != 0 && statement.integer(0) != blueprint_->page_size) {
      report(State::kRemark, fmt::format("its pages have {} bytes, where the library makes them of {}",
                                         statement.integer(0), blueprint_->page_size));
    }
  }

  // --- pages ---

  // Whether the pages are sound.
  bool look_at_pages() {
    SqliteStatement check(database_, fmt::format("PRAGMA integrity_check({})", kMostCounted));
    std::vector<std::string> lines;
    while (check.next()) {
      // One row may have several lines, below a line that only names the database.
      const std::string text = check.text(0);
      for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (text.compare(begin, 3, "***") != 0 && end > begin) {
          lines.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
      }
    }
    if (view_.late() || (!check.ended() && (database_.code() & kPrimary) != SQLITE_CORRUPT)) {
      explain();
      return false;
    }
    if (!check.ended()) {
      lines.push_back(database_.message());  // The check itself failed.
    }
    if (lines == std::vector<std::string>{"ok"}) {
      return true;
    }
    const std::size_t found = lines.size();
    lines.resize(std::min(found, kMostShown));
    const bool more = found >= kMostCounted || !check.ended();
    report(State::kDamaged, fmt::format("it is damaged in {}{} place{} (run '{}'): {}{}", more ? "at least " : "",
                                        found, found == 1 ? "" : "s", command_for(log_, "salvage"),
                                        fmt::join(lines, "; "), found > kMostShown ? "; …" : ""));
    return false;
  }

  // --- what the library does ---

  void try_statements() {
    SqliteStatement count(database_, fmt::format("SELECT COUNT(*) FROM {}", log_.table));
    if (!count.next()) {
      return explain();
    }
    inspection_.entries = count.integer(0);
    std::vector<std::string> stores;
    for (const std::string& text : *statements_) {
      SqliteStatement statement(database_, text);
      if (!statement.prepared()) {
        return explain_use("cannot be used");
      }
      const bool reads = sqlite3_stmt_readonly(statement.handle()) != 0;
      if (!reads) {
        stores.push_back(text);
      } else if (sqlite3_column_count(statement.handle()) > 0 && !statement.next() && !statement.ended()) {
        return explain_use("cannot be read");
      }
    }
    // Preparing them has checked the trigger. Running it on a full log takes long and tells nothing new.
    if (!database_.run(fmt::format("DROP TRIGGER {}; BEGIN", quoted_name(trigger_of(log_))))) {
      return explain_use("takes no change");
    }
    for (const std::string& text : stores) {
      SqliteStatement statement(database_, text);
      static_cast<void>(statement.next());
      if (!statement.ended() || sqlite3_changes(database_.handle()) != 1) {
        return explain_use("takes no entry");
      }
    }
    if (!database_.run("COMMIT")) {
      explain_use("takes no entry");
    }
  }

  void explain_use(const char* what) {
    const int code = database_.code() & kPrimary;
    const std::string message = database_.message();
    if (view_.late() || view_.full() || code == SQLITE_NOMEM || code == SQLITE_INTERRUPT || code == SQLITE_TOOBIG) {
      return explain();
    }
    if (code == SQLITE_READONLY) {
      return report(State::kDamaged,
                    fmt::format("its header is damaged: it says that the file may only be read (run '{}')",
                                command_for(log_, "salvage")));
    }
    if (code == SQLITE_CORRUPT) {
      return report(State::kDamaged, fmt::format("it is damaged so that it {} (run '{}'): {}", what,
                                                 command_for(log_, "salvage"), message));
    }
    if (code == SQLITE_FULL) {
      return explain_used_up();
    }
    report_to_remake(fmt::format("it {}: {}", what, message));
  }

  void explain_used_up() {
    SqliteStatement last(database_, fmt::format("SELECT MAX(rowid) FROM {}", log_.table));
    if (last.next() && last.integer(0) == std::numeric_limits<std::int64_t>::max()) {
      return report(
          State::kFault,
          fmt::format("no id is left for a new entry, as one has the highest that there is, and no command mends "
                      "that (move the file away, then run '{}')",
                      command_for(log_, "create")));
    }
    report_to_remake("it takes no entry: its counter of ids is at its end, though no entry has the last id");
  }

  // --- failures ---

  void explain() {
    const int code = database_.code();
    const std::string message = database_.message();
    const std::string advice = fmt::format("no log of the library's takes that much: move it away, then run '{}'",
                                           command_for(log_, "create"));
    if (view_.late()) {
      return report(State::kUnknown, fmt::format("looking into it takes more than {} s of processor time ({})",
                                                 allowed_.count(), advice));
    }
    switch (code & kPrimary) {
      case SQLITE_NOMEM:
      case SQLITE_TOOBIG:
      case SQLITE_FULL:
        return report(State::kUnknown,
                      fmt::format("looking into it takes more than {} MiB of memory ({})", kMostMemory >> 20U, advice));
      case SQLITE_IOERR:
      case SQLITE_CANTOPEN:
        return report(State::kUnknown, fmt::format("it cannot be read: {} ({}): look at the disk", message, code));
      default:
        report(State::kDamaged, fmt::format("it is damaged so that its tables cannot be read (run '{}'): {}",
                                            command_for(log_, "salvage"), message));
    }
  }

  const Log& log_;
  std::chrono::seconds allowed_;
  WorkDeadline deadline_;
  std::optional<Blueprint> blueprint_;
  std::optional<std::vector<std::string>> statements_;
  Inspection inspection_;
  MemoryBound memory_;
  PrivateView view_;
  SqliteDatabase database_;
  ConnectionBounds bounds_;
  std::vector<Object> objects_;
  bool lacks_columns_ = false;
};

}  // namespace

std::string command_for(const Log& log, const char* verb) {
  return fmt::format("annalctl {}{} {}", log.name, log.options, verb);
}

Inspection look_inside(const Log& log, const RegularFile& file, const RegularFile& write_ahead) {
  return Interior(log, file, write_ahead).run();
}

}  // namespace annalctl
