// "annalctl seal" and "annalctl verify" as they are run.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"
#include "tests/tools/other_users.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::Test;

class ProofCommands : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    setenv("ANNAL_SEAL_KEY", "/etc/logs/keys/seal.key", 1);
    ASSERT_EQ(annalctl({"event", "create", "--limit", "1000"}).status, 0);
    ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
    for (int i = 0; i < 10; ++i) {
      ASSERT_EQ(annalctl({"event", "add", "event " + std::to_string(i), "--user", i % 2 == 0 ? "ann" : "bob"}).status,
                0);
    }
  }
  void TearDown() override {
    unsetenv("ANNAL_SEAL_KEY");
    AnnalctlTest::TearDown();
  }
  static std::vector<json> objects_in(const std::string& lines) {
    std::vector<json> objects;
    for (const std::string& line : lines_of(lines)) {
      objects.push_back(json::parse(line));
    }
    return objects;
  }
  static void change(const std::string& statement) { annal::test::sql("/etc/logs/event.log", statement); }
};

TEST_F(ProofCommands, SealsAndVerifiesAllLogsThatAreThere) {
  const Finished sealed = annalctl({"seal"});
  ASSERT_EQ(sealed.status, 0) << sealed.err;
  EXPECT_EQ(sealed.out, "/etc/logs/event.log: sealed 10 events\n/etc/logs/conn.log: sealed 0 connections\n");
  EXPECT_NE(sealed.err.find("created the signing key /etc/logs/keys/seal.key"), std::string::npos);
  EXPECT_EQ(fs::status("/etc/logs/keys/seal.key").permissions(), fs::perms(0600));
  const Finished verified = annalctl({"verify"});
  EXPECT_EQ(verified.status, 0) << verified.out << verified.err;
  EXPECT_EQ(lines_of(verified.out).front(), "/etc/logs/event.log: intact: 10 events are as they were sealed");
  EXPECT_EQ(annalctl({"seal", "event"}).out, "/etc/logs/event.log: sealed 0 events\n");
}

TEST_F(ProofCommands, ANewKeyNeedsNoOlderOne) {
  const Finished sealed = annalctl({"seal", "event", "--new-key"});
  EXPECT_EQ(sealed.status, 0) << sealed.err;
  EXPECT_NE(sealed.err.find("created the signing key"), std::string::npos);
  change("DELETE FROM ANNAL_EVENT WHERE event_id > 1");
  EXPECT_NE(annalctl({"verify", "event"}).out.find("NOT INTACT: 1 event is as it was sealed"), std::string::npos);
}

TEST_F(ProofCommands, VerifyNamesWhatWasChangedAndFails) {
  ASSERT_EQ(annalctl({"event", "seal"}).status, 0);
  change("UPDATE ANNAL_EVENT SET event_desc = 'nothing' WHERE event_id = 4");
  const Finished told = annalctl({"verify", "event"});
  EXPECT_EQ(told.status, 1);
  EXPECT_EQ(lines_of(told.out).front(), "/etc/logs/event.log: changed: event 4: it is not what was sealed");
  const Finished for_programs = annalctl({"event", "verify", "--json"});
  EXPECT_EQ(for_programs.status, 1);
  const std::vector<json> objects = objects_in(for_programs.out);
  ASSERT_EQ(objects.size(), 2U);
  EXPECT_EQ(objects[0]["state"], "changed");
  EXPECT_EQ(objects[0]["finding"], true);
  EXPECT_EQ(objects[0]["from"], 4);
  EXPECT_EQ(objects[0]["through"], 4);
  EXPECT_EQ(objects[1]["state"], "not-intact");
  EXPECT_EQ(objects[1]["sealed"], 9);
}

TEST_F(ProofCommands, CsvHasOneLineOfTitlesHoweverManyLogsThereAre) {
  const Finished sealed = annalctl({"seal", "--csv"});
  ASSERT_EQ(sealed.status, 0) << sealed.err;
  const std::vector<std::string> seals = lines_of(sealed.out);
  ASSERT_EQ(seals.size(), 3U) << sealed.out;
  EXPECT_EQ(seals[0],
            "log,file,new_entries,declared_gone,chain,sequence,first,base,records,hash,last_id,sealed,key,signature\r");
  EXPECT_EQ(seals[1].rfind("event,/etc/logs/event.log,10,0,", 0), 0U) << seals[1];
  EXPECT_EQ(seals[2].rfind("conn,/etc/logs/conn.log,", 0), 0U) << seals[2];
  change("UPDATE ANNAL_EVENT SET event_desc = 'nothing' WHERE event_id = 4");
  const Finished told = annalctl({"verify", "--csv"});
  EXPECT_EQ(told.status, 1);
  const std::vector<std::string> findings = lines_of(told.out);
  ASSERT_EQ(findings.size(), 4U) << told.out;
  EXPECT_EQ(findings[0],
            "log,file,state,finding,from,through,text,sealed,not_sealed,redacted,gone,chain,records,sealed_until\r");
  EXPECT_EQ(findings[1], "event,/etc/logs/event.log,changed,true,4,4,it is not what was sealed,,,,,,,\r");
  EXPECT_EQ(findings[2].rfind("event,/etc/logs/event.log,not-intact,false,,,,9,0,0,0,", 0), 0U) << findings[2];
  EXPECT_EQ(findings[3].rfind("conn,/etc/logs/conn.log,intact,false,,,,", 0), 0U) << findings[3];
  ASSERT_EQ(annalctl({"event", "redact", "--id", "2"}).status, 0);
  const std::vector<std::string> tombstones = lines_of(annalctl({"event", "redact", "--list", "--csv"}).out);
  ASSERT_EQ(tombstones.size(), 2U);
  EXPECT_EQ(tombstones[0], "log,chain,position,id,redacted\r");
  EXPECT_NE(tombstones[1].find(",2,"), std::string::npos) << tombstones[1];
}

TEST_F(ProofCommands, VerifySaysThatItCannotTellOfALogThatWasNeverSealed) {
  ASSERT_EQ(annalctl({"seal", "conn"}).status, 0);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 2);
  EXPECT_EQ(annalctl({"verify", "conn"}).status, 0);
  EXPECT_EQ(annalctl({"verify"}).status, 0);
}

TEST_F(ProofCommands, HeadsKeptElsewhereShowThatLogAndChainWereReplacedTogether) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  fs::create_directory("/etc/logs/old");
  for (const char* name : {"event.log", "event.log.chain"}) {
    fs::copy_file(fs::path("/etc/logs") / name, fs::path("/etc/logs/old") / name);
  }
  ASSERT_EQ(annalctl({"event", "add", "the last"}).status, 0);
  const Finished sealed = annalctl({"seal", "event", "--heads", "/etc/logs/heads"});
  ASSERT_EQ(sealed.status, 0) << sealed.err;
  EXPECT_EQ(annalctl({"verify", "event", "--anchor", "/etc/logs/heads"}).status, 0);
  for (const char* name : {"event.log", "event.log.chain"}) {
    fs::copy_file(fs::path("/etc/logs/old") / name, fs::path("/etc/logs") / name, fs::copy_options::overwrite_existing);
  }
  EXPECT_EQ(annalctl({"verify", "event"}).status, 0);
  const Finished told = annalctl({"verify", "event", "--anchor", "/etc/logs/heads"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("rolled-back"), std::string::npos) << told.out;
}

// As on a full disk.
TEST_F(ProofCommands, AFileOfHeadsNeverKeepsHalfALine) {
  const std::string before(900, '\n');
  std::ofstream("/etc/logs/heads") << before;
  const std::string command = std::string("bash -c \"trap '' XFSZ; ulimit -f 1; exec ") + ANNALCTL +
                              " seal event --heads /etc/logs/heads\" 2>&1";
  FILE* const sealed = popen(command.c_str(), "r");
  ASSERT_NE(sealed, nullptr);
  std::string said(4096, '\0');
  said.resize(std::fread(said.data(), 1, said.size(), sealed));
  EXPECT_NE(pclose(sealed), 0);
  EXPECT_NE(said.find("cannot write the head to /etc/logs/heads"), std::string::npos) << said;
  std::ifstream file("/etc/logs/heads");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), before);
}

TEST_F(ProofCommands, AHeadIsTheSameWhetherItIsPrintedOrKept) {
  ASSERT_EQ(annalctl({"seal", "event", "--heads", "/etc/logs/heads"}).status, 0);
  const Finished printed = annalctl({"seal", "event", "--print-head"});
  std::ifstream kept("/etc/logs/heads");
  EXPECT_EQ(printed.out, std::string(std::istreambuf_iterator<char>(kept), {}));
  const Finished as_anchor = annalctl({"verify", "event", "--anchor", "-"}, printed.out);
  EXPECT_EQ(as_anchor.status, 0) << as_anchor.err;
}

TEST_F(ProofCommands, ACopyIsVerifiedElsewhereWithThePublicKeyAlone) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  fs::create_directory("/etc/logs/copy");
  for (const char* name : {"event.log", "event.log.chain", "keys/seal.pub"}) {
    fs::copy_file(fs::path("/etc/logs") / name, fs::path("/etc/logs/copy") / fs::path(name).filename());
  }
  fs::remove_all("/etc/logs/keys");
  const Finished verified =
      annalctl({"--dir", "/etc/logs/copy", "event", "verify", "--public-key", "/etc/logs/copy/seal.pub"});
  EXPECT_EQ(verified.status, 0) << verified.out << verified.err;
  EXPECT_EQ(annalctl({"--dir", "/etc/logs/copy", "event", "seal"}).status, 2);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 2);  // no key is known
}

TEST_F(ProofCommands, AnOlderChainAloneIsFoundByAHeadThatWasKept) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  fs::copy_file("/etc/logs/event.log.chain", "/etc/logs/older");
  ASSERT_EQ(annalctl({"event", "add", "the last"}).status, 0);
  ASSERT_EQ(annalctl({"seal", "event", "--heads", "/etc/logs/heads"}).status, 0);
  fs::copy_file("/etc/logs/older", "/etc/logs/event.log.chain", fs::copy_options::overwrite_existing);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 0);  // the last is not sealed, as far as this chain goes
  const Finished told = annalctl({"verify", "event", "--anchor", "/etc/logs/heads"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("rolled-back"), std::string::npos) << told.out;
}

TEST_F(ProofCommands, AChainThatWasCutOffIsAFinding) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  fs::resize_file("/etc/logs/event.log.chain", fs::file_size("/etc/logs/event.log.chain") - 100);
  Finished told = annalctl({"verify"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("chain-cut"), std::string::npos) << told.out;
  fs::resize_file("/etc/logs/event.log.chain", 0);
  told = annalctl({"verify"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("chain-cut"), std::string::npos) << told.out;
}

TEST_F(ProofCommands, ADeletedChainIsFoundByAHeadThatWasKept) {
  ASSERT_EQ(annalctl({"seal", "--heads", "/etc/logs/heads"}).status, 0);
  fs::remove("/etc/logs/event.log.chain");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"verify"}, {"verify", "event"}, {"event", "verify"}}) {
    std::vector<std::string> anchored = command;
    anchored.insert(anchored.end(), {"--anchor", "/etc/logs/heads"});
    const Finished told = annalctl(anchored);
    EXPECT_EQ(told.status, 1);
    EXPECT_NE(told.out.find("/etc/logs/event.log: chain-missing: there is no chain, and a head of one was kept"),
              std::string::npos)
        << told.out;
  }
  fs::remove("/etc/logs/event.log");
  EXPECT_EQ(annalctl({"verify", "--anchor", "/etc/logs/heads"}).status, 1);
  EXPECT_EQ(annalctl({"verify"}).status, 0);  // the other log is all that is left
}

TEST_F(ProofCommands, AChainThatTookTheDeletedOnesPlaceIsFoundByAHeadThatWasKept) {
  EXPECT_NE(annalctl({"seal", "event", "--heads", "/etc/logs/heads"}).err.find("began its chain"), std::string::npos);
  EXPECT_EQ(annalctl({"seal", "event"}).err, "");
  change("UPDATE ANNAL_EVENT SET event_desc = 'nothing' WHERE event_id = 4");
  fs::remove("/etc/logs/event.log.chain");
  const Finished again = annalctl({"seal", "event"});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.err,
            "annalctl: /etc/logs/event.log: began its chain: the events that were there are sealed as they are "
            "now\n");
  EXPECT_EQ(annalctl({"verify", "event"}).status, 0);
  const Finished told = annalctl({"verify", "event", "--anchor", "/etc/logs/heads"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("chain-replaced"), std::string::npos) << told.out;
}

TEST_F(ProofCommands, HeadsOfSeveralFilesOfFileOperationsMayBeInOneFile) {
  const std::vector<std::string> files{"--db", "/etc/logs/one.db", "--db", "/etc/logs/two.db"};
  const auto run = [&files](std::vector<std::string> line) {
    line.insert(line.end(), files.begin(), files.end());
    return annalctl(line);
  };
  for (const char* file : {"/etc/logs/one.db", "/etc/logs/two.db"}) {
    ASSERT_EQ(annalctl({"fileop", "--db", file, "create"}).status, 0);
    ASSERT_EQ(annalctl({"fileop", "--db", file, "add", file, "--action", "1"}).status, 0);
  }
  ASSERT_EQ(run({"seal", "--heads", "/etc/logs/heads"}).status, 0);
  EXPECT_EQ(run({"verify", "--anchor", "/etc/logs/heads"}).status, 0);
  // A copy elsewhere is known by its chain.
  fs::create_directory("/etc/logs/copy");
  for (const char* name : {"one.db", "one.db.chain"}) {
    fs::copy_file(fs::path("/etc/logs") / name, fs::path("/etc/logs/copy") / name);
  }
  EXPECT_EQ(annalctl({"fileop", "--db", "/etc/logs/copy/one.db", "verify", "--anchor", "/etc/logs/heads"}).status, 0);
  // One in the place of the other.
  for (const char* part : {"", ".chain"}) {
    fs::copy_file(fs::path("/etc/logs/one.db") += part, fs::path("/etc/logs/two.db") += part,
                  fs::copy_options::overwrite_existing);
  }
  EXPECT_EQ(run({"verify"}).status, 0);
  const Finished told = run({"verify", "--anchor", "/etc/logs/heads"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("/etc/logs/two.db: chain-replaced"), std::string::npos) << told.out;
  EXPECT_EQ(told.out.find("/etc/logs/one.db: chain-replaced"), std::string::npos) << told.out;
}

TEST_F(ProofCommands, FailsForALogThatIsNamedAndMissing) {
  EXPECT_EQ(annalctl({"seal", "notice"}).status, 1);
  EXPECT_EQ(annalctl({"seal", "--db", "/etc/logs/ops.db"}).status, 1);
  EXPECT_EQ(annalctl({"verify", "--db", "/etc/logs/ops.db"}).status, 2);
  EXPECT_EQ(annalctl({"verify"}).status, 2);
}

// Root's key is closed to the user whose rights are taken on.
TEST_F(ProofCommands, RootDeclaresWhatItDeletesFromAnotherUsersLog) {
  if (!other_users::may_be_others()) {
    return;
  }
  fs::create_directory("/etc/logs/theirs");
  other_users::give("/etc/logs/theirs", other_users::kUser, 0700);
  ASSERT_EQ(chmod("/etc/logs", 0755), 0);
  const std::string file = "/etc/logs/theirs/ops.db";
  ASSERT_EQ(annalctl({"fileop", "--db", file, "create"}).status, 0);
  for (int i = 0; i < 9; ++i) {
    ASSERT_EQ(annalctl({"fileop", "--db", file, "add", "/share/file", "--action", "1"}).status, 0);
  }
  ASSERT_EQ(annalctl({"fileop", "--db", file, "seal"}).status, 0);
  struct stat status {};
  ASSERT_EQ(stat((file + ".chain").c_str(), &status), 0);
  ASSERT_EQ(status.st_uid, other_users::kUser);
  const Finished one = annalctl({"fileop", "--db", file, "delete", "--id", "1"});
  EXPECT_EQ(one.status, 0);
  EXPECT_EQ(one.err, "");
  const Finished some = annalctl({"keep", "--size", "200", "--db", file});
  EXPECT_EQ(some.status, 0);
  EXPECT_EQ(some.err, "");
  const Finished all = annalctl({"fileop", "--db", file, "flush", "--yes"});
  EXPECT_EQ(all.err, "");
  const Finished verified = annalctl({"fileop", "--db", file, "verify"});
  EXPECT_EQ(verified.status, 0) << verified.out << verified.err;
  EXPECT_NE(verified.out.find("deleted (keep)"), std::string::npos) << verified.out;
}

TEST_F(ProofCommands, ALogOfFileOperationsIsSealedByItsFile) {
  ASSERT_EQ(annalctl({"fileop", "--db", "/etc/logs/ops.db", "create"}).status, 0);
  ASSERT_EQ(annalctl({"seal", "--db", "/etc/logs/ops.db"}).out, "/etc/logs/ops.db: sealed 0 file operations\n");
  EXPECT_EQ(annalctl({"fileop", "--db", "/etc/logs/ops.db", "verify"}).status, 0);
}

}  // namespace
