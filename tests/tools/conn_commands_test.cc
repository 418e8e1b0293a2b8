// annalctl conn.
#include <sqlite3.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::exists;
using annal::test::LockHolder;
using annal::test::sql;

constexpr char kPath[] = "/etc/logs/conn.log";

class AnnalctlConn : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  }

  static Finished conn(Texts arguments, const std::string& input = {}) {
    arguments.insert(arguments.begin(), "conn");
    return annalctl(arguments, input);
  }

  static void add(Texts arguments) {
    arguments.insert(arguments.begin(), "add");
    const Finished added = conn(arguments);
    ASSERT_EQ(added.status, 0) << added.err;
    ASSERT_EQ(added.out + added.err, "");
  }

  static std::vector<Json> list(Texts options = {}) {
    options.insert(options.begin(), {"list", "--all", "--json", "--sort", "id"});
    std::vector<Json> rows;
    for (const std::string& line : lines_of(conn(options).out)) {
      rows.push_back(Json::parse(line));
    }
    return rows;
  }

  static Texts resources(const Texts& options) {
    Texts texts;
    for (const Json& row : list(options)) {
      texts.push_back(row["conn_res"]);
    }
    return texts;
  }

  static int count(Texts options = {}) {
    options.insert(options.begin(), "count");
    const Finished counted = conn(options);
    return counted.status == 0 ? std::stoi(counted.out) : -1;
  }
};

// A log line of an OpenSSH server.
std::string line(const std::string& text) {
  return "Jun 14 15:16:01 nas sshd[123]: " + text + "\n";
}

}  // namespace

// --- add ---

TEST_F(AnnalctlConn, AddStoresEveryFieldThatIsGiven) {
  add({"/share/a",   "--type", "error",       "--user", "ann",          "--ip",    "::ffff:10.0.0.5",
       "--computer", "pc",     "--service",   "12",     "--action",     "36",      "--failed",
       "--app",      "web",    "--client-id", "k",      "--client-app", "browser", "--client-agent",
       "agent"});
  const std::vector<Json> rows = list();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["conn_res"], "/share/a");
  EXPECT_EQ(rows[0]["conn_type"], 2);
  EXPECT_EQ(rows[0]["conn_user"], "ann");
  EXPECT_EQ(rows[0]["conn_ip"], "10.0.0.5");
  EXPECT_EQ(rows[0]["conn_comp"], "pc");
  EXPECT_EQ(rows[0]["conn_serv"], 12);
  EXPECT_EQ(rows[0]["conn_action"], 36);
  EXPECT_EQ(rows[0]["conn_action_result"], 13);
  EXPECT_EQ(rows[0]["conn_app"], "web");
  EXPECT_EQ(rows[0]["conn_client_id"], "k");
  EXPECT_EQ(rows[0]["conn_client_app"], "browser");
  EXPECT_EQ(rows[0]["conn_client_agent"], "agent");
}

TEST_F(AnnalctlConn, AddWithoutNamesCountsAsTheAppliances) {
  add({"x"});
  const Json row = list().at(0);
  EXPECT_EQ(row["conn_user"], "System");
  EXPECT_EQ(row["conn_ip"], "127.0.0.1");
  EXPECT_EQ(row["conn_comp"], "localhost");
  EXPECT_EQ(row["conn_client_app"], "localhost");
}

TEST_F(AnnalctlConn, AddStoresQuotesAsTheyAre) {
  const std::string name = "x'); DROP TABLE ANNAL_CONN; --";
  add({name, "--user", name, "--computer", name, "--app", name});
  const Json row = list().at(0);
  for (const char* column : {"conn_res", "conn_user", "conn_comp", "conn_app"}) {
    EXPECT_EQ(row[column], name) << column;
  }
}

TEST_F(AnnalctlConn, AddAcceptsEachFieldAtItsBoundAndRefusesOneByteMoreByName) {
  struct Bound {
    const char* option;
    const char* label;
    std::size_t bytes;
  };
  const std::vector<Bound> bounds{
      {"--user", "user", 64},           {"--computer", "computer", 64},
      {"--app", "application", 256},    {"--client-app", "client application", 128},
      {"--client-id", "client id", 64}, {"--client-agent", "client agent", 256},
  };
  for (const Bound& bound : bounds) {
    const std::string fits(bound.bytes, 'a');
    add({"x", bound.option, fits});
    const Finished refused = conn({"add", "x", bound.option, fits + "a"});
    EXPECT_EQ(refused.status, 2) << bound.option;
    EXPECT_NE(refused.err.find("the " + std::string(bound.label) + " is"), std::string::npos) << refused.err;
  }
  EXPECT_EQ(count(), static_cast<int>(bounds.size()));
  add({std::string(1024, 'r')});
  EXPECT_EQ(conn({"add", std::string(1025, 'r')}).status, 2);
}

TEST_F(AnnalctlConn, AddRefusesWhatCannotBeStoredAsGiven) {
  for (const Texts& options : std::vector<Texts>{
           {"--ip", "10.0.0"}, {"--service", "13"}, {"--service", "-1"}, {"--action", "37"}, {"--type", "3"}}) {
    EXPECT_EQ(conn({"add", "x", options[0], options[1]}).status, 2) << options[0];
  }
  EXPECT_EQ(count(), 0);
}

// A batch deletes such a log; the tool must not run one.
TEST_F(AnnalctlConn, LogThatABatchWouldDeleteIsRefusedAndLeftAlone) {
  struct Broken {
    const char* how;
    const char* said;
  };
  add({"kept"});
  for (const Broken& broken : {Broken{"ALTER TABLE ANNAL_CONN RENAME COLUMN conn_app TO conn_application", "columns"},
                               Broken{"ALTER TABLE ANNAL_CONN RENAME TO OTHER", "no table"}}) {
    sql(kPath, broken.how);
    const std::string before = annal::test::value(kPath, "SELECT group_concat(sql) FROM sqlite_master");
    for (const Texts& command : {Texts{"add", "x"}, Texts{"import", "-"}}) {
      const std::string failed = line("Failed password for root from 10.0.0.1 port 1 ssh2");
      const Finished finished = conn(command, failed + failed);
      EXPECT_EQ(finished.status, 1);
      EXPECT_NE(finished.err.find(broken.said), std::string::npos) << finished.err;
    }
    EXPECT_EQ(annal::test::value(kPath, "SELECT group_concat(sql) FROM sqlite_master"), before);
  }
  EXPECT_EQ(annal::test::value(kPath, "SELECT conn_res FROM OTHER"), "kept");
}

TEST_F(AnnalctlConn, NonDatabaseFileIsRefusedAndLeftAlone) {
  {
    std::FILE* const file = std::fopen(kPath, "w");
    ASSERT_NE(file, nullptr);
    static_cast<void>(std::fputs("plain text, and no database at all", file));
    static_cast<void>(std::fclose(file));
  }
  EXPECT_EQ(conn({"add", "x"}).status, 1);
  EXPECT_EQ(conn({"import", "-"}, line("Accepted password for root from 10.0.0.1 port 1 ssh2")).status, 1);
  EXPECT_EQ(conn({"add", "x"}).err.find("not a database") != std::string::npos, true);
}

// --- commands that the event log has too ---

TEST_F(AnnalctlConn, CreatingTwiceReportsThatTheLogExists) {
  const Finished again = conn({"create"});
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.err.find("exists already and holds 0 entries"), std::string::npos) << again.err;
}

TEST_F(AnnalctlConn, OnlyCreateCreatesAMissingLog) {
  static_cast<void>(std::remove(kPath));
  for (const Texts& command : std::vector<Texts>{{"add", "x"},
                                                 {"list"},
                                                 {"count"},
                                                 {"group", "--by", "user"},
                                                 {"delete", "--id", "1"},
                                                 {"trim", "1"},
                                                 {"flush"},
                                                 {"migrate"},
                                                 {"import", "-"},
                                                 {"tail", "--no-follow"}}) {
    const Finished finished = conn(command);
    EXPECT_EQ(finished.status, 1) << command[0];
    EXPECT_NE(finished.err.find("run 'annalctl conn create'"), std::string::npos) << finished.err;
    EXPECT_FALSE(exists(kPath)) << command[0];
  }
}

TEST_F(AnnalctlConn, TrimKeepsTheNewestOrAllIfThereAreFewer) {
  for (const char* resource : {"one", "two", "three"}) {
    add({resource});
  }
  EXPECT_EQ(conn({"trim", "5"}).status, 0);
  EXPECT_EQ(count(), 3);
  EXPECT_EQ(conn({"trim", "3"}).status, 0);
  EXPECT_EQ(count(), 3);
  EXPECT_EQ(conn({"trim", "1"}).status, 0);
  EXPECT_EQ(resources({}), Texts{"three"});
  EXPECT_EQ(conn({"trim", "0"}).status, 2);
}

TEST_F(AnnalctlConn, FlushEmptiesAndMigrateLeavesACurrentLogAlone) {
  add({"x"});
  EXPECT_EQ(conn({"migrate"}).status, 0);
  EXPECT_EQ(count(), 1);
  EXPECT_EQ(conn({"flush", "--yes"}).status, 0);
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlConn, EachSelectorDeletesByItsColumn) {
  const std::vector<Texts> selectors{{"--user", "u"}, {"--ip", "10.9.9.9"}, {"--computer", "c"}, {"--resource", "r"},
                                     {"--app", "a"},  {"--service", "5"},   {"--action", "6"},   {"--result", "13"},
                                     {"--id", "1"},   {"--type", "warning"}};
  for (const Texts& selector : selectors) {
    sql(kPath, "DELETE FROM ANNAL_CONN; DELETE FROM sqlite_sequence");
    add({"r", "--user", "u", "--ip", "10.9.9.9", "--computer", "c", "--app", "a", "--service", "5", "--action", "6",
         "--failed", "--type", "warning"});
    add({"other"});
    Texts command{"delete"};
    command.insert(command.end(), selector.begin(), selector.end());
    EXPECT_EQ(conn(command).status, 0) << selector[0];
    EXPECT_EQ(resources({}), Texts{"other"}) << selector[0];
  }
  for (const char* option : {"--date", "--time"}) {
    const std::string value = list().at(0)[option == std::string("--date") ? "conn_date" : "conn_time"];
    EXPECT_EQ(conn({"delete", option, value}).status, 0);
    EXPECT_EQ(count(), 0);
    add({"other"});
  }
  EXPECT_EQ(conn({"delete", "--user", "' OR 1 --"}).status, 2);
  EXPECT_EQ(count(), 1);
}

// --- searching ---

TEST_F(AnnalctlConn, EachFilterSelectsByItsColumn) {
  add({"r-this", "--user",  "u-this",      "--ip",   "10.9.9.9",     "--computer", "c-this",
       "--app",  "a-this",  "--service",   "5",      "--action",     "6",          "--failed",
       "--type", "warning", "--client-id", "i-this", "--client-app", "p-this",     "--client-agent",
       "g-this"});
  add({"other", "--client-app", "x"});
  for (const Texts& filter : std::vector<Texts>{{"--user", "u-th"},
                                                {"--exact-user", "u-this"},
                                                {"--ip", "10.9"},
                                                {"--computer", "c-th"},
                                                {"--resource", "R-TH"},
                                                {"--app", "a-th"},
                                                {"--service", "5"},
                                                {"--action", "6"},
                                                {"--failed"},
                                                {"--type", "warning"},
                                                {"--client-id", "i-th"},
                                                {"--client-app", "p-th"},
                                                {"--client-agent", "g-th"}}) {
    EXPECT_EQ(resources(filter), Texts{"r-this"}) << filter[0];
    EXPECT_EQ(count(filter), 1) << filter[0];
    if (!filter[0].starts_with("--client")) {
      Texts group{"group", "--by", "id", "--csv"};
      group.insert(group.end(), filter.begin(), filter.end());
      EXPECT_EQ(lines_of(conn(group).out).size(), 2U) << filter[0];
    }
  }
  EXPECT_EQ(count({"--exact-user", "u-thi"}), 0);
  EXPECT_EQ(count({"--until", "-1d"}), 0);
  EXPECT_EQ(count({"--since", "-1d"}), 2);
  EXPECT_EQ(conn({"list", "--service", "13"}).status, 2);
  EXPECT_EQ(conn({"list", "--action", "0"}).status, 2);
}

TEST_F(AnnalctlConn, GroupsByEveryColumn) {
  add({"a", "--user", "ann"});
  add({"b", "--user", "ann"});
  for (const char* by : {"type", "date", "user", "ip", "computer", "service", "action", "app", "result"}) {
    const Finished grouped = conn({"group", "--by", by, "--csv"});
    const Texts lines = lines_of(grouped.out);
    ASSERT_EQ(lines.size(), 2U) << by << grouped.err;
    EXPECT_TRUE(lines[1].ends_with(",2\r")) << lines[1];
  }
  EXPECT_EQ(lines_of(conn({"group", "--by", "resource", "--csv"}).out).size(), 3U);
  EXPECT_EQ(lines_of(conn({"group", "--by", "id", "--csv"}).out).size(), 3U);
}

TEST_F(AnnalctlConn, TableShowsNames) {
  add({"x", "--failed", "--type", "warning"});
  const Texts lines = lines_of(conn({"list"}).out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].find("Level"), lines[1].find("warning"));
  EXPECT_EQ(lines[0].find("Result"), lines[1].find("failed"));
  EXPECT_EQ(lines[0].find("Resource"), lines[1].find('x', lines[0].find("Resource")));
}

TEST_F(AnnalctlConn, TailFollows) {
  add({"one"});
  RunningAnnalctl tail({"conn", "tail", "--json", "--interval", "0.01"});
  ASSERT_EQ(tail.wait_for_lines(1).size(), 1U);
  add({"two", "--failed"});
  const Texts lines = tail.wait_for_lines(2);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(Json::parse(lines[1])["conn_res"], "two");
}

// --- import ---

TEST_F(AnnalctlConn, LogInsBecomeConnectionsAndOtherLinesAreCounted) {
  const std::string input =
      line("Accepted password for root from 10.0.0.1 port 22 ssh2") +
      line("Accepted publickey for ann from fe80::1%eth0 port 22 ssh2: ED25519 SHA256:abc/def") +
      line("Failed password for root from 10.0.0.2 port 22 ssh2") +
      line("Failed password for invalid user bob from 10.0.0.3 port 22 ssh2") +
      line("message repeated 2 times: [ Failed password for root from 10.0.0.4 port 22 ssh2]") +
      line("Invalid user bob from 10.0.0.3") + line("input_userauth_request: invalid user bob [preauth]") +
      line("pam_unix(sshd:auth): authentication failure; logname= uid=0 rhost=10.0.0.2 user=root") +
      line("pam_unix(sshd:session): session opened for user root by (uid=0)") +
      line("Received disconnect from 10.0.0.2: 11: Bye Bye [preauth]") +
      line("Connection closed by 10.0.0.2 [preauth]") + line("Did not receive identification string from 10.0.0.2") +
      line("reverse mapping checking getaddrinfo for x [10.0.0.2] failed - POSSIBLE BREAK-IN ATTEMPT!") +
      "Jun 14 15:16:01 nas cron[1]: Failed password for root from 10.0.0.9 port 22 ssh2\n";
  const Finished finished = conn({"import", "-"}, input);
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.out, "imported 5 connections from -, 0 lines refused, 9 left out\n");
  struct Expected {
    const char* user;
    const char* ip;
    int type;
    int result;
  };
  const std::vector<Json> rows = list();
  const std::vector<Expected> expected{{"root", "10.0.0.1", 0, 0},
                                       {"ann", "fe80::1", 0, 0},
                                       {"root", "10.0.0.2", 1, 13},
                                       {"bob", "10.0.0.3", 1, 13},
                                       {"root", "10.0.0.4", 1, 13}};
  ASSERT_EQ(rows.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(rows[i]["conn_user"], expected[i].user);
    EXPECT_EQ(rows[i]["conn_ip"], expected[i].ip);
    EXPECT_EQ(rows[i]["conn_type"], expected[i].type);
    EXPECT_EQ(rows[i]["conn_action_result"], expected[i].result);
    EXPECT_EQ(rows[i]["conn_serv"], 7);
    EXPECT_EQ(rows[i]["conn_action"], 9);
    EXPECT_EQ(rows[i]["conn_app"], "sshd");
    EXPECT_EQ(rows[i]["conn_comp"], "---");
  }
}

TEST_F(AnnalctlConn, ImportKeepsWhenItHappened) {
  ASSERT_EQ(conn({"import", "-"},
                 "2026-01-02T03:04:05 nas sshd[1]: Failed none for invalid user  from 10.0.0.1 port 1 ssh2\n")
                .status,
            0);
  const Json row = list().at(0);
  EXPECT_EQ(row["conn_res"], "nas: Failed none for invalid user  from 10.0.0.1 port 1 ssh2");
  EXPECT_EQ(row["conn_user"], "---");
  EXPECT_EQ(row["conn_date"], "2026-01-02");
  EXPECT_EQ(row["conn_time"], "03:04:05");
}

// The user of a failed log-in can be any text.
TEST_F(AnnalctlConn, HostileNamesAreStoredAsNames) {
  const Texts names{
      "x'); DROP TABLE ANNAL_CONN; --", "root from 10.6.6.6 port 1 ssh2", "a for b", "\" OR \"\"=\"", "%s%n",
      "Accepted password for root"};
  std::string input;
  for (const std::string& name : names) {
    input += line("Failed password for invalid user " + name + " from 10.0.0.1 port 22 ssh2");
  }
  const Finished finished = conn({"import", "-"}, input);
  EXPECT_EQ(finished.status, 0) << finished.err;
  const std::vector<Json> rows = list();
  ASSERT_EQ(rows.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(rows[i]["conn_user"], names[i]);
    EXPECT_EQ(rows[i]["conn_ip"], "10.0.0.1");
    EXPECT_EQ(rows[i]["conn_action_result"], 13);
  }
}

TEST_F(AnnalctlConn, EachBadLineHasItsOwnReasonAndTheOthersAreKept) {
  struct Bad {
    std::string line;
    const char* reason;
  };
  const std::vector<Bad> bads{
      {"nonsense\n", "it is not a line of a syslog"},
      {line("Failed password for bob"), "from where"},
      {line("Failed password for root from UNKNOWN port 65535 ssh2"), "'UNKNOWN' is not an IPv4"},
      {line("Failed password of root from 10.0.0.1 port 1 ssh2"), "who wanted"},
      {line("Failed publickey for x from 10.0.0.1 port 1 ssh2: RSA ID y from 10.6.6.6 port 1 ssh2 (serial 0)"),
       "more than one"},
      {line("Failed password for " + std::string(65, 'u') + " from 10.0.0.1 port 1 ssh2"), "the user is 65 bytes"},
      {line("Accepted password for root from 10.0.0.1 port 1 ssh2: " + std::string(1024, 'k')), "the resource is"},
      {"{\"conn_color\":1}\n", "is not a column"},
      {"{\"conn_serv\":13}\n", "conn_serv is '13'"},
      {"{\"conn_action\":-1}\n", "conn_action is '-1'"},
      {"{\"conn_action_result\":1}\n", "neither 0 nor 13"},
      {"{\"conn_type\":3}\n", "conn_type is '3'"},
      {"{\"conn_ip\":\"here\"}\n", "'here' is not an IPv4"},
  };
  for (const Bad& bad : bads) {
    const Finished finished = conn({"import", "-"}, bad.line + line("Accepted none for ok from 10.0.0.1 port 1 ssh2"));
    EXPECT_EQ(finished.status, 1) << bad.reason;
    EXPECT_EQ(finished.err.rfind("-:1: ", 0), 0U) << finished.err;
    EXPECT_NE(finished.err.find(bad.reason), std::string::npos) << finished.err;
    EXPECT_EQ(finished.out, "imported 1 connection from -, 1 line refused\n");
  }
  EXPECT_EQ(count({"--exact-user", "ok"}), static_cast<int>(bads.size()));
  EXPECT_EQ(count(), static_cast<int>(bads.size()));
}

TEST_F(AnnalctlConn, JsonListOutputIsImportedExceptTheId) {
  add({"quote \" ' ü", "--user", "o'neil", "--ip", "10.1.2.3", "--computer", "pc", "--service", "3", "--action", "4",
       "--failed", "--type", "error", "--client-agent", std::string(256, 'z')});
  std::vector<Json> before = list();
  const std::string listed = conn({"list", "--all", "--json"}).out;
  ASSERT_EQ(conn({"flush"}).status, 0);
  ASSERT_EQ(conn({"import", "-"}, listed).status, 0);
  std::vector<Json> after = list();
  ASSERT_EQ(after.size(), 1U);
  before[0].erase("conn_id");
  after[0].erase("conn_id");
  EXPECT_EQ(before, after);
}

TEST_F(AnnalctlConn, ManyLinesAreStoredInBatchesUpToTheLast) {
  std::string input;
  constexpr int kLines = 1201;
  for (int i = 0; i < kLines; ++i) {
    input += line("Failed password for u" + std::to_string(i) + " from 10.0.0.1 port 1 ssh2");
  }
  const Finished finished = conn({"import", "-"}, input);
  EXPECT_EQ(finished.out, "imported 1201 connections from -, 0 lines refused\n") << finished.err;
  EXPECT_EQ(count(), kLines);
}

TEST_F(AnnalctlConn, DryRunStoresNothingAndOptionsReplaceTheNumbers) {
  const std::string input = line("Failed password for root from 10.0.0.1 port 1 ssh2");
  const std::string dry = conn({"import", "--dry-run", "-"}, input).out;
  EXPECT_TRUE(dry.ends_with("\nwould import 1 connection from -, 0 lines refused\n")) << dry;
  EXPECT_EQ(count(), 0);
  EXPECT_EQ(conn({"import", "--service", "8", "--action", "2", "--type", "error", "-"}, input).status, 0);
  EXPECT_EQ(count({"--service", "8", "--action", "2", "--type", "error"}), 1);
}

// Logs that a batch deletes or loses entries to, although a count and a column check find nothing.
TEST_F(AnnalctlConn, LogThatRefusesEntriesIsLeftAloneWithAReason) {
  struct Refusing {
    const char* how;
    const char* said;
    const char* undo;
  };
  add({"kept"});
  for (const Refusing& refusing :
       {Refusing{"CREATE TRIGGER theirs AFTER INSERT ON ANNAL_CONN BEGIN INSERT INTO gone VALUES (1); END", "gone",
                 "DROP TRIGGER theirs"},
        Refusing{"CREATE TRIGGER theirs BEFORE INSERT ON ANNAL_CONN BEGIN SELECT RAISE(ABORT, 'not here'); END",
                 "not here", "DROP TRIGGER theirs"},
        Refusing{"CREATE UNIQUE INDEX theirs ON ANNAL_CONN (conn_user)", "UNIQUE", "DROP INDEX theirs"},
        Refusing{"UPDATE sqlite_sequence SET seq = 9223372036854775807", "full",
                 "UPDATE sqlite_sequence SET seq = 1"}}) {
    sql(kPath, refusing.how);
    for (const Texts& command : {Texts{"add", "x"}, Texts{"import", "-"}}) {
      const std::string failed = line("Failed password for root from 10.0.0.1 port 1 ssh2");
      const Finished finished = conn(command, failed + failed);
      EXPECT_EQ(finished.status, 1) << refusing.how;
      EXPECT_NE(finished.err.find("refuses new entries"), std::string::npos) << finished.err;
      EXPECT_NE(finished.err.find(refusing.said), std::string::npos) << finished.err;
    }
    sql(kPath, refusing.undo);
  }
  EXPECT_EQ(resources({}), Texts{"kept"});
}

TEST_F(AnnalctlConn, LogOfALaterReleaseTakesEntries) {
  sql(kPath, "ALTER TABLE ANNAL_CONN ADD COLUMN later TEXT");
  add({"x"});
  EXPECT_EQ(annal::test::value(kPath, "SELECT conn_res FROM ANNAL_CONN"), "x");
}

// A batch would wait 20 s for each of its records, and forward those that it could not store.
TEST_F(AnnalctlConn, LogThatAnotherWritesToIsWaitedForOnce) {
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kPath, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto begun = std::chrono::steady_clock::now();
  RunningAnnalctl adding({"conn", "add", "x"});
  const std::string two =
      line("Failed password for a from 10.0.0.1 port 1 ssh2") + line("Failed password for b from 10.0.0.1 port 1 ssh2");
  const Finished imported = conn({"import", "-"}, two);
  const Finished added = adding.finish();
  const auto took = std::chrono::steady_clock::now() - begun;
  sqlite3_close(writer);
  EXPECT_GE(took, std::chrono::seconds(19));
  EXPECT_LT(took, std::chrono::seconds(35));
  for (const Finished& finished : {imported, added}) {
    EXPECT_EQ(finished.status, 1);
    EXPECT_NE(finished.err.find("is locked by process"), std::string::npos) << finished.err;
    EXPECT_NE(finished.err.find("still after 20 s"), std::string::npos) << finished.err;
  }
  EXPECT_NE(imported.err.find("stopped at line 1 of -"), std::string::npos) << imported.err;
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlConn, LockedLogIsWaitedForAndNotDeleted) {
  add({"one"});
  const LockHolder holder(kPath, std::chrono::milliseconds(300));
  add({"two"});
  EXPECT_EQ(resources({}), (Texts{"one", "two"}));
}
