// Kills processes that use a log at random moments and replaces them. Afterwards every acknowledged entry must be in
// the log once and whole, every refused one must be absent, and one that was in progress may be either.
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

constexpr const char* kExpendable = "expendable";  // the user of entries that the maintainer may delete

// The text of a writer's nth entry; a batch has several parts. Some are longer than a page.
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

// Parses an entry's text; throws if no writer wrote it or it is incomplete.
EntryName name_of_entry(const std::string& user, const std::string& text) {
  EntryName name;
  const char* at = text.c_str();
  for (int* field : {&name.writer, &name.number, &name.part}) {
    at += std::strcspn(at, "0123456789");
    char* end = nullptr;
    *field = static_cast<int>(std::strtol(at, &end, 10));
    at = end;
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

constexpr int kParts = 3;  // records in a batch

// ---- the logs ----

using EntryNumber = std::pair<int, int>;  // the writer's number and the entry's

// The outcome of a call: the number of entries stored, or its failure code.
struct Stored {
  int code;
  int count;
};

Stored stored_one(int result) {
  return {result < 0 ? result : ANNAL_OK, result < 0 ? 0 : 1};
}

// A function that adds an entry, and the number of the entry's parts.
struct Adder {
  Stored (*add)(int writer, int number);
  int parts;
};

// A maintainer's task, and the code of its failure.
struct MaintenanceTask {
  const char* what;
  int (*call)();
  int failure;
};

struct Workload {
  const char* name;
  const char* path;
  const char* table;
  const char* text;  // the columns with an entry's text and user
  const char* user;
  void (*create)();
  std::vector<Adder> adders;  // each writer uses one
  std::vector<int (*)()> counts;
  int (*list)(annal_row_callback callback, void* context);
  std::vector<MaintenanceTask> tasks;
};

void PrintTo(const Workload& workload, std::ostream* out) {
  *out << workload.name;
}

constexpr int kNoLimit = 1000000;

void require_ok(int result) {
  if (result != ANNAL_OK) {
    throw std::runtime_error("cannot begin a log: " + std::to_string(result));
  }
}

// Only the first call succeeds.
template <int (*kAddColumn)(const char*, int, const char*)>
int add_a_column() {
  return kAddColumn("one_more", 1, "7");
}

Workload events() {
  Workload workload{"Events", kEventLog, "ANNAL_EVENT", "event_desc", "event_user", nullptr, {}, {}, nullptr, {}};
  // The table of an earlier release, so that its migration competes with the writers.
  workload.create = [] {
    require_ok(annal_event_create_tbl(kNoLimit, 1));
    sql(kEventLog, "DROP INDEX IF EXISTS idx_event_client_app;");
    for (const char* column : {"event_client_agent", "event_client_app", "event_client_id"}) {
      sql(kEventLog, std::string("ALTER TABLE ANNAL_EVENT DROP COLUMN ") + column + ";");
    }
  };
  workload.adders = {{[](int writer, int number) {
                        auto record = an_event<EventRecord>(text_of_entry(writer, number, 0).c_str());
                        put(record.event_user, ("w" + std::to_string(writer)).c_str());
                        return stored_one(annal_event_add_msgid_ex3(&record));
                      },
                      1},
                     {[](int writer, int number) {
                        auto record = an_event<EventRecordBasic>(text_of_entry(writer, number, 0).c_str());
                        put(record.event_user, ("w" + std::to_string(writer)).c_str());
                        return stored_one(annal_event_add(&record));
                      },
                      1}};
  workload.counts = {[] { return annal_event_query_count(0); },
                     [] {
                       return annal_event_query_count_ex(/* type= */ 0, /* date_from= */ nullptr,
                                                         /* date_to= */ nullptr, /* user= */ "w", /* ip= */ nullptr,
                                                         /* comp= */ nullptr, /* desc= */ nullptr,
                                                         /* time_from= */ nullptr, /* time_to= */ nullptr);
                     }};
  workload.list = [](annal_row_callback callback, void* context) {
    return annal_event_query_ex(callback, /* sort= */ 0, /* start= */ 0, /* end= */ 0, /* type= */ 0,
                                /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "w", /* ip= */ nullptr,
                                /* comp= */ nullptr, /* desc= */ nullptr, context,
                                /* time_from= */ nullptr, /* time_to= */ nullptr);
  };
  workload.tasks = {
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
  return workload;
}

Workload connections() {
  Workload workload{"Connections", kConnLog, "ANNAL_CONN", "conn_res", "conn_user", nullptr, {}, {}, nullptr, {}};
  workload.create = [] { require_ok(annal_conn_create_tbl(kNoLimit, 1)); };
  workload.adders = {{[](int writer, int number) {
                        auto record = connection_of<ConnRecord>(writer, number, 0);
                        return stored_one(annal_conn_add2(&record));
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
  workload.counts = {[] { return annal_conn_query_count(0); },
                     [] {
                       return annal_conn_query_count_ex(
                           /* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "w",
                           /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0, /* action= */ 0,
                           /* time_from= */ nullptr, /* time_to= */ nullptr, /* app= */ nullptr);
                     }};
  workload.list = [](annal_row_callback callback, void* context) {
    return annal_conn_query_ex(/* db_path= */ nullptr, callback, /* sort= */ 0, /* start= */ 0, /* end= */ 0,
                               /* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "w",
                               /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0,
                               /* action= */ 0, context, /* time_from= */ nullptr, /* time_to= */ nullptr,
                               /* app= */ nullptr);
  };
  workload.tasks = {
      {"add what may go",
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
      {"delete the oldest",  // the expendable ones, as long as their count is not exceeded
       [] {
         const int count = annal_conn_query_count_ex(
             /* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, kExpendable, /* ip= */ nullptr,
             /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0, /* action= */ 0,
             /* time_from= */ nullptr, /* time_to= */ nullptr, /* app= */ nullptr);
         return count > 0 ? annal_conn_del_full(count) : ANNAL_OK;
       },
       ANNAL_TRIGGER_FAILED},
      {"migrate", &annal_conn_modify_tbl, ANNAL_CHANGE_FAILED},
      {"add a column", &add_a_column<annal_conn_table_add_column>, ANNAL_CHANGE_FAILED},
      {"remove the trigger", &annal_conn_remove_trigger_logfull, ANNAL_REMOVE_TRIGGER_FAILED},
      {"add the trigger", [] { return annal_conn_add_trigger_logfull(kNoLimit, 1); }, ANNAL_TRIGGER_FAILED},
      {"create", [] { return annal_conn_create_tbl(0, 0); }, ANNAL_TABLE_FAILED}};
  return workload;
}

Workload file_operations() {
  Workload workload{"FileOperations", kFileOpLog, "PAVO2LOG_EVENT", "event_filepath", "event_user", nullptr, {}, {},
                    nullptr,          {}};
  workload.create = [] { require_ok(pavo2log_event_create_tbl(kFileOpLog, kNoLimit, 1)); };
  workload.adders = {{[](int writer, int number) {
                        const std::string text = text_of_entry(writer, number, 0);
                        FileOpRecord record = a_file_operation(text.c_str());
                        put(record.event_user, ("w" + std::to_string(writer)).c_str());
                        return stored_one(static_cast<int>(pavo2log_event_add(kFileOpLog, &record)));
                      },
                      1}};
  workload.counts = {[] { return pavo2log_event_query_count(kFileOpLog, 0, nullptr, nullptr, nullptr, nullptr); }};
  workload.list = [](annal_row_callback callback, void* context) {
    FileOpFilter filter{};
    filter.event_filesize = -1;
    put(filter.event_user, "w");
    return pavo2log_event_query_by(kFileOpLog, callback, &filter, 0, 0, 0, context);
  };
  workload.tasks = {{"add what may go",
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
  return workload;
}

// Without AnnalNoticeModifyTbl, which needs the file to itself.
Workload notices() {
  Workload workload{"Notices", kNoticeLog, "ANNAL_NOTICE", "desc", "user", nullptr, {}, {}, nullptr, {}};
  workload.create = [] { require_ok(annal_notice_create_tbl(kNoLimit, 1)); };
  workload.adders = {{[](int writer, int number) {
                        NoticeRecord record = a_notice(text_of_entry(writer, number, 0).c_str());
                        put(record.user, ("w" + std::to_string(writer)).c_str());
                        return stored_one(annal_notice_add(&record));
                      },
                      1}};
  workload.counts = {[] { return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr); },
                     [] { return annal_notice_query_byclientTime_count("1000000000", 9999, "2000000000", nullptr); }};
  workload.list = [](annal_row_callback callback, void* context) {
    return annal_notice_query(callback, 12, 0, 0, 0, context);
  };
  workload.tasks = {
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
  return workload;
}

// ---- the processes of a log ----

struct Report {
  int writer;
  int number;
  Stored stored;
};
static_assert(sizeof(Report) <= 512, "so small that a pipe takes it whole or not at all");

// Memory shared by a log's processes.
struct Shared {
  std::atomic<int> acknowledged;  // entries that the test knows of
  std::atomic<bool> stop;
  std::atomic<int> tasks_done;
};

constexpr int kWriters = 8;
constexpr int kReaders = 2;
constexpr int kWorkers = kWriters + kReaders + 1;  // plus a maintainer

enum class Role { kWriter, kReader, kMaintainer };

Role role_of(int slot) {
  if (slot < kWriters) {
    return Role::kWriter;
  }
  return slot < kWriters + kReaders ? Role::kReader : Role::kMaintainer;
}

// A process that uses a log until it is killed or told to stop.
class Worker {
 public:
  Worker(const Workload& workload, int slot, int number, int reports, Shared& shared)
      : workload_(workload), slot_(slot), number_(number), reports_(reports), shared_(shared) {}

  // Returns a complaint, or an empty text if all was well.
  std::string work() {
    std::mt19937 dice(static_cast<unsigned>(number_));
    int descriptors = -1;
    for (int turn = 1; !shared_.stop; ++turn) {
      SqliteTrace::reset();
      PlatformRecorder::reset();
      std::string complaint;
      switch (role_of(slot_)) {
        case Role::kWriter:
          complaint = write_one(turn);
          break;
        case Role::kReader:
          complaint = turn % 4 == 0 ? list() : count(turn);
          break;
        case Role::kMaintainer:
          complaint = maintain(workload_.tasks[dice() % workload_.tasks.size()]);
          break;
      }
      if (!complaint.empty()) {
        return complaint;
      }
      if (descriptors < 0) {  // the first call may leave some open
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
    const Adder& adder = workload_.adders[static_cast<std::size_t>(slot_) % workload_.adders.size()];
    const Report report{number_, turn, adder.add(number_, turn)};
    if (report.stored.code != ANNAL_OK && report.stored.code != ANNAL_INSERT_FAILED) {
      return "answered " + std::to_string(report.stored.code) + " to an entry";
    }
    return write(reports_, &report, sizeof report) == sizeof report ? "" : "cannot report";
  }

  std::string count(int turn) {
    const int least = shared_.acknowledged;
    const int found = workload_.counts[static_cast<std::size_t>(turn) % workload_.counts.size()]();
    if (found == ANNAL_QUERY_FAILED || found >= least) {
      return "";
    }
    return "counts " + std::to_string(found) + " entries of " + std::to_string(least);
  }

  struct Found {
    const Workload& workload;
    std::set<EntryName> names;
    std::string complaint;
  };

  static int look(void* context, int columns, char** values, char** names) {
    auto& found = *static_cast<Found*>(context);
    const char* user = nullptr;
    const char* text = nullptr;
    for (int i = 0; i < columns; ++i) {
      user = std::string_view(names[i]) == found.workload.user ? values[i] : user;
      text = std::string_view(names[i]) == found.workload.text ? values[i] : text;
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
    Found found{workload_, {}, {}};
    const int result = workload_.list(&look, &found);
    if (result != ANNAL_OK && result != ANNAL_QUERY_FAILED) {
      return "answered " + std::to_string(result) + " to a listing";
    }
    if (result == ANNAL_OK && found.complaint.empty() && static_cast<int>(found.names.size()) < least) {
      return "lists " + std::to_string(found.names.size()) + " entries of " + std::to_string(least);
    }
    return found.complaint;
  }

  std::string maintain(const MaintenanceTask& task) {
    const int result = task.call();
    shared_.tasks_done += result == ANNAL_OK ? 1 : 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return result == ANNAL_OK || result == task.failure
               ? ""
               : "answered " + std::to_string(result) + " when it should " + task.what;
  }

  const Workload& workload_;
  int slot_;
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

class Kills : public ApplianceTest, public testing::WithParamInterface<Workload> {
 protected:
  void SetUp() override {
    Disk::stand_in(false);
    ApplianceTest::SetUp();
    block_popen(false);
    // A device command, so that adding an entry starts a process.
    fs::create_symlink("/bin/true", "/usr/local/sbin/evsh");
    // Adopts processes that killed ones leave running.
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

  static const Workload& workload() { return GetParam(); }

  // Runs and kills workers for the given time.
  void kill_and_replace(unsigned seed, Time::duration time) {
    std::mt19937 dice(seed);
    const Time::time_point end = Time::now() + time;
    for (int slot = 0; slot < kWorkers; ++slot) {
      start_worker(slot);
    }
    // No kills near the end, so that some workers have done much when they are checked.
    const Time::time_point quiet = end - time / 8;
    // On a busy machine it takes longer until every worker has had its turn.
    const Time::time_point latest = end + std::chrono::seconds(30);
    while ((Time::now() < end || (!all_had_their_turn() && Time::now() < latest)) && !HasFailure()) {
      constexpr unsigned kMaxPause = 20000;
      std::this_thread::sleep_for(std::chrono::microseconds(dice() % kMaxPause));
      read_reports();
      reap(WNOHANG);
      if (Time::now() >= quiet) {
        continue;
      }
      constexpr unsigned kAllAtOnce = 30;
      const auto chosen = dice();
      if (chosen % kAllAtOnce == 0) {
        for (int slot = 0; slot < kWorkers; ++slot) {
          kill_worker(slot);
        }
        journals_ += fs::exists(std::string(workload().path) + "-journal") ? 1 : 0;
        for (int slot = 0; slot < kWorkers; ++slot) {
          start_worker(slot);
        }
      } else {
        const auto other = dice();
        const int slot = chosen % 2 == 0 ? static_cast<int>(other % kWorkers) : writing_slot(other);
        kill_worker(slot);
        start_worker(slot);
      }
    }
  }

  // Lets the remaining workers finish.
  void stop_workers() {
    shared_->stop = true;
    constexpr auto kMaxWait = std::chrono::seconds(60);  // a call may wait for three locks, 20 s each
    const Time::time_point end = Time::now() + kMaxWait;
    while (Time::now() < end && !all_gone_) {
      read_reports();
      reap(WNOHANG);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    read_reports();
    EXPECT_TRUE(all_gone_) << "a process has not come to its end";
    for (const auto& [process, slot] : slots_) {
      kill(process, SIGKILL);
    }
    shared_->stop = false;
  }

  // Compares the log with the reports.
  void check_log() {
    EXPECT_EQ(value(workload().path, "PRAGMA integrity_check;"), "ok");
    const std::string columns = std::string(workload().user) + ", " + workload().text;
    std::map<EntryNumber, std::set<int>> found;
    for (const Row& row : sql(workload().path, "SELECT " + columns + " FROM " + workload().table + ";")) {
      if (row.at(0) != kExpendable) {
        const EntryName name = name_of_entry(row.at(0), row.at(1));
        const bool once = found[{name.writer, name.number}].insert(name.part).second;
        EXPECT_TRUE(once) << "twice: " << row.at(1);
      }
    }
    for (const auto& [writer, reported] : reported_) {
      const Adder& adder = workload().adders[static_cast<std::size_t>(reported.slot) % workload().adders.size()];
      for (std::size_t i = 0; i < reported.counts.size(); ++i) {
        const EntryNumber entry{writer, static_cast<int>(i) + 1};
        const auto parts = found.find(entry);
        EXPECT_EQ(parts == found.end() ? 0U : parts->second.size(), static_cast<std::size_t>(reported.counts[i]))
            << "of entry " << entry.second << " of writer " << writer;
        found.erase(entry);
      }
      // In progress, or not yet reported, when the writer was killed.
      const auto next = found.find({writer, static_cast<int>(reported.counts.size()) + 1});
      if (next != found.end()) {
        EXPECT_EQ(next->second.size(), static_cast<std::size_t>(adder.parts)) << "a part of what was under way";
        ++unreported_;
        found.erase(next);
      }
    }
    for (const auto& [entry, parts] : found) {
      ADD_FAILURE() << "entry " << entry.second << " of writer " << entry.first << " was never under way";
    }
  }

  // The next writer removes a killed writer's journal.
  void expect_nothing_beside() {
    const Adder& adder = workload().adders.front();
    EXPECT_EQ(adder.add(++started_, 1).code, ANNAL_OK);
    reported_[started_] = {0, {adder.parts}};
    for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder)) {
      EXPECT_EQ(entry.path(), workload().path);
    }
  }

  void forget() {
    reported_.clear();
    shared_->acknowledged = 0;
  }

  [[nodiscard]] int tasks_done() const { return shared_->tasks_done; }

  [[nodiscard]] bool all_had_their_turn() const {
    return kills_ > 0 && tasks_done() > 0 && adders_done_.size() == workload().adders.size();
  }

  int kills_ = 0;
  int acknowledged_ = 0;
  int refused_ = 0;
  int unreported_ = 0;
  int journals_ = 0;
  std::set<std::size_t> adders_done_;

 private:
  struct Reported {
    int slot = 0;
    std::vector<int> counts;  // of entry 1 onwards
  };

  void start_worker(int slot) {
    const int number = ++started_;
    if (role_of(slot) == Role::kWriter) {
      reported_[number].slot = slot;
    }
    std::fflush(nullptr);
    const pid_t process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
      std::string complaint;
      try {
        complaint = Worker(workload(), slot, number, reports_[1], *shared_).work();
      } catch (const std::exception& problem) {
        complaint = problem.what();
      }
      if (!complaint.empty()) {
        std::fprintf(stderr, "worker %d at slot %d %s\n", number, slot, complaint.c_str());
      }
      _exit(complaint.empty() ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    slots_[process] = slot;
    workers_[slot] = process;
    all_gone_ = false;
  }

  // Returns after the process is gone, so that two processes never use one name.
  void kill_worker(int slot) {
    const pid_t process = workers_[slot];
    if (!slots_.contains(process)) {
      return;  // already gone, with a complaint
    }
    kill(process, SIGKILL);
    ++kills_;
    while (slots_.contains(process)) {
      reap(0);
    }
    read_reports();
  }

  // The process that holds the log's write lock now, as the kernel reports it.
  [[nodiscard]] int writing_slot(std::size_t otherwise) const {
    constexpr off_t kReservedByte = 0x40000001;  // of SQLite's file format
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kReservedByte;
    lock.l_len = 1;
    const int log = open(workload().path, O_RDONLY | O_CLOEXEC);
    const bool held = log >= 0 && fcntl(log, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(log);
    const auto found = held ? slots_.find(lock.l_pid) : slots_.end();
    return found != slots_.end() ? found->second : static_cast<int>(otherwise % kWorkers);
  }

  void reap(int options) {
    int status = 0;
    pid_t process = waitpid(-1, &status, options);
    for (; process > 0; process = waitpid(-1, &status, WNOHANG)) {
      if (slots_.erase(process) > 0 && !(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) {
        EXPECT_EQ(status, 0) << "of a process that was not killed";
      }
    }
    all_gone_ = process < 0 && errno == ECHILD;
  }

  void read_reports() {
    Report report{};
    while (read(reports_[0], &report, sizeof report) == sizeof report) {
      std::vector<int>& counts = reported_[report.writer].counts;
      counts.push_back(report.stored.count);
      EXPECT_EQ(static_cast<std::size_t>(report.number), counts.size());
      acknowledged_ += report.stored.count;
      if (report.stored.count > 0) {
        adders_done_.insert(static_cast<std::size_t>(reported_[report.writer].slot) % workload().adders.size());
      }
      shared_->acknowledged += report.stored.count;
      refused_ += report.stored.code != ANNAL_OK ? 1 : 0;
    }
  }

  int reports_[2] = {-1, -1};
  Shared* shared_ = nullptr;
  int started_ = 0;
  std::map<pid_t, int> slots_;
  pid_t workers_[kWorkers] = {};
  std::map<int, Reported> reported_;
  bool all_gone_ = true;
};

constexpr int kWorkloads = 4;

TEST_P(Kills, LoseNoAcknowledgedEntry) {
  constexpr int kMaxRound = 15;  // each with a new log, because logs slow down as they grow
  const auto time = std::chrono::milliseconds(seconds_in_all()) * 1000 / kWorkloads;
  const auto rounds = 1 + time / std::chrono::seconds(kMaxRound + 1);
  const int descriptors = open_descriptors();
  for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
    const unsigned seed = first_seed() + round;
    SCOPED_TRACE("ANNAL_TRUST_SEED=" + std::to_string(seed));
    fs::remove(workload().path);
    forget();
    workload().create();
    kill_and_replace(seed, time / rounds);
    stop_workers();
    expect_nothing_beside();
    check_log();
  }
  EXPECT_EQ(open_descriptors(), descriptors);
  std::printf(
      "%s: %d kills, %d journals left by all at once, %d entries acknowledged, %d calls refused, %d entries stored and "
      "not yet acknowledged, %d tasks done, seeds from %u\n",
      workload().name, kills_, journals_, acknowledged_, refused_, unreported_, tasks_done(), first_seed());
  EXPECT_TRUE(all_had_their_turn());
}

INSTANTIATE_TEST_SUITE_P(Trust, Kills, testing::Values(events(), connections(), file_operations(), notices()),
                         [](const auto& workload) { return workload.param.name; });

}  // namespace
}  // namespace annal::test
