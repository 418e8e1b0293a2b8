// A reader that pauses delays no writer, and sees each entry once and in order whatever others change meanwhile.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::sql;

constexpr int kRows = 3000;

// A log with rows of more than 500 bytes, whose order by date is the reverse of the order by id.
struct FilledLog {
  Texts name;  // the log's arguments for annalctl
  const char* path;
  const char* table;
  const char* id;
  const char* columns;
  const char* values;  // for the i-th row
  const char* group;   // each group has one row
};

constexpr char kFileOps[] = "/etc/logs/operations.db";

const std::array kLogs{
    FilledLog{{"event"},
              "/etc/logs/event.log",
              "ANNAL_EVENT",
              "event_id",
              "event_type, event_date, event_time, event_desc",
              "0, date('2026-01-01', (-i) || ' days'), '10:00:00', printf('%0600d', i)",
              "message"},
    FilledLog{{"conn"},
              "/etc/logs/conn.log",
              "ANNAL_CONN",
              "conn_id",
              "conn_type, conn_date, conn_time, conn_res",
              "0, date('2026-01-01', (-i) || ' days'), '10:00:00', printf('%0600d', i)",
              "resource"},
    FilledLog{{"fileop", "--db", kFileOps},
              kFileOps,
              "PAVO2LOG_EVENT",
              "event_id",
              "event_type, event_date, event_time, event_desc",
              "0, date('2026-01-01', (-i) || ' days'), '10:00:00', printf('%0600d', i)",
              nullptr},
    FilledLog{{"notice"},
              "/etc/logs/notice.log",
              "ANNAL_NOTICE",
              "id",
              "severity, time, desc",
              "6, 1795255200 - i, printf('%0600d', i)",
              "description"},
};

Texts command(const FilledLog& log, const Texts& more) {
  Texts all = log.name;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

void fill(const FilledLog& log) {
  ASSERT_EQ(annalctl(command(log, {"create"})).status, 0);
  sql(log.path, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(kRows) +
                    ") INSERT INTO " + log.table + " (" + log.columns + ") SELECT " + log.values + " FROM n;");
}

// Whether a writer can lock the whole file at once: without a time-out, any other lock makes it fail.
bool can_be_written(const char* path, const std::string& change = "") {
  sqlite3* database = nullptr;
  const std::string statements = "BEGIN EXCLUSIVE; " + change + " COMMIT;";
  const bool done = sqlite3_open(path, &database) == SQLITE_OK &&
                    sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(database);
  return done;
}

// Reads annalctl's output from a pipe and stops after the first bytes; the rest does not fit the pipe.
class PausedReader {
 public:
  explicit PausedReader(const Texts& arguments) {
    EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
    program_.emplace(arguments, ends_[1]);
    close(ends_[1]);
    take();
    // Waits until it blocks: it does not fill the pipe at once.
    int before = -1;
    for (int unread = 0; unread != before; usleep(50000)) {
      before = unread;
      ioctl(ends_[0], FIONREAD, &unread);
    }
  }
  ~PausedReader() { close(ends_[0]); }
  PausedReader(const PausedReader&) = delete;
  PausedReader& operator=(const PausedReader&) = delete;

  // Reads the rest.
  std::string finish() {
    while (take()) {
    }
    const Finished finished = program_->finish();
    EXPECT_EQ(finished.status, 0) << finished.err;
    return out_;
  }

 private:
  bool take() {
    std::array<char, 1000> bytes{};
    const ssize_t got = read(ends_[0], bytes.data(), bytes.size());
    out_.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
  }

  std::array<int, 2> ends_{};
  std::optional<RunningAnnalctl> program_;
  std::string out_;
};

std::vector<long long> ids_in(const std::string& text, const char* id) {
  std::vector<long long> ids;
  for (const std::string& line : lines_of(text)) {
    ids.push_back(Json::parse(line)[id]);
  }
  return ids;
}

std::vector<long long> ids_from(long long first, long long last) {
  std::vector<long long> ids;
  for (long long id = first; id != last; id += first < last ? 1 : -1) {
    ids.push_back(id);
  }
  ids.push_back(last);
  return ids;
}

class AnnalctlPausedReader : public AnnalctlTest {};

}  // namespace

TEST_F(AnnalctlPausedReader, DelaysNoWriterInAnyLogVerbOrForm) {
  for (const FilledLog& log : kLogs) {
    fill(log);
    std::vector<Texts> verbs{{"list", "--all"},
                             {"list", "--all", "--sort", "id"},
                             {"list", "--limit", "2000", "--sort", "user"},
                             {"tail", "--no-follow", "--lines", "2500"}};
    if (log.group != nullptr) {
      verbs.push_back({"group", "--by", log.group, "--all"});
      verbs.push_back({"group", "--by", "id", "--all", "--by-size"});
    }
    for (const Texts& verb : verbs) {
      for (const char* form : {"--json", "--csv", ""}) {
        SCOPED_TRACE(log.name[0] + " " + verb[0] + " " + verb[verb.size() - 1] + " " + form);
        Texts arguments = command(log, verb);
        if (*form != '\0') {
          arguments.emplace_back(form);
        }
        PausedReader reader(arguments);
        EXPECT_TRUE(can_be_written(log.path));
        EXPECT_GT(lines_of(reader.finish()).size(), 1900U);
      }
    }
  }
}

TEST_F(AnnalctlPausedReader, OfATailThatFollowsDelaysNoWriter) {
  const FilledLog& log = kLogs[0];
  fill(log);
  PausedReader reader(command(log, {"tail", "--lines", "2500", "--json", "--interval", "0.01"}));
  EXPECT_TRUE(can_be_written(log.path));
}

TEST_F(AnnalctlPausedReader, IsShownEachEntryOnceAndInOrderWhileOthersAddAndDeleteTheOldest) {
  constexpr long long kDeleted = 2000;
  for (const FilledLog& log : kLogs) {
    const std::string id = log.id;
    const std::string change = "DELETE FROM " + std::string(log.table) + " WHERE " + id +
                               " <= " + std::to_string(kDeleted) + "; INSERT INTO " + log.table + " (" + log.columns +
                               ") SELECT " + log.columns + " FROM " + log.table + " LIMIT 100;";
    // By date, the oldest has the highest id.
    const struct {
      Texts order;
      long long first;
      long long last;
    } orders[] = {{{"--sort", "id"}, 1, kRows},
                  {{"--sort", "id", "--reverse"}, kRows, 1},
                  {{"--oldest"}, kRows, 1},
                  {{"--sort", log.name[0] == "notice" ? "time" : "date", "--reverse"}, 1, kRows}};
    for (const auto& [order, first, last] : orders) {
      SCOPED_TRACE(log.name[0] + " " + order[order.size() - 1]);
      static_cast<void>(std::remove(log.path));
      fill(log);
      Texts arguments = command(log, {"list", "--all", "--json"});
      arguments.insert(arguments.end(), order.begin(), order.end());
      PausedReader reader(arguments);
      ASSERT_TRUE(can_be_written(log.path, change));
      const std::vector<long long> shown = ids_in(reader.finish(), log.id);
      // In order and once: all entries that existed throughout, and the others if they had already been read.
      EXPECT_TRUE(first < last ? std::is_sorted(shown.begin(), shown.end())
                               : std::is_sorted(shown.rbegin(), shown.rend()));
      EXPECT_EQ(std::set(shown.begin(), shown.end()).size(), shown.size());
      const auto kept = static_cast<std::size_t>(
          std::count_if(shown.begin(), shown.end(), [](long long one) { return one > kDeleted && one <= kRows; }));
      EXPECT_EQ(kept, static_cast<std::size_t>(kRows - kDeleted));
      EXPECT_EQ(std::count_if(shown.begin(), shown.end(), [](long long one) { return one > kRows; }), 0);
    }
  }
}

TEST_F(AnnalctlPausedReader, IsToldIfTheLogIsRecreatedMeanwhile) {
  fill(kLogs[0]);
  Texts arguments = command(kLogs[0], {"list", "--all", "--json", "--sort", "id"});
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  RunningAnnalctl listing(arguments, ends[1]);
  close(ends[1]);
  char byte = 0;
  ASSERT_EQ(read(ends[0], &byte, 1), 1);
  ASSERT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  std::array<char, 4096> bytes{};
  while (read(ends[0], bytes.data(), bytes.size()) > 0) {
  }
  close(ends[0]);
  const Finished finished = listing.finish();
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("recreated while it was read"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlTest, EqualEntriesComeInTheOrderOfTheirIds) {
  for (const FilledLog& log : kLogs) {
    fill(log);
    for (const Texts& page : {Texts{"--all"}, Texts{"--limit", "100"}}) {
      Texts rising = command(log, {"list", "--json", "--sort", "user"});
      rising.insert(rising.end(), page.begin(), page.end());
      Texts falling = rising;
      falling.emplace_back("--reverse");
      const long long shown = page.size() == 1 ? kRows : 100;
      EXPECT_EQ(ids_in(annalctl(rising).out, log.id), ids_from(1, shown));
      EXPECT_EQ(ids_in(annalctl(falling).out, log.id), ids_from(kRows, kRows - shown + 1));
    }
  }
}

// SQLite spills a sort that exceeds its cache to a temporary file.
TEST_F(AnnalctlTest, SortingLeavesNoTemporaryFileAndTellsOfAFolderThatIsFull) {
  const FilledLog& log = kLogs[0];
  fill(log);
  const std::string folder = testing::TempDir() + "annalctl_sorting";
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  setenv("SQLITE_TMPDIR", folder.c_str(), 1);
  const Texts grouping = command(log, {"group", "--by", "message", "--all", "--json"});
  for (int i = 0; i < 4; ++i) {
    sql(log.path,
        "INSERT INTO ANNAL_EVENT (event_type, event_desc) SELECT 0, event_desc || event_id FROM ANNAL_EVENT;");
  }
  EXPECT_EQ(annalctl(grouping).status, 0);
  EXPECT_EQ(rmdir(folder.c_str()), 0);
  unsetenv("SQLITE_TMPDIR");

  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit before = limit;
  limit.rlim_cur = 1U << 20U;  // as if the folder were full
  ASSERT_EQ(signal(SIGXFSZ, SIG_IGN), SIG_DFL);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const Finished finished = annalctl(grouping, {}, "/dev/null");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  static_cast<void>(signal(SIGXFSZ, SIG_DFL));
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("folder for temporary files"), std::string::npos) << finished.err;
}

// The sanitizers need more memory than the test leaves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Sixty MiB of rows, in half as much memory.
TEST_F(AnnalctlTest, MemoryIsBoundedHoweverMuchIsListed) {
  const FilledLog& log = kLogs[0];
  fill(log);
  sql(log.path,
      "UPDATE ANNAL_EVENT SET event_desc = printf('%020000d', event_id); "
      "UPDATE ANNAL_EVENT SET event_user = event_id % 10;");
  constexpr rlim_t kMost = rlim_t{30} << 20U;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_DATA, &before), 0);
  for (const Texts& verb : std::vector<Texts>{{"list", "--all"},
                                              {"list", "--all", "--sort", "id"},
                                              {"list", "--all", "--sort", "user"},
                                              {"group", "--by", "message", "--all"},
                                              {"tail", "--no-follow", "--lines", "3000"}}) {
    for (const char* form : {"--json", "--csv", ""}) {
      if (*form == '\0' && std::getenv("ASAN_OPTIONS") != nullptr) {
        continue;
      }
      Texts arguments = command(log, verb);
      if (*form != '\0') {
        arguments.emplace_back(form);
      }
      const int out = open("/dev/null", O_WRONLY | O_CLOEXEC);
      rlimit limit = before;
      limit.rlim_cur = kMost;
      ASSERT_EQ(setrlimit(RLIMIT_DATA, &limit), 0);
      RunningAnnalctl listing(arguments, out);
      ASSERT_EQ(setrlimit(RLIMIT_DATA, &before), 0);
      const Finished finished = listing.finish();
      close(out);
      EXPECT_EQ(finished.status, 0) << verb[0] << " " << verb.back() << " " << form << finished.err;
    }
  }
}
#endif

namespace {

struct Order {
  const char* name;
  unsigned code;  // the library's code for the ascending order
  const char* column;
};
constexpr Order kEventOrders[] = {
    {"date", 0, "event_date"},
    {"time", 2, "event_time"},
    {"type", 4, "event_type"},
    {"user", 6, "event_user"},
    {"ip", 8, "event_ip"},
    {"computer", 10, "event_comp"},
    {"id", 12, "event_id"},
    {"msgid", 14, "event_msgid"},
    {"timestamp", 16, "event_timet"},
    {"app-id", 18, "event_app_id"},
    {"app", 20, "event_app_name"},
    {"category-id", 22, "event_category_id"},
    {"category", 24, "event_category"},
};
constexpr Order kConnOrders[] = {
    {"date", 0, "conn_date"},
    {"time", 2, "conn_time"},
    {"type", 4, "conn_type"},
    {"user", 6, "conn_user"},
    {"ip", 8, "conn_ip"},
    {"computer", 10, "conn_comp"},
    {"id", 12, "conn_id"},
    {"service", 14, "conn_serv"},
    {"action", 16, "conn_action"},
    {"app", 18, "conn_app"},
    {"result", 20, "conn_action_result"},
};
constexpr Order kFileOpOrders[] = {
    {"date", 0, "event_date"},      {"time", 2, "event_time"},
    {"type", 4, "event_type"},      {"user", 6, "event_user"},
    {"ip", 8, "event_ip"},          {"computer", 10, "event_comp"},
    {"id", 12, "event_id"},         {"folder", 14, "event_isFolder"},
    {"action", 16, "event_action"}, {"size", 18, "event_filesize"},
};
constexpr Order kNoticeOrders[] = {
    {"time", 0, "time"},
    {"severity", 4, "severity"},
    {"user", 6, "user"},
    {"ip", 8, "ip"},
    {"client", 10, "client"},
    {"id", 12, "id"},
    {"server", 14, "server"},
    {"action", 16, "action"},
    {"service", 18, "serviceName"},
    {"facility", 20, "facility"},
    {"msgcode", 22, "msgCode"},
};

int collect_id(void* context, int /*columns*/, char** values, char** /*names*/) {
  static_cast<std::vector<long long>*>(context)->push_back(std::strtoll(values[0], nullptr, 10));
  return 0;
}

}  // namespace

// If no two entries are equal, the library's own query has only one order.
TEST_F(AnnalctlTest, EveryOrderIsTheLibrarys) {
  using List = int (*)(unsigned sort, int end, std::vector<long long>* ids);
  const struct {
    const FilledLog& log;
    std::span<const Order> orders;
    List list;
  } cases[] = {
      {kLogs[0], kEventOrders,
       [](unsigned sort, int end, std::vector<long long>* ids) {
         return annal_event_query_ex3(
             collect_id, sort, /* start= */ 0, end, /* type= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr,
             /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr, ids,
             /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ nullptr, /* app_name= */ nullptr,
             /* category_id= */ nullptr, /* category= */ nullptr, /* client_id= */ nullptr, /* client_app= */ nullptr,
             /* client_agent= */ nullptr);
       }},
      {kLogs[1], kConnOrders,
       [](unsigned sort, int end, std::vector<long long>* ids) {
         return annal_conn_query(nullptr, collect_id, static_cast<int>(sort), 0, end, 0, ids);
       }},
      {kLogs[2], kFileOpOrders,
       [](unsigned sort, int end, std::vector<long long>* ids) {
         return pavo2log_event_query(kFileOps, collect_id, sort, 0, end, 0, ids);
       }},
      {kLogs[3], kNoticeOrders,
       [](unsigned sort, int end, std::vector<long long>* ids) {
         return annal_notice_query(collect_id, sort, 0, end, 0, ids);
       }},
  };
  for (const auto& [log, orders, list] : cases) {
    fill(log);
    for (const Order& order : orders) {
      const std::string column = order.column;
      if (column != log.id) {
        // A different value for each entry, in an order that is neither that of the ids nor its reverse.
        sql(log.path, "UPDATE " + std::string(log.table) + " SET " + column + " = (" + log.id + " * 1009) % 3001;");
      }
      for (const unsigned reverse : {0U, 1U}) {
        for (const int limit : {0, 40}) {
          std::vector<long long> expected;
          ASSERT_EQ(list(order.code + reverse, limit, &expected), ANNAL_OK);
          Texts arguments = command(log, {"list", "--json", "--sort", order.name});
          const Texts page = limit == 0 ? Texts{"--all"} : Texts{"--limit", std::to_string(limit)};
          arguments.insert(arguments.end(), page.begin(), page.end());
          if (reverse != 0) {
            arguments.emplace_back("--reverse");
          }
          EXPECT_EQ(ids_in(annalctl(arguments).out, log.id), expected)
              << log.name[0] << " " << order.name << " " << reverse << " " << limit;
        }
      }
    }
  }
}
