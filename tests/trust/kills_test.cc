// Processes that use a log are killed at any moment, and replaced. What they have been told is so: an entry that was
// acknowledged is there once and whole, one that was refused is not there, one that was under way is there or not.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Corix_annal.h"
#include "appliance/namespace.h"
#include "common/paths.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

namespace fs = std::filesystem;
using Time = std::chrono::steady_clock;

// ---- entries ----

constexpr const char* kExpendable = "expendable";  // the user of those that the maintainer may delete

// What a writer stores under a number, of which a batch has some parts. Long enough for some not to fit one page.
std::string text_of_entry(int writer, int number, int part) {
  constexpr int kLengths = 5;
  const std::string name =
      "/w" + std::to_string(writer) + "-" + std::to_string(number) + "." + std::to_string(part) + " ";
  return name + std::string(static_cast<std::size_t>(number % kLengths) * 200, static_cast<char>('a' + number % 26));
}

struct EntryName {
  int writer = 0;
  int number = 0;
  int part = 0;
  auto operator<=>(const EntryName&) const = default;
};

// Whose text this is; throws when it is nobody's, or not whole.
EntryName name_of_entry(const std::string& user, const std::string& text) {
  EntryName name;
  const char* at = text.c_str();
  for (int* field : {&name.writer, &name.number, &name.part}) {
    at += std::strcspn(at, "0123456789");
    char* behind = nullptr;
    *field = static_cast<int>(std::strtol(at, &behind, 10));
    at = behind;
  }
  if (text != text_of_entry(name.writer, name.number, name.part) || user != "w" + std::to_string(name.writer)) {
    throw std::runtime_error("an entry that nobody has written: " + user + ", " + text.substr(0, 60));
  }
  return name;
}

template <typename Record>
Record connection_of(int writer, int number, int part) {
  auto record = a_connection<Record>(text_of_entry(writer, number, part).c_str());
  put(record.conn_user, ("w" + std::to_string(writer)).c_str());
  return record;
}

constexpr int kParts = 3;  // of a batch

// ---- the logs ----

using EntryNumber = std::pair<int, int>;  // the writer's, and its own

// What became of a call: how many of its entries are stored, or the code of its failure.
struct Stored {
  int code;
  int count;
};

Stored stored_if(int result) {
  return {result < 0 ? result : ANNAL_OK, result < 0 ? 0 : 1};
}

// One way to add an entry, and how many parts it has.
struct Way {
  Stored (*add)(int writer, int number);
  int parts;
};

// What a maintainer does, and the code that says that it could not.
struct Chore {
  const char* what;
  int (*call)();
  int failure;
};

struct Trade {
  const char* name;
  const char* path;
  const char* table;
  const char* text;  // the columns that hold an entry's text and its user
  const char* user;
  void (*begin)();
  std::vector<Way> ways;  // each writer has one
  std::vector<int (*)()> counts;
  int (*list)(annal_row_callback callback, void* context);
  std::vector<Chore> chores;
};

void PrintTo(const Trade& trade, std::ostream* out) {
  *out << trade.name;
}

constexpr int kNoLimit = 1000000;

void must(int result) {
  if (result != ANNAL_OK) {
    throw std::runtime_error("cannot begin a log: " + std::to_string(result));
  }
}

// Later calls fail, as for anybody who comes second.
template <int (*kAddColumn)(const char*, int, const char*)>
int add_a_column() {
  return kAddColumn("one_more", 1, "7");
}

Trade events() {
  Trade trade{"Events", kEventLog, "ANNAL_EVENT", "event_desc", "event_user", nullptr, {}, {}, nullptr, {}};
  // As an earlier release made it, so that its migration meets the writers.
  trade.begin = [] {
    must(annal_event_create_tbl(kNoLimit, 1));
    sql(kEventLog, "DROP INDEX IF EXISTS idx_event_client_app;");
    for (const char* column : {"event_client_agent", "event_client_app", "event_client_id"}) {
      sql(kEventLog, std::string("ALTER TABLE ANNAL_EVENT DROP COLUMN ") + column + ";");
    }
  };
  trade.ways = {{[](int writer, int number) {
                   auto record = an_event<EventRecord>(text_of_entry(writer, number, 0).c_str());
                   put(record.event_user, ("w" + std::to_string(writer)).c_str());
                   return stored_if(annal_event_add_msgid_ex3(&record));
                 },
                 1},
                {[](int writer, int number) {
                   auto record = an_event<EventRecordBasic>(text_of_entry(writer, number, 0).c_str());
                   put(record.event_user, ("w" + std::to_string(writer)).c_str());
                   return stored_if(annal_event_add(&record));
                 },
                 1}};
  trade.counts = {
      [] { return annal_event_query_count(0); },
      [] { return annal_event_query_count_ex(0, nullptr, nullptr, "w", nullptr, nullptr, nullptr, nullptr, nullptr); }};
  trade.list = [](annal_row_callback callback, void* context) {
    return annal_event_query_ex(callback, 0, 0, 0, 0, nullptr, nullptr, "w", nullptr, nullptr, nullptr, context,
                                nullptr, nullptr);
  };
  trade.chores = {
      {"add what may go",
       [] {
         auto record = an_event<EventRecord>("of no use");
         put(record.event_user, kExpendable);
         return annal_event_add_msgid_ex3(&record);
       },
       ANNAL_INSERT_FAILED},
      {"delete it", [] { return annal_event_del(4, kExpendable); }, ANNAL_CHANGE_FAILED},
      {"trim", [] { return annal_event_del_logfull_over_size(kNoLimit); }, ANNAL_TRIGGER_FAILED},
      {"migrate", &annal_event_modify_tbl, ANNAL_CHANGE_FAILED},
      {"remove the trigger", &annal_event_remove_trigger_logfull, ANNAL_REMOVE_TRIGGER_FAILED},
      {"add the trigger", [] { return annal_event_add_trigger_logfull(kNoLimit, 1); }, ANNAL_TRIGGER_FAILED},
      {"create", [] { return annal_event_create_tbl(0, 0); }, ANNAL_TABLE_FAILED},
      {"rewrite nothing", [] { return annal_event_del(6, "nobody's"); }, ANNAL_CHANGE_FAILED}};
  return trade;
}

Trade connections() {
  Trade trade{"Connections", kConnLog, "ANNAL_CONN", "conn_res", "conn_user", nullptr, {}, {}, nullptr, {}};
  trade.begin = [] { must(annal_conn_create_tbl(kNoLimit, 1)); };
  trade.ways = {{[](int writer, int number) {
                   auto record = connection_of<ConnRecord>(writer, number, 0);
                   return stored_if(annal_conn_add2(&record));
                 },
                 1},
                {[](int writer, int number) {
                   ConnRecord records[kParts];
                   for (int part = 0; part < kParts; ++part) {
                     records[part] = connection_of<ConnRecord>(writer, number, part);
                   }
                   Stored stored{};
                   stored.code = annal_conn_add_entries2(records, kParts, &stored.count);
                   return stored.code == ANNAL_OK ? stored : Stored{stored.code, 0};
                 },
                 kParts}};
  trade.counts = {[] { return annal_conn_query_count(0); },
                  [] {
                    return annal_conn_query_count_ex(0, nullptr, nullptr, "w", nullptr, nullptr, nullptr, 0, 0, nullptr,
                                                     nullptr, nullptr);
                  }};
  trade.list = [](annal_row_callback callback, void* context) {
    return annal_conn_query_ex(nullptr, callback, 0, 0, 0, 0, nullptr, nullptr, "w", nullptr, nullptr, nullptr, 0, 0,
                               context, nullptr, nullptr, nullptr);
  };
  trade.chores = {{"add what may go",
                   []() -> int {
                     constexpr const char* kOld =
                         "INSERT INTO ANNAL_CONN (conn_date, conn_time, conn_user) VALUES ('2001-01-01', '00:00:00', "
                         "'expendable'), ('2001-01-01', '00:00:00', 'expendable');";
                     sqlite3* database = nullptr;
                     sqlite3_open(kConnLog, &database);
                     sqlite3_busy_timeout(database, 20000);
                     const bool done = sqlite3_exec(database, kOld, nullptr, nullptr, nullptr) == SQLITE_OK;
                     sqlite3_close(database);
                     return done ? ANNAL_OK : ANNAL_INSERT_FAILED;
                   },
                   ANNAL_INSERT_FAILED},
                  {"delete the oldest",  // which are those, as long as no more are deleted than there are
                   [] {
                     const int count = annal_conn_query_count_ex(0, nullptr, nullptr, kExpendable, nullptr, nullptr,
                                                                 nullptr, 0, 0, nullptr, nullptr, nullptr);
                     return count > 0 ? annal_conn_del_full(count) : ANNAL_OK;
                   },
                   ANNAL_TRIGGER_FAILED},
                  {"migrate", &annal_conn_modify_tbl, ANNAL_CHANGE_FAILED},
                  {"add a column", &add_a_column<annal_conn_table_add_column>, ANNAL_CHANGE_FAILED},
                  {"remove the trigger", &annal_conn_remove_trigger_logfull, ANNAL_REMOVE_TRIGGER_FAILED},
                  {"add the trigger", [] { return annal_conn_add_trigger_logfull(kNoLimit, 1); }, ANNAL_TRIGGER_FAILED},
                  {"create", [] { return annal_conn_create_tbl(0, 0); }, ANNAL_TABLE_FAILED}};
  return trade;
}

Trade file_operations() {
  Trade trade{"FileOperations", kFileOpLog, "PAVO2LOG_EVENT", "event_filepath", "event_user", nullptr, {}, {},
              nullptr,          {}};
  trade.begin = [] { must(pavo2log_event_create_tbl(kFileOpLog, kNoLimit, 1)); };
  trade.ways = {{[](int writer, int number) {
                   const std::string text = text_of_entry(writer, number, 0);
                   FileOpRecord record = a_file_operation(text.c_str());
                   put(record.event_user, ("w" + std::to_string(writer)).c_str());
                   return stored_if(static_cast<int>(pavo2log_event_add(kFileOpLog, &record)));
                 },
                 1}};
  trade.counts = {[] { return pavo2log_event_query_count(kFileOpLog, 0, nullptr, nullptr, nullptr, nullptr); }};
  trade.list = [](annal_row_callback callback, void* context) {
    FileOpFilter filter{};
    filter.event_filesize = -1;
    put(filter.event_user, "w");
    return pavo2log_event_query_by(kFileOpLog, callback, &filter, 0, 0, 0, context);
  };
  trade.chores = {{"add what may go",
                   []() -> int {
                     FileOpRecord record = a_file_operation("of no use");
                     put(record.event_user, kExpendable);
                     return pavo2log_event_add(kFileOpLog, &record) > 0 ? ANNAL_OK : ANNAL_INSERT_FAILED;
                   },
                   ANNAL_INSERT_FAILED},
                  {"delete it", [] { return pavo2log_event_del(kFileOpLog, 4, kExpendable); }, ANNAL_CHANGE_FAILED},
                  {"remove the trigger", [] { return pavo2log_event_remove_trigger_logfull(kFileOpLog); },
                   ANNAL_REMOVE_TRIGGER_FAILED},
                  {"add the trigger", [] { return pavo2log_event_add_trigger_logfull(kFileOpLog, kNoLimit, 1); },
                   ANNAL_TRIGGER_FAILED},
                  {"create", [] { return pavo2log_event_create_tbl(kFileOpLog, 0, 0); }, ANNAL_TABLE_FAILED}};
  return trade;
}

// Without AnnalNoticeModifyTbl, which is for times when nobody else is at the file.
Trade notices() {
  Trade trade{"Notices", kNoticeLog, "ANNAL_NOTICE", "desc", "user", nullptr, {}, {}, nullptr, {}};
  trade.begin = [] { must(annal_notice_create_tbl(kNoLimit, 1)); };
  trade.ways = {{[](int writer, int number) {
                   NoticeRecord record = a_notice(text_of_entry(writer, number, 0).c_str());
                   put(record.user, ("w" + std::to_string(writer)).c_str());
                   return stored_if(annal_notice_add(&record));
                 },
                 1}};
  trade.counts = {[] { return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr); },
                  [] { return annal_notice_query_byclientTime_count("1000000000", 9999, "2000000000", nullptr); }};
  trade.list = [](annal_row_callback callback, void* context) {
    return annal_notice_query(callback, 12, 0, 0, 0, context);
  };
  trade.chores = {
      {"add what may go",
       [] {
         NoticeRecord record = a_notice("of no use");
         put(record.user, kExpendable);
         return annal_notice_add(&record);
       },
       ANNAL_INSERT_FAILED},
      {"delete it", [] { return annal_notice_del(8, kExpendable); }, ANNAL_CHANGE_FAILED},
      {"age", [] { return AnnalNoticeDellogByClientTime(1); }, ANNAL_CHANGE_FAILED},
      {"add a column", &add_a_column<annal_notice_table_add_column>, ANNAL_CHANGE_FAILED},
      {"remove the trigger", &annal_notice_remove_trigger_logfull, ANNAL_REMOVE_TRIGGER_FAILED},
      {"add the trigger", [] { return annal_notice_add_trigger_logfull(kNoLimit, 1); }, ANNAL_TRIGGER_FAILED},
      {"create", [] { return annal_notice_create_tbl(0, 0); }, ANNAL_TABLE_FAILED}};
  return trade;
}

// ---- what happens at a log ----

struct Report {
  int writer;
  int number;
  Stored stored;
};
static_assert(sizeof(Report) <= 512, "so small that a pipe takes it whole or not at all");

// What the processes of a log share.
struct Shared {
  std::atomic<int> acknowledged;  // entries, as far as the test knows
  std::atomic<bool> stop;
  std::atomic<int> chores_done;
};

constexpr int kWriters = 8;
constexpr int kReaders = 2;
constexpr int kWorkers = kWriters + kReaders + 1;  // and a maintainer

enum class Role { kWriter, kReader, kMaintainer };

Role role_of(int place) {
  if (place < kWriters) {
    return Role::kWriter;
  }
  return place < kWriters + kReaders ? Role::kReader : Role::kMaintainer;
}

// One process at a log, until it is killed or told to stop.
class Worker {
 public:
  Worker(const Trade& trade, int place, int number, int reports, Shared& shared)
      : trade_(trade), place_(place), number_(number), reports_(reports), shared_(shared) {}

  // Returns what the process has to say in the end: nothing, when all was as it should be.
  std::string work() {
    std::mt19937 dice(static_cast<unsigned>(number_));
    int descriptors = -1;
    for (int turn = 1; !shared_.stop; ++turn) {
      SqliteTrace::reset();
      PlatformRecorder::reset();
      std::string complaint;
      switch (role_of(place_)) {
        case Role::kWriter:
          complaint = write_one(turn);
          break;
        case Role::kReader:
          complaint = turn % 4 == 0 ? list() : count(turn);
          break;
        case Role::kMaintainer:
          complaint = maintain(trade_.chores[dice() % trade_.chores.size()]);
          break;
      }
      if (!complaint.empty()) {
        return complaint;
      }
      if (descriptors < 0) {  // the first call is allowed its first uses
        descriptors = open_descriptors();
      }
    }
    if (descriptors >= 0 && open_descriptors() != descriptors) {
      return "has other descriptors than after its first call";
    }
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD ? "has children" : "";
  }

 private:
  std::string write_one(int turn) {
    const Way& way = trade_.ways[static_cast<std::size_t>(place_) % trade_.ways.size()];
    const Report report{number_, turn, way.add(number_, turn)};
    if (report.stored.code != ANNAL_OK && report.stored.code != ANNAL_INSERT_FAILED) {
      return "answered " + std::to_string(report.stored.code) + " to an entry";
    }
    return write(reports_, &report, sizeof report) == sizeof report ? "" : "cannot report";
  }

  std::string count(int turn) {
    const int least = shared_.acknowledged;
    const int found = trade_.counts[static_cast<std::size_t>(turn) % trade_.counts.size()]();
    if (found == ANNAL_QUERY_FAILED || found >= least) {
      return "";
    }
    return "counts " + std::to_string(found) + " entries of " + std::to_string(least);
  }

  struct Found {
    const Trade& trade;
    std::set<EntryName> names;
    std::string complaint;
  };

  static int look(void* context, int columns, char** values, char** names) {
    auto& found = *static_cast<Found*>(context);
    const char* user = nullptr;
    const char* text = nullptr;
    for (int i = 0; i < columns; ++i) {
      user = std::string_view(names[i]) == found.trade.user ? values[i] : user;
      text = std::string_view(names[i]) == found.trade.text ? values[i] : text;
    }
    if (user == nullptr || text == nullptr) {
      found.complaint = "half an entry";
    } else if (std::string_view(user) != kExpendable) {
      try {
        if (!found.names.insert(name_of_entry(user, text)).second) {
          found.complaint = std::string("twice: ") + text;
        }
      } catch (const std::exception& problem) {
        found.complaint = problem.what();
      }
    }
    return 0;
  }

  std::string list() {
    const int least = shared_.acknowledged;
    Found found{trade_, {}, {}};
    const int result = trade_.list(&look, &found);
    if (result != ANNAL_OK && result != ANNAL_QUERY_FAILED) {
      return "answered " + std::to_string(result) + " to a listing";
    }
    if (result == ANNAL_OK && found.complaint.empty() && static_cast<int>(found.names.size()) < least) {
      return "lists " + std::to_string(found.names.size()) + " entries of " + std::to_string(least);
    }
    return found.complaint;
  }

  std::string maintain(const Chore& chore) {
    const int result = chore.call();
    shared_.chores_done += result == ANNAL_OK ? 1 : 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return result == ANNAL_OK || result == chore.failure
               ? ""
               : "answered " + std::to_string(result) + " when it should " + chore.what;
  }

  const Trade& trade_;
  int place_;
  int number_;
  int reports_;
  Shared& shared_;
};

// ---- the test ----

int seconds_in_all() {
  const char* seconds = std::getenv("ANNAL_TRUST_SECONDS");
  constexpr int kMinute = 60;
  constexpr int kHour = 3600;
  if (seconds != nullptr) {
    return static_cast<int>(std::strtol(seconds, nullptr, 10));
  }
  return whole_walk() ? kHour : kMinute;
}

class Kills : public ApplianceTest, public testing::WithParamInterface<Trade> {
 protected:
  void SetUp() override {
    Disk::stand_in(false);
    ApplianceTest::SetUp();
    run_no_shell(false);
    // A device's command, so that entries do start processes.
    fs::create_symlink("/bin/true", "/usr/local/sbin/evsh");
    // What killed processes leave running comes here.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    ASSERT_EQ(pipe2(reports_, O_CLOEXEC), 0);
    ASSERT_EQ(fcntl(reports_[0], F_SETFL, O_NONBLOCK), 0);
    shared_ =
        static_cast<Shared*>(mmap(nullptr, sizeof *shared_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(shared_, MAP_FAILED);
  }

  void TearDown() override {
    munmap(shared_, sizeof *shared_);
    close(reports_[0]);
    close(reports_[1]);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
    ApplianceTest::TearDown();
    Disk::stand_in(true);
  }

  static const Trade& trade() { return GetParam(); }

  // Lets all of them work, and kills, for so long.
  void kill_and_replace(unsigned seed, Time::duration time) {
    std::mt19937 dice(seed);
    const Time::time_point end = Time::now() + time;
    for (int place = 0; place < kWorkers; ++place) {
      hire(place);
    }
    // In the end nobody is killed for a while, so that some have done much when they are looked at.
    const Time::time_point quiet = end - time / 8;
    // On a machine that is busy with something else it takes longer until all have had their turn.
    const Time::time_point latest = end + std::chrono::seconds(30);
    while ((Time::now() < end || (!all_had_their_turn() && Time::now() < latest)) && !HasFailure()) {
      constexpr unsigned kLongestPause = 20000;
      std::this_thread::sleep_for(std::chrono::microseconds(dice() % kLongestPause));
      hear();
      reap(WNOHANG);
      if (Time::now() >= quiet) {
        continue;
      }
      constexpr unsigned kAllAtOnce = 30;
      const auto chosen = dice();
      if (chosen % kAllAtOnce == 0) {
        for (int place = 0; place < kWorkers; ++place) {
          fire(place);
        }
        journals_ += fs::exists(std::string(trade().path) + "-journal") ? 1 : 0;
        for (int place = 0; place < kWorkers; ++place) {
          hire(place);
        }
      } else {
        const auto other = dice();
        const int place = chosen % 2 == 0 ? static_cast<int>(other % kWorkers) : writing_place(other);
        fire(place);
        hire(place);
      }
    }
  }

  // Lets those that are left come to their end. Nobody is left behind.
  void close_shop() {
    shared_->stop = true;
    constexpr auto kLongestWait = std::chrono::seconds(60);  // a call may wait for a lock three times as long as 20 s
    const Time::time_point end = Time::now() + kLongestWait;
    while (Time::now() < end && !nobody_left_) {
      hear();
      reap(WNOHANG);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    hear();
    EXPECT_TRUE(nobody_left_) << "a process has not come to its end";
    for (const auto& [process, place] : places_) {
      kill(process, SIGKILL);
    }
    shared_->stop = false;
  }

  // What the log holds, beside what was reported.
  void judge() {
    EXPECT_EQ(value(trade().path, "PRAGMA integrity_check;"), "ok");
    const std::string columns = std::string(trade().user) + ", " + trade().text;
    std::map<EntryNumber, std::set<int>> found;
    for (const Row& row : sql(trade().path, "SELECT " + columns + " FROM " + trade().table + ";")) {
      if (row.at(0) != kExpendable) {
        const EntryName name = name_of_entry(row.at(0), row.at(1));
        const bool once = found[{name.writer, name.number}].insert(name.part).second;
        EXPECT_TRUE(once) << "twice: " << row.at(1);
      }
    }
    for (const auto& [writer, reported] : reported_) {
      const Way& way = trade().ways[static_cast<std::size_t>(reported.place) % trade().ways.size()];
      for (std::size_t i = 0; i < reported.counts.size(); ++i) {
        const EntryNumber entry{writer, static_cast<int>(i) + 1};
        const auto parts = found.find(entry);
        EXPECT_EQ(parts == found.end() ? 0U : parts->second.size(), static_cast<std::size_t>(reported.counts[i]))
            << "of entry " << entry.second << " of writer " << writer;
        found.erase(entry);
      }
      // Under way, or not yet reported, when it was killed.
      const auto next = found.find({writer, static_cast<int>(reported.counts.size()) + 1});
      if (next != found.end()) {
        EXPECT_EQ(next->second.size(), static_cast<std::size_t>(way.parts)) << "a part of what was under way";
        ++untold_;
        found.erase(next);
      }
    }
    for (const auto& [entry, parts] : found) {
      ADD_FAILURE() << "entry " << entry.second << " of writer " << entry.first << " was never under way";
    }
  }

  // The next writer clears away what a killed one has left beside the log.
  void expect_nothing_beside() {
    const Way& way = trade().ways.front();
    EXPECT_EQ(way.add(++hired_, 1).code, ANNAL_OK);
    reported_[hired_] = {0, {way.parts}};
    for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder)) {
      EXPECT_EQ(entry.path(), trade().path);
    }
  }

  void forget() {
    reported_.clear();
    shared_->acknowledged = 0;
  }

  [[nodiscard]] int chores_done() const { return shared_->chores_done; }

  [[nodiscard]] bool all_had_their_turn() const {
    return kills_ > 0 && chores_done() > 0 && ways_done_.size() == trade().ways.size();
  }

  int kills_ = 0;
  int acknowledged_ = 0;
  int refused_ = 0;
  int untold_ = 0;
  int journals_ = 0;
  std::set<std::size_t> ways_done_;

 private:
  struct Reported {
    int place = 0;
    std::vector<int> counts;  // of entry 1 and so on
  };

  void hire(int place) {
    const int number = ++hired_;
    if (role_of(place) == Role::kWriter) {
      reported_[number].place = place;
    }
    std::fflush(nullptr);
    const pid_t process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
      std::string complaint;
      try {
        complaint = Worker(trade(), place, number, reports_[1], *shared_).work();
      } catch (const std::exception& problem) {
        complaint = problem.what();
      }
      if (!complaint.empty()) {
        std::fprintf(stderr, "worker %d at place %d %s\n", number, place, complaint.c_str());
      }
      _exit(complaint.empty() ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    places_[process] = place;
    workers_[place] = process;
    nobody_left_ = false;
  }

  // Returns when the process is gone, so that nobody does two things at once under one name.
  void fire(int place) {
    const pid_t process = workers_[place];
    if (!places_.contains(process)) {
      return;  // gone already, with a complaint
    }
    kill(process, SIGKILL);
    ++kills_;
    while (places_.contains(process)) {
      reap(0);
    }
    hear();
  }

  // Who writes to the log at this moment, as the kernel knows it.
  [[nodiscard]] int writing_place(std::size_t otherwise) const {
    constexpr off_t kReservedByte = 0x40000001;  // of SQLite's file format
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kReservedByte;
    lock.l_len = 1;
    const int log = open(trade().path, O_RDONLY | O_CLOEXEC);
    const bool held = log >= 0 && fcntl(log, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(log);
    const auto found = held ? places_.find(lock.l_pid) : places_.end();
    return found != places_.end() ? found->second : static_cast<int>(otherwise % kWorkers);
  }

  void reap(int options) {
    int status = 0;
    pid_t process = waitpid(-1, &status, options);
    for (; process > 0; process = waitpid(-1, &status, WNOHANG)) {
      if (places_.erase(process) > 0 && !(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) {
        EXPECT_EQ(status, 0) << "of a process that was not killed";
      }
    }
    nobody_left_ = process < 0 && errno == ECHILD;
  }

  void hear() {
    Report report{};
    while (read(reports_[0], &report, sizeof report) == sizeof report) {
      std::vector<int>& counts = reported_[report.writer].counts;
      counts.push_back(report.stored.count);
      EXPECT_EQ(static_cast<std::size_t>(report.number), counts.size());
      acknowledged_ += report.stored.count;
      if (report.stored.count > 0) {
        ways_done_.insert(static_cast<std::size_t>(reported_[report.writer].place) % trade().ways.size());
      }
      shared_->acknowledged += report.stored.count;
      refused_ += report.stored.code != ANNAL_OK ? 1 : 0;
    }
  }

  int reports_[2] = {-1, -1};
  Shared* shared_ = nullptr;
  int hired_ = 0;
  std::map<pid_t, int> places_;
  pid_t workers_[kWorkers] = {};
  std::map<int, Reported> reported_;
  bool nobody_left_ = true;
};

constexpr int kTrades = 4;

TEST_P(Kills, LoseNothingThatWasAcknowledged) {
  constexpr int kLongestRound = 15;  // with a log of its own, as logs get slower as they grow
  const auto time = std::chrono::milliseconds(seconds_in_all()) * 1000 / kTrades;
  const auto rounds = 1 + time / std::chrono::seconds(kLongestRound + 1);
  const int descriptors = open_descriptors();
  for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
    const unsigned seed = first_seed() + round;
    SCOPED_TRACE("ANNAL_TRUST_SEED=" + std::to_string(seed));
    fs::remove(trade().path);
    forget();
    trade().begin();
    kill_and_replace(seed, time / rounds);
    close_shop();
    expect_nothing_beside();
    judge();
  }
  EXPECT_EQ(open_descriptors(), descriptors);
  std::printf(
      "%s: %d kills, %d journals left by all at once, %d entries acknowledged, %d calls refused, %d entries stored and "
      "not yet acknowledged, %d chores done, seeds from %u\n",
      trade().name, kills_, journals_, acknowledged_, refused_, untold_, chores_done(), first_seed());
  EXPECT_TRUE(all_had_their_turn());
}

INSTANTIATE_TEST_SUITE_P(Trust, Kills, testing::Values(events(), connections(), file_operations(), notices()),
                         [](const auto& trade) { return trade.param.name; });

}  // namespace
}  // namespace annal::test
