#include "tools/inspection.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

#include "tools/blueprint.h"
#include "tools/diagnosis.h"
#include "tools/file_lock.h"
#include "tools/sqlite.h"

namespace annalctl {

namespace {

constexpr std::size_t kMostShown = 3;
constexpr int kMostCounted = 100;
constexpr int kPrimary = 0xFF;  // of an extended code

// "annalctl fileop --db FILE salvage"
std::string command(const Log& log, const char* verb) {
  return fmt::format("annalctl {}{} {}", log.name, log.options, verb);
}

bool writes_ahead(const char* path) {
  constexpr std::size_t kVersionAt = 19;
  constexpr char kWriteAhead = 2;
  std::array<char, kVersionAt + 1> head{};
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), head.size());
  return head.back() == kWriteAhead;
}

// One look at one file.
class Inspector {
 public:
  explicit Inspector(const Log& log) : log_(log) {}

  Inspection run() {
    if (look_from_outside()) {
      const int code = look_inside();
      if (code != SQLITE_OK) {
        explain(code);  // with the database closed, as asking for a lock's holder needs it
      }
    }
    return std::move(inspection_);
  }

 private:
  struct Object {
    std::string type;
    std::string name;
  };

  void find(State state, std::string text) { inspection_.findings.push_back({state, std::move(text)}); }

  // Whether there is something to look into.
  bool look_from_outside() {
    struct stat status {};
    const bool there = stat(log_.path, &status) == 0;
    if (there && !S_ISREG(status.st_mode)) {
      find(State::kFault, "it is not a file (move it away)");
      return false;
    }
    if (there && access(log_.path, R_OK) == 0 && !begins_as_database(log_.path)) {
      find(State::kDamaged, file_obstacle(log_, Purpose::kReading).value_or("it is not a database"));
      return false;
    }
    if (const auto obstacle = file_obstacle(log_, Purpose::kReading)) {
      find(State::kFault, *obstacle);
      return false;
    }
    if (status.st_size == 0) {
      find(State::kFault, fmt::format("it is empty: the log has no table yet (run '{}')", command(log_, "create")));
      return false;
    }
    return !writes_ahead(log_.path) || look_at_write_ahead();
  }

  // Such a file cannot be opened without creating others beside it. With nothing in them it can be read as it is.
  bool look_at_write_ahead() {
    const std::string other = std::string(log_.path) + "-wal";
    struct stat status {};
    if (stat(other.c_str(), &status) == 0 && status.st_size > 0) {
      find(State::kUnfinished,
           fmt::format("its newest changes stand in {} (run '{}', which moves them, then check again)", other,
                       command(log_, "count")));
      return false;
    }
    immutable_ = true;
    find(State::kRemark, "it is in write-ahead mode, which the library does not set and works with");
    return true;
  }

  // SQLite's code when it ends the look.
  int look_inside() {
    const Database database(immutable_ ? immutable_name(log_.path) : log_.path,
                            SQLITE_OPEN_READONLY | (immutable_ ? SQLITE_OPEN_URI : 0));
    sqlite3_busy_timeout(database.handle(), kLockWaitMilliseconds);
    // One lock from here to the end, so that all findings are of the same moment.
    if (!database.run("BEGIN; PRAGMA cell_size_check = ON")) {
      return database.code();
    }
    Statement schema(database, "SELECT type, name FROM sqlite_master");
    while (schema.next()) {
      objects_.push_back({schema.text(0), schema.text(1)});
    }
    if (!schema.ended()) {
      message_ = database.message();
      return database.code();
    }
    if (look_for_table()) {
      look_at_columns(database);
      look_for_objects();
      look_at_page_size(database);
    }
    return look_at_pages(database);
  }

  [[nodiscard]] bool has(std::string_view type, std::string_view name) const {
    return std::any_of(objects_.begin(), objects_.end(), [&](const Object& object) {
      return object.type == type && sqlite3_stricmp(object.name.c_str(), std::string(name).c_str()) == 0;
    });
  }

  bool look_for_table() {
    if (has("table", log_.table)) {
      return true;
    }
    const bool others = std::any_of(objects_.begin(), objects_.end(),
                                    [](const Object& object) { return !object.name.starts_with("sqlite_"); });
    find(State::kFault,
         !others ? fmt::format("the log has no table yet (run '{}')", command(log_, "create"))
                 : fmt::format("it has no table {}, only others: it is some other database, or a log whose table was "
                               "removed",
                               log_.table));
    return false;
  }

  void look_at_columns(const Database& database) {
    std::vector<std::string> there;
    Statement columns(database, fmt::format("PRAGMA table_info({})", log_.table));
    while (columns.next()) {
      there.push_back(columns.text(1));
    }
    std::vector<std::string> missing;
    for (const Column& column : log_.columns) {
      const auto found = std::find(there.begin(), there.end(), column.name);
      if (found == there.end()) {
        missing.emplace_back(column.name);
      } else {
        there.erase(found);
      }
    }
    if (!missing.empty()) {
      find(State::kFault, fmt::format("it lacks columns that this release has: {} (run '{}')", fmt::join(missing, ", "),
                                      command(log_, log_.migrates ? "migrate" : "salvage --force")));
    }
    if (!there.empty()) {
      find(State::kRemark, fmt::format("it has columns that this release does not know: {}", fmt::join(there, ", ")));
    }
  }

  void look_for_objects() {
    const std::optional<Blueprint> blueprint = blueprint_of(log_, log_.usual_limit, 1);
    if (!blueprint) {
      find(State::kRemark, "whether it has all indexes was not looked at: this SQLite keeps no database in memory");
      return;
    }
    page_size_ = blueprint->page_size;
    std::vector<std::string> missing;
    for (const SchemaObject& object : blueprint->objects) {
      if (object.type == "index" && !object.text.empty() && !has("index", object.name)) {
        missing.push_back(object.name);
      }
    }
    if (!missing.empty()) {
      find(State::kFault,
           fmt::format("it lacks indexes, so that searching and sorting by their columns read the whole table: {} (run "
                       "'{}' to make it anew with them)",
                       fmt::join(missing, ", "), command(log_, "salvage --force")));
    }
    if (!has("trigger", trigger_of(log_))) {
      find(State::kFault,
           fmt::format("it has no row limit and grows without end: the trigger {} is missing (run '{}' to make it anew "
                       "with the usual one)",
                       trigger_of(log_), command(log_, "salvage --force")));
    }
  }

  void look_at_page_size(const Database& database) {
    Statement statement(database, "PRAGMA page_size");
    if (statement.next() && page_size_ != 0 && statement.integer(0) != page_size_) {
      find(State::kRemark, fmt::format("its pages have {} bytes, where the library makes them of {}",
                                       statement.integer(0), page_size_));
    }
  }

  int look_at_pages(const Database& database) {
    Statement check(database, fmt::format("PRAGMA integrity_check({})", kMostCounted));
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
    if (!check.ended()) {
      const int code = database.code();
      if ((code & kPrimary) != SQLITE_CORRUPT) {
        return code;
      }
      lines.push_back(database.message());  // The check itself has stumbled.
    }
    if (lines == std::vector<std::string>{"ok"}) {
      Statement count(database, fmt::format("SELECT COUNT(*) FROM {}", log_.table));
      inspection_.entries = count.next() ? count.integer(0) : 0;
      return SQLITE_OK;
    }
    const std::size_t found = lines.size();
    lines.resize(std::min(found, kMostShown));
    const bool more = found >= kMostCounted || !check.ended();
    find(State::kDamaged, fmt::format("it is damaged in {}{} place{} (run '{}'): {}{}", more ? "at least " : "", found,
                                      found == 1 ? "" : "s", command(log_, "salvage"), fmt::join(lines, "; "),
                                      found > kMostShown ? "; …" : ""));
    return SQLITE_OK;
  }

  void explain(int code) {
    switch (code & kPrimary) {
      case SQLITE_BUSY:
        return find(State::kUnknown, fmt::format("it is locked by {}, still after {} s (try again later)",
                                                 lock_holder(log_.path, false).value_or("another process"),
                                                 kLockWaitMilliseconds / 1000));
      case SQLITE_READONLY:
        return find(State::kUnfinished,
                    fmt::format("a change of it was cut off, and what undoes it stands in {}-journal: that needs write "
                                "access (run '{}', which undoes it, then check again)",
                                log_.path, command(log_, "count")));
      case SQLITE_CORRUPT:
      case SQLITE_NOTADB:
      case SQLITE_ERROR:
        return find(State::kDamaged, fmt::format("it is damaged so that its tables cannot be read (run '{}'): {}",
                                                 command(log_, "salvage"), message_));
      default:
        find(State::kUnknown, fmt::format("it cannot be read: {} ({})", sqlite3_errstr(code), code));
    }
  }

  const Log& log_;
  Inspection inspection_;
  std::vector<Object> objects_;
  std::string message_;
  std::int64_t page_size_ = 0;
  bool immutable_ = false;
};

}  // namespace

const char* name_of(State state) {
  switch (state) {
    case State::kSound:
      return "sound";
    case State::kRemark:
      return "remark";
    case State::kFault:
      return "fault";
    case State::kUnfinished:
      return "unfinished";
    case State::kUnknown:
      return "unknown";
    case State::kDamaged:
      break;
  }
  return "damaged";
}

bool Inspection::has(State state) const {
  return std::any_of(findings.begin(), findings.end(),
                     [state](const Finding& finding) { return finding.state == state; });
}

bool Inspection::sound() const {
  return std::all_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.state == State::kRemark; });
}

Inspection inspect(const Log& log) {
  return Inspector(log).run();
}

}  // namespace annalctl
