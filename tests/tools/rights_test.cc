// Logs where other users may write: nothing that they prepare there happens with the caller's rights.
#include <endian.h>
#include <fcntl.h>
#include <pty.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"
#include "tests/tools/other_users.h"

namespace {

namespace fs = std::filesystem;
using annal::test::exists;
using annal::test::sql;
using damage::contents_of;
using damage::put;
using other_users::as_ordinary_user;
using other_users::give;
using other_users::kOther;
using other_users::kUser;
using other_users::may_be_others;

constexpr const char* kFolder = "/etc/logs/theirs";
constexpr const char* kLog = "/etc/logs/theirs/x.db";
constexpr const char* kVictim = "/etc/logs/victim";

void append_number(std::string& bytes, std::uint32_t number) {
  for (unsigned shift = 32; shift > 0;) {
    shift -= 8;
    bytes += static_cast<char>(number >> shift & 0xFFU);
  }
}

// What undoes nothing and ends with the name of a journal of several databases, which SQLite deletes after the last of
// them has been undone: whatever file that is.
std::string forged_journal(const std::string& log, const std::string& victim) {
  constexpr const char kMagic[] = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  constexpr std::size_t kSector = 512;
  const std::string file = contents_of(log);
  const auto page = static_cast<std::uint32_t>(static_cast<unsigned char>(file.at(16)) << 8U |
                                               static_cast<unsigned char>(file.at(17)));
  std::string journal = kMagic;
  append_number(journal, 0);  // pages
  append_number(journal, 0);
  append_number(journal, static_cast<std::uint32_t>(file.size() / page));
  append_number(journal, kSector);
  append_number(journal, page);
  journal.resize(kSector);
  append_number(journal, 0x40000000U / page + 1);
  std::uint32_t sum = 0;
  for (const char c : victim) {
    sum += static_cast<unsigned char>(c);
  }
  journal += victim;
  append_number(journal, static_cast<std::uint32_t>(victim.size()));
  append_number(journal, sum);
  return journal + kMagic;
}

// An access control list that lets one user or group in, its mask too.
void let_in(const char* path, std::uint16_t tag, std::uint32_t id, std::uint16_t mask) {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t permissions;
    std::uint32_t id;
  };
  std::vector<Entry> entries{{0x01, 7, ~0U}, {0x04, 5, ~0U}, {0x10, mask, ~0U}, {0x20, 5, ~0U}};
  entries.insert(entries.begin() + (tag == 0x02 ? 1 : 2), {tag, 7, id});
  for (Entry& entry : entries) {
    entry = {htole16(entry.tag), htole16(entry.permissions), htole32(entry.id)};
  }
  std::string bytes(4 + entries.size() * sizeof(Entry), '\2');
  std::memcpy(bytes.data(), "\2\0\0\0", 4);
  std::memcpy(bytes.data() + 4, entries.data(), entries.size() * sizeof(Entry));
  ASSERT_EQ(setxattr(path, "system.posix_acl_access", bytes.data(), bytes.size(), 0), 0);
}

Finished fileop(const std::vector<std::string>& command) {
  std::vector<std::string> arguments{"fileop", "--db", kLog};
  arguments.insert(arguments.end(), command.begin(), command.end());
  return annalctl(arguments);
}

class AnnalctlRightsTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    fs::create_directory(kFolder);
    ASSERT_EQ(chmod(kFolder, 0755), 0);
  }

  // A log with one entry, of the user to whom its folder belongs, and a file of the caller's.
  static void prepare(const std::string& log, uid_t user) {
    fs::remove(log + "-journal");
    give(fs::path(log).parent_path().string(), user, 0755);
    give(log, user, 0644);
    put(kVictim, "root's");
    put(log + "-journal", forged_journal(log, kVictim));
    give(log + "-journal", user, 0644);
  }
};

}  // namespace

TEST_F(AnnalctlRightsTest, NoVerbDeletesTheFileNamedByAForgedJournal) {
  if (!may_be_others()) {
    return;
  }
  ASSERT_EQ(fileop({"create"}).status, 0);
  ASSERT_EQ(fileop({"add", "/a", "--action", "1"}).status, 0) << "the first entry";
  const std::vector<std::vector<std::string>> verbs{{"count"},
                                                    {"list"},
                                                    {"tail", "--no-follow"},
                                                    {"add", "/b", "--action", "1"},
                                                    {"create"},
                                                    {"check"},
                                                    {"salvage", "--yes"},
                                                    {"salvage", "--yes", "--force"},
                                                    {"delete", "--id", "77"},
                                                    {"import", "-"},
                                                    {"flush", "--yes"}};
  for (const std::vector<std::string>& verb : verbs) {
    SCOPED_TRACE(verb.front());
    prepare(kLog, kUser);
    const Finished finished = fileop(verb);
    EXPECT_TRUE(exists(kVictim)) << finished.err;
    EXPECT_EQ(contents_of(kVictim), "root's");
  }
  prepare(kLog, kUser);
  EXPECT_EQ(annalctl({"check", "--db", kLog}).status, 1);
  EXPECT_TRUE(exists(kVictim));
  // The log has been undone, with the rights of its owner, and only the deletion has failed.
  EXPECT_EQ(fileop({"count"}).status, 1);
  EXPECT_FALSE(exists((std::string(kLog) + "-journal").c_str()));
  EXPECT_EQ(fileop({"count"}).out, "1\n");
}

TEST_F(AnnalctlRightsTest, NoVerbOfTheOtherLogsDeletesItEither) {
  if (!may_be_others()) {
    return;
  }
  for (const std::string log : {"event", "conn", "notice"}) {
    ASSERT_EQ(annalctl({log, "create"}).status, 0);
  }
  // Beside the folder of the logs, where its owner has no say.
  const char* const victim = "/usr/local/sbin/victim";
  for (const std::string log : {"event", "conn", "notice"}) {
    const std::string path = "/etc/logs/" + log + ".log";
    for (const char* verb : {"count", "list", "flush"}) {
      SCOPED_TRACE(path + " " + verb);
      prepare(path, kUser);
      put(victim, "root's");
      put(path + "-journal", forged_journal(path, victim));
      give(path + "-journal", kUser, 0644);
      const Finished finished = annalctl({log, verb});
      EXPECT_TRUE(exists(victim)) << finished.err;
      // The log has been undone, and only the deletion has failed.
      EXPECT_FALSE(exists((path + "-journal").c_str()));
      EXPECT_EQ(annalctl({log, verb}).status, 0);
    }
  }
}

TEST_F(AnnalctlRightsTest, CreatesALogWithTheRightsOfTheFoldersOwner) {
  ASSERT_EQ(fileop({"create"}).status, 0);
  struct stat status {};
  ASSERT_EQ(stat(kLog, &status), 0);
  EXPECT_EQ(status.st_uid, geteuid());
  if (!may_be_others()) {
    return;
  }
  fs::remove(kLog);
  give(kFolder, kUser, 0755);
  const Finished created = fileop({"create"});
  ASSERT_EQ(created.status, 0) << created.err;
  ASSERT_EQ(stat(kLog, &status), 0);
  EXPECT_EQ(status.st_uid, kUser);
  EXPECT_EQ(status.st_gid, kUser);
  EXPECT_EQ(fileop({"add", "/a", "--action", "1"}).status, 0);
  EXPECT_EQ(fileop({"count"}).out, "1\n");
  // What is read or written beside the log is the caller's all the same, as far as it is open.
  put("/etc/logs/secret", "{\"event_filepath\": \"/b\", \"event_action\": 1}\n");
  ASSERT_EQ(chmod("/etc/logs/secret", 0600), 0);
  EXPECT_EQ(fileop({"import", "/etc/logs/secret"}).status, 1);
  EXPECT_EQ(annalctl({"fileop", "--db", kLog, "import", "-"}, contents_of("/etc/logs/secret")).status, 0);
}

TEST_F(AnnalctlRightsTest, ChecksEachOfSeveralLogsWithItsOwnRights) {
  for (const std::string log : {"event", "conn", "notice"}) {
    ASSERT_EQ(annalctl({log, "create"}).status, 0);
  }
  ASSERT_EQ(fileop({"create"}).status, 0);
  const bool others = may_be_others();
  if (others) {
    give(kFolder, kUser, 0700);
    give(kLog, kUser, 0600);
    ASSERT_EQ(chmod("/etc/logs/conn.log", 0600), 0);
  }
  const Finished checked = annalctl({"check", "--db", kLog, "--db", kLog});
  EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
  EXPECT_EQ(checked.out,
            "/etc/logs/event.log: sound: 0 events\n/etc/logs/conn.log: sound: 0 connections\n"
            "/etc/logs/notice.log: sound: 0 notices\n/etc/logs/theirs/x.db: sound: 0 file operations\n"
            "/etc/logs/theirs/x.db: sound: 0 file operations\n");
  if (others) {
    ASSERT_EQ(chmod(kFolder, 0770), 0);
    const Finished refused = annalctl({"check", "--db", kLog, "--json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.out.find(R"("state":"unknown","text":"did not open /etc/logs/theirs/x.db: members of the group)"),
              std::string::npos)
        << refused.out;
  }
}

TEST_F(AnnalctlRightsTest, OpensALogWithTheRightsOfThoseWhoCanWriteIt) {
  if (!may_be_others()) {
    return;
  }
  const struct {
    const char* name;
    std::function<void()> arrange;
    const char* told;  // null: it is opened, by
    uid_t user;
  } cases[] = {
      {"root", [] {}, nullptr, 0},
      {"a user", [] { give(kFolder, kUser, 0755); }, nullptr, kUser},
      {"a user's folder that he cannot write", [] { give(kFolder, kUser, 0555); }, "permission denied to 1234", kUser},
      {"a group of root's", [] { ASSERT_EQ(chmod(kFolder, 0775), 0); }, nullptr, 0},
      {"a group",
       [] {
         ASSERT_EQ(chown(kFolder, 0, kUser), 0);
         ASSERT_EQ(chmod(kFolder, 0775), 0);
       },
       "members of the group 1234 may write to /etc/logs/theirs, and could have any file deleted with a journal beside "
       "the log (run this as one of them: 'sudo -u USER annalctl fileop --db FILE …')",
       0},
      {"a user and a group without a name", [] { give(kFolder, kUser, 0775); },
       "'setpriv --reuid=1234 --regid=1234 --clear-groups annalctl fileop --db FILE …'", 0},
      {"everybody", [] { ASSERT_EQ(chmod(kFolder, 0777), 0); }, "every user may write to /etc/logs/theirs, and", 0},
      {"everybody, in a sticky folder", [] { ASSERT_EQ(chmod(kFolder, 01777), 0); },
       "every user may write to /etc/logs/theirs, and", 0},
      {"everybody above", [] { ASSERT_EQ(chmod("/etc/logs", 0777), 0); }, "every user may write to /etc/logs, and", 0},
      {"root, below a sticky folder", [] { ASSERT_EQ(chmod("/etc/logs", 01777), 0); }, nullptr, 0},
      {"a user, below a sticky folder",
       [] {
         ASSERT_EQ(chmod("/etc/logs", 01777), 0);
         give(kFolder, kUser, 0700);
       },
       nullptr, kUser},
      {"everybody, of a folder that is missing in a sticky one",
       [] {
         ASSERT_EQ(chmod("/etc/logs", 01777), 0);
         fs::remove(kFolder);
       },
       "every user may write to /etc/logs, and", 0},
      {"a user of a folder above", [] { give("/etc/logs", kUser, 0755); }, "permission denied to 1234", kUser},
      {"two users",
       [] {
         give("/etc/logs", kOther, 0755);
         give(kFolder, kUser, 0755);
       },
       "several users may write it or a folder above it", 0},
      {"a user, of a link in a sticky folder",
       [] {
         ASSERT_EQ(chmod("/etc/logs", 01777), 0);
         fs::rename(kFolder, "/etc/logs/real");
         fs::create_symlink("real", kFolder);
         ASSERT_EQ(lchown(kFolder, kUser, kUser), 0);
       },
       "permission denied to 1234", kUser},
      {"a user, of the folder that a link of the log leads to",
       [] {
         fs::create_directory("/etc/logs/real");
         give("/etc/logs/real", kUser, 0755);
         fs::create_symlink("../real/x.db", kLog);
       },
       nullptr, kUser},
      {"a user by a list", [] { let_in(kFolder, 0x02, kUser, 7); }, nullptr, kUser},
      {"root, with a user's entry masked", [] { let_in(kFolder, 0x02, kUser, 5); }, nullptr, 0},
      {"a group by a list", [] { let_in(kFolder, 0x08, kUser, 7); }, "members of the group 1234 may write", 0},
      {"a user, of the file",
       [] {
         put(kLog, "");
         give(kLog, kUser, 0644);
       },
       "permission denied to 1234", kUser},
      {"a user, of a journal of root's log",
       [] {
         put(kLog, "");
         put(std::string(kLog) + "-journal", "");
         give(std::string(kLog) + "-journal", kUser, 0600);
       },
       "permission denied to 1234", kUser},
      {"everybody, of the file",
       [] {
         put(kLog, "");
         ASSERT_EQ(chmod(kLog, 0666), 0);
       },
       "every user may write to /etc/logs/theirs/x.db, and", 0},
  };
  for (const auto& [name, arrange, told, user] : cases) {
    SCOPED_TRACE(name);
    fs::remove_all("/etc/logs");
    fs::create_directory("/etc/logs");
    fs::create_directory(kFolder);
    ASSERT_EQ(chown("/etc/logs", 0, 0), 0);
    arrange();
    const Finished created = fileop({"create"});
    EXPECT_EQ(created.status, told == nullptr ? 0 : 1) << created.err;
    if (told != nullptr) {
      EXPECT_NE(created.err.find(told), std::string::npos) << created.err;
      continue;
    }
    struct stat status {};
    ASSERT_EQ(stat(kLog, &status), 0);
    EXPECT_EQ(status.st_uid, user);
  }
}

TEST_F(AnnalctlRightsTest, OrdinaryUserMayShareALogWithAGroupButNotWithEverybody) {
  if (may_be_others()) {
    ASSERT_EQ(chown(kFolder, 0, kUser), 0);
  }
  ASSERT_EQ(chmod(kFolder, 0770), 0);
  as_ordinary_user([] {
    EXPECT_EQ(fileop({"create"}).status, 0);
    const Finished added = fileop({"add", "/a", "--action", "1"});
    EXPECT_EQ(added.status, 0) << added.err;
  });
  for (const mode_t mode : {0777U, 01777U}) {
    ASSERT_EQ(chmod(kFolder, mode), 0);
    as_ordinary_user([] {
      const Finished refused = fileop({"count"});
      EXPECT_EQ(refused.status, 1);
      EXPECT_NE(refused.err.find("every user may write to /etc/logs/theirs, and"), std::string::npos) << refused.err;
    });
  }
  // The usual place of what is private to a user.
  ASSERT_EQ(chmod("/etc/logs", 01777), 0);
  ASSERT_EQ(chmod(kFolder, 0700), 0);
  as_ordinary_user([] {
    fs::create_directory("/etc/logs/mine");
    ASSERT_EQ(chmod("/etc/logs/mine", 0700), 0);
    EXPECT_EQ(annalctl({"fileop", "--db", "/etc/logs/mine/y.db", "create"}).status, 0);
  });
}

namespace {

// While it lives, the machine has these users and groups beside root.
class Users {
 public:
  Users(const std::string& users, const std::string& groups) {
    cover("/etc/passwd", "/etc/logs/passwd", "root:x:0:0::/:/bin/sh\n" + users);
    cover("/etc/group", "/etc/logs/group", "root:x:0:\n" + groups);
  }
  ~Users() {
    umount2("/etc/passwd", MNT_DETACH);
    umount2("/etc/group", MNT_DETACH);
  }
  Users(const Users&) = delete;
  Users& operator=(const Users&) = delete;

 private:
  static void cover(const char* path, const std::string& with, const std::string& content) {
    put(with, content);
    ASSERT_EQ(mount(with.c_str(), path, nullptr, MS_BIND, nullptr), 0) << path;
  }
};

}  // namespace

TEST_F(AnnalctlRightsTest, PrivateGroupCountsAsItsUser) {
  if (!may_be_others()) {
    return;
  }
  const std::string alice = "alice:x:1234:1234::/:/bin/sh\n";
  const struct {
    const char* name;
    std::string users;
    std::string groups;
    bool opened;
  } cases[] = {
      {"private", alice, "alice:x:1234:\n", true},
      {"private, with its user named", alice, "alice:x:1234:alice\n", true},
      {"another member", alice, "alice:x:1234:bob\n", false},
      {"another user's first group too", alice + "bob:x:1235:1234::/:/bin/sh\n", "alice:x:1234:\n", false},
      {"another name", alice, "staff:x:1234:\n", false},
      {"no user's first group", "alice:x:1234:1235::/:/bin/sh\n", "alice:x:1234:\n", false},
  };
  for (const auto& [name, users, groups, opened] : cases) {
    SCOPED_TRACE(name);
    fs::remove(kLog);
    give(kFolder, kUser, 0775);
    const Users known(users, groups);
    const Finished created = fileop({"create"});
    EXPECT_EQ(created.status, opened ? 0 : 1) << created.err;
    struct stat status {};
    EXPECT_EQ(stat(kLog, &status) == 0 && status.st_uid == kUser, opened);
    EXPECT_EQ(created.err.find("members of the group") == std::string::npos, opened) << created.err;
  }
}

namespace {

// The terminal of a process, as its number in the kernel; 0: it has none.
int terminal_of_process(pid_t process) {
  const std::string status = contents_of("/proc/" + std::to_string(process) + "/stat");
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string state;
  int parent = 0;
  int group = 0;
  int session = 0;
  int terminal = -1;
  fields >> state >> parent >> group >> session >> terminal;
  return terminal;
}

// Follows a log in a session that has a terminal and another leader. Returns whether it is left within a while.
bool leaves_its_terminal() {
  int person = -1;
  const pid_t leader = forkpty(&person, nullptr, nullptr, nullptr);
  if (leader == 0) {
    const pid_t follower = fork();
    if (follower == 0) {
      execl(ANNALCTL, ANNALCTL, "fileop", "--db", kLog, "tail", static_cast<char*>(nullptr));
      _exit(9);
    }
    // Asked of the kernel: an emulator makes up what a process reads of itself below /proc.
    const int before = open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC);
    bool left = false;
    for (int i = 0; i < 100 && !left; ++i) {
      usleep(20'000);
      left = terminal_of_process(follower) == 0;
    }
    const bool ended = waitpid(follower, nullptr, WNOHANG) != 0;
    kill(follower, SIGKILL);
    _exit(before < 0 || ended ? 2 : left ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(leader, &status, 0), leader);
  close(person);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2);
  return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

}  // namespace

// What it starts runs as that user, who could type into it what root's shell reads next.
TEST_F(AnnalctlRightsTest, LeavesTheTerminalWhenItAssumesRights) {
  ASSERT_EQ(fileop({"create"}).status, 0);
  EXPECT_FALSE(leaves_its_terminal());
  if (!may_be_others()) {
    return;
  }
  give(kFolder, kUser, 0755);
  give(kLog, kUser, 0644);
  EXPECT_TRUE(leaves_its_terminal());
}

TEST_F(AnnalctlRightsTest, SalvageThatCannotKeepTheLogsGroupSaysWhatHelps) {
  if (!may_be_others()) {
    return;
  }
  ASSERT_EQ(fileop({"create"}).status, 0);
  ASSERT_EQ(fileop({"add", "/a", "--action", "1"}).status, 0);
  damage::overwrite(kLog, 100, "xxxxxxxx");
  const std::string damaged = contents_of(kLog);
  give(kFolder, kUser, 0755);
  ASSERT_EQ(chown(kLog, kUser, kOther), 0);
  const Finished refused = fileop({"salvage"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("group 1235, which user 1234 is not in (as root, run 'chgrp 1234 /etc/logs/theirs/x.db'"),
            std::string::npos)
      << refused.err;
  EXPECT_TRUE(contents_of(kLog) == damaged);
  EXPECT_EQ(std::distance(fs::directory_iterator(kFolder), {}), 1);
  ASSERT_EQ(chown(kLog, kUser, kUser), 0);
  EXPECT_EQ(fileop({"salvage"}).status, 0);
}
