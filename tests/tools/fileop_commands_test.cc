// annalctl fileop.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using annal::test::exists;
using annal::test::sql;
using annal::test::value;

constexpr const char* kFile = "/etc/logs/operations.db";

Finished fileop(std::vector<std::string> arguments, const std::string& input = {}) {
  arguments.insert(arguments.begin(), {"fileop", "--db", kFile});
  return annalctl(arguments, input);
}

class AnnalctlFileOpTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    const Finished created = fileop({"create"});
    ASSERT_EQ(created.status, 0) << created.err;
    ASSERT_EQ(created.out + created.err, "");
  }

  static void add(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "add");
    const Finished added = fileop(arguments);
    ASSERT_EQ(added.status, 0) << added.err;
    ASSERT_EQ(added.out + added.err, "");
  }

  // The ids of a listing, in order.
  static std::string listed(std::vector<std::string> options) {
    options.insert(options.begin(), {"list", "--json"});
    const Finished finished = fileop(options);
    EXPECT_EQ(finished.status, 0) << finished.err;
    std::string ids;
    for (const std::string& line : lines_of(finished.out)) {
      ids += (ids.empty() ? "" : ",") + Json::parse(line)["event_id"].dump();
    }
    return ids;
  }

  static int count(std::vector<std::string> options) {
    options.insert(options.begin(), "count");
    const Finished counted = fileop(options);
    return counted.status == 0 ? std::stoi(counted.out) : -1;
  }
};

void put_three_entries() {
  sql(kFile,
      "INSERT INTO PAVO2LOG_EVENT VALUES "
      "(1, 0, '2020-01-02', '09:00:00', 'Bob', '10.0.0.1', '/a/old', '/share/Photo.jpg', 2, 1, 0, 'pc1', 'pc1', "
      "'Uploaded', '', 0), "
      "(2, 1, '2020-01-04', '09:00:00', 'bobby', '10.0.0.2', '', '/share/photos', 1, 2, 100, 'PC10', 'd', "
      "'', '', 0), "
      "(3, 2, '2020-01-03', '09:00:00', 'O''Neil', '192.168.1.9', '/b', '/other/it''s', 0, 35, -5, 'mac', 'x', "
      "'removed', '', 0);");
}

}  // namespace

// --- the file ---

TEST_F(AnnalctlTest, FileOpNeedsAFile) {
  EXPECT_EQ(annalctl({"fileop", "list"}).status, 2);
  EXPECT_EQ(annalctl({"fileop", "--db", "", "list"}).status, 2);
}

TEST_F(AnnalctlTest, FileOpSaysThatTheCurrentFolderIsGone) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directory("/etc/logs/gone");
  std::filesystem::current_path("/etc/logs/gone");
  std::filesystem::remove("/etc/logs/gone");
  const Finished refused = annalctl({"fileop", "--db", "operations.db", "count"});
  std::filesystem::current_path(before);
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "annalctl: cannot find operations.db: the current folder was deleted or cannot be reached (name the file "
            "with its whole path)\n");
}

TEST_F(AnnalctlTest, FileOpCreatesAFileOnlyWithCreate) {
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{{"list"},
                                                                                       {"count"},
                                                                                       {"flush", "--yes"},
                                                                                       {"delete", "--id", "1"},
                                                                                       {"add", "x", "--action", "1"},
                                                                                       {"import", "-"}}) {
    const Finished refused = fileop(command);
    EXPECT_EQ(refused.status, 1) << command[0];
    EXPECT_NE(refused.err.find("run 'annalctl fileop --db FILE create'"), std::string::npos) << refused.err;
    EXPECT_FALSE(exists(kFile)) << command[0];
  }
}

TEST_F(AnnalctlTest, FileOpTakesTheFileAfterTheCommandToo) {
  EXPECT_EQ(annalctl({"fileop", "create", "--db", kFile}).status, 0);
  EXPECT_EQ(annalctl({"fileop", "count", "--db", kFile}).out, "0\n");
}

TEST_F(AnnalctlTest, FileOpCreateAppliesTheLimit) {
  ASSERT_EQ(fileop({"create", "--limit", "3", "--batch", "2"}).status, 0);
  for (const char* day : {"1", "2", "3", "4"}) {
    sql(kFile, std::string("INSERT INTO PAVO2LOG_EVENT (event_date) VALUES ('2020-01-0") + day + "');");
  }
  EXPECT_EQ(value(kFile, "SELECT group_concat(event_id) FROM PAVO2LOG_EVENT;"), "3,4");
}

TEST_F(AnnalctlFileOpTest, CreateReportsAnExistingLog) {
  put_three_entries();
  const Finished again = fileop({"create", "--limit", "1"});
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.err.find("exists already and holds 3 entries; nothing was changed"), std::string::npos) << again.err;
  EXPECT_EQ(count({}), 3);
}

TEST_F(AnnalctlTest, FileOpCreateLeavesANonDatabaseFileAlone) {
  std::ofstream(kFile) << "x";
  const Finished refused = fileop({"create"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("it is not a database"), std::string::npos) << refused.err;
}

// --- add ---

// SQLite would wait for a writer of the pipe and so block an hourly job.
TEST_F(AnnalctlFileOpTest, PipeInPlaceOfTheJournalIsNotWaitedFor) {
  for (const char* suffix : {"-journal", "-wal"}) {
    const std::string pipe = std::string(kFile) + suffix;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const char* verb : {"list", "count"}) {
      const Finished refused = fileop({verb});
      EXPECT_EQ(refused.status, 1);
      EXPECT_THAT(refused.err, testing::HasSubstr(pipe + " is in the way of a file of SQLite's own"));
    }
    ASSERT_EQ(unlink(pipe.c_str()), 0);
  }
}

TEST_F(AnnalctlFileOpTest, ListWithoutATableHasNoTitles) {
  sql(kFile, "DROP TABLE PAVO2LOG_EVENT;");
  const Finished listed = fileop({"list", "--csv"});
  EXPECT_EQ(listed.status, 1);
  EXPECT_EQ(listed.out, "");
}

TEST_F(AnnalctlFileOpTest, AddStoresEveryFieldThatIsGiven) {
  add({"/share/it's",
       "--action",
       "7",
       "--old-path",
       "/share/'old'",
       "--folder",
       "2",
       "--size",
       "52000",
       "--type",
       "error",
       "--time",
       "2020-02-03 04:05:06",
       "--user",
       "O'Neil",
       "--ip",
       "::ffff:10.0.0.5",
       "--computer",
       "Ann's",
       "--device",
       "d'1",
       "--description",
       "isn't"});
  EXPECT_EQ(lines_of(fileop({"list", "--csv"}).out).at(1),
            "1,2,2020-02-03,04:05:06,O'Neil,10.0.0.5,/share/'old',/share/it's,2,7,52000,Ann's,d'1,isn't,\"\",0\r");
}

TEST_F(AnnalctlFileOpTest, AddFillsMissingFields) {
  add({"x", "--action", "1"});
  const Json entry = Json::parse(fileop({"list", "--json"}).out);
  EXPECT_EQ(entry["event_user"], "System");
  EXPECT_EQ(entry["event_ip"], "127.0.0.1");
  EXPECT_EQ(entry["event_comp"], "localhost");
  EXPECT_EQ(entry["event_duid"], "localhost");
  EXPECT_EQ(entry["event_oldfilepath"], "");
  EXPECT_EQ(entry["event_isFolder"], 0);
  EXPECT_EQ(entry["event_filesize"], 0);
}

TEST_F(AnnalctlFileOpTest, AddRefusesWhatCannotBeStoredAsGiven) {
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--action", "0"},
                                             {"--action", "36"},
                                             {"--folder", "3"},
                                             {"--size", "2147483648"},
                                             {"--type", "3"},
                                             {"--ip", "10.0.0"},
                                             {"--time", "yesterday"},
                                             {"--time", "1900-05-05 10:00:00"},
                                             {"--user", std::string(65, 'u')},
                                             {"--user", std::string(64, '\'')},
                                             {"--description", std::string(1025, 'd')}}) {
    std::vector<std::string> arguments{"add", "x", options[0], options[1]};
    if (options[0] != "--action") {
      arguments.insert(arguments.end(), {"--action", "1"});
    }
    EXPECT_EQ(fileop(arguments).status, 2) << options[0] << " " << options[1];
  }
  EXPECT_EQ(fileop({"add", "x"}).status, 2);
  EXPECT_EQ(count({}), 0);
}

// --- list and count ---

TEST_F(AnnalctlFileOpTest, ListShowsTheNewestFirstByDefault) {
  put_three_entries();
  EXPECT_EQ(listed({}), "2,3,1");
  EXPECT_EQ(listed({"--oldest"}), "1,3,2");
  EXPECT_EQ(listed({"--sort", "id"}), "1,2,3");
  EXPECT_EQ(listed({"--sort", "size", "--reverse"}), "2,1,3");
  EXPECT_EQ(listed({"--sort", "id", "--limit", "1", "--offset", "1"}), "2");
}

TEST_F(AnnalctlFileOpTest, ListAndCountTakeEachCondition) {
  put_three_entries();
  const struct {
    std::vector<std::string> options;
    const char* found;
  } conditions[] = {{{"--type", "error"}, "3"},
                    {{"--user", "BOB"}, "1,2"},
                    {{"--user", "O'N"}, "3"},
                    {{"--ip", "10.0"}, "1,2"},
                    {{"--computer", "pc1"}, "1,2"},
                    {{"--description", "up"}, "1"},
                    {{"--path", "PHOTO"}, "1,2"},
                    {{"--path", "it's"}, "3"},
                    {{"--old-path", "/a"}, "1"},
                    {{"--folder", "1"}, "2"},
                    {{"--action", "35"}, "3"},
                    {{"--size", "0"}, "1"},
                    {{"--from", "2020-01-03", "--to", "2020-01-03"}, "3"},
                    {{"--from", "2020-01-03"}, "2,3"},
                    {{"--to", "2020-01-03"}, "1,3"},
                    {{"--since", "2020-01-03", "--until", "2020-01-03 09:00"}, "3"},
                    {{"--not-path", "photo"}, "3"},
                    {{"--action", "35", "--action", "1"}, "1,3"},
                    {{"--not-action", "35"}, "1,2"},
                    {{"--type", "information", "--user", "bob"}, "1"}};
  for (const auto& [options, found] : conditions) {
    SCOPED_TRACE(options[0] + " " + options[1]);
    std::vector<std::string> sorted = options;
    sorted.insert(sorted.end(), {"--sort", "id"});
    EXPECT_EQ(listed(sorted), found);
    const std::string ids = found;
    EXPECT_EQ(count(options), ids.empty() ? 0 : 1 + std::count(ids.begin(), ids.end(), ','));
  }
}

TEST_F(AnnalctlFileOpTest, ConditionsThatAreTooLongAreWrongUsage) {
  const std::string path(60000, 'p');
  for (const char* command : {"list", "count"}) {
    const Finished refused = fileop({command, "--path", path});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("too long"), std::string::npos) << refused.err;
  }
}

// --- tail ---

TEST_F(AnnalctlFileOpTest, TailShowsTheLastStoredInTheOrderOfStoring) {
  put_three_entries();
  const auto shown = [](std::vector<std::string> options) {
    options.insert(options.begin(), {"tail", "--no-follow", "--json"});
    std::string ids;
    for (const std::string& line : lines_of(fileop(options).out)) {
      ids += (ids.empty() ? "" : ",") + Json::parse(line)["event_id"].dump();
    }
    return ids;
  };
  EXPECT_EQ(shown({}), "1,2,3");
  EXPECT_EQ(shown({"--lines", "2"}), "2,3");
  EXPECT_EQ(shown({"--path", "photo"}), "1,2");
  EXPECT_EQ(shown({"--type", "error"}), "3");
}

// --- delete and flush ---

TEST_F(AnnalctlFileOpTest, DeleteTakesTheEntriesOfEachColumnsValueAndNoOthers) {
  const struct {
    const char* option;
    const char* value;
    int left;
  } deletions[] = {{"--id", "1", 2},
                   {"--type", "error", 2},
                   {"--date", "2020-01-02", 2},
                   {"--time", "09:00:00", 0},
                   {"--user", "O'Neil", 2},
                   {"--ip", "10.0.0.1", 2},
                   {"--folder", "2", 2},
                   {"--action", "35", 2},
                   {"--size", "-5", 2},
                   {"--computer", "mac", 2},
                   {"--device", "d", 2},
                   {"--description", "removed", 2},
                   {"--path", "/other/it's", 2},
                   {"--path", "/other", 3}};
  for (const auto& [option, wanted, left] : deletions) {
    sql(kFile, "DELETE FROM PAVO2LOG_EVENT;");
    put_three_entries();
    EXPECT_EQ(fileop({"delete", option, wanted}).status, 0) << option;
    EXPECT_EQ(count({}), left) << option << " " << wanted;
  }
}

TEST_F(AnnalctlFileOpTest, FlushDeletesAll) {
  put_three_entries();
  EXPECT_EQ(fileop({"flush", "--yes"}).status, 0);
  EXPECT_EQ(count({}), 0);
}

// --- import ---

TEST_F(AnnalctlFileOpTest, ImportTakesWhatListPrints) {
  put_three_entries();
  const std::string listing = fileop({"list", "--all", "--sort", "id", "--json"}).out;
  ASSERT_EQ(fileop({"flush", "--yes"}).status, 0);
  sql(kFile, "DELETE FROM sqlite_sequence;");
  const Finished imported = fileop({"import", "-"}, listing);
  EXPECT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(imported.out, "imported 3 file operations from -, 0 lines refused\n");
  EXPECT_EQ(fileop({"list", "--all", "--sort", "id", "--json"}).out, listing);
}

TEST_F(AnnalctlFileOpTest, ImportReportsALineThatCannotBeStoredAsItIs) {
  for (const char* line :
       {"nonsense", R"({"event_filepath":"x"})", R"({"event_action":36})", R"({"event_action":1.5})",
        R"({"event_action":1,"event_isFolder":3})", R"({"event_action":1,"event_filesize":2147483648})",
        R"({"event_action":1,"event_type":3})", R"({"event_action":1,"event_date":"2020-01-01"})",
        R"({"event_action":1,"pid":5})", R"({"event_action":1,"sub_user":"x"})", R"({"event_action":1,"other":1})",
        R"({"event_action":1,"event_ip":"10.0.0"})", R"({"event_action":1,"event_filepath":"a\u0000b"})"}) {
    const Finished imported = fileop({"import", "-"}, line);
    EXPECT_EQ(imported.status, 1) << line;
    EXPECT_EQ(imported.out, "imported 0 file operations from -, 1 line refused\n") << line;
    EXPECT_EQ(imported.err.rfind("-:1: ", 0), 0U) << imported.err;
  }
  EXPECT_EQ(count({}), 0);
}

TEST_F(AnnalctlFileOpTest, ImportOnTrialStoresNothing) {
  const std::string dry = fileop({"import", "-", "--dry-run"}, "{\"event_action\":1}\n").out;
  EXPECT_TRUE(dry.ends_with("\nwould import 1 file operation from -, 0 lines refused\n")) << dry;
  EXPECT_EQ(count({}), 0);
}
