// annalctl info, limit, keep and compact.
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::sql;
using annal::test::value;

constexpr const char* kEvents = "/etc/logs/event.log";
constexpr const char* kFileOps = "/etc/logs/operations.db";

struct SomeLog {
  Texts name;
  const char* path;
  const char* table;
  const char* columns;
  const char* values;  // of the i-th row, which is as many days old as the CTE's day says
  const char* trigger;
};

// Half of the rows are 100 days old, and the others of today. The old ones have the higher ids.
const std::array kLogs{
    SomeLog{{"event"},
            kEvents,
            "ANNAL_EVENT",
            "event_type, event_date, event_time, event_desc",
            "i % 3, date('now', 'localtime', '-' || day || ' days'), '10:00:00', printf('%0300d', i)",
            "annal_event_logfull"},
    SomeLog{{"conn"},
            "/etc/logs/conn.log",
            "ANNAL_CONN",
            "conn_type, conn_date, conn_time, conn_res",
            "i % 3, date('now', 'localtime', '-' || day || ' days'), '10:00:00', printf('%0300d', i)",
            "annal_conn_logfull"},
    SomeLog{{"fileop", "--db", kFileOps},
            kFileOps,
            "PAVO2LOG_EVENT",
            "event_type, event_date, event_time, event_desc",
            "i % 3, date('now', 'localtime', '-' || day || ' days'), '10:00:00', printf('%0300d', i)",
            "pavo2log_event_logfull"},
    SomeLog{{"notice"},
            "/etc/logs/notice.log",
            "ANNAL_NOTICE",
            "severity, time, desc",
            "i % 8, strftime('%s', 'now') - day * 86400, printf('%0300d', i)",
            "annal_notice_logfull"},
};

Texts command(const SomeLog& log, const Texts& more) {
  Texts all = log.name;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

void fill(const SomeLog& log, int rows) {
  ASSERT_EQ(annalctl(command(log, {"create"})).status, 0);
  sql(log.path, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(rows) +
                    "), d AS (SELECT i, CASE WHEN i > " + std::to_string(rows / 2) +
                    " THEN 100 ELSE 0 END AS day FROM n) INSERT INTO " + log.table + " (" + log.columns + ") SELECT " +
                    log.values + " FROM d;");
}

int rows_of(const SomeLog& log) {
  return std::stoi(value(log.path, std::string("SELECT count(*) FROM ") + log.table + ";"));
}

std::string trigger_of(const SomeLog& log) {
  return value(log.path, std::string("SELECT sql FROM sqlite_master WHERE name = '") + log.trigger + "';");
}

// Stores one event after another, as another program does, and remembers how long the longest took.
class Writer {
 public:
  explicit Writer(const char* path) {
    sqlite3_open(path, &database_);
    sqlite3_busy_timeout(database_, 20000);
    thread_ = std::thread([this] { run(); });
  }
  ~Writer() { stop(); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void stop() {
    ends_ = true;
    if (thread_.joinable()) {
      thread_.join();
      sqlite3_close(database_);
    }
  }
  [[nodiscard]] int stored() const { return stored_; }
  [[nodiscard]] int failed() const { return failed_; }

 private:
  void run() {
    while (!ends_) {
      const int code = sqlite3_exec(database_,
                                    "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_desc) VALUES "
                                    "(0, date('now', 'localtime'), '11:00:00', 'of the writer');",
                                    nullptr, nullptr, nullptr);
      ++(code == SQLITE_OK ? stored_ : failed_);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  sqlite3* database_ = nullptr;
  std::atomic<bool> ends_ = false;
  std::atomic<int> stored_ = 0;
  std::atomic<int> failed_ = 0;
  std::thread thread_;
};

// How long a log is locked for those that write, at the longest: looks again and again whether it is.
class LockWatch {
 public:
  explicit LockWatch(const char* path) {
    sqlite3_open(path, &database_);
    thread_ = std::thread([this] { run(); });
  }
  ~LockWatch() { static_cast<void>(longest()); }
  LockWatch(const LockWatch&) = delete;
  LockWatch& operator=(const LockWatch&) = delete;

  std::chrono::milliseconds longest() {
    ends_ = true;
    if (thread_.joinable()) {
      thread_.join();
      sqlite3_close(database_);
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(longest_);
  }

 private:
  using Clock = std::chrono::steady_clock;

  void run() {
    auto free = Clock::now();
    while (!ends_) {
      if (sqlite3_exec(database_, "BEGIN IMMEDIATE; ROLLBACK;", nullptr, nullptr, nullptr) == SQLITE_OK) {
        free = Clock::now();
      }
      longest_ = std::max(longest_, Clock::now() - free);
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  }

  sqlite3* database_ = nullptr;
  std::atomic<bool> ends_ = false;
  Clock::duration longest_{};
  std::thread thread_;
};

class AnnalctlLogMaintenance : public AnnalctlTest {};

}  // namespace

// ---- info ----

TEST_F(AnnalctlLogMaintenance, InfoTellsWhatEachLogHolds) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 200);
    const Finished told = annalctl(command(log, {"info", "--json"}));
    ASSERT_EQ(told.status, 0) << told.err;
    const Json json = Json::parse(told.out);
    EXPECT_EQ(json["log"], log.name[0]);
    EXPECT_EQ(json["file"], log.path);
    EXPECT_EQ(json["entries"], 200);
    EXPECT_EQ(json["levels"]["error"], log.name[0] == "notice" ? 25 : 67);
    EXPECT_EQ(json["size"], fs::file_size(log.path));
    EXPECT_EQ(json["in_use"], fs::file_size(log.path));
    EXPECT_GT(json["disk_free"], 0);
    EXPECT_EQ(json["limit"], log.name[0] == "event" || log.name[0] == "fileop" ? 100000 : 10000);
    EXPECT_TRUE(json["suspicion"].is_null()) << json["suspicion"];
    EXPECT_LT(json["oldest"].get<std::string>(), json["newest"].get<std::string>());
    const std::string page = annalctl(command(log, {"info"})).out;
    EXPECT_NE(page.find("entries    200: "), std::string::npos) << page;
    EXPECT_EQ(lines_of(annalctl(command(log, {"info", "--csv"})).out).size(), 2U);
  }
  const Finished all = annalctl({"info", "--json", "--db", kFileOps});
  EXPECT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(lines_of(all.out).size(), 4U) << all.out;
}

TEST_F(AnnalctlLogMaintenance, InfoTellsWhatItCannotReadAndWhatLooksWrong) {
  const Finished none = annalctl({"info"});
  EXPECT_EQ(none.status, 1);
  EXPECT_NE(none.out.find("no log yet"), std::string::npos) << none.out;
  EXPECT_FALSE(fs::exists(kEvents));
  fill(kLogs[0], 100);
  sql(kEvents, "DROP TRIGGER annal_event_logfull;");
  const Finished without = annalctl({"event", "info"});
  EXPECT_EQ(without.status, 0);
  EXPECT_NE(without.out.find("lacks the library's row limit"), std::string::npos) << without.out;
}

// Each line of the text format: a comment of one of two kinds, or a sample with labels and a number.
TEST_F(AnnalctlLogMaintenance, InfoIsInPrometheusTextFormat) {
  fill(kLogs[0], 100);
  fill(kLogs[2], 2);
  const Finished told = annalctl({"info", "--prometheus", "--db", kFileOps});
  EXPECT_EQ(told.status, 0) << told.err;
  ASSERT_FALSE(told.out.empty());
  EXPECT_EQ(told.out.back(), '\n');
  const std::regex help("# HELP ([a-z_]+) [A-Z][^\\n]*\\.");
  const std::regex type("# TYPE ([a-z_]+) gauge");
  const std::regex sample(R"rx(([a-z_]+)\{[a-z]+="(?:[^"\\]|\\.)*"(?:,[a-z]+="(?:[^"\\]|\\.)*")*\} -?[0-9]+)rx");
  std::string metric;
  std::map<std::string, int> metrics;
  for (const std::string& line : lines_of(told.out)) {
    std::smatch parts;
    if (std::regex_match(line, parts, help)) {
      metric = parts[1];
      EXPECT_EQ(metrics[metric]++, 0) << "the samples of one metric stand together: " << line;
    } else {
      ASSERT_TRUE(std::regex_match(line, parts, type) || std::regex_match(line, parts, sample)) << line;
      EXPECT_EQ(parts[1], metric) << line;
    }
  }
  EXPECT_NE(told.out.find("annal_log_up{log=\"event\",file=\"/etc/logs/event.log\"} 1\n"), std::string::npos);
  EXPECT_NE(told.out.find("annal_log_up{log=\"conn\",file=\"/etc/logs/conn.log\"} 0\n"), std::string::npos);
  EXPECT_NE(told.out.find("annal_log_entries{log=\"event\",file=\"/etc/logs/event.log\",level=\"warning\"} 34\n"),
            std::string::npos)
      << told.out;
}

// ---- limit ----

TEST_F(AnnalctlLogMaintenance, LimitMakesTheTriggerThatTheLibraryMakes) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    ASSERT_EQ(annalctl(command(log, {"create", "--limit", "777", "--batch", "33"})).status, 0);
    const std::string expected = trigger_of(log);
    fs::remove(log.path);
    fill(log, 10);
    const Finished looked = annalctl(command(log, {"limit", "777", "--batch", "33", "--dry-run"}));
    EXPECT_EQ(looked.status, 0) << looked.err;
    EXPECT_NE(trigger_of(log), expected);
    const Finished changed = annalctl(command(log, {"limit", "777", "--batch", "33", "--json"}));
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(Json::parse(changed.out)["limit"], 777);
    EXPECT_EQ(trigger_of(log), expected);
    EXPECT_EQ(rows_of(log), 10);
    EXPECT_EQ(annalctl(command(log, {"check"})).status, 0);
  }
}

TEST_F(AnnalctlLogMaintenance, LimitOfALogWithoutOneSetsIt) {
  fill(kLogs[0], 10);
  sql(kEvents, "DROP TRIGGER annal_event_logfull;");
  const Finished set = annalctl({"event", "limit", "20"});
  EXPECT_EQ(set.status, 0) << set.err;
  EXPECT_NE(set.out.find("before: none"), std::string::npos) << set.out;
  for (int i = 0; i < 30; ++i) {
    EventRecord record{};
    ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  }
  EXPECT_EQ(rows_of(kLogs[0]), 20);
}

// ---- how many went ----

TEST_F(AnnalctlLogMaintenance, WhatDeletesSaysHowMany) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 10);
    if (log.name[0] == "event" || log.name[0] == "conn") {
      EXPECT_EQ(annalctl(command(log, {"trim", "8", "--dry-run"})).out,
                log.name[0] == "event" ? "would delete 2 events\n" : "would delete 2 connections\n");
      EXPECT_EQ(rows_of(log), 10);
      EXPECT_EQ(Json::parse(annalctl(command(log, {"trim", "8", "--json"})).out)["deleted"], 2);
    }
    if (log.name[0] == "notice") {
      EXPECT_EQ(annalctl({"notice", "age", "30", "--dry-run"}).out, "would delete 5 notices\n");
      EXPECT_EQ(rows_of(log), 10);
      EXPECT_EQ(annalctl({"notice", "age", "30"}).out, "deleted 5 notices\n");
    }
    const int left = rows_of(log);
    EXPECT_EQ(Json::parse(annalctl(command(log, {"flush", "--yes", "--dry-run", "--json"})).out)["would_delete"], left);
    EXPECT_EQ(rows_of(log), left);
    const Finished flushed = annalctl(command(log, {"flush", "--yes"}));
    EXPECT_EQ(flushed.out.substr(0, 8 + std::to_string(left).size()), "deleted " + std::to_string(left));
    EXPECT_EQ(rows_of(log), 0);
  }
}

// ---- keep ----

TEST_F(AnnalctlLogMaintenance, KeepDeletesWhatIsOlderThanTheDays) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 4000);
    const Finished looked = annalctl(command(log, {"keep", "--days", "30", "--dry-run", "--json"}));
    EXPECT_EQ(looked.status, 0) << looked.err;
    EXPECT_EQ(Json::parse(looked.out)["would_delete"], 2000);
    EXPECT_EQ(rows_of(log), 4000);
    const Finished kept = annalctl(command(log, {"keep", "--days", "30", "--json"}));
    EXPECT_EQ(kept.status, 0) << kept.err;
    EXPECT_EQ(Json::parse(kept.out)["deleted"], 2000);
    EXPECT_EQ(rows_of(log), 2000);
    EXPECT_EQ(value(log.path, std::string("SELECT max(rowid) FROM ") + log.table + ";"), "2000");
    EXPECT_EQ(annalctl(command(log, {"check"})).status, 0);
  }
}

TEST_F(AnnalctlLogMaintenance, KeepDeletesTheOldestUntilTheRestIsSmallEnough) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 4000);
    const auto size = fs::file_size(log.path);
    const std::string most = std::to_string(size * 3 / 4);
    const Finished kept = annalctl(command(log, {"keep", "--size", most}));
    ASSERT_EQ(kept.status, 0) << kept.err;
    const Json info = Json::parse(annalctl(command(log, {"info", "--json"})).out);
    EXPECT_LE(info["in_use"], std::stoll(most));
    EXPECT_GT(info["in_use"], std::stoll(most) * 8 / 10) << "more went than had to";
    // Of the old ones, which have the high ids, the first went.
    EXPECT_EQ(value(log.path, std::string("SELECT count(*) FROM ") + log.table + " WHERE rowid <= 2000;"), "2000");
    EXPECT_EQ(value(log.path, std::string("SELECT max(rowid) FROM ") + log.table + ";"), "4000");
  }
}

TEST_F(AnnalctlLogMaintenance, KeepGoesThroughAllLogsThatAreThere) {
  fill(kLogs[0], 100);
  fill(kLogs[2], 100);
  const Finished kept = annalctl({"keep", "--days", "30", "--db", kFileOps});
  EXPECT_EQ(kept.status, 0) << kept.err;
  EXPECT_EQ(kept.out, "/etc/logs/event.log: deleted 50 events\n/etc/logs/operations.db: deleted 50 file operations\n");
  EXPECT_FALSE(fs::exists("/etc/logs/conn.log"));
}

TEST_F(AnnalctlLogMaintenance, KeepNeedsToKnowWhatToKeep) {
  fill(kLogs[0], 10);
  for (const Texts& line :
       {Texts{"event", "keep"}, {"keep"}, {"event", "keep", "--days", "0"}, {"keep", "--size", "x"}}) {
    EXPECT_EQ(annalctl(line).status, 2) << line.back();
  }
  EXPECT_EQ(rows_of(kLogs[0]), 10);
}

TEST_F(AnnalctlLogMaintenance, KeepBesideAWriterNeverHoldsTheLogForLong) {
  fill(kLogs[0], 60000);
  Writer writer(kEvents);
  LockWatch watch(kEvents);
  const Finished kept = annalctl({"event", "keep", "--days", "30", "--json"});
  const std::chrono::milliseconds longest = watch.longest();
  writer.stop();
  EXPECT_EQ(kept.status, 0) << kept.err;
  EXPECT_EQ(Json::parse(kept.out)["deleted"], 30000);
  EXPECT_EQ(writer.failed(), 0);
  EXPECT_GT(writer.stored(), 0);
  EXPECT_EQ(rows_of(kLogs[0]), 30000 + writer.stored());
  // At once it takes a second and more. What is held is 0.02 s; a busy machine may stop a process in the middle.
  RecordProperty("longest_lock_ms", std::to_string(longest.count()));
  EXPECT_LT(longest.count(), 500);
}

// ---- compact ----

TEST_F(AnnalctlLogMaintenance, CompactGivesRoomBackAndKeepsEveryEntry) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 4000);
    ASSERT_EQ(annalctl(command(log, {"keep", "--days", "30"})).status, 0);
    const auto size = fs::file_size(log.path);
    const std::string rows = std::string("SELECT * FROM ") + log.table + ";";
    const auto before = sql(log.path, rows);
    const std::string sequence = value(log.path, "SELECT seq FROM sqlite_sequence;");
    EXPECT_EQ(annalctl(command(log, {"compact", "--dry-run"})).status, 0);
    EXPECT_EQ(fs::file_size(log.path), size);
    const Finished compacted = annalctl(command(log, {"compact"}));
    ASSERT_EQ(compacted.status, 0) << compacted.err;
    EXPECT_LT(fs::file_size(log.path), size * 7 / 10);
    EXPECT_TRUE(sql(log.path, rows) == before);
    EXPECT_EQ(value(log.path, "SELECT seq FROM sqlite_sequence;"), sequence);
    EXPECT_EQ(value(log.path, "PRAGMA page_size;"), "2048");
    EXPECT_EQ(annalctl(command(log, {"check"})).status, 0);
    EXPECT_NE(annalctl(command(log, {"compact"})).out.find("nothing to give back"), std::string::npos);
  }
}

TEST_F(AnnalctlLogMaintenance, CompactLeavesALogAloneThatItWouldLockForLong) {
  fill(kLogs[0], 30000);
  ASSERT_EQ(annalctl({"event", "delete", "--type", "error"}).status, 0);
  const std::string before = damage::contents_of(kEvents);
  const Finished refused = annalctl({"event", "compact", "--longest", "0.1"});
  EXPECT_EQ(refused.status, 1) << refused.out;
  EXPECT_NE(refused.err.find("--longest"), std::string::npos) << refused.err;
  EXPECT_TRUE(damage::contents_of(kEvents) == before);
}

TEST_F(AnnalctlLogMaintenance, CompactBesideAWriterLosesNothing) {
  fill(kLogs[0], 8000);
  ASSERT_EQ(annalctl({"event", "keep", "--days", "30"}).status, 0);
  Writer writer(kEvents);
  const Finished compacted = annalctl({"event", "compact", "--longest", "15"});
  writer.stop();
  EXPECT_EQ(compacted.status, 0) << compacted.err;
  EXPECT_EQ(writer.failed(), 0);
  EXPECT_EQ(rows_of(kLogs[0]), 4000 + writer.stored());
}

// ---- delete ----

TEST_F(AnnalctlLogMaintenance, DeleteTakesTheConditionsOfTheList) {
  for (const SomeLog& log : kLogs) {
    SCOPED_TRACE(log.name[0]);
    fill(log, 400);
    const Texts conditions{"--since", "-200d", "--until", "-30d"};
    const auto with = [&](Texts first, const Texts& last = {}) {
      first.insert(first.end(), conditions.begin(), conditions.end());
      first.insert(first.end(), last.begin(), last.end());
      return annalctl(command(log, first));
    };
    EXPECT_EQ(with({"count"}).out, "200\n");
    EXPECT_EQ(Json::parse(with({"delete"}, {"--dry-run", "--json"}).out)["would_delete"], 200);
    EXPECT_EQ(rows_of(log), 400);
    const Finished deleted = with({"delete"}, {"--json"});
    EXPECT_EQ(deleted.status, 0) << deleted.err;
    EXPECT_EQ(Json::parse(deleted.out)["deleted"], 200);
    EXPECT_EQ(rows_of(log), 200);
    EXPECT_EQ(value(log.path, std::string("SELECT max(rowid) FROM ") + log.table + ";"), "200");
    EXPECT_EQ(annalctl(command(log, {"delete"})).status, 2) << "of everything";
    EXPECT_EQ(rows_of(log), 200);
  }
}

TEST_F(AnnalctlLogMaintenance, DeleteComparesAUserToTheLetterAlsoBesideOtherConditions) {
  ASSERT_EQ(annalctl({"event", "create"}).status, 0);
  sql(kEvents,
      "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc) VALUES (2, '2026-11-01', "
      "'10:00:00', 'ann', 'x'), (2, '2026-11-01', '10:00:00', 'anna', 'x'), (1, '2026-11-01', '10:00:00', 'ann', "
      "'x');");
  EXPECT_EQ(annalctl({"event", "delete", "--user", "ann", "--dry-run"}).out, "would delete 2 events\n");
  EXPECT_EQ(annalctl({"event", "delete", "--user", "ann", "--type", "error"}).out, "deleted 1 event\n");
  EXPECT_EQ(value(kEvents, "SELECT group_concat(event_id) FROM ANNAL_EVENT;"), "2,3");
  EXPECT_EQ(annalctl({"event", "delete", "--id", "2", "--user", "ann"}).out, "deleted 0 events\n");
  EXPECT_EQ(annalctl({"event", "delete", "--text", "X"}).out, "deleted 2 events\n");
}
