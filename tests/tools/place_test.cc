// Logs elsewhere: reads a folder or a file from another appliance, and leaves it as it is.
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;
using annal::test::sql;
using annal::test::value;

constexpr const char* kOwn = "/etc/logs/event.log";
constexpr const char* kFolder = "/sbin/customer";
constexpr const char* kCopy = "/sbin/customer/event.log";

std::map<std::string, std::string> contents_of_folder(const char* folder) {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    contents[entry.path()] = damage::contents_of(entry.path().c_str());
  }
  return contents;
}

Texts all_of(const Texts& first, const Texts& more) {
  Texts texts = first;
  texts.insert(texts.end(), more.begin(), more.end());
  return texts;
}

class AnnalctlPlace : public AnnalctlTest {
 protected:
  // A customer's folder, and a log of this appliance's own that has nothing of it.
  void SetUp() override {
    AnnalctlTest::SetUp();
    fs::create_directory(kFolder);
    for (const char* log : {"event", "conn", "notice"}) {
      ASSERT_EQ(annalctl({log, "create"}).status, 0);
    }
    ASSERT_EQ(annalctl({"event", "add", "of the customer", "--type", "error"}).status, 0);
    ASSERT_EQ(annalctl({"notice", "add", "of the customer"}).status, 0);
    for (const char* log : {"event", "conn", "notice"}) {
      const std::string own = std::string("/etc/logs/") + log + ".log";
      fs::copy(own, kFolder);
      fs::remove(own);
    }
    ASSERT_EQ(annalctl({"event", "create"}).status, 0);
  }
};

}  // namespace

TEST_F(AnnalctlPlace, IsReadByEveryVerbThatReadsAndLeftAsItIs) {
  const auto before = contents_of_folder(kFolder);
  const Finished listed = annalctl({"--dir", kFolder, "event", "list", "--json"});
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_NE(listed.out.find("of the customer"), std::string::npos) << listed.out;
  for (const Texts& line : {Texts{"event", "list", "--dir", kFolder},
                            {"event", "--db", kCopy, "count"},
                            {"event", "count", "--db", "event.log", "--dir", kFolder},
                            {"event", "tail", "--no-follow", "--db", kCopy},
                            {"event", "group", "--by", "user", "--db", kCopy},
                            {"event", "check", "--db", kCopy},
                            {"conn", "list", "--dir", kFolder},
                            {"notice", "list", "--dir", kFolder},
                            {"check", "--dir", kFolder}}) {
    const Finished finished = annalctl(line);
    EXPECT_EQ(finished.status, 0) << line[0] << " " << line[1] << ": " << finished.out << finished.err;
  }
  EXPECT_TRUE(contents_of_folder(kFolder) == before);
  EXPECT_EQ(annalctl({"event", "count"}).out, "0\n");
}

TEST_F(AnnalctlPlace, IsChangedOnlyWhenThatWasSaid) {
  const auto before = contents_of_folder(kFolder);
  for (const Texts& verb : {Texts{"delete", "--id", "1"}, {"flush", "--yes"}, {"trim", "1"}, {"create"}}) {
    const Finished refused = annalctl(all_of({"event", "--db", kCopy}, verb));
    EXPECT_EQ(refused.status, 2) << verb[0];
    EXPECT_NE(refused.err.find("--write"), std::string::npos) << refused.err;
  }
  EXPECT_TRUE(contents_of_folder(kFolder) == before);
  const Finished flushed = annalctl({"event", "--db", kCopy, "--write", "flush", "--yes"});
  EXPECT_EQ(flushed.status, 0) << flushed.err;
  EXPECT_EQ(value(kCopy, "SELECT count(*) FROM ANNAL_EVENT;"), "0");
  EXPECT_TRUE(fs::exists(kOwn));
}

TEST_F(AnnalctlPlace, TakesNoEntriesBecauseThoseGoToThisAppliance) {
  const Finished refused = annalctl({"event", "--db", kCopy, "--write", "add", "text"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("only at the log's own place"), std::string::npos) << refused.err;
  EXPECT_EQ(annalctl({"event", "count"}).out, "0\n");
}

TEST_F(AnnalctlPlace, WithoutALogIsToldAndGetsNone) {
  const Finished missing = annalctl({"event", "--db", "/sbin/customer/no.log", "list"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("no log yet"), std::string::npos) << missing.err;
  EXPECT_FALSE(fs::exists("/sbin/customer/no.log"));
}

TEST_F(AnnalctlPlace, WithAChangeThatWasCutOffIsNotUndone) {
  damage::cut_off_a_change(kCopy, "DELETE FROM ANNAL_EVENT;");
  const auto before = contents_of_folder(kFolder);
  ASSERT_TRUE(before.contains(std::string(kCopy) + "-journal"));
  const Finished listed = annalctl({"event", "--db", kCopy, "list"});
  EXPECT_EQ(listed.status, 1) << listed.out;
  EXPECT_NE(listed.err.find("was interrupted"), std::string::npos) << listed.err;
  EXPECT_NE(listed.err.find("--write"), std::string::npos) << listed.err;
  EXPECT_TRUE(contents_of_folder(kFolder) == before);
  const Finished undone = annalctl({"event", "--db", kCopy, "--write", "list"});
  EXPECT_EQ(undone.status, 0) << undone.err;
  EXPECT_NE(undone.out.find("of the customer"), std::string::npos);
}

TEST_F(AnnalctlPlace, InWriteAheadModeGetsNoFileBesideIt) {
  sql(kCopy, "PRAGMA journal_mode = WAL;");
  const auto before = contents_of_folder(kFolder);
  const Finished listed = annalctl({"event", "--db", kCopy, "list"});
  EXPECT_EQ(listed.status, 1) << listed.out;
  EXPECT_NE(listed.err.find("write-ahead"), std::string::npos) << listed.err;
  EXPECT_TRUE(contents_of_folder(kFolder) == before);
}

TEST_F(AnnalctlPlace, IsOfEachLogOfFileOperationsToo) {
  ASSERT_EQ(annalctl({"fileop", "--db", "/sbin/customer/operations.db", "create"}).status, 0);
  const auto before = contents_of_folder(kFolder);
  EXPECT_EQ(annalctl({"fileop", "--db", "operations.db", "--dir", kFolder, "count"}).out, "0\n");
  EXPECT_EQ(annalctl({"fileop", "--db", "operations.db", "--dir", kFolder, "flush", "--yes"}).status, 2);
  EXPECT_TRUE(contents_of_folder(kFolder) == before);
  EXPECT_EQ(annalctl({"fileop", "--db", "operations.db", "--dir", kFolder, "--write", "flush", "--yes"}).status, 0);
}

TEST_F(AnnalctlEventTest, AWaitForALockIsAnnouncedAfterASecond) {
  const annal::test::LockHolder holder(kOwn, std::chrono::milliseconds(2500));
  for (const Texts& line : {Texts{"event", "add", "text"}}) {
    const Finished finished = annalctl(line);
    EXPECT_EQ(finished.status, 0) << finished.err;
    EXPECT_NE(finished.err.find("waiting for /etc/logs/event.log, which is locked by process "), std::string::npos)
        << finished.err;
  }
  EXPECT_EQ(annalctl({"event", "count"}).err, "");
}

TEST_F(AnnalctlEventTest, AWaitOfAListingIsAnnouncedToo) {
  const annal::test::LockHolder holder(kOwn, std::chrono::milliseconds(2500));
  const Finished finished = annalctl({"event", "list"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_NE(finished.err.find("waiting for /etc/logs/event.log"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlEventTest, AShortWaitIsNotAnnounced) {
  const annal::test::LockHolder holder(kOwn, std::chrono::milliseconds(200));
  EXPECT_EQ(annalctl({"event", "add", "text"}).err, "");
}

TEST_F(AnnalctlEventTest, ADamagedLogIsNamedAsTheReason) {
  sql(kOwn,
      "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 99) INSERT INTO ANNAL_EVENT (event_type, "
      "event_date, event_time, event_desc) SELECT 0, '2026-11-01', '10:00:00', printf('%0200d', i) FROM n;");
  // All pages but the first, with the table's and the indexes' roots.
  damage::overwrite(kOwn, 2048, std::string(static_cast<std::size_t>(fs::file_size(kOwn)) - 2048, '\x55'));
  for (const Texts& line : {Texts{"event", "list"}, {"event", "add", "text"}, {"event", "count"}}) {
    const Finished finished = annalctl(line);
    EXPECT_EQ(finished.status, 1) << line[1] << finished.out;
    EXPECT_NE(finished.err.find("is damaged (run 'annalctl event check'"), std::string::npos) << finished.err;
  }
}
