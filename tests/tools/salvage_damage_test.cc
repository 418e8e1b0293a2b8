// Salvage of single kinds of damage: in the header, in values, in columns, and of its surroundings. What it reports is
// compared with the log.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::names_in_folder;
using damage::overwrite;
using damage::put;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kGood = "/etc/logs/good";
constexpr std::size_t kPage = 2048;

class SalvageDamageTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    make("");
  }

  // A log of a hundred events, some of which go on on further pages. pragma: what it is made with.
  void make(const std::string& pragma) {
    fs::remove_all("/etc/logs");
    fs::create_directory("/etc/logs");
    ASSERT_EQ(annalctl({"event", "create", "--limit", "5000", "--batch", "7"}).status, 0);
    if (!pragma.empty()) {
      const std::string schema =
          value(kLog, "SELECT group_concat(sql, ';') FROM sqlite_master WHERE name NOT LIKE 'sqlite_%';");
      fs::remove(kLog);
      sql(kLog, pragma + schema + ";");
    }
    sql(kLog,
        "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 100) "
        "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_desc, event_timet) "
        "SELECT i % 3, '2026-01-02', '03:04:05', 'user' || i, '10.0.0.' || i, "
        "hex(zeroblob(CASE WHEN i % 20 = 0 THEN 3000 ELSE 20 END)) || i, 1700000000 + i FROM n;");
    good_ = contents_of(kLog);
    put(kGood, good_);
  }

  void restore_log() const { damage::restore({{kLog, good_}, {kGood, good_}}); }

  // In the record of event 57: after the types of date and time, which are the same in all events.
  static constexpr std::size_t kTypeOfUser = 2;
  static constexpr std::size_t kTypeOfDescription = 5;
  static constexpr std::size_t kTypeOfTime = 7;
  [[nodiscard]] std::size_t place_of_type(std::size_t number) const {
    const std::size_t values = good_.find(
        "user57"
        "10.0.0.57");
    EXPECT_NE(values, std::string::npos);
    return good_.rfind("\x21\x1d\x19\x1f", values) + number;
  }

  void make_blob(std::size_t type) const {
    const std::size_t place = place_of_type(type);
    ASSERT_EQ(good_.at(place) % 2, 1);
    overwrite(kLog, place, std::string(1, static_cast<char>(good_.at(place) - 1)));
  }

  static std::set<std::string> differing() { return damage::differing_events(kLog, kGood); }

  static Json salvage(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"event", "salvage", "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished finished = annalctl(arguments);
    EXPECT_EQ(finished.status, 0) << finished.err;
    said_ = finished.err;
    return finished.out.empty() ? Json::object() : Json::parse(finished.out);
  }

  // Changes a text of the table's definition into another one of the same length, as a damaged page has it.
  void change_schema(const std::string& from, const std::string& to) const {
    ASSERT_EQ(from.size(), to.size());
    std::string file = good_;
    const std::size_t place = file.find(from);
    ASSERT_NE(place, std::string::npos);
    put(kLog, file.replace(place, from.size(), to));
  }

  std::string good_;
  static inline std::string said_;
};

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) {
    text += static_cast<char>(value);
  }
  return text;
}

}  // namespace

// --- the header ---

TEST_F(SalvageDamageTest, TakesTheEncodingFromThePagesNotTheHeader) {
  const struct {
    const char* made_with;
    int told;
  } logs[] = {{"", 2}, {"", 3}, {"PRAGMA encoding = 'UTF-16le';", 1}, {"PRAGMA encoding = 'UTF-16be';", 2}};
  for (const auto& [made_with, told] : logs) {
    SCOPED_TRACE(std::string(made_with) + " told " + std::to_string(told));
    make(made_with);
    overwrite(kLog, 59, bytes({told}));
    EXPECT_EQ(salvage()["saved"], 100);
    const char* const texts =
        "SELECT group_concat(event_id || event_user || event_desc || event_date) FROM ANNAL_EVENT;";
    EXPECT_EQ(value(kLog, texts), value(kGood, texts));
  }
}

TEST_F(SalvageDamageTest, WrongReservedBytesHideNoRow) {
  for (const int told : {1, 16, 32, 255}) {
    SCOPED_TRACE(told);
    restore_log();
    overwrite(kLog, 20, bytes({told}));
    const Json told_of_it = salvage({"--force"});
    EXPECT_EQ(told_of_it["saved"], 100);
    EXPECT_EQ(told_of_it["lost"], 0);
    EXPECT_TRUE(differing().empty());
  }
}

TEST_F(SalvageDamageTest, WrongPageSizeHidesNoRow) {
  for (const int high : {0x02, 0x04, 0x10, 0x20, 0x80}) {
    SCOPED_TRACE(high);
    restore_log();
    overwrite(kLog, 16, bytes({high, 0}));
    EXPECT_EQ(salvage({"--force"})["saved"], 100);
    EXPECT_TRUE(differing().empty());
  }
}

// --- rows ---

TEST_F(SalvageDamageTest, ReplacesZerosInATextByTheIndexsValue) {
  const std::size_t place = good_.find(
      "user57"
      "10.0.0.57");
  ASSERT_NE(place, std::string::npos);
  overwrite(kLog, place, std::string(6, '\0'));
  const Json told = salvage();
  EXPECT_EQ(told["mended"], 1);
  EXPECT_EQ(told["doubtful"], 0);
  EXPECT_NE(said_.find("have that of an index now, by their ids: 57"), std::string::npos) << said_;
  EXPECT_TRUE(differing().empty());
}

TEST_F(SalvageDamageTest, ReportsARowWithZerosThatNoIndexHasAsDoubtful) {
  const std::size_t place = good_.find("0000000057");
  ASSERT_NE(place, std::string::npos);
  overwrite(kLog, place, std::string(4, '\0'));
  EXPECT_EQ(salvage({"--force"})["doubtful"], 1);
  EXPECT_NE(said_.find("by their ids: 57"), std::string::npos) << said_;
}

TEST_F(SalvageDamageTest, ReportsARowThatDiffersFromAnIndexAsDoubtful) {
  overwrite(kLog,
            good_.find("user57"
                       "10.0.0.57"),
            "uXer57");
  const Json told = salvage();
  EXPECT_EQ(told["saved"], 100);
  EXPECT_EQ(told["doubtful"], 1);
  EXPECT_NE(said_.find("by their ids: 57"), std::string::npos) << said_;
}

// A bit of a value's type makes a blob of a text, with the same bytes in it.
TEST_F(SalvageDamageTest, RestoresATextThatBecameABlobFromTheIndex) {
  make_blob(kTypeOfUser);
  const Json told = salvage({"--force"});
  EXPECT_EQ(told["mended"], 1);
  EXPECT_EQ(told["mended_ids"], "57");
  EXPECT_EQ(told["doubtful"], 0);
  EXPECT_EQ(told["doubtful_ids"], "");
  EXPECT_TRUE(differing().empty());
}

TEST_F(SalvageDamageTest, ReportsABlobThatNoIndexHasAsDoubtful) {
  make_blob(kTypeOfDescription);
  const Json told = salvage({"--force"});
  EXPECT_EQ(told["mended"], 0);
  EXPECT_EQ(told["doubtful_ids"], "57");
}

TEST_F(SalvageDamageTest, RestoresANumberThatBecameATextFromTheIndex) {
  const std::size_t type = place_of_type(kTypeOfTime);
  overwrite(kLog, type, bytes({13 + 2 * 4}));
  const Json told = salvage({"--force"});
  EXPECT_EQ(told["mended_ids"], "57");
  EXPECT_EQ(told["doubtful"], 0);
  EXPECT_TRUE(differing().empty());
}

TEST_F(SalvageDamageTest, KeepsTheMarkAtTheStartOfAUtf16Text) {
  for (const char* const encoding : {"UTF-16le", "UTF-16be"}) {
    for (const bool by_pages : {false, true}) {
      SCOPED_TRACE(std::string(encoding) + (by_pages ? " by pages" : ""));
      make(std::string("PRAGMA encoding = '") + encoding + "';");
      sql(kLog, "UPDATE ANNAL_EVENT SET event_desc = char(65279) || event_desc, event_user = char(65534) || 'x';");
      put(kGood, contents_of(kLog));
      overwrite(kLog, 100, std::string(by_pages ? 8 : 0, 'x'));
      EXPECT_EQ(salvage({"--force"})["saved"], 100);
      const char* const texts = "SELECT group_concat(event_id || event_user || event_desc) FROM ANNAL_EVENT;";
      EXPECT_EQ(value(kLog, texts), value(kGood, texts));
    }
  }
}

TEST_F(SalvageDamageTest, FindsTheLargestRowsOnPages) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_id, event_desc) VALUES (200, hex(zeroblob(10000000)));");
  put(kGood, contents_of(kLog));
  overwrite(kLog, 100, std::string(8, 'x'));  // neither schema nor tree
  EXPECT_EQ(salvage()["saved"], 101);
  EXPECT_TRUE(differing().empty());
}

TEST_F(SalvageDamageTest, NamesRowsWithABrokenChain) {
  const std::string page = value(kLog,
                                 "SELECT pageno FROM dbstat WHERE name = 'ANNAL_EVENT' AND pagetype = 'overflow' "
                                 "ORDER BY path LIMIT 1;");
  overwrite(kLog, (std::stoul(page) - 1) * kPage, bytes({0x7F, 0x7F, 0x7F, 0x7F}));
  const Json told = salvage();
  EXPECT_EQ(told["saved"], 99);
  EXPECT_EQ(told["lost"], 1);
  EXPECT_NE(said_.find("lost, by their ids: "), std::string::npos) << said_;
  EXPECT_EQ(differing().size(), 1U);
}

TEST_F(SalvageDamageTest, NamesARowOfAnUnknownLayoutAsLost) {
  std::string statements;
  for (int i = 1; i <= 20; ++i) {
    statements += "ALTER TABLE ANNAL_EVENT ADD COLUMN later" + std::to_string(i) + ";";
  }
  sql(kLog, statements + "INSERT INTO ANNAL_EVENT (event_id, event_desc) VALUES (200, 'of a later release');");
  overwrite(kLog, 100, std::string(8, 'x'));  // neither schema nor tree
  const Json told = salvage();
  EXPECT_EQ(told["saved"], 100);
  EXPECT_EQ(told["lost"], 1);
  EXPECT_EQ(told["lost_ids"], "200");
}

// --- columns ---

TEST_F(SalvageDamageTest, KeepsTheValuesOfAColumnWithADamagedName) {
  change_schema("event_date TEXT DEFAULT", "event_dXte TEXT DEFAULT");
  EXPECT_EQ(salvage({"--force"})["saved"], 100);
  EXPECT_TRUE(differing().empty());
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_date = '2026-01-02';"), "100");
}

TEST_F(SalvageDamageTest, KeepsTheValuesOfColumnsThatDamageJoined) {
  change_schema("event_comp TEXT, event_desc", "event_comp TEXT  event_desc");
  EXPECT_EQ(salvage({"--force"})["saved"], 100);
  EXPECT_TRUE(differing().empty());
}

TEST_F(SalvageDamageTest, ReportsAMissingColumnAsLostAndDoesNotUseToday) {
  fs::remove(kLog);
  sql(kLog,
      "CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY AUTOINCREMENT, event_type INTEGER, event_time TEXT); "
      "INSERT INTO ANNAL_EVENT (event_type, event_time) VALUES (1, '03:04:05');");
  EXPECT_EQ(salvage({"--force"})["saved"], 1);
  EXPECT_NE(said_.find("it lacks columns, whose values are lost: event_date"), std::string::npos) << said_;
  EXPECT_EQ(value(kLog, "SELECT event_date || '|' || event_msgid || '|' || event_app_id FROM ANNAL_EVENT;"), "|0|---");
}

// --- files ---

TEST_F(SalvageDamageTest, LeavesNoPartialFileOnAFullDisk) {
  for (const bool forced : {false, true}) {
    SCOPED_TRACE(forced ? "noticed while it writes" : "noticed before anything is written");
    ASSERT_EQ(mount("tmpfs", "/etc/logs", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755,size=128k"), 0);
    std::string damaged = good_;
    damaged.replace(5 * kPage, kPage, std::string(kPage, 'x'));
    EXPECT_GT(damaged.size(), 64U * 1024);  // half of it
    put(kLog, damaged);
    std::vector<std::string> arguments{"event", "salvage"};
    if (forced) {
      arguments.emplace_back("--force");
    }
    const Finished refused = annalctl(arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(forced ? "full" : "make room first"), std::string::npos) << refused.err;
    EXPECT_EQ(names_in_folder(), "event.log ");
    EXPECT_TRUE(contents_of(kLog) == damaged);
    ASSERT_EQ(umount("/etc/logs"), 0);
  }
}

TEST_F(SalvageDamageTest, EscapesFileNamesOnTheTerminal) {
  const std::string log = "/etc/logs/a\x1b[2Jb.db";
  ASSERT_EQ(annalctl({"fileop", "--db", log, "create"}).status, 0);
  const Finished salvaged = annalctl({"fileop", "--db", log, "salvage", "--force"});
  EXPECT_EQ(salvaged.status, 0) << salvaged.err;
  EXPECT_EQ((salvaged.out + salvaged.err).find('\x1b'), std::string::npos);
  EXPECT_NE(salvaged.out.find("a\\x1b[2Jb.db"), std::string::npos) << salvaged.out;
}

TEST_F(SalvageDamageTest, HoldsNoLockWhileStandardErrorIsPaused) {
  overwrite(kLog, 5 * kPage, std::string(kPage, 'x'));
  put("/etc/logs/event.log.salvage-20260101-000000", "of another run, which is told");
  int full[2];
  ASSERT_EQ(pipe2(full, O_NONBLOCK), 0);
  const std::string noise(4096, 'n');
  while (write(full[1], noise.data(), noise.size()) > 0) {
  }
  ASSERT_EQ(fcntl(full[1], F_SETFL, 0), 0);  // so that writing blocks
  struct stat before {};
  ASSERT_EQ(stat(kLog, &before), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
    dup2(STDIN_FILENO, STDOUT_FILENO);
    dup2(full[1], STDERR_FILENO);
    execl(ANNALCTL, "annalctl", "event", "salvage", "--yes", nullptr);
    _exit(127);
  }
  struct stat now = before;
  for (int i = 0; i < 400 && now.st_ino == before.st_ino; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_EQ(stat(kLog, &now), 0);
  }
  EXPECT_NE(now.st_ino, before.st_ino);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // until it is at its message
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "it does not wait for its reader";
  std::string aside;
  for (const auto& entry : fs::directory_iterator("/etc/logs")) {
    aside = entry.path().string().find(".aside-") == std::string::npos ? aside : entry.path().string();
  }
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_start = 0x40000000;
  lock.l_len = 512;
  const int file = open(aside.c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(fcntl(file, F_OFD_SETLK, &lock), 0) << "the lock is held while standard error is paused";
  close(file);
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  close(full[0]);
  close(full[1]);
}
