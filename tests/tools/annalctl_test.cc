// Behaviour common to all commands of annalctl.
#include "tests/tools/annalctl.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>

// --- the program as a whole ---

TEST_F(AnnalctlTest, ReadingCommandsDoNotCreateAMissingLog) {
  for (const char* verb : {"list", "count"}) {
    const Finished finished = annalctl({"event", verb});
    EXPECT_EQ(finished.status, 1) << verb;
    EXPECT_NE(finished.err.find("run 'annalctl event create'"), std::string::npos) << finished.err;
    EXPECT_NE(access("/etc/logs/event.log", F_OK), 0) << verb;
  }
}

TEST_F(AnnalctlTest, CommandsDoNotCreateAMissingLog) {
  const std::vector<std::vector<std::string>> cases{
      {"event", "add", "x"},  {"event", "delete", "--id", "1"},
      {"event", "trim", "1"}, {"event", "flush"},
      {"event", "migrate"},   {"event", "import", "-"},
      {"notice", "age", "1"}, {"notice", "flush"},
      {"notice", "migrate"},  {"notice", "delete", "--id", "1"},
      {"notice", "add", "x"}, {"notice", "list"},
      {"notice", "count"},    {"notice", "group", "--by", "user"},
  };
  for (const auto& command : cases) {
    const std::string name = command[0] + " " + command[1];
    const Finished finished = annalctl(command);
    EXPECT_EQ(finished.status, 1) << name;
    EXPECT_NE(finished.err.find("run 'annalctl " + command[0] + " create'"), std::string::npos) << finished.err;
    EXPECT_NE(access(("/etc/logs/" + command[0] + ".log").c_str(), F_OK), 0) << name;
  }
}

TEST_F(AnnalctlTest, CreatingTwiceReportsThatTheLogExists) {
  for (const char* log : {"event", "notice"}) {
    EXPECT_EQ(annalctl({log, "create"}).status, 0) << log;
    const Finished again = annalctl({log, "create"});
    EXPECT_EQ(again.status, 1) << log;
    EXPECT_NE(again.err.find("exists already and holds 0 entries"), std::string::npos) << again.err;
  }
}

TEST_F(AnnalctlTest, FileWithoutATableIsDistinguishedFromAMissingOne) {
  std::ofstream("/etc/logs/event.log").close();
  const Finished finished = annalctl({"event", "list"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("has no table yet"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlTest, NonDatabaseFileIsNamedAsSuchAndLeftAlone) {
  std::ofstream("/etc/logs/event.log") << "plain text, and no database at all";
  const Finished finished = annalctl({"event", "create"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("not a database"), std::string::npos) << finished.err;
  std::string text;
  std::getline(std::ifstream("/etc/logs/event.log"), text);
  EXPECT_EQ(text, "plain text, and no database at all");
}

TEST_F(AnnalctlTest, WrongUsageIsStatusTwoOnStandardErrorWithAHint) {
  const std::vector<std::vector<std::string>> cases{
      {},
      {"nonsense"},
      {"event", "nonsense"},
      {"event", "list", "--sort", "colour"},
      {"event", "list", "--limit", "-1"},
      {"--json", "--csv", "event", "list"},
      {"event", "delete"},
      {"event", "delete", "--dry-run"},
      {"event", "trim", "0"},
      {"event", "trim", "-5"},
      {"event", "group"},
      {"notice", "age"},
      {"notice", "age", "0"},
      {"notice", "delete"},
      {"notice", "delete", "--id", "one"},
      {"notice", "group"},
      {"notice", "list", "--severity", "8"},
      {"notify", "A011"},
      {"facilities", "one"},
      {"check", "event"},
      {"fileop", "check"},
  };
  for (const auto& command : cases) {
    const Finished finished = annalctl(command);
    EXPECT_EQ(finished.status, 2) << finished.err;
    EXPECT_NE(finished.err.find("--help"), std::string::npos) << finished.err;
    EXPECT_EQ(finished.out, "");
  }
}

class AnnalctlDelete : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    for (const std::vector<std::string>& log : logs()) {
      ASSERT_EQ(annalctl(joined(log, {"create"})).status, 0);
    }
  }

  static std::vector<std::vector<std::string>> logs() {
    return {{"event"}, {"conn"}, {"fileop", "--db", "/etc/logs/operations.db"}, {"notice"}};
  }

  static std::vector<std::string> joined(std::vector<std::string> log, const std::vector<std::string>& arguments) {
    log.insert(log.end(), arguments.begin(), arguments.end());
    return log;
  }
};

TEST_F(AnnalctlDelete, NamesWhatItDoesNotKnow) {
  for (const std::vector<std::string>& log : logs()) {
    for (const std::string unknown : {"-x", "yesterday", "flush"}) {
      const Finished finished = annalctl(joined(log, {"delete", unknown}));
      EXPECT_EQ(finished.status, 2) << log[0] << " " << unknown;
      EXPECT_NE(finished.err.find(unknown), std::string::npos) << finished.err;
      EXPECT_EQ(annalctl(joined(log, {"delete", "--id", "1", unknown})).status, 2) << log[0] << " " << unknown;
    }
  }
}

TEST_F(AnnalctlDelete, TakesTheGeneralOptionsAsEveryCommandDoes) {
  for (const std::vector<std::string>& log : logs()) {
    for (const std::string form : {"--json", "--csv"}) {
      for (const auto& arguments : {std::vector<std::string>{"delete", form, "--id", "1"},
                                    std::vector<std::string>{"delete", "--id", "1", form},
                                    {"flush", form}}) {
        const Finished finished = annalctl(joined(log, arguments));
        EXPECT_EQ(finished.status, 0) << log[0] << " " << form << ": " << finished.err;
        EXPECT_EQ(finished.err, "");
        EXPECT_NE(finished.out.find("deleted"), std::string::npos);
      }
      EXPECT_EQ(annalctl(joined(log, {"delete", form})).status, 2) << log[0] << " " << form;
    }
  }
}

TEST_F(AnnalctlTest, HelpIsOnStandardOutputForEveryCommand) {
  const std::vector<std::vector<std::string>> all{
      {"conn", "create"},
      {"conn", "add"},
      {"conn", "list"},
      {"conn", "tail"},
      {"conn", "count"},
      {"conn", "group"},
      {"conn", "delete"},
      {"conn", "trim"},
      {"conn", "flush"},
      {"conn", "migrate"},
      {"conn", "import"},
      {"event", "create"},
      {"event", "add"},
      {"event", "list"},
      {"event", "count"},
      {"event", "tail"},
      {"event", "group"},
      {"event", "delete"},
      {"event", "trim"},
      {"event", "flush"},
      {"event", "migrate"},
      {"event", "import"},
      {"notice", "create"},
      {"notice", "age"},
      {"notice", "delete"},
      {"notice", "flush"},
      {"notice", "migrate"},
      {"notice", "add"},
      {"notice", "list"},
      {"notice", "count"},
      {"notice", "group"},
      {"notify"},
      {"facilities"},
      {"fileop", "create"},
      {"fileop", "add"},
      {"fileop", "list"},
      {"fileop", "count"},
      {"fileop", "tail"},
      {"fileop", "delete"},
      {"fileop", "flush"},
      {"fileop", "import"},
      {"conn", "check"},
      {"conn", "salvage"},
      {"event", "check"},
      {"event", "salvage"},
      {"fileop", "check"},
      {"fileop", "salvage"},
      {"notice", "check"},
      {"notice", "salvage"},
      {"notice", "tail"},
      {"info"},
      {"keep"},
      {"log"},
      {"event", "info"},
      {"event", "limit"},
      {"event", "keep"},
      {"event", "compact"},
      {"check"},
  };
  for (const auto& command : all) {
    std::vector<std::string> arguments = command;
    std::string usage = "Usage: annalctl";
    for (const std::string& word : command) {
      usage += " " + word;
    }
    arguments.emplace_back("--help");
    const Finished finished = annalctl(arguments);
    EXPECT_EQ(finished.status, 0) << usage;
    EXPECT_NE(finished.out.find(usage), std::string::npos) << finished.out;
  }
}

TEST_F(AnnalctlTest, HelpOfTheProgramNamesTheCommandsOfEveryLog) {
  const Finished finished = annalctl({"--help"});
  for (const char* line :
       {"The event log, /etc/logs/event.log", "The notice log, /etc/logs/notice.log", "facilities"}) {
    EXPECT_NE(finished.out.find(line), std::string::npos) << finished.out;
  }
}

TEST_F(AnnalctlEventTest, FullDiskForStandardOutputIsAFailure) {
  const Finished finished = annalctl({"event", "list"}, {}, "/dev/full");
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("cannot write to standard output"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlEventTest, DeletingFromALockedLogNamesTheHolderAndDoesNotWait) {
  const int file = open("/etc/logs/event.log", O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0x40000000;
  lock.l_len = 512;
  ASSERT_EQ(fcntl(file, F_SETLK, &lock), 0);
  const Finished finished = annalctl({"event", "delete", "--id", "1"});
  close(file);
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("locked by process " + std::to_string(getpid())), std::string::npos) << finished.err;
  EXPECT_EQ(finished.err.find("20 s"), std::string::npos) << finished.err;
}
