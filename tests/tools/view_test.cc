// How annalctl shows entries to people and to programs, and the conventions of other tools that it follows.
#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/tools/annalctl.h"
#include "tests/tools/command_lines.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::sql;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class AnnalctlView : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    setenv("TZ", "Europe/Berlin", 1);
    ASSERT_EQ(annalctl({"event", "add", "Fan 2 failed.", "--type", "error", "--app", "Hardware", "--time",
                        "2026-11-21 10:00:00"})
                  .status,
              0);
    ASSERT_EQ(annalctl({"event", "add", "logged in", "--user", "ann", "--time", "2026-07-01 10:00:00"}).status, 0);
  }
  void TearDown() override {
    unsetenv("TZ");
    AnnalctlEventTest::TearDown();
  }
};

}  // namespace

// --- json ---

TEST_F(AnnalctlView, JsonSaysTimeLevelAndLogBesideTheColumns) {
  const Json first = Json::parse(lines_of(annalctl({"event", "list", "--json"}).out).at(0));
  EXPECT_EQ(first["timestamp"], "2026-11-21T10:00:00+01:00");
  EXPECT_EQ(first["level"], "error");
  EXPECT_EQ(first["log"], "event");
  EXPECT_EQ(first["event_date"], "2026-11-21");
  EXPECT_EQ(first.size(), 17U + 3U);
  const Json summer = Json::parse(lines_of(annalctl({"event", "list", "--json"}).out).at(1));
  EXPECT_EQ(summer["timestamp"], "2026-07-01T10:00:00+02:00");
  const Json utc = Json::parse(lines_of(annalctl({"event", "list", "-o", "json", "--utc"}).out).at(0));
  EXPECT_EQ(utc["timestamp"], "2026-11-21T09:00:00Z");
  EXPECT_EQ(utc["event_time"], "10:00:00");
}

TEST_F(AnnalctlView, JsonOfEachLogSaysTimeLevelAndLog) {
  const Texts fileop{"fileop", "--db", "/etc/logs/operations.db"};
  for (const Texts& log : {Texts{"conn"}, {"notice"}, fileop}) {
    const auto run = [&log](Texts more) {
      more.insert(more.begin(), log.begin(), log.end());
      return annalctl(more);
    };
    ASSERT_EQ(run({"create"}).status, 0);
    if (log[0] == "conn") {
      sql("/etc/logs/conn.log",
          "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time) VALUES (1, '2026-11-21', '10:00:00'), (7, 'x', "
          "'')");
    } else if (log[0] == "notice") {
      sql("/etc/logs/notice.log", "INSERT INTO ANNAL_NOTICE (severity, time) VALUES (4, 1795251600), (NULL, 'x')");
    } else {
      sql("/etc/logs/operations.db",
          "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time) VALUES (1, '2026-11-21', '10:00:00'), (7, "
          "'x', '')");
    }
    const Texts lines = lines_of(run({"list", "--json", "--sort", "id"}).out);
    ASSERT_EQ(lines.size(), 2U);
    const Json known = Json::parse(lines[0]);
    EXPECT_EQ(known["timestamp"], "2026-11-21T10:00:00+01:00") << lines[0];
    EXPECT_EQ(known["level"], "warning") << lines[0];
    EXPECT_EQ(known["log"], log[0]);
    EXPECT_EQ(Json::parse(lines[1])["timestamp"], nullptr) << lines[1];
  }
}

TEST_F(AnnalctlView, JsonCanBeImportedAgain) {
  const std::string listing = annalctl({"event", "list", "--all", "--sort", "id", "--json"}).out;
  ASSERT_EQ(annalctl({"event", "flush", "--yes"}).status, 0);
  sql("/etc/logs/event.log", "DELETE FROM sqlite_sequence;");
  ASSERT_EQ(annalctl({"event", "import", "-"}, listing).status, 0);
  EXPECT_EQ(annalctl({"event", "list", "--all", "--sort", "id", "--json"}).out, listing);
}

// --- forms ---

TEST_F(AnnalctlView, OutputNamesTheForm) {
  EXPECT_EQ(annalctl({"event", "list", "-o", "csv"}).out, annalctl({"event", "list", "--csv"}).out);
  EXPECT_EQ(annalctl({"event", "list", "--output", "JSON"}).out, annalctl({"event", "list", "--json"}).out);
  EXPECT_EQ(annalctl({"event", "list", "-o", "table"}).out, annalctl({"event", "list"}).out);
  EXPECT_EQ(annalctl({"event", "list", "-o", "xml"}).status, 2);
  EXPECT_EQ(annalctl({"event", "list", "-o", "csv", "--json"}).status, 2);
  EXPECT_THAT(annalctl({"event", "list", "-o", "full", "-n", "1"}).out,
              HasSubstr("event_desc:         Fan 2 failed.\n"));
}

TEST_F(AnnalctlView, TableLeavesOutColumnsThatSayNothing) {
  const Texts lines = lines_of(annalctl({"event", "list", "--type", "error"}).out);
  EXPECT_EQ(lines[0], "ID  Date        Time      Level  Computer   Application  Message");
  EXPECT_EQ(lines[1], " 1  2026-11-21  10:00:00  error  localhost  Hardware     Fan 2 failed.");
  EXPECT_THAT(lines_of(annalctl({"event", "list", "--type", "error", "--wide"}).out)[0], HasSubstr("Address"));
}

TEST_F(AnnalctlView, ColumnsAreThoseThatAreAskedFor) {
  EXPECT_EQ(annalctl({"event", "list", "--columns", "message,id,event_msgid", "-n", "1"}).out,
            "Message        ID  event_msgid\nFan 2 failed.   1  ---\n");
  EXPECT_EQ(annalctl({"event", "list", "--columns", "id", "--columns", "user", "--csv"}).out,
            "event_id,event_user\r\n1,---\r\n2,ann\r\n");
  EXPECT_EQ(annalctl({"event", "list", "--columns", "id,level", "--json", "-n", "1"}).out,
            "{\"event_id\":1,\"event_type\":2}\n");
  const Finished refused = annalctl({"event", "list", "--columns", "colour"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err, HasSubstr("there is no column 'colour': the columns are id, type, date"));
}

TEST_F(AnnalctlView, TimesAreShownInUtcWhenAsked) {
  EXPECT_THAT(annalctl({"event", "list", "--utc", "-n", "1"}).out, HasSubstr("2026-11-21  09:00:00"));
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  sql("/etc/logs/notice.log", "INSERT INTO ANNAL_NOTICE (severity, time) VALUES (4, 1795251600)");
  EXPECT_THAT(annalctl({"notice", "list", "--utc"}).out, HasSubstr("2026-11-21 09:00:00"));
  EXPECT_THAT(annalctl({"notice", "list"}).out, HasSubstr("2026-11-21 10:00:00"));
}

TEST_F(AnnalctlView, ShowNamesWhatCodesMean) {
  EXPECT_THAT(annalctl({"event", "show", "1"}).out, HasSubstr("event_type:         2 (error)\n"));
  ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
  sql("/etc/logs/conn.log", "INSERT INTO ANNAL_CONN (conn_type, conn_action_result, conn_action) VALUES (1, 13, 99)");
  const std::string shown = annalctl({"conn", "list", "-o", "full"}).out;
  EXPECT_THAT(shown, HasSubstr("conn_type:          1 (warning)\n"));
  EXPECT_THAT(shown, HasSubstr("conn_action:        99\n"));
  EXPECT_THAT(shown, HasSubstr("conn_action_result: 13 (failed)\n"));
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  sql("/etc/logs/notice.log", "INSERT INTO ANNAL_NOTICE (severity, time) VALUES (4, 1795251600)");
  const std::string notice = annalctl({"notice", "show", "1", "--utc"}).out;
  EXPECT_THAT(notice, HasSubstr("severity:    4 (warning)\n"));
  EXPECT_THAT(notice, HasSubstr("time:        1795251600\n"));
}

TEST_F(AnnalctlView, ShowSaysEverythingOfAnEntry) {
  const Finished shown = annalctl({"event", "show", "1"});
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(lines_of(shown.out).size(), 20U);
  EXPECT_THAT(shown.out, StartsWith("event_id:           1\n"));
  EXPECT_THAT(shown.out, HasSubstr("timestamp:          2026-11-21T10:00:00+01:00\nlevel:              error\n"));
  EXPECT_EQ(Json::parse(annalctl({"event", "show", "2", "--json"}).out)["event_user"], "ann");
  EXPECT_EQ(lines_of(annalctl({"event", "show", "2", "1"}).out).size(), 41U);
  const Finished missing = annalctl({"event", "show", "1", "9"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.out, shown.out);
  EXPECT_THAT(missing.err, HasSubstr("there is no entry 9 among the events"));
  EXPECT_EQ(annalctl({"event", "show"}).status, 2);
  EXPECT_EQ(annalctl({"event", "show", "x"}).status, 2);
}

// --- habits ---

TEST_F(AnnalctlView, ShortOptionsAreThoseOfOtherTools) {
  EXPECT_EQ(annalctl({"event", "list", "-n", "1", "--csv"}).out,
            annalctl({"event", "list", "--limit", "1", "--csv"}).out);
  EXPECT_EQ(annalctl({"event", "list", "-r"}).out, annalctl({"event", "list", "--reverse"}).out);
  EXPECT_EQ(annalctl({"-V"}).out, annalctl({"--version"}).out);
  EXPECT_EQ(annalctl({"event", "tail", "-f", "--no-follow"}).status, 2);
  RunningAnnalctl following({"event", "tail", "-f", "-n", "1", "--csv"});
  EXPECT_EQ(following.wait_for_lines(2).size(), 2U);
  EXPECT_EQ(following.finish(SIGINT).status, 0);
}

TEST_F(AnnalctlView, HelpIsAWordToo) {
  const std::string help = annalctl({"event", "list", "--help"}).out;
  EXPECT_THAT(help, HasSubstr("Usage: annalctl event list"));
  EXPECT_EQ(annalctl({"help", "event", "list"}).out, help);
  EXPECT_EQ(annalctl({"event", "help", "list"}).out, help);
  EXPECT_EQ(annalctl({"help"}).out, annalctl({"--help"}).out);
  const Finished unknown = annalctl({"help", "evnt"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("'evnt' is not known; did you mean 'event'?"));
}

TEST_F(AnnalctlView, MistypedNamesAreAnsweredWithWhatMayBeMeant) {
  const struct {
    Texts line;
    const char* answer;
  } cases[] = {
      {{"evnet"}, "'evnet' is not known; did you mean 'event'?"},
      {{"event", "lst"}, "'lst' is not known; did you mean 'list'?"},
      {{"event", "list", "--typ", "error"}, "'--typ' is not known; did you mean '--type'?"},
      {{"event", "list", "--untill=now"}, "'--untill=now' is not known; did you mean '--until'?"},
      {{"event", "list", "--jsno"}, "'--jsno' is not known; did you mean '--json'?"},
      {{"event", "list", "surplus", "words"}, "'surplus' is not expected here"},
      {{"zzzzzz"}, "'zzzzzz' is not known\n"},
      // What other programs call it.
      {{"event", "list", "--level", "error"}, "'--level' is not known; did you mean '--type'?"},
      {{"conn", "list", "--from=monday"}, "'--from=monday' is not known; did you mean '--since'?"},
      {{"facilities", "--level"}, "'--level' is not known\n"},
  };
  for (const auto& [line, answer] : cases) {
    const Finished refused = annalctl(line);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr(answer));
    EXPECT_THAT(refused.err, HasSubstr(" --help' for its options."));
  }
}

TEST_F(AnnalctlView, WrongValuesAreAnsweredWithWhatTheOptionTakes) {
  const struct {
    Texts line;
    const char* answer;
  } cases[] = {
      {{}, ": a command is missing\n"},
      {{"event", "list", "--limit"}, ": --limit needs a value\n"},
      {{"event", "list", "--sort"}, ": --sort needs a value\n"},
      {{"event", "list", "--limit="}, ": --limit needs a value\n"},
      {{"event", "list", "--limit", "abc"}, ": --limit: 'abc' is not a number from 0 to 2147483647\n"},
      {{"event", "list", "--limit", "-1"}, ": --limit: '-1' is not a number from 0 to 2147483647\n"},
      {{"event", "tail", "--interval", "0"}, ": --interval: '0' is not a number from 0.01 to 86400\n"},
      {{"event", "list", "--limit", "1", "--limit", "2"}, ": --limit can be given only once\n"},
      {{"event", "list", "--limit", "1", "--all"}, ": --limit cannot be combined with --all\n"},
      {{"event", "list", "--all=maybe"}, ": --all takes no value\n"},
      {{"event", "show", "abc"}, ": ID: 'abc' is not a number\n"},
      {{"event", "trim", "\xff\n"}, ": KEEP: '\\xff\\x0a' is not a number from 1 to 2147483647\n"},
      {{"event", "add"}, ": MESSAGE is required\n"},
      {{"event", "keep"}, ": it does not say what to keep: give --days, --size or both\n"},
      {{"keep"}, ": it does not say what to keep: give --days, --size or both\n"},
      {{"redact"}, ": it does not say which log: "},
      {{"verify", "disk"}, ": LOG: 'disk' is not known; it takes one of event,conn,notice\n"},
      {{"event", "create", "--limit", "10", "--batch", "11"}, ": --batch: 11 is more than the limit, 10: "},
      {{"event", "limit", "10", "--batch", "11"}, ": --batch: 11 is more than the limit, 10: "},
      {{"event", "keep", "--size", "5Q"}, ": --size: '5Q' is not a size: write it as 200M\n"},
  };
  for (const auto& [line, answer] : cases) {
    const Finished refused = annalctl(line);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr(answer));
    EXPECT_THAT(refused.err, HasSubstr(" --help' for its options."));
  }
}

TEST_F(AnnalctlView, CsvOfSeveralLogsHasOneHeader) {
  for (const char* log : {"conn", "notice"}) {
    ASSERT_EQ(annalctl({log, "create"}).status, 0);
  }
  for (const Texts& line : {Texts{"check", "--csv"}, Texts{"keep", "--days", "9", "--csv"}}) {
    const std::string table = annalctl(line).out;
    EXPECT_EQ(table.find("log,file,"), 0U);
    EXPECT_EQ(table.rfind("log,file,"), 0U) << table;
    EXPECT_THAT(table,
                AllOf(HasSubstr("event,/etc/logs/"), HasSubstr("conn,/etc/logs/"), HasSubstr("notice,/etc/logs/")));
  }
}

TEST_F(AnnalctlView, CheckCountsOneEntryAsOne) {
  ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
  ASSERT_EQ(annalctl({"conn", "add", "/share"}).status, 0);
  EXPECT_EQ(annalctl({"conn", "check"}).out, "/etc/logs/conn.log: sound: 1 connection\n");
}

TEST_F(AnnalctlView, AWrongConditionIsAnsweredWithWhatIsWrongWithIt) {
  const std::string unknown = "SQLite refuses the statement: no such column: no_column\n";
  for (const Texts& line :
       {Texts{"list"}, Texts{"count"}, Texts{"tail", "--no-follow"}, Texts{"group", "--by", "user"}, Texts{"delete"}}) {
    Texts words{"event"};
    words.insert(words.end(), line.begin(), line.end());
    words.insert(words.end(), {"--where", "no_column > 3"});
    const Finished refused = annalctl(words);
    EXPECT_EQ(refused.status, 1) << line[0];
    EXPECT_THAT(refused.err, HasSubstr(unknown)) << line[0];
  }
}

TEST_F(AnnalctlView, HelpHasNoDoubleBlankLinesAndKeepsAnOptionWithItsValue) {
  for (const Texts& line : {Texts{"event", "list"}, Texts{"keep"}, Texts{"event", "add"}, Texts{"conn", "add"}}) {
    Texts words = line;
    words.emplace_back("--help");
    const std::string help = annalctl(words).out;
    EXPECT_THAT(help, Not(HasSubstr("\n\n\n")));
    EXPECT_FALSE(std::regex_search(help, std::regex("--[a-z-]+ \\\\\n"))) << help;
    EXPECT_THAT(help, Not(HasSubstr("Option Group")));
  }
}

TEST_F(AnnalctlView, ArgumentsAreTakenInTheirOrder) {
  const std::string folder = testing::TempDir();
  for (const char* name : {"b", "a", "c"}) {
    std::FILE* const file = std::fopen((folder + name).c_str(), "w");
    ASSERT_NE(file, nullptr);
    static_cast<void>(std::fprintf(file, "{\"event_desc\":\"of %s\"}\n", name));
    static_cast<void>(std::fclose(file));
  }
  const Finished imported =
      annalctl({"event", "import", folder + "b", "--format", "jsonl", folder + "a", folder + "c"});
  EXPECT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(annalctl({"event", "list", "--columns", "message", "--csv", "--sort", "id", "--offset", "2"}).out,
            "event_desc\r\nof b\r\nof a\r\nof c\r\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A049", "16", "Main unit", "--json", "2"}).out,
            annalctl({"catalog", "fill", "A049", "16", "Main unit", "2", "--json"}).out);
}

namespace {

// "annalctl fileop --db FILE list" is the command "annalctl fileop list".
std::string without_file(std::string line) {
  const std::size_t option = line.find(" --db ");
  if (line.starts_with("annalctl fileop --db ")) {
    line.erase(option, line.find(' ', option + 6) - option);
  }
  return line;
}

}  // namespace

TEST_F(AnnalctlView, HelpFitsATerminalAndHasExamplesOfItsCommandAlone) {
  for (const annal::test::Command& command : annal::test::all_commands()) {
    Texts line = command.words;
    line.emplace_back("--help");
    const std::string help = annalctl(line).out;
    std::string name = "annalctl";
    for (const std::string& word : command.words) {
      name += " " + word;
    }
    bool examples = false;
    bool of_this = false;
    for (const std::string& text : lines_of(help)) {
      EXPECT_LE(text.size(), 80U) << name << ": " << text;
      examples = examples || text == "Examples:";
      const std::string verb = text.starts_with("  ") ? without_file(text.substr(2)) : "";
      of_this = of_this || verb == name || verb.starts_with(name + " ");
      if (command.words.size() > 1) {
        EXPECT_NE(verb, "annalctl facilities --json") << name;  // one of the program's own
      }
    }
    EXPECT_TRUE(of_this || !examples || name == "annalctl help") << name;
  }
}

// --- the terminal ---

namespace {

// At a terminal of this size, with this pager.
Finished at_terminal(const Texts& arguments, unsigned short columns, unsigned short lines,
                     const char* pager = "sed 's/^/paged: /'") {
  int person = -1;
  int program = -1;
  const winsize size{lines, columns, 0, 0};
  if (openpty(&person, &program, nullptr, nullptr, &size) != 0) {
    ADD_FAILURE() << "no terminal could be opened";
    return {};
  }
  setenv("PAGER", pager, 1);
  RunningAnnalctl running(arguments, program);
  unsetenv("PAGER");
  close(program);
  std::string shown;
  std::array<char, 4096> bytes{};
  for (ssize_t got = 0; (got = read(person, bytes.data(), bytes.size())) > 0;) {
    shown.append(bytes.data(), static_cast<std::size_t>(got));
  }
  close(person);
  Finished finished = running.finish();
  finished.out = shown;
  return finished;
}

}  // namespace

TEST_F(AnnalctlView, PagerShowsWhatIsLongerThanTheScreenAndNoMore) {
  sql("/etc/logs/event.log",
      "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 40) INSERT INTO ANNAL_EVENT (event_type, "
      "event_date, event_time, event_desc) SELECT 2, '2026-11-21', '10:00:00', 'm' || i FROM n;");
  const Texts list{"event", "list"};
  EXPECT_THAT(at_terminal(list, 200, 24).out, HasSubstr("paged: "));
  EXPECT_THAT(at_terminal(list, 200, 100).out, Not(HasSubstr("paged: ")));
  EXPECT_THAT(at_terminal({"event", "list", "--no-pager"}, 200, 24).out, Not(HasSubstr("paged: ")));
  EXPECT_THAT(at_terminal({"event", "list", "--json"}, 200, 24).out, Not(HasSubstr("paged: ")));
  EXPECT_THAT(at_terminal({"event", "tail", "--no-follow", "-n", "40"}, 200, 24).out, Not(HasSubstr("paged: ")));
  EXPECT_THAT(annalctl(list).out, Not(HasSubstr("paged: ")));
  const Finished left = at_terminal({"event", "list"}, 200, 24, "head -1 > /dev/null");
  EXPECT_EQ(left.status, 0) << left.err;
}

TEST_F(AnnalctlView, LevelsHaveColoursUnlessToldOtherwise) {
  const Texts list{"event", "list", "--type", "error"};
  setenv("TERM", "xterm", 1);
  EXPECT_THAT(at_terminal(list, 80, 24).out, HasSubstr("\033[31merror\033[0m"));
  setenv("NO_COLOR", "1", 1);
  EXPECT_THAT(at_terminal(list, 80, 24).out, Not(HasSubstr("\033[")));
  unsetenv("NO_COLOR");
}

TEST_F(AnnalctlView, EntriesFitTheTerminalOrWhatColumnsSays) {
  ASSERT_EQ(annalctl({"event", "add", std::string(300, 'x'), "--user", "ann", "--ip", "203.0.113.7"}).status, 0);
  const auto widest = [](const std::string& shown) {
    std::size_t most = 0;
    for (const std::string& line : lines_of(shown)) {
      most = std::max(most, line.size());
    }
    return most;
  };
  setenv("NO_COLOR", "1", 1);
  const Texts list{"event", "list", "--since", "today"};
  // Each line ends with a carriage return, and what is cut with a character of three bytes.
  EXPECT_EQ(widest(at_terminal(list, 200, 24).out), 200U + 3U);
  EXPECT_EQ(widest(at_terminal(list, 40, 24).out), 40U + 3U);
  setenv("COLUMNS", "100", 1);
  EXPECT_EQ(widest(at_terminal(list, 200, 24).out), 100U + 3U);
  unsetenv("COLUMNS");
  unsetenv("NO_COLOR");
}

// A pager is left open for hours.
TEST_F(AnnalctlView, PagerThatIsNotLeftHoldsNoLock) {
  sql("/etc/logs/event.log",
      "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 3000) INSERT INTO ANNAL_EVENT (event_type, "
      "event_date, event_time, event_desc) SELECT 2, '2026-11-21', '10:00:00', printf('%0300d', i) FROM n;");
  int person = -1;
  int program = -1;
  const winsize size{24, 200, 0, 0};
  ASSERT_EQ(openpty(&person, &program, nullptr, nullptr, &size), 0);
  setenv("PAGER", "echo begun >&2; sleep 20", 1);
  RunningAnnalctl running({"event", "list", "--all"}, program);
  unsetenv("PAGER");
  close(program);
  EXPECT_THAT(running.wait_for_error("begun"), HasSubstr("begun"));
  for (int i = 0; i < 10; ++i) {
    usleep(20000);
    EXPECT_EQ(sql("/etc/logs/event.log", "BEGIN EXCLUSIVE; COMMIT;"), annal::test::Rows({}));
  }
  close(person);
  EXPECT_NE(running.finish(SIGTERM).status, 0);
}
