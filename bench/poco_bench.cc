// Compares adding an entry through the library and through POCO's SQLChannel on SQLite, both with SQLite's default
// durability. Starts no consumer (quiet.cc). Run it on a private appliance.
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Corix_annal.h"
#include "bench/logs.h"
#include "bench/measure.h"
#include "bench/poco_channel.h"

namespace annal::bench {
namespace {

constexpr char kFile[] = "/etc/logs/poco.log";
constexpr char kText[] = "Share \"projects\" was mounted by a client.";

constexpr char kTable[] =
    "CREATE TABLE T_POCO_LOG (Source VARCHAR, Name VARCHAR, ProcessId INTEGER, Thread VARCHAR, ThreadId INTEGER, "
    "Priority INTEGER, Text VARCHAR, DateTime DATE);";

// What POCO's table lacks beside the event log: an index for every column that a query can sort by, and a limit.
std::string indexes_and_limit(int limit) {
  std::string sql;
  for (const char* column : {"Source", "Name", "ProcessId", "Thread", "ThreadId", "Priority", "DateTime"}) {
    sql += fmt::format("CREATE INDEX by_{0} ON T_POCO_LOG({0});", column);
  }
  return sql + fmt::format(
                   "CREATE TRIGGER full AFTER INSERT ON T_POCO_LOG WHEN {} < (SELECT COUNT(*) FROM T_POCO_LOG) BEGIN "
                   "DELETE FROM T_POCO_LOG WHERE rowid IN (SELECT rowid FROM T_POCO_LOG ORDER BY DateTime LIMIT 1); "
                   "END;",
                   limit);
}

std::string rows(int count) {
  return fmt::format(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {0}) INSERT INTO T_POCO_LOG SELECT "
      "'user' || (i % 97), 'bench', i, 'main', 0, 6, '{1}', datetime(1700000000 + i * 60, 'unixepoch') FROM n WHERE "
      "{0} > 0;",
      count, kText);
}

void make_poco_table(const std::string& more) {
  std::filesystem::remove(kFile);
  execute(kFile, kTable + more);
}

void add_event(int round, Answer& answer) {
  EventRecord record{};
  std::string_view("admin").copy(record.event_user, 64);
  std::string_view("10.0.0.5").copy(record.event_ip, 64);
  std::string_view(kText).copy(record.event_desc, 2048);
  record.event_timet = 1760000000 + round;
  answer.result = annal_event_add_msgid_ex3(&record);
}

bool compare(const std::string& what, int limit, int filled, const std::string& more, bool kept, double seconds) {
  make_log(logs().front(), filled, limit, 1);
  make_poco_table(more);
  std::optional<PocoChannel> channel;
  if (kept) {
    channel.emplace(kFile);
  }
  const Work work{add_event, [&channel, kept](int /*round*/, Answer& /*answer*/) {
                    if (kept) {
                      channel->log(kText);
                    } else {
                      PocoChannel(kFile).log(kText);
                    }
                  }};
  return print_line(what, alternate(work, {.seconds = seconds, .most = 500}));
}

bool compare_programs(double seconds) {
  make_log(logs().front(), 0, 100000, 1);
  make_poco_table("");
  const Work work{[](int /*round*/, Answer& answer) { run_program(ADD_ONE, answer); },
                  [](int /*round*/, Answer& answer) { run_program(ADD_ONE_POCO, answer); }};
  return print_line("SQLChannel: a program that adds one", alternate(work, {.seconds = seconds, .most = 500}));
}

int run(double seconds) {
  bool same = compare_programs(seconds);
  same = compare("SQLChannel: add, opened for each", 100000, 0, "", false, seconds) && same;
  same = compare("SQLChannel: add, kept open, no index, no limit", 100000, 0, "", true, seconds) && same;
  same = compare("SQLChannel: the same with indexes and limit, empty", 100000, 0, indexes_and_limit(100000), true,
                 seconds) &&
         same;
  same = compare("SQLChannel: the same, both full at 10000 rows", 10000, 10000, rows(10000) + indexes_and_limit(10000),
                 true, seconds) &&
         same;
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  annal::bench::progress("POCO's SQLChannel");
  return annal::bench::run(argc > 1 && std::string_view(argv[1]) == "--quick" ? 0.3 : 3.0);
}
