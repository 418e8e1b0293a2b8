// Kills salvages at any moment: the log's name always leads to a whole file, and nothing is lost.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"
#include "tests/tools/whole_size.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::put;
using std::chrono::duration_cast;
using std::chrono::microseconds;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kState =
    "SELECT (SELECT integrity_check FROM pragma_integrity_check LIMIT 1) || ' ' || COUNT(*) || ' ' || SUM(event_id) "
    "FROM ANNAL_EVENT;";
constexpr const char* kWhole = "ok 3000 4501500";

int kills() {
  return at_whole_size() ? 200 : 15;
}

class SalvageKills : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    sql(kLog,
        "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 3000) INSERT INTO ANNAL_EVENT (event_type, "
        "event_user, event_desc) SELECT i % 3, 'user' || (i % 50), hex(zeroblob(100)) FROM n;");
    damage::overwrite(kLog, 100, "xxxxxxxx");
    damaged_ = contents_of(kLog);
  }

  void restore_log() const {
    for (const auto& entry : fs::directory_iterator("/etc/logs")) {
      fs::remove(entry);
    }
    put(kLog, damaged_);
  }

  // Whether the file as it was has a name of its own.
  [[nodiscard]] bool is_set_aside() const {
    for (const auto& entry : fs::directory_iterator("/etc/logs")) {
      if (entry.path().string().starts_with(std::string(kLog) + ".aside-") &&
          contents_of(entry.path().string()) == damaged_) {
        return true;
      }
    }
    return false;
  }

  std::string damaged_;
};

}  // namespace

TEST_F(SalvageKills, LeaveAWholeLogAtAnyMomentAndRepeatingSavesAllRows) {
  const auto begun = std::chrono::steady_clock::now();
  ASSERT_EQ(annalctl({"event", "salvage", "--yes"}).status, 0);
  const auto usual = duration_cast<microseconds>(std::chrono::steady_clock::now() - begun).count();
  ASSERT_EQ(value(kLog, kState), kWhole);

  const char* const wanted = std::getenv("ANNAL_TRUST_SEED");
  std::mt19937 random(wanted == nullptr ? 15U : static_cast<unsigned>(std::stoul(wanted)));
  int cut_off = 0;
  for (int i = 0; i < kills(); ++i) {
    SCOPED_TRACE("kill " + std::to_string(i));
    restore_log();
    RunningAnnalctl salvage({"event", "salvage", "--yes"});
    usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(usual * 11 / 10)));
    cut_off += salvage.finish(SIGKILL).status == -1 ? 1 : 0;
    if (contents_of(kLog) != damaged_) {
      ASSERT_EQ(value(kLog, kState), kWhole);
      ASSERT_TRUE(is_set_aside());
    }
    ASSERT_EQ(annalctl({"event", "salvage", "--yes"}).status, 0);
    ASSERT_EQ(value(kLog, kState), kWhole);
    ASSERT_TRUE(is_set_aside());
  }
  EXPECT_GT(cut_off, kills() / 2);
}
