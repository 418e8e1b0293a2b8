// What the imports of all four logs have in common.
#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Corix_annal.h"
#include "tests/support/commands.h"
#include "tests/support/log_file.h"
#include "tests/tools/annalctl.h"

namespace {

using annal::test::Commands;
using annal::test::sql;
using Json = nlohmann::json;
using Texts = std::vector<std::string>;

constexpr char kEventLog[] = "/etc/logs/event.log";
constexpr char kConnLog[] = "/etc/logs/conn.log";
constexpr char kOperations[] = "/etc/logs/fileop.db";
constexpr char kEvsh[] = "/usr/local/sbin/evsh";
constexpr char kFile[] = "/etc/logs/lines";

struct LogName {
  Texts command;
  const char* id;
};

const std::vector<LogName>& all_logs() {
  static const std::vector<LogName> logs{{{"event"}, "event_id"},
                                         {{"conn"}, "conn_id"},
                                         {{"fileop", "--db", kOperations}, "event_id"},
                                         {{"notice"}, "id"}};
  return logs;
}

class AnnalctlImports : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    for (const LogName& log : all_logs()) {
      ASSERT_EQ(of(log, {"create"}).status, 0);
    }
  }

  static Finished of(const LogName& log, const Texts& arguments, const std::string& input = {}) {
    Texts all = log.command;
    all.insert(all.end(), arguments.begin(), arguments.end());
    return annalctl(all, input);
  }

  static std::vector<Json> rows_of(const LogName& log) {
    std::vector<Json> rows;
    for (const std::string& line : lines_of(of(log, {"list", "--all", "--sort", "id", "--json"}).out)) {
      rows.push_back(Json::parse(line));
      rows.back().erase(log.id);
    }
    return rows;
  }

  static const LogName& event() { return all_logs()[0]; }
  static const LogName& conn() { return all_logs()[1]; }

  static std::string events(int first, int count) {
    std::string lines;
    for (int i = first; i < first + count; ++i) {
      lines += Json{{"event_desc", "e" + std::to_string(i)}, {"event_timet", 1795255200 + i % 7}}.dump() + "\n";
    }
    return lines;
  }
};

}  // namespace

TEST_F(AnnalctlImports, NothingIsHandedOnUnlessAsked) {
  Commands::install(kEvsh);
  ASSERT_EQ(of(event(), {"import", "-"}, events(0, 3)).status, 0);
  ASSERT_EQ(of(conn(), {"import", "-"}, "{\"conn_user\":\"bob\"}\n").status, 0);
  EXPECT_TRUE(Commands::settled().empty());
  ASSERT_EQ(of(event(), {"import", "--notify", "-"}, events(0, 1)).status, 0);
  EXPECT_FALSE(Commands::wait_for(1).empty());
  EXPECT_NE(of(event(), {"import", "--help"}).out.find("without it nothing is sent"), std::string::npos);
}

// What --notify stores is stored by the library.
TEST_F(AnnalctlImports, EventsAreStoredAsTheLibraryStoresThem) {
  const std::string lines =
      "{\"event_desc\":\"a\\tb\\nc\\u0001d\\u0085e\\u202ef\",\"event_timet\":1795255200}\n"
      "{\"event_desc\":\"\",\"event_timet\":-5,\"event_ip\":\"::ffff:10.0.0.1\"}\n"
      "{\"event_desc\":\"it's\",\"event_timet\":2147483647,\"event_ip\":\"fe80::1%eth0\",\"event_type\":2}\n"
      "{\"event_user\":\"u\",\"event_comp\":\"c\",\"event_msgid\":\"m\",\"event_timet\":1,\"event_client_app\":\"---"
      "x\"}\n"
      "{\"event_app_id\":\"1\",\"event_app_name\":\"2\",\"event_category_id\":\"3\",\"event_category\":\"4\","
      "\"event_client_id\":\"5\",\"event_client_app\":\"6\",\"event_client_agent\":\"7\",\"event_timet\":1720000000}\n"
      "{\"event_ip\":\"---\",\"event_client_app\":\"web\",\"event_timet\":1710000000}\n"
      "Jun  4 15:16:01 combo sshd(pam_unix)[19939]: authentication failure; rhost=218.188.2.4  user=root\n";
  ASSERT_EQ(of(event(), {"import", "--notify", "-"}, lines).status, 0);
  const std::vector<Json> by_library = rows_of(event());
  ASSERT_EQ(of(event(), {"flush", "--yes"}).status, 0);
  ASSERT_EQ(of(event(), {"import", "-"}, lines).status, 0);
  const std::vector<Json> own = rows_of(event());
  ASSERT_EQ(own.size(), 7U);
  EXPECT_EQ(own, by_library);
  EXPECT_EQ(own[0]["event_desc"], "a b cdef");
}

TEST_F(AnnalctlImports, ConnectionsAreStoredAsTheLibraryStoresThem) {
  const std::string lines =
      "{\"conn_res\":\"a\\tb\\u0001c\"}\n"
      "{\"conn_user\":\"o'neil\",\"conn_ip\":\"::ffff:10.0.0.1\",\"conn_comp\":\"pc\",\"conn_serv\":3,\"conn_action\":"
      "4}\n"
      "{\"conn_res\":\"\\u0001\",\"conn_client_app\":\"web\",\"conn_client_agent\":\"x\",\"conn_action_result\":13}\n"
      "{\"conn_ip\":\"127.0.0.1\",\"conn_client_app\":\"---x\",\"conn_type\":2,\"conn_app\":\"a\"}\n";
  ASSERT_EQ(of(conn(), {"import", "--notify", "-"}, lines).status, 0);
  std::vector<Json> by_library = rows_of(conn());
  ASSERT_EQ(of(conn(), {"flush", "--yes"}).status, 0);
  ASSERT_EQ(of(conn(), {"import", "-"}, lines).status, 0);
  std::vector<Json> own = rows_of(conn());
  ASSERT_EQ(own.size(), 4U);
  ASSERT_EQ(by_library.size(), 4U);
  for (std::size_t i = 0; i < own.size(); ++i) {
    EXPECT_EQ(own[i]["conn_date"].get<std::string>().size(), 10U);
    EXPECT_EQ(own[i]["conn_time"].get<std::string>().size(), 8U);
    for (const char* stamped : {"conn_date", "conn_time", "timestamp"}) {
      own[i].erase(stamped);
      by_library[i].erase(stamped);
    }
  }
  EXPECT_EQ(own, by_library);
}

TEST_F(AnnalctlImports, NoticesAndOperationsAreStoredAsTheLibraryStoresThem) {
  const LogName& fileop = all_logs()[2];
  const LogName& notice = all_logs()[3];
  const auto without_time = [](std::vector<Json> rows) {
    for (Json& row : rows) {
      for (const char* stamped : {"time", "endtime", "event_date", "event_time", "timestamp"}) {
        row.erase(stamped);
      }
    }
    return rows;
  };
  ASSERT_EQ(of(fileop, {"add", "/a'b", "--action", "4", "--user", "o'neil", "--ip", "10.0.0.1"}).status, 0);
  ASSERT_EQ(of(fileop, {"add", "/x", "--action", "1"}).status, 0);
  ASSERT_EQ(of(notice, {"add", "it's\x01 so", "--ip", "::ffff:10.0.0.1", "--title", "t"}).status, 0);
  ASSERT_EQ(of(notice, {"add", "x", "--severity", "error"}).status, 0);
  const std::vector<Json> operations = without_time(rows_of(fileop));
  const std::vector<Json> notices = without_time(rows_of(notice));
  ASSERT_EQ(of(fileop, {"flush", "--yes"}).status, 0);
  ASSERT_EQ(of(notice, {"flush", "--yes"}).status, 0);
  ASSERT_EQ(of(fileop, {"import", "-"},
               "{\"event_filepath\":\"/a'b\",\"event_action\":4,\"event_user\":\"o'neil\",\"event_ip\":\"10.0.0.1\"}\n"
               "{\"event_filepath\":\"/x\",\"event_action\":1}\n")
                .status,
            0);
  ASSERT_EQ(of(notice, {"import", "-"},
               "{\"desc\":\"it's\\u0001 so\",\"ip\":\"::ffff:10.0.0.1\",\"title\":\"t\"}\n"
               "{\"desc\":\"x\",\"severity\":\"error\"}\n")
                .status,
            0);
  EXPECT_EQ(without_time(rows_of(fileop)), operations);
  EXPECT_EQ(without_time(rows_of(notice)), notices);
}

TEST_F(AnnalctlImports, EveryLogIsWrittenOutAndReadBack) {
  ASSERT_EQ(of(event(), {"import", "-"}, events(0, 3)).status, 0);
  ASSERT_EQ(of(event(), {"add", "quote \" ' , \\ ü", "--client-agent", "two\r\nlines"}).status, 0);
  sql(kEventLog,
      "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, "
      "event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, "
      "event_category) VALUES (0, '2020-01-02', '03:04:05', '', '', 'c', 'old', '0', 0, '', '', '', '')");
  ASSERT_EQ(of(conn(), {"add", "a \"b\"", "--user", "o'neil", "--failed"}).status, 0);
  sql(kConnLog, "UPDATE ANNAL_CONN SET conn_date = '2020-01-02', conn_app = ''");
  ASSERT_EQ(of(all_logs()[2], {"add", "/a,b\n'c'", "--action", "4", "--time", "2020-01-02 03:04:05"}).status, 0);
  ASSERT_EQ(of(all_logs()[3], {"add", "x\"y", "--varcontent", "two\nlines", "--uid", "7"}).status, 0);
  sql("/etc/logs/notice.log", "UPDATE ANNAL_NOTICE SET time = 1700000000, endtime = 1700000001");
  for (const LogName& log : all_logs()) {
    const std::vector<Json> before = rows_of(log);
    ASSERT_FALSE(before.empty());
    for (const char* form : {"--json", "--csv"}) {
      const std::string listed = of(log, {"list", "--all", "--sort", "id", form}).out;
      ASSERT_EQ(of(log, {"flush", "--yes"}).status, 0);
      const Finished imported = of(log, {"import", "-"}, listed);
      EXPECT_EQ(imported.status, 0) << imported.err;
      EXPECT_EQ(rows_of(log), before) << log.command[0] << form;
    }
  }
}

TEST_F(AnnalctlImports, FullLogDropsWhatItsTriggerWouldDrop) {
  struct Size {
    int limit;
    int batch;
  };
  std::string lines;
  for (int i = 0; i < 60; ++i) {
    lines += Json{{"event_desc", std::to_string(i)}, {"event_timet", 1700000000 + (i * 37) % 61 * 1000}}.dump() + "\n";
  }
  for (const Size& size : {Size{10, 1}, Size{10, 4}, Size{25, 25}}) {
    std::vector<std::vector<Json>> stored;
    for (const bool by_library : {true, false}) {
      ASSERT_EQ(of(event(), {"flush", "--yes"}).status, 0);
      ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
      ASSERT_EQ(annal_event_add_trigger_logfull(size.limit, size.batch), ANNAL_OK);
      const Finished finished =
          of(event(), by_library ? Texts{"import", "--notify", "-"} : Texts{"import", "-"}, lines);
      stored.push_back(rows_of(event()));
      if (!by_library) {
        EXPECT_EQ(finished.out, "imported 60 events from -, 0 lines refused, " + std::to_string(60 - stored[0].size()) +
                                    " dropped by the log's limit\n");
      }
    }
    EXPECT_EQ(stored[0], stored[1]);
  }
}

TEST_F(AnnalctlImports, OtherTriggersRunToo) {
  sql(kEventLog, "CREATE TABLE seen (n)");
  sql(kEventLog, "CREATE TRIGGER theirs AFTER INSERT ON ANNAL_EVENT BEGIN INSERT INTO seen VALUES (1); END");
  ASSERT_EQ(of(event(), {"import", "-"}, events(0, 5)).status, 0);
  EXPECT_EQ(annal::test::value(kEventLog, "SELECT count(*) FROM seen"), "5");
}

TEST_F(AnnalctlImports, KnownEntriesAreLeftOutAsOftenAsTheyAreThere) {
  const std::string twice = events(0, 4) + events(0, 1);
  ASSERT_EQ(of(event(), {"import", "-"}, twice).status, 0);
  EXPECT_EQ(of(event(), {"import", "--skip-known", "-"}, twice + events(0, 1) + events(4, 2)).out,
            "imported 3 events from -, 0 lines refused, 5 known already\n");
  const std::string auth = "2026-11-20T10:00:00 nas sshd[1]: Failed password for root from 10.0.0.1 port 1 ssh2\n";
  for (const char* said : {"imported 1 connection from -, 0 lines refused\n",
                           "imported 0 connections from -, 0 lines refused, 1 known already\n"}) {
    EXPECT_EQ(of(conn(), {"import", "--skip-known", "-"}, auth).out, said);
  }
}

TEST_F(AnnalctlImports, LikeRefusalsAreSummedUpAndTooManyStop) {
  const std::string bad = "{\"event_type\":7}\n{\"event_type\":8}\n{\"event_type\":9}\n";
  const Finished all = of(event(), {"import", "-"}, bad + events(0, 1));
  EXPECT_EQ(all.status, 1);
  EXPECT_EQ(lines_of(all.err).size(), 2U) << all.err;
  EXPECT_NE(all.err.find("-: 2 more like line 1\n"), std::string::npos) << all.err;
  const Finished stopped = of(event(), {"import", "--max-refused", "2", "-"}, events(0, 1) + bad + events(0, 1));
  EXPECT_EQ(stopped.status, 1);
  EXPECT_NE(stopped.err.find("stopped after 2 refused lines at line 4 of -: continue with --from-line 4"),
            std::string::npos)
      << stopped.err;
  EXPECT_EQ(stopped.out, "imported 1 event from -, 2 lines refused\n");
}

TEST_F(AnnalctlImports, SignalStoresWhatWasReadAndSaysHowToGoOn) {
  ASSERT_EQ(mkfifo(kFile, 0600), 0);
  for (const int signal : {SIGINT, SIGTERM}) {
    ASSERT_EQ(of(event(), {"flush", "--yes"}).status, 0);
    RunningAnnalctl import({"event", "import", kFile});
    std::ofstream writer(kFile);
    writer << events(0, 3) << std::flush;
    // A pipe that pauses has its entries stored meanwhile.
    for (int i = 0; i < 400 && rows_of(event()).size() < 3; ++i) {
      usleep(50000);
    }
    EXPECT_EQ(rows_of(event()).size(), 3U);
    const Finished finished = import.finish(signal);
    EXPECT_EQ(finished.status, 1);
    const std::string name = signal == SIGINT ? "SIGINT" : "SIGTERM";
    EXPECT_NE(finished.err.find("stopped by " + name + " at line 4 of " + std::string(kFile) +
                                ": continue with --from-line 4"),
              std::string::npos)
        << finished.err;
    EXPECT_EQ(finished.out, "imported 3 events from " + std::string(kFile) + ", 0 lines refused\n");
  }
}

TEST_F(AnnalctlImports, DryRunShowsRowsAndWhatTheirLevelComesFrom) {
  const std::string lines = "<11>Nov 21 10:00:00 nas p: x\nNov 21 10:00:00 nas p: it failed\n";
  const Finished table = of(event(), {"import", "--dry-run", "-"}, lines);
  EXPECT_NE(table.out.find("the priority 11"), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("the word 'failed'"), std::string::npos) << table.out;
  const Finished json = of(event(), {"import", "--dry-run", "--json", "-"}, lines);
  ASSERT_EQ(lines_of(json.out).size(), 2U) << json.out;
  const Json second = Json::parse(lines_of(json.out)[1]);
  EXPECT_EQ(second["line"], 2);
  EXPECT_EQ(second["event_type"], 2);
  EXPECT_EQ(second["level_from"], "the word 'failed'");
  EXPECT_EQ(json.err, "would import 2 events from -, 0 lines refused\n");
  EXPECT_TRUE(rows_of(event()).empty());
}

TEST_F(AnnalctlImports, PatternTakesLinesOfAnyForm) {
  const Finished finished =
      of(event(),
         {"import", "--time-format", "%y%m%d %H%M%S", "--pattern",
          R"(^(?P<time>\d+ \d+) (?P<pid>\d+) (?P<level>\w+) (?P<program>[^:]+): (?P<message>.*))", "-"},
         "081109 203615 148 WARN dfs.DataNode: slow\r\nother\n");
  EXPECT_EQ(finished.out, "imported 1 event from -, 1 line refused\n") << finished.err;
  const Json row = rows_of(event()).at(0);
  EXPECT_EQ(row["event_date"], "2008-11-09");
  EXPECT_EQ(row["event_time"], "20:36:15");
  EXPECT_EQ(row["event_type"], 1);
  EXPECT_EQ(row["event_app_name"], "dfs.DataNode");
  EXPECT_EQ(row["event_desc"], "slow");
  for (const char* pattern : {"(", "x", "(?P<colour>.*)"}) {
    EXPECT_EQ(of(event(), {"import", "--pattern", pattern, "-"}).status, 2) << pattern;
  }
}

TEST_F(AnnalctlImports, CsvOfAnotherProgramAndTheJournalAreRead) {
  ASSERT_EQ(of(event(), {"import", "-"}, "time,level,message\n2026-11-21T10:00:00Z,err,\"a, b\"\n").status, 0);
  ASSERT_EQ(
      of(event(), {"import", "-"},
         "{\"__REALTIME_TIMESTAMP\":\"1795255200000001\",\"PRIORITY\":\"4\",\"_HOSTNAME\":\"nas\",\"_PID\":\"7\","
         "\"SYSLOG_IDENTIFIER\":\"p\",\"_COMM\":\"q\",\"MESSAGE\":[104,105,9,255],\"_TRANSPORT\":[\"a\",\"b\"]}\n")
          .status,
      0);
  const std::vector<Json> rows = rows_of(event());
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["event_desc"], "a, b");
  EXPECT_EQ(rows[0]["event_type"], 2);
  EXPECT_EQ(rows[1]["event_timet"], 1795255200);
  EXPECT_EQ(rows[1]["event_type"], 1);
  EXPECT_EQ(rows[1]["event_app_name"], "p");
  EXPECT_EQ(annal::test::value(kEventLog, "SELECT hex(event_desc) FROM ANNAL_EVENT WHERE event_id = 2"), "686920FF");
  const Finished wrong = of(event(), {"import", "--format", "csv", "-"}, "time,colour\n1,red\n");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_NE(wrong.err.find("'colour', which is not a column"), std::string::npos) << wrong.err;
  EXPECT_EQ(of(event(), {"import", "-"}, "time,message\n1795255200\n").status, 1);
  EXPECT_NE(of(event(), {"import", "-"}, "time,message\n1,\"open\n").err.find("does not end"), std::string::npos);
}

TEST_F(AnnalctlImports, CompressedFilesAreReadAndDamagedOnesTold) {
  for (const auto filter : {archive_write_add_filter_gzip, archive_write_add_filter_bzip2, archive_write_add_filter_xz,
                            archive_write_add_filter_zstd}) {
    ASSERT_EQ(of(event(), {"flush", "--yes"}).status, 0);
    archive* const writer = archive_write_new();
    ASSERT_EQ(filter(writer), ARCHIVE_OK);
    archive_write_set_format_raw(writer);
    ASSERT_EQ(archive_write_open_filename(writer, kFile), ARCHIVE_OK);
    archive_entry* const entry = archive_entry_new();
    archive_entry_set_filetype(entry, AE_IFREG);
    ASSERT_EQ(archive_write_header(writer, entry), ARCHIVE_OK);
    const std::string text = events(0, 50);
    ASSERT_EQ(archive_write_data(writer, text.data(), text.size()), static_cast<la_ssize_t>(text.size()));
    archive_entry_free(entry);
    ASSERT_EQ(archive_write_free(writer), ARCHIVE_OK);
    EXPECT_EQ(of(event(), {"import", kFile}).out,
              "imported 50 events from " + std::string(kFile) + ", 0 lines refused\n");
    struct stat status {};
    ASSERT_EQ(stat(kFile, &status), 0);
    ASSERT_EQ(truncate(kFile, status.st_size - 9), 0);
    const Finished cut = of(event(), {"import", kFile});
    EXPECT_EQ(cut.status, 1);
    EXPECT_NE(cut.err.find(std::string(kFile) + ": cannot read"), std::string::npos) << cut.err;
  }
}

TEST_F(AnnalctlImports, MissingStandardInputFails) {
  for (const Texts& command : {Texts{"event", "import", "-"}, {"event", "add", "-"}, {"notice", "import", "-"}}) {
    const Finished typed = annalctl_at_terminal(command, "");
    EXPECT_NE(typed.status, 0);
    EXPECT_NE(typed.err.find("there is no standard input"), std::string::npos) << typed.err;
  }
}

TEST_F(AnnalctlImports, AddReadsADashFromStandardInput) {
  ASSERT_EQ(of(event(), {"add", "-"}, "two\nlines\n").status, 0);
  ASSERT_EQ(of(conn(), {"add", "-"}, "a\tb").status, 0);
  ASSERT_EQ(of(all_logs()[2], {"add", "-", "--action", "1"}, "/a b\n").status, 0);
  ASSERT_EQ(of(all_logs()[3], {"add", "-"}, "x\n").status, 0);
  EXPECT_EQ(rows_of(event()).at(0)["event_desc"], "two lines");
  EXPECT_EQ(rows_of(conn()).at(0)["conn_res"], "a b");
  EXPECT_EQ(rows_of(all_logs()[2]).at(0)["event_filepath"], "/a b");
  EXPECT_EQ(rows_of(all_logs()[3]).at(0)["desc"], "x");
}

TEST_F(AnnalctlImports, HelpFitsEightyColumns) {
  for (const LogName& log : all_logs()) {
    for (const std::string& line : lines_of(of(log, {"import", "--help"}).out)) {
      EXPECT_LE(line.size(), 80U) << line;
    }
  }
}
