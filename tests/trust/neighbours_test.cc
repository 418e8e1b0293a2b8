// Calls every exported function that uses a log while other programs, a broken machine or a careless user have changed
// its file. The function must return a documented code, change nothing beyond its documentation, wait no longer than
// documented, and deliver what SQLite can still read.
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

#include "Corix_annal.h"
#include "appliance/namespace.h"
#include "common/paths.h"
#include "tests/trust/harness/faulty_memory.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

namespace fs = std::filesystem;

// ---- the functions and their logs ----

constexpr Log kLogs[] = {Log::kEvents, Log::kConnections, Log::kFileOperations, Log::kNotices};

std::string table_of(Log log) {
  switch (log) {
    case Log::kEvents:
      return "ANNAL_EVENT";
    case Log::kConnections:
      return "ANNAL_CONN";
    case Log::kFileOperations:
      return "PAVO2LOG_EVENT";
    default:
      return "ANNAL_NOTICE";
  }
}

Log other_log(Log log) {
  return log == Log::kEvents ? Log::kConnections : Log::kEvents;
}

// Also removes journals that a neighbour has left, and folders or links in a file's place.
void empty_log_folder() {
  fs::remove_all(appliance::kLogFolder);
  fs::create_directory(appliance::kLogFolder);
}

// The bytes of a log in a state, with no journal.
const std::string& bytes_of(Log log, Start start) {
  static std::map<std::pair<Log, Start>, std::string> made;
  const auto [entry, is_new] = made.try_emplace({log, start});
  if (is_new) {
    empty_log_folder();
    set_up(log, start);
    entry->second = read_file(path_of(log));
  }
  return entry->second;
}

struct Subject {
  const Scenario* scenario;
  std::string bytes;  // of the log before the call; empty for no file
  Expectation expected;

  [[nodiscard]] const char* path() const { return path_of(scenario->log); }
  [[nodiscard]] bool creates() const { return scenario->start == Start::kAbsent; }
  [[nodiscard]] bool returns_number() const { return scenario->success > 0; }
  [[nodiscard]] bool is(const char* function) const { return std::strcmp(scenario->function, function) == 0; }
  [[nodiscard]] bool fails_with(int code) const {
    const std::vector<int>& codes = scenario->failures;
    return std::find(codes.begin(), codes.end(), code) != codes.end();
  }
  [[nodiscard]] bool queries() const { return fails_with(ANNAL_QUERY_FAILED); }
  [[nodiscard]] bool only_reads() const { return queries() || is("isAllColumnExist") || is("annal_common_pack_db"); }
  void restore_log() const {
    empty_log_folder();
    if (!bytes.empty()) {
      write_file(path(), bytes);
    }
  }
};

// Every function that uses a log.
const std::vector<Subject>& subjects() {
  static const std::vector<Subject> all = [] {
    std::vector<Subject> made;
    for (const Scenario& scenario : scenarios()) {
      if (scenario.log == Log::kNone) {
        continue;
      }
      Subject subject{&scenario, bytes_of(scenario.log, scenario.start), {}};
      // Twice: the first call is the warm-up for libc and SQLite.
      for (int i = 0; i < 2; ++i) {
        subject.restore_log();
        subject.expected = {content_of(subject.path()), {}, {}};
        if (scenario.call(subject.expected.output) != scenario.success) {
          throw std::runtime_error(name_of(scenario) + " fails on a log as it should be");
        }
        subject.expected.after = content_of(subject.path());
      }
      made.push_back(subject);
    }
    return made;
  }();
  return all;
}

// The functions for tests that need another process for each call. Forking with a sanitizer costs many times as much
// and shows nothing new, so each test then takes a different sample.
std::vector<Subject> subjects_beside_a_process(const std::string& test) {
  constexpr std::size_t kOneIn = kSanitized ? 8 : 1;
  std::vector<Subject> chosen;
  for (std::size_t i = std::hash<std::string>{}(test) % kOneIn; i < subjects().size(); i += kOneIn) {
    chosen.push_back(subjects()[i]);
  }
  return chosen;
}

// ---- neighbours ----

// Another process that uses the log: runs some statements at once and others on request, and is killed at the end.
class Neighbour {
 public:
  Neighbour(const char* path, const std::string& at_once, const std::string& later = "") {
    int go[2];
    int report[2];
    if (pipe(go) != 0 || pipe(report) != 0) {
      throw std::runtime_error("no pipe for a neighbour");
    }
    process_ = fork();
    if (process_ == 0) {
      close(go[1]);
      close(report[0]);
      work(path, at_once, later, go[0], report[1]);
    }
    close(go[0]);
    close(report[1]);
    go_ = go[1];
    report_ = report[0];
    expect_done(at_once);
  }

  ~Neighbour() {
    end();
    close(go_);
    close(report_);
  }

  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;

  void run_later() {
    if (process_ > 0 && write(go_, "g", 1) == 1) {
      expect_done("what it should do later");
    }
    end();
  }

  void end() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(std::exchange(process_, -1), nullptr, 0);
    }
  }

 private:
  [[noreturn]] static void work(const char* path, const std::string& at_once, const std::string& later, int go,
                                int report) {
    Disk::count();
    sqlite3* database = nullptr;
    sqlite3_open(path, &database);
    for (const std::string* statements : {&at_once, &later}) {
      const bool done = sqlite3_exec(database, statements->c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
      const char answer = done ? 'y' : 'n';
      char order = 0;
      if (write(report, &answer, 1) != 1 || read(go, &order, 1) != 1) {
        break;
      }
    }
    _exit(0);
  }

  void expect_done(const std::string& what) const {
    char answer = 'n';
    if (read(report_, &answer, 1) != 1 || answer != 'y') {
      ADD_FAILURE() << "a neighbour cannot do its part: " << what;
    }
  }

  pid_t process_ = -1;
  int go_ = -1;
  int report_ = -1;
};

using NeighbourHandle = std::unique_ptr<Neighbour>;  // lives as long as the call

// ---- checks ----

// What is at the log's path and in its folder.
struct FolderState {
  fs::file_type type;
  std::string bytes;
  std::set<std::string> names;  // in the folder

  static FolderState of(const char* path) {
    std::error_code none;
    FolderState state{fs::symlink_status(path, none).type(), {}, {}};
    if (fs::is_regular_file(path, none)) {
      state.bytes = read_file(path);
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder, none)) {
      state.names.insert(entry.path().filename());
    }
    return state;
  }
};

// SQLite's own result of a query's statement.
struct Answer {
  bool opened = false;
  bool complete = false;
  std::string rows;
  bool has_row = false;
  int first = 0;
};

Answer query_with_sqlite(const char* path, const std::string& statement) {
  Answer answer;
  sqlite3* handle = nullptr;
  answer.opened = sqlite3_open(path, &handle) == SQLITE_OK;
  sqlite3_stmt* query = nullptr;
  if (answer.opened && sqlite3_prepare_v2(handle, statement.c_str(), -1, &query, nullptr) == SQLITE_OK) {
    int step = sqlite3_step(query);
    for (; step == SQLITE_ROW; step = sqlite3_step(query)) {
      for (int i = 0; i < sqlite3_column_count(query); ++i) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(query, i));
        answer.rows += std::string(text != nullptr ? text : "NULL") + "|";
      }
      answer.rows += "\n";
      if (!std::exchange(answer.has_row, true)) {
        answer.first = sqlite3_column_int(query, 0);
      }
    }
    answer.complete = step == SQLITE_DONE;
  }
  sqlite3_finalize(query);
  sqlite3_close(handle);
  return answer;
}

int expected_result(const Subject& subject, const Answer& answer) {
  if (!answer.opened) {
    return ANNAL_OPEN_FAILED;
  }
  if (!subject.returns_number()) {
    return answer.complete ? ANNAL_OK : ANNAL_QUERY_FAILED;
  }
  const bool usable = answer.has_row && (answer.first >= 0 || subject.is("annal_notice_table_check_column"));
  return usable ? answer.first : ANNAL_QUERY_FAILED;
}

bool is_documented(const Subject& subject, int result) {
  const Scenario& scenario = *subject.scenario;
  const std::vector<int>& partial = scenario.partial_failures;
  constexpr int kRequiredColumns = 21;
  return result == scenario.success || subject.fails_with(result) ||
         std::find(partial.begin(), partial.end(), result) != partial.end() ||
         (subject.returns_number() && result >= 0) ||
         (subject.is("isAllColumnExist") && result >= 0 && result <= kRequiredColumns);
}

// What a call must return and leave.
enum class Requirement {
  kUnaffected,    // the usual result: nothing interferes
  kAllOrNothing,  // success, or a failure as documented
  kDocumented,    // any documented code: the log has been changed
};

struct Circumstances {
  Requirement requirement;
  bool repaired_by_opening = false;  // opening the file finishes or rolls back what a neighbour left unfinished
};

class NeighbourTest : public TrustTest {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    block_popen(true);
    (void)subjects();
  }

  // Calls a function and checks what must hold in every situation.
  Outcome call(const Subject& subject, const Circumstances& circumstances) {
    constexpr unsigned kHangs = 60;
    const FolderState before = FolderState::of(subject.path());
    const Ledger ledger;
    Outcome outcome{};
    outcome.faults = 2;  // a neighbour's interference can repeat
    SqliteTrace::reset();
    PlatformRecorder::reset();
    SqliteMemory::countdown().count_only();
    PlainMemory::countdown().count_only();
    set_crash_note(name_of(*subject.scenario) + " " + place_, kHangs);
    PlainMemory::watch(true);
    outcome.result = subject.scenario->call(outcome.output);
    PlainMemory::watch(false);
    set_crash_note("");
    const long waited = Disk::waited();
    Disk::count();

    ledger.expect_balance();
    EXPECT_LE(waited, static_cast<long>(subject.scenario->waits) * subject.scenario->wait_milliseconds)
        << "waits longer than it says";
    EXPECT_TRUE(is_documented(subject, outcome.result)) << "answered " << outcome.result;
    const FolderState after = FolderState::of(subject.path());
    expect_nothing_beside(before, after);
    if (subject.only_reads() && !circumstances.repaired_by_opening) {
      EXPECT_TRUE(after.bytes == before.bytes) << "reading has changed the file";
      const bool made_empty = before.type == fs::file_type::not_found && after.type == fs::file_type::regular;
      EXPECT_TRUE(after.type == before.type || made_empty);
    }
    if (is_failure(subject, outcome.result) && !circumstances.repaired_by_opening) {
      EXPECT_TRUE(after.bytes == before.bytes) << "answered " << outcome.result << ", and has changed the file";
    }
    return outcome;
  }

  // A result that means that nothing was done, from a function that never recreates a file.
  static bool is_failure(const Subject& subject, int result) {
    return subject.fails_with(result) && !subject.creates() && !subject.is("AnnalNoticeModifyTbl") &&
           !subject.fails_with(ANNAL_BATCH_FAILED);
  }

  // A query delivers what SQLite can read up to the first unreadable row, and then fails.
  static void expect_what_sqlite_reads(const Subject& subject, const Outcome& outcome) {
    if (!subject.queries() || outcome.result == ANNAL_NO_MEMORY) {
      return;
    }
    const Calls statements = SqliteTrace::statements();
    const Answer answer = query_with_sqlite(subject.path(), statements.empty() ? "" : statements.back());
    EXPECT_EQ(outcome.result, expected_result(subject, answer));
    EXPECT_EQ(outcome.output, subject.returns_number() ? "" : answer.rows);
  }

  // Acknowledged changes are in the table as far as it can be read. With a trigger, which may delete a new entry, this
  // cannot be checked.
  static void expect_what_was_acknowledged(const Subject& subject, const Outcome& outcome) {
    static const std::map<std::string, const char*> kFound = {
        {"annal_event_add_msgid_ex3", "WHERE event_desc = 'it''s new'"},
        {"annal_event_flush_tbl", ""},
        {"annal_conn_add2", "WHERE conn_res = '/it''s new'"},
        {"annal_conn_add_entries", "WHERE conn_res LIKE '/batch%'"},
        {"annal_conn_add_entries2", "WHERE conn_res LIKE '/batch%'"},
        {"annal_conn_flush_tbl", ""},
        {"pavo2log_event_add", "WHERE event_filepath = '/it''s new'"},
        {"pavo2log_event_flush_tbl", ""},
        {"annal_notice_add", "WHERE desc = 'it''s new'"},
        {"annal_notice_flush_tbl", ""}};
    const auto found = kFound.find(subject.scenario->function);
    const bool empties = subject.fails_with(ANNAL_EMPTY_FAILED);
    if (found == kFound.end() || outcome.result < 0 || (!empties && subject.scenario->start != Start::kUnlimited)) {
      return;
    }
    const std::string stored = outcome.output.empty() ? "1" : outcome.output;  // a batch says how many
    const Answer answer = query_with_sqlite(
        subject.path(), "SELECT COUNT(*) FROM " + table_of(subject.scenario->log) + " NOT INDEXED " + found->second);
    if (answer.complete) {
      EXPECT_EQ(answer.rows, (empties ? "0" : stored) + "|\n") << "acknowledged, and not so";
    }
  }

  static void expect_requirement(const Subject& subject, Outcome outcome, Requirement requirement) {
    if (requirement == Requirement::kDocumented) {
      expect_what_sqlite_reads(subject, outcome);
      expect_what_was_acknowledged(subject, outcome);
      return;
    }
    try {
      outcome.found = content_of(subject.path());
    } catch (const std::exception& problem) {
      FAIL() << "answered " << outcome.result << " and left a file that is not sound: " << problem.what();
    }
    const Expectation& expected = subject.expected;
    const bool unaffected = outcome.result == subject.scenario->success && outcome.output == expected.output &&
                            outcome.found == expected.after;
    const bool described =
        requirement == Requirement::kAllOrNothing && is_described(*subject.scenario, outcome, expected);
    EXPECT_TRUE(unaffected || described) << "answered " << outcome.result << " with \"" << outcome.output
                                         << "\", and left\n"
                                         << text_of(outcome.found) << "where it found\n"
                                         << text_of(expected.before) << "and would leave\n"
                                         << text_of(expected.after);
  }

  std::string place_;  // printed if the process crashes

 private:
  // A call removes the files that it creates beside the log.
  static void expect_nothing_beside(const FolderState& before, const FolderState& after) {
    for (const std::string& name : after.names) {
      EXPECT_TRUE(before.names.contains(name) || name.ends_with(".log")) << "left " << name;
    }
  }
};

// ---- changed and damaged files ----

struct Situation {
  const char* name;
  Circumstances circumstances;
  std::function<NeighbourHandle(const Subject&)> arrange;  // called after the log has been restored
  bool with_a_process = false;
};

void PrintTo(const Situation& situation, std::ostream* out) {
  *out << situation.name;
}

// A situation that SQL statements create.
Situation by_sql(const char* name, Requirement requirement, std::function<std::string(Log)> statements) {
  return {name, {requirement}, [statements = std::move(statements)](const Subject& subject) -> NeighbourHandle {
            sql(subject.path(), statements(subject.scenario->log));
            return nullptr;
          }};
}

// One that changes the file's bytes.
Situation by_bytes(const char* name, std::function<std::string(std::string)> change) {
  return {name, {Requirement::kDocumented}, [change = std::move(change)](const Subject& subject) -> NeighbourHandle {
            write_file(subject.path(), change(read_file(subject.path())));
            return nullptr;
          }};
}

Situation garbage(const char* name, std::size_t size, char fill) {
  return by_bytes(name, [size, fill](const std::string& /*log*/) { return std::string(size, fill); });
}

std::size_t page_of(const std::string& log) {
  constexpr std::size_t kPlaceInHeader = 16;
  return std::size_t{static_cast<unsigned char>(log.at(kPlaceInHeader))} * 256;  // none of ours is smaller or odd
}

// Truncates to a number of pages plus some bytes.
Situation truncated(const char* name, std::size_t pages, std::size_t bytes = 0) {
  return by_bytes(name, [pages, bytes](const std::string& log) { return log.substr(0, pages * page_of(log) + bytes); });
}

// One byte of the file's header, as SQLite's file format has it.
Situation header(const char* name, std::size_t place, char byte) {
  return by_bytes(name, [place, byte](std::string log) {
    log.at(place) = byte;
    return log;
  });
}

// One that puts something else in the file's place.
Situation in_its_place(const char* name, std::function<void(const char*)> put) {
  return {name, {Requirement::kDocumented}, [put = std::move(put)](const Subject& subject) -> NeighbourHandle {
            fs::remove(subject.path());
            put(subject.path());
            return nullptr;
          }};
}

Situation beside_it(const char* name, Circumstances circumstances, std::function<void(const std::string&)> put) {
  return {name, circumstances, [put = std::move(put)](const Subject& subject) -> NeighbourHandle {
            put(subject.path());
            return nullptr;
          }};
}

// One with another process that has the file open.
Situation by_neighbour(const char* name, Circumstances circumstances, std::string statements, bool killed) {
  return {name, circumstances,
          [statements = std::move(statements), killed](const Subject& subject) {
            auto neighbour = std::make_unique<Neighbour>(subject.path(), statements);
            return killed ? nullptr : std::move(neighbour);
          },
          true};
}

std::string noise(std::size_t size) {
  std::mt19937 dice(first_seed());
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(dice()); });
  return bytes;
}

std::vector<Situation> situations() {
  constexpr Requirement kUnaffected = Requirement::kUnaffected;
  constexpr Requirement kDocumented = Requirement::kDocumented;
  // Enough to make SQLite write to the file before the transaction ends.
  const std::string unfinished =
      "PRAGMA cache_size = 1; BEGIN; CREATE TABLE unfinished AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + "
      "1 "
      "FROM n WHERE i < 200) SELECT i, hex(zeroblob(200)) FROM n;";
  return {
      // A neighbour has changed the log.
      by_sql("DroppedTable", kDocumented, [](Log log) { return "DROP TABLE " + table_of(log) + ";"; }),
      by_sql("RenamedTable", kDocumented,
             [](Log log) { return "ALTER TABLE " + table_of(log) + " RENAME TO another;"; }),
      by_sql("AView", kDocumented,
             [](Log log) {
               return "ALTER TABLE " + table_of(log) + " RENAME TO t; CREATE VIEW " + table_of(log) +
                      " AS SELECT * FROM t;";
             }),
      by_sql("FewerColumns", kDocumented,
             [](Log log) {
               return "DROP TABLE " + table_of(log) + "; CREATE TABLE " + table_of(log) + " (one INTEGER, two TEXT);";
             }),
      by_sql("MoreColumns", kDocumented,
             [](Log log) {
               return "ALTER TABLE " + table_of(log) + " ADD COLUMN later_one TEXT DEFAULT 'a'; ALTER TABLE " +
                      table_of(log) + " ADD COLUMN later_two INTEGER;";
             }),
      by_sql("MoreTables", kDocumented,
             [](Log /*log*/) {
               return "CREATE TABLE later (one, two); CREATE VIEW later_view AS SELECT one FROM later; INSERT INTO "
                      "later VALUES (1, 2); PRAGMA user_version = 99; PRAGMA application_id = 99;";
             }),
      by_sql("ForeignTrigger", kDocumented,
             [](Log log) {
               return "CREATE TRIGGER foreign_one BEFORE INSERT ON " + table_of(log) +
                      " BEGIN SELECT RAISE(ABORT, 'no'); END;";
             }),
      by_sql("SchemaThatCannotBeRead", kDocumented,
             [](Log log) {
               return "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = 'CREATE TABLE " + table_of(log) +
                      " (event_id FROM THE FUTURE' WHERE type = 'table';";
             }),
      {"AnotherLog",
       {kDocumented},
       [](const Subject& subject) -> NeighbourHandle {
         write_file(subject.path(), bytes_of(other_log(subject.scenario->log), Start::kFilled));
         return nullptr;
       }},
      // Other forms of a sound file.
      by_sql("PagesOf512", kUnaffected, [](Log /*log*/) { return "PRAGMA page_size = 512; VACUUM;"; }),
      by_sql("PagesOf65536", kUnaffected, [](Log /*log*/) { return "PRAGMA page_size = 65536; VACUUM;"; }),
      by_sql("AutoVacuum", kUnaffected, [](Log /*log*/) { return "PRAGMA auto_vacuum = FULL; VACUUM;"; }),
      by_sql("WriteAheadLog", kUnaffected, [](Log /*log*/) { return "PRAGMA journal_mode = WAL;"; }),
      by_neighbour("WriteAheadLogInUse", {kUnaffected},
                   "PRAGMA journal_mode = WAL; PRAGMA user_version = 7; SELECT * FROM sqlite_master;", false),
      by_neighbour("WriteAheadLogBeingRead", {kUnaffected},
                   "PRAGMA journal_mode = WAL; PRAGMA user_version = 7; BEGIN; SELECT * FROM sqlite_master;", false),
      by_neighbour("WriteAheadLogBeingWritten", {Requirement::kAllOrNothing},
                   "PRAGMA journal_mode = WAL; PRAGMA user_version = 7; BEGIN IMMEDIATE;", false),
      by_neighbour("WriteAheadLogLeftBehind", {kUnaffected, true},
                   "PRAGMA journal_mode = WAL; PRAGMA user_version = 7;", true),
      by_neighbour("UnfinishedTransactionLeftBehind", {kUnaffected, true}, unfinished, true),
      // Files beside the log.
      beside_it("JournalOfNoise", {kUnaffected, true},
                [](const std::string& path) { write_file(path + "-journal", noise(4096)); }),
      beside_it("EmptyJournal", {kUnaffected, true},
                [](const std::string& path) { write_file(path + "-journal", ""); }),
      beside_it("FolderAsJournal", {kDocumented},
                [](const std::string& path) { fs::create_directory(path + "-journal"); }),
      beside_it("WriteAheadLogOfNoise", {kUnaffected, true},
                [](const std::string& path) { write_file(path + "-wal", noise(4096)); }),
      // A file that has lost its end.
      truncated("TruncatedToNothing", 0),
      truncated("TruncatedToOneByte", 0, 1),
      truncated("TruncatedToItsHeader", 0, 100),
      truncated("TruncatedToOnePage", 1),
      truncated("TruncatedToTwoPages", 2),
      truncated("TruncatedInsideAPage", 1, 333),
      by_bytes("TruncatedToHalf",
               [](const std::string& log) { return log.substr(0, log.size() / page_of(log) / 2 * page_of(log)); }),
      by_bytes("WithoutItsLastByte", [](const std::string& log) { return log.substr(0, log.size() - 1); }),
      by_bytes("GrownByHalfAPage", [](const std::string& log) { return log + std::string(page_of(log) / 2, '\0'); }),
      // Not a log at all.
      garbage("OneByte", 1, 'x'),
      garbage("SomeText", 100, 'x'),
      garbage("APageOfText", 4096, 'x'),
      garbage("MuchText", 70000, '\n'),
      garbage("SomeZeros", 100, '\0'),
      garbage("ManyZeros", 8192, '\0'),
      by_bytes("Noise", [](const std::string& /*log*/) { return noise(4096); }),
      by_bytes("HeaderWithZeros", [](const std::string& log) { return log.substr(0, 100) + std::string(4996, '\0'); }),
      by_bytes("HeaderWithNoise", [](const std::string& log) { return log.substr(0, 100) + noise(log.size() - 100); }),
      by_bytes("LaterPagesOfNoise",
               [](const std::string& log) { return log.substr(0, page_of(log)) + noise(log.size() - page_of(log)); }),
      by_bytes("LaterPagesOfZeros",
               [](const std::string& log) {
                 return log.substr(0, page_of(log)) + std::string(log.size() - page_of(log), '\0');
               }),
      header("FormatThatOnlyNewerOnesRead", 19, 3),
      header("FormatThatOnlyNewerOnesWrite", 18, 3),
      header("SchemaOfAFutureFormat", 47, 9),
      header("PageSizeThatIsNone", 16, 0x55),
      header("AnotherEncoding", 59, 2),
      // Something else in its place.
      in_its_place("Nothing", [](const char* /*path*/) {}),
      in_its_place("AFolder", [](const char* path) { fs::create_directory(path); }),
      in_its_place("ALinkToItself", [](const char* path) { fs::create_symlink(path, path); }),
      in_its_place("ALinkToNowhere", [](const char* path) { fs::create_symlink("/etc/logs/none/none", path); }),
      in_its_place("AFolderWithAFile",
                   [](const char* path) {
                     fs::create_directory(path);
                     write_file(std::string(path) + "/file", "x");
                   }),
      in_its_place("APipe", [](const char* path) { mkfifo(path, 0600); }),
      in_its_place("NoFolder", [](const char* /*path*/) { fs::remove_all(appliance::kLogFolder); }),
  };
}

class Neighbours : public NeighbourTest, public testing::WithParamInterface<Situation> {};

TEST_P(Neighbours, EveryFunctionBehavesAsDocumented) {
  const Situation& situation = GetParam();
  place_ = situation.name;
  for (const Subject& each : situation.with_a_process ? subjects_beside_a_process(situation.name) : subjects()) {
    Subject subject = each;
    Circumstances circumstances = situation.circumstances;
    if (subject.creates()) {  // a file is already there
      subject.bytes = bytes_of(subject.scenario->log, Start::kFilled);
      circumstances.requirement = Requirement::kDocumented;
    }
    SCOPED_TRACE(name_of(*subject.scenario));
    subject.restore_log();
    const NeighbourHandle neighbour = situation.arrange(subject);
    const Outcome outcome = call(subject, circumstances);
    expect_requirement(subject, outcome, circumstances.requirement);
  }
  empty_log_folder();
}

INSTANTIATE_TEST_SUITE_P(Trust, Neighbours, testing::ValuesIn(situations()),
                         [](const auto& situation) { return situation.param.name; });

// ---- another process holds a lock ----

struct HeldLock {
  const char* name;
  const char* begin;
  bool stops_readers;
  std::function<std::string(Log)> work;  // its statements under the lock; empty for none
  bool ends;                             // the lock ends while the call waits
};

void PrintTo(const HeldLock& held, std::ostream* out) {
  *out << held.name;
}

class LockedLogs : public NeighbourTest, public testing::WithParamInterface<HeldLock> {};

TEST_P(LockedLogs, EveryFunctionWaitsAsDocumented) {
  constexpr long kHeldFor = 700;
  const HeldLock& held = GetParam();
  place_ = held.name;
  for (const Subject& subject : subjects_beside_a_process(held.name)) {
    SCOPED_TRACE(name_of(*subject.scenario));
    subject.restore_log();
    const std::string work = held.work && !subject.creates() ? held.work(subject.scenario->log) : "";
    Neighbour neighbour(subject.path(), held.begin + work, "COMMIT;");
    long waited = 0;
    if (held.ends) {
      Disk::meanwhile(kHeldFor, [&] {
        waited = Disk::waited();
        neighbour.run_later();
      });
    }
    const bool reads = subject.only_reads();
    const Outcome outcome = call(subject, {Requirement::kAllOrNothing, !work.empty()});
    neighbour.end();
    // This function waits while it checks for its column, but adds it without a wait.
    const bool waits = subject.scenario->waits > 0 && (held.stops_readers || !subject.is("AnnalNoticeModifyTbl"));
    const bool hindered = (!reads || held.stops_readers) && !subject.is("annal_common_pack_db");
    if (held.ends && waits && hindered) {
      EXPECT_GE(waited, kHeldFor) << "did not wait";
    }
    const bool unaffected = !hindered || (held.ends && waits);
    if (work.empty()) {
      expect_requirement(subject, outcome, unaffected ? Requirement::kUnaffected : Requirement::kAllOrNothing);
    } else if (waits) {
      expect_requirement(subject, outcome, Requirement::kDocumented);
    }
  }
}

std::vector<HeldLock> held_locks() {
  const auto nothing = [](Log /*log*/) { return std::string(); };
  const auto drop = [](Log log) { return "DROP TABLE " + table_of(log) + ";"; };
  const auto migrate = [](Log log) { return "ALTER TABLE " + table_of(log) + " ADD COLUMN later TEXT DEFAULT 'a';"; };
  const auto replace = [](Log log) { return "DELETE FROM " + table_of(log) + ";"; };
  constexpr const char* kAll = "BEGIN EXCLUSIVE;";
  constexpr const char* kWriting = "BEGIN IMMEDIATE;";
  constexpr const char* kReading = "BEGIN; SELECT COUNT(*) FROM sqlite_master;";
  return {
      {"WholeForAShortWhile", kAll, true, nothing, true},
      {"WholeForever", kAll, true, nothing, false},
      {"ForWritingForAShortWhile", kWriting, false, nothing, true},
      {"ForWritingForever", kWriting, false, nothing, false},
      {"ForReadingForAShortWhile", kReading, false, nothing, true},
      {"ForReadingForever", kReading, false, nothing, false},
      {"WhileTheTableIsDropped", kAll, true, drop, true},
      {"WhileTheTableIsMigrated", kAll, true, migrate, true},
      {"WhileTheTableIsEmptied", kAll, true, replace, true},
  };
}

INSTANTIATE_TEST_SUITE_P(Trust, LockedLogs, testing::ValuesIn(held_locks()),
                         [](const auto& held) { return held.param.name; });

// ---- another process acts at the worst moment ----

struct Interference {
  const char* name;
  bool keeps_file;  // false: deletes or replaces the file
  std::function<void(const Subject&)> run;
};

void PrintTo(const Interference& interference, std::ostream* out) {
  *out << interference.name;
}

class WorstMoments : public NeighbourTest, public testing::WithParamInterface<Interference> {};

// Acts each time a call is about to lock a file that it has not locked.
TEST_P(WorstMoments, EveryFunctionBehavesAsDocumented) {
  const Interference& interference = GetParam();
  for (const Subject& each : subjects()) {
    Subject subject = each;
    if (subject.creates()) {
      subject.bytes = bytes_of(subject.scenario->log, Start::kFilled);
    }
    bool struck = true;
    for (int nth = 1; struck; ++nth) {
      place_ = std::string(interference.name) + " before lock " + std::to_string(nth);
      SCOPED_TRACE(name_of(*subject.scenario) + ", " + place_);
      subject.restore_log();
      struck = false;
      Disk::before_lock(nth, [&] {
        struck = true;
        interference.run(subject);
      });
      const Outcome outcome = call(subject, {Requirement::kDocumented, true});
      // A count prepares its statement once, so it fails if the schema changes before it runs.
      const bool prepared_before = subject.returns_number() && outcome.result == ANNAL_QUERY_FAILED;
      if (interference.keeps_file && !prepared_before) {
        expect_what_sqlite_reads(subject, outcome);
      }
      expect_what_was_acknowledged(subject, outcome);
    }
  }
}

std::vector<Interference> interferences() {
  const auto log = [](const Subject& subject) { return table_of(subject.scenario->log); };
  return {
      {"TheTableIsDropped", true,
       [=](const Subject& subject) { sql(subject.path(), "DROP TABLE " + log(subject) + ";"); }},
      {"TheTableIsMigrated", true,
       [=](const Subject& subject) { sql(subject.path(), "ALTER TABLE " + log(subject) + " ADD COLUMN later TEXT;"); }},
      {"TheFileIsDeleted", false, [](const Subject& subject) { fs::remove(subject.path()); }},
      {"TheFileIsReplaced", false,
       [](const Subject& subject) {
         write_file("/etc/logs/new.log", subject.bytes);
         fs::rename("/etc/logs/new.log", subject.path());
       }},
  };
}

INSTANTIATE_TEST_SUITE_P(Trust, WorstMoments, testing::ValuesIn(interferences()),
                         [](const auto& interference) { return interference.param.name; });

// ---- unusual file systems ----

// A file system for the log folder, in another process's mount namespace.
struct FileSystemState {
  const char* name;
  Requirement requirement;
  long room;  // free pages besides the log and one page of its journal; negative: the folder is read-only
};

void PrintTo(const FileSystemState& file_system, std::ostream* out) {
  *out << file_system.name;
}

class FileSystems : public NeighbourTest, public testing::WithParamInterface<FileSystemState> {
 protected:
  static void must(int result, const char* what) {
    if (result != 0) {
      throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
    }
  }

  static void put_read_only(const Subject& subject) {
    subject.restore_log();
    must(mount(appliance::kLogFolder, appliance::kLogFolder, nullptr, MS_BIND, nullptr), "bind");
    must(mount(nullptr, appliance::kLogFolder, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV,
               nullptr),
         "read-only");
  }

  static void put_full(const Subject& subject, long room) {
    must(mount("tmpfs", appliance::kLogFolder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755,size=1m"), "tmpfs");
    if (!subject.bytes.empty()) {
      write_file(subject.path(), subject.bytes);
    }
    std::FILE* filler = std::fopen("/etc/logs/filler", "w");
    std::setvbuf(filler, nullptr, _IONBF, 0);
    constexpr long kBlock = 4096;
    const std::string block(kBlock, 'x');
    long blocks = 0;
    while (std::fwrite(block.data(), block.size(), 1, filler) == 1) {
      ++blocks;
    }
    must(ftruncate(fileno(filler), std::max(blocks - room, 0L) * kBlock), "room");
    std::fclose(filler);
  }

  // Runs in a child with its own mounts.
  void call_all() {
    const FileSystemState& file_system = GetParam();
    place_ = file_system.name;
    for (const Subject& subject : subjects()) {
      SCOPED_TRACE(name_of(*subject.scenario));
      if (file_system.room < 0) {
        put_read_only(subject);
      } else {
        put_full(subject, file_system.room);
      }
      const Outcome outcome = call(subject, {file_system.requirement});
      expect_requirement(subject, outcome, subject.only_reads() ? Requirement::kUnaffected : file_system.requirement);
      must(umount2(appliance::kLogFolder, MNT_DETACH), "umount");
    }
  }
};

TEST_P(FileSystems, EveryFunctionDoesAllOrNothing) {
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    const std::string problem = appliance::unshare_mounts();
    if (problem.empty()) {
      try {
        call_all();
      } catch (const std::exception& trouble) {
        ADD_FAILURE() << trouble.what();
      }
    } else {
      ADD_FAILURE() << problem;
    }
    std::fflush(nullptr);
    _exit(HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_EQ(status, 0);
}

constexpr FileSystemState kFileSystems[] = {
    {"ReadOnly", Requirement::kAllOrNothing, -1},        {"Full", Requirement::kAllOrNothing, 0},
    {"FullButOnePage", Requirement::kAllOrNothing, 1},   {"FullButTwoPages", Requirement::kAllOrNothing, 2},
    {"FullButFivePages", Requirement::kAllOrNothing, 5}, {"FullButTwelvePages", Requirement::kAllOrNothing, 12},
};

INSTANTIATE_TEST_SUITE_P(Trust, FileSystems, testing::ValuesIn(kFileSystems),
                         [](const auto& file_system) { return file_system.param.name; });

// ---- single bits ----

class FlippedBits : public NeighbourTest, public testing::WithParamInterface<Log> {
 protected:
  // A log with a table, a trigger and an index on as few pages as possible.
  static std::string small(Log log, Start start) {
    empty_log_folder();
    write_file(path_of(log), bytes_of(log, start));
    const Rows indexes = sql(path_of(log), "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;");
    for (std::size_t i = 1; i < indexes.size(); ++i) {
      sql(path_of(log), "DROP INDEX " + indexes[i].at(0) + ";");
    }
    sql(path_of(log), "PRAGMA page_size = 512; VACUUM;");
    return read_file(path_of(log));
  }

  void call_on(const Subject& subject, const std::string& flipped) {
    write_file(subject.path(), flipped);
    const Outcome outcome = call(subject, {Requirement::kDocumented});
    expect_requirement(subject, outcome, Requirement::kDocumented);
    calls_ += 1;
    failures_ += outcome.result < 0 ? 1 : 0;
  }

  void flip(const std::vector<const Subject*>& called, const std::string& log) {
    std::mt19937 dice(first_seed());
    constexpr unsigned kBits = 8;
    constexpr std::size_t kStride = kSanitized ? 8 : 1;
    const std::size_t stride = whole_walk() ? 1 : kStride;
    std::size_t turn = 0;
    for (std::size_t at = 0; at < log.size(); at += stride) {
      const unsigned chosen = dice() % kBits;
      for (unsigned bit = 0; bit < kBits; ++bit) {
        if (bit != chosen && !whole_walk()) {
          continue;
        }
        std::string flipped = log;
        flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << bit));
        place_ = "bit " + std::to_string(bit) + " of byte " + std::to_string(at);
        for (std::size_t i = 0; i < (whole_walk() ? called.size() : 1); ++i) {
          const Subject& subject = *called[turn++ % called.size()];
          SCOPED_TRACE(name_of(*subject.scenario) + ", " + place_ +
                       ", ANNAL_TRUST_SEED=" + std::to_string(first_seed()));
          call_on(subject, flipped);
        }
      }
    }
  }

  int calls_ = 0;
  int failures_ = 0;
};

TEST_P(FlippedBits, NeverCrashOrMislead) {
  const Log log = GetParam();
  for (const Start start : {Start::kFilled, Start::kUnlimited, Start::kOld}) {
    std::vector<const Subject*> called;
    for (const Subject& subject : subjects()) {
      const Start on = subject.creates() ? Start::kFilled : subject.scenario->start;
      if (subject.scenario->log == log && on == start) {
        called.push_back(&subject);
      }
    }
    if (!called.empty()) {
      const std::string bytes = small(log, start);
      empty_log_folder();
      flip(called, bytes);
    }
  }
  std::printf("%s: %d calls, %d of which answered a failure, seed %u\n", table_of(log).c_str(), calls_, failures_,
              first_seed());
  EXPECT_GT(failures_, 0);
  EXPECT_LT(failures_, calls_);
}

INSTANTIATE_TEST_SUITE_P(Trust, FlippedBits, testing::ValuesIn(kLogs),
                         [](const auto& log) { return table_of(log.param); });

}  // namespace
}  // namespace annal::test
