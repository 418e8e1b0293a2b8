// annalctl is killed in the middle of what it does, and what it was doing goes on afterwards.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <thread>

#include "tests/tools/annalctl.h"

namespace {

using annal::test::sql;
using annal::test::value;

constexpr char kLog[] = "/etc/logs/event.log";
constexpr char kLines[] = "/etc/logs/lines";
constexpr int kAll = 8000;
constexpr int kTransaction = 1000;

class AnnalctlKills : public AnnalctlEventTest {
 protected:
  static void write_lines() {
    std::ofstream lines(kLines);
    for (int i = 1; i <= kAll; ++i) {
      lines << R"({"event_type":1,"event_desc":"line )" << i << "\",\"event_timet\":" << 1760000000 + i << "}\n";
    }
  }

  // Kills a run once it has been at work for a while.
  static void kill_after(const std::vector<std::string>& line, std::chrono::milliseconds time) {
    RunningAnnalctl running(line);
    std::this_thread::sleep_for(time);
    static_cast<void>(running.finish(SIGKILL));
  }

  static int number(const std::string& statement) { return std::stoi(value(kLog, statement)); }
};

}  // namespace

TEST_F(AnnalctlKills, AnImportLosesNoTransactionThatEndedAndGoesOn) {
  write_lines();
  int cut_off = 0;
  for (const int milliseconds : {40, 80, 120, 200, 320, 500}) {
    ASSERT_EQ(annalctl({"event", "flush", "--yes"}).status, 0);
    kill_after({"event", "import", kLines}, std::chrono::milliseconds(milliseconds));
    // Opens the log as a writer first, which undoes what was cut off.
    const int stored = count();
    EXPECT_EQ(stored % kTransaction, 0) << "a part of a transaction is stored";
    EXPECT_EQ(
        number("SELECT count(*) FROM ANNAL_EVENT WHERE event_desc IN (SELECT 'line ' || (event_timet - 1760000000) "
               "FROM ANNAL_EVENT) AND event_timet <= 1760000000 + " +
               std::to_string(stored)),
        stored)
        << "it has not stored the first lines";
    cut_off += stored < kAll ? 1 : 0;

    const bool by_line = milliseconds % 80 == 0;
    const std::string next = std::to_string(stored + 1);
    const Finished rest = by_line ? annalctl({"event", "import", "--from-line", next, kLines})
                                  : annalctl({"event", "import", "--skip-known", kLines});
    EXPECT_EQ(rest.status, 0) << rest.err;
    EXPECT_EQ(number("SELECT count(*) FROM ANNAL_EVENT"), kAll);
    EXPECT_EQ(number("SELECT count(DISTINCT event_desc) FROM ANNAL_EVENT"), kAll);
  }
  EXPECT_GT(cut_off, 0) << "no import was killed in time";
}

TEST_F(AnnalctlKills, ACompactionLeavesASoundLogWithAllItsEntries) {
  write_lines();
  ASSERT_EQ(annalctl({"event", "import", kLines}).status, 0);
  sql(kLog, "DELETE FROM ANNAL_EVENT WHERE event_id % 3 != 0;");
  const int kept = count();
  const std::string digest = value(kLog, "SELECT sum(event_id * length(event_desc)) FROM ANNAL_EVENT");
  for (const int milliseconds : {10, 20, 30, 45, 60, 80}) {
    kill_after({"event", "compact"}, std::chrono::milliseconds(milliseconds));
    EXPECT_EQ(count(), kept);
    EXPECT_EQ(annalctl({"event", "check"}).status, 0) << milliseconds;
    ASSERT_EQ(annalctl({"event", "add", "stored meanwhile"}).status, 0);
    sql(kLog, "DELETE FROM ANNAL_EVENT WHERE event_desc = 'stored meanwhile';");
  }
  EXPECT_EQ(annalctl({"event", "compact"}).status, 0);
  EXPECT_EQ(annalctl({"event", "check"}).status, 0);
  EXPECT_EQ(value(kLog, "SELECT sum(event_id * length(event_desc)) FROM ANNAL_EVENT"), digest);
  EXPECT_EQ(value(kLog, "PRAGMA freelist_count"), "0");
}
