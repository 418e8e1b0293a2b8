// Each reason for which a command fails is told, with what helps.
#include <gmock/gmock.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "tests/tools/annalctl.h"

namespace {

using annal::test::sql;
using annal::test::value;
using testing::HasSubstr;

constexpr char kLog[] = "/etc/logs/event.log";

class AnnalctlReasons : public AnnalctlEventTest {
 protected:
  static Finished add() { return annalctl({"event", "add", "Fan 2 failed."}); }
};

}  // namespace

TEST_F(AnnalctlReasons, AFullDisk) {
  // A small one, in place of the usual folder.
  ASSERT_EQ(mount("none", "/etc/logs", "tmpfs", 0, "size=256k,mode=0755"), 0);
  EXPECT_EQ(annalctl({"event", "create"}).status, 0);
  {
    std::ofstream filler("/etc/logs/filler");
    const std::string block(1024, 'x');
    while (filler.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
    }
  }
  const Finished refused = add();
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("cannot store the event: the disk is full (make room on the file system of"));
  EXPECT_EQ(count(), 0);
  EXPECT_EQ(umount("/etc/logs"), 0);
}

TEST_F(AnnalctlReasons, ATriggerThatRefusesEntries) {
  sql(kLog, "CREATE TRIGGER refuse BEFORE INSERT ON ANNAL_EVENT BEGIN SELECT RAISE(ABORT, 'no'); END;");
  const Finished refused = add();
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("a trigger, an index or a column of /etc/logs/event.log refuses it"));
}

TEST_F(AnnalctlReasons, AHeaderThatForbidsWriting) {
  constexpr std::streamoff kWriteVersion = 18;
  std::fstream(kLog, std::ios::in | std::ios::out | std::ios::binary).seekp(kWriteVersion).put('\x03');
  const Finished refused = add();
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("/etc/logs/event.log or its file system is read-only"));
}

TEST_F(AnnalctlReasons, ADamagedPage) {
  constexpr int kPage = 2048;
  ASSERT_EQ(add().status, 0);
  const int root = std::stoi(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = 'ANNAL_EVENT'"));
  std::fstream(kLog, std::ios::in | std::ios::out | std::ios::binary).seekp((root - 1) * kPage)
      << std::string(kPage, '\x5A');
  const Finished refused = annalctl({"event", "list"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("/etc/logs/event.log is damaged (run 'annalctl event check'"));
}

TEST_F(AnnalctlReasons, AValueThatIsRefused) {
  const Finished refused = annalctl({"event", "add", std::string(2049, 'x')});
  EXPECT_NE(refused.status, 0);
  EXPECT_THAT(refused.err, HasSubstr("2048"));
}
