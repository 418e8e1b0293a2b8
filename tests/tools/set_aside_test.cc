// Salvage while others work in the folder: programs that store, other salvages, and an enemy.
#include <endian.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using annal::test::exists;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::names_in_folder;
using damage::overwrite;
using damage::put;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kSecret = "/usr/local/sbin/secret";
constexpr const char* kAcl = "system.posix_acl_access";

class AnnalctlSetAsideTest : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    sql(kLog,
        "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 200) INSERT INTO ANNAL_EVENT (event_desc) "
        "SELECT 'row ' || i FROM n;");
  }

  // An index only: every row can be read.
  static void damage_index() {
    const auto page = std::stoul(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = 'idx_event_ip';"));
    overwrite(kLog, (page - 1) * 2048, std::string(2048, '\x5a'));
  }
};

std::string attribute(const char* path, const char* name) {
  std::string bytes(4096, '\0');
  const ssize_t size = getxattr(path, name, bytes.data(), bytes.size());
  return size < 0 ? "none" : bytes.substr(0, static_cast<std::size_t>(size));
}

// Stores events until it is ended, and notes each that the library called stored.
pid_t start_writer(const std::string& name) {
  const pid_t writer = fork();
  if (writer == 0) {
    std::ofstream stored("/usr/local/sbin/" + name);
    for (int i = 0;; ++i) {
      EventRecord event{};
      const std::string text = name + std::to_string(i);
      std::strncpy(event.event_desc, text.c_str(), sizeof event.event_desc - 1);
      if (annal_event_add_msgid_ex3(&event) == ANNAL_OK) {
        stored << text << std::endl;
      }
    }
  }
  return writer;
}

}  // namespace

// --- what others do at the same time ---

TEST_F(AnnalctlSetAsideTest, SalvagesBesideWritersLoseNoStoredRow) {
  constexpr int kRounds = 6;
  const std::vector<pid_t> writers{start_writer("a"), start_writer("b")};
  int done = 0;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::unique_ptr<RunningAnnalctl>> salvages;
    for (int i = 0; i < 3; ++i) {
      salvages.push_back(
          std::make_unique<RunningAnnalctl>(std::vector<std::string>{"event", "salvage", "--force", "--yes"}));
    }
    for (const auto& salvage : salvages) {
      done += salvage->finish().status == 0 ? 1 : 0;
    }
  }
  for (const pid_t writer : writers) {
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
  }
  EXPECT_GT(done, 0);
  int stored = 0;
  int lost = 0;
  for (const char* name : {"a", "b"}) {
    std::ifstream lines(std::string("/usr/local/sbin/") + name);
    for (std::string text; std::getline(lines, text); ++stored) {
      const std::string there = value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_desc = '" + text + "';");
      lost += there == "0" ? 1 : 0;
    }
  }
  EXPECT_GT(stored, 0);
  EXPECT_EQ(lost, 0) << "of " << stored;
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_desc LIKE 'row %';"), "200");
}

TEST_F(AnnalctlSetAsideTest, SalvageLooksAgainIfTheLogWasReplacedWhileItWaited) {
  const std::string sound = contents_of(kLog);
  damage_index();
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
  RunningAnnalctl salvage({"event", "salvage"});
  std::this_thread::sleep_for(std::chrono::seconds(2));  // so that it has looked at the log, and waits
  put("/etc/logs/next", sound);
  fs::rename("/etc/logs/next", kLog);
  sqlite3_close(writer);
  const Finished finished = salvage.finish();
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_NE(finished.err.find("/etc/logs/event.log is sound (200 events): nothing was changed"), std::string::npos)
      << finished.err;
  EXPECT_TRUE(contents_of(kLog) == sound);
  EXPECT_EQ(names_in_folder(), "event.log ");
}

TEST_F(AnnalctlSetAsideTest, RefusesASecondSalvage) {
  damage_index();
  const int folder = open("/etc/logs", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX | LOCK_NB), 0);
  const Finished refused = annalctl({"event", "salvage"});
  close(folder);
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("another salvage is at work in /etc/logs"), std::string::npos) << refused.err;
  EXPECT_EQ(names_in_folder(), "event.log ");
  EXPECT_EQ(annalctl({"event", "salvage"}).status, 0);
}

// --- what an enemy prepares ---

TEST_F(AnnalctlSetAsideTest, DoesNotCopyAJournalThatIsALink) {
  damage_index();
  const std::string damaged = contents_of(kLog);
  put(kSecret, "a secret of the caller's");
  fs::create_symlink(kSecret, std::string(kLog) + "-journal");
  const Finished refused = annalctl({"event", "salvage"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("event.log-journal is in the way of a file of SQLite's own"), std::string::npos)
      << refused.err;
  for (const auto& entry : fs::directory_iterator("/etc/logs")) {
    if (!entry.is_symlink()) {
      EXPECT_EQ(contents_of(entry.path().string()).find("a secret"), std::string::npos) << entry.path();
    }
  }
  EXPECT_TRUE(contents_of(kLog) == damaged);
  EXPECT_EQ(contents_of(kSecret), "a secret of the caller's");
}

TEST_F(AnnalctlSetAsideTest, NewLogKeepsTheAccessControlList) {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t permissions;
    std::uint32_t id;
  };
  // The group has nothing, although the mode shows 0660: those bits are the mask.
  Entry entries[] = {{0x01, 6, ~0U}, {0x02, 6, geteuid()}, {0x04, 0, ~0U}, {0x10, 6, ~0U}, {0x20, 0, ~0U}};
  for (Entry& entry : entries) {
    entry = {htole16(entry.tag), htole16(entry.permissions), htole32(entry.id)};
  }
  std::string acl("\2\0\0\0", 4);
  acl.append(reinterpret_cast<const char*>(entries), sizeof entries);
  ASSERT_EQ(setxattr(kLog, kAcl, acl.data(), acl.size(), 0), 0);
  const bool notes = setxattr(kLog, "user.note", "kept", 4, 0) == 0;
  if (!notes) {
    std::cout << "[  PARTLY  ] this file system has no attributes of users\n";
  }
  damage_index();
  const std::string before = attribute(kLog, kAcl);
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_TRUE(attribute(kLog, kAcl) == before);
  EXPECT_EQ(attribute(kLog, "user.note"), notes ? "kept" : "none");

  // Without a list of its own it gets none from the folder.
  ASSERT_EQ(removexattr(kLog, kAcl), 0);
  ASSERT_EQ(chmod(kLog, 0640), 0);
  ASSERT_EQ(setxattr("/etc/logs", "system.posix_acl_default", acl.data(), acl.size(), 0), 0);
  damage_index();
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_EQ(attribute(kLog, kAcl), "none");
  struct stat status {};
  ASSERT_EQ(stat(kLog, &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}
