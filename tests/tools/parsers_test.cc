// The parsers of times, levels and imported lines.
#include <gtest/gtest.h>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/csv_rows.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"
#include "tools/annalctl/import/line_times.h"
#include "tools/annalctl/import/refusals.h"
#include "tools/annalctl/output/progress.h"

namespace annalctl {

namespace {

std::int64_t local(int year, int month, int day, int hour, int minute, int second) {
  return local_seconds({year, month, day, hour, minute, second}).value();
}

// Not a constant: the time zone is set when the test program runs.
std::int64_t now() {
  return local(2026, 11, 21, 12, 0, 0);
}

TEST(TimeText, ZoneDecidesWhereThereIsOne) {
  EXPECT_EQ(parse_time("2026-11-21T10:00:00Z"), 1795255200);
  EXPECT_EQ(parse_time("2026-11-21T12:00:00+02:00"), 1795255200);
  EXPECT_EQ(parse_time("2026-11-21T04:30:00.999-0530"), 1795255200);
  EXPECT_EQ(parse_time("@1795255200"), 1795255200);
  EXPECT_EQ(parse_time("@-5"), -5);
  EXPECT_EQ(parse_time("2026-11-21 10:00:00"), local(2026, 11, 21, 10, 0, 0));
}

TEST(TimeText, InvalidTimesAreRefused) {
  for (const char* text : {"", "@", "@1x", "now", "2026-11-21", "2026-11-21 10:00", "2026-13-01 00:00:00",
                           "2026-02-29 00:00:00", "2026-04-31 00:00:00", "2026-01-01 24:00:00", "2026-01-01 00:60:00",
                           "2026-01-01 00:00:00 ", "2026-01-01 00:00:00+99:00"}) {
    EXPECT_FALSE(parse_time(text).has_value()) << text;
  }
  EXPECT_TRUE(parse_time("2024-02-29 00:00:00").has_value());
}

TEST(When, ReadsWhatPeopleSay) {
  const auto moment = [](std::int64_t seconds) { return std::pair(seconds, seconds); };
  const std::vector<std::pair<const char*, std::pair<std::int64_t, std::int64_t>>> cases{
      {"now", moment(now())},
      {"2026-11-21 10:00:00", moment(local(2026, 11, 21, 10, 0, 0))},
      {"2026-11-21T10:00:00Z", moment(1795255200)},
      {"@1795255200", moment(1795255200)},
      {"2026-11-20", {local(2026, 11, 20, 0, 0, 0), local(2026, 11, 20, 23, 59, 59)}},
      {"today", {local(2026, 11, 21, 0, 0, 0), local(2026, 11, 21, 23, 59, 59)}},
      {"yesterday", {local(2026, 11, 20, 0, 0, 0), local(2026, 11, 20, 23, 59, 59)}},
      {"-90s", moment(now() - 90)},
      {"-5m", moment(now() - 300)},
      {"-2h", moment(now() - 7200)},
      {"-1d", moment(local(2026, 11, 20, 12, 0, 0))},
      {"-3w", moment(local(2026, 10, 31, 12, 0, 0))},
      {"1 second ago", moment(now() - 1)},
      {"90 minutes ago", moment(now() - 5400)},
      {"1 hour ago", moment(now() - 3600)},
      {"2 days ago", moment(local(2026, 11, 19, 12, 0, 0))},
      {"1 week ago", moment(local(2026, 11, 14, 12, 0, 0))},
      {"2 months ago", moment(local(2026, 9, 21, 12, 0, 0))},
      {"2026-11-20 10:00", moment(local(2026, 11, 20, 10, 0, 0))},
      {"2026-11-21 10:00Z", moment(1795255200)},
      {"2026-11-21T12:00+02:00", moment(1795255200)},
      {"09:00", moment(local(2026, 11, 21, 9, 0, 0))},
      {"09:00:30", moment(local(2026, 11, 21, 9, 0, 30))},
      {"yesterday 09:00", moment(local(2026, 11, 20, 9, 0, 0))},
      {"Yesterday", {local(2026, 11, 20, 0, 0, 0), local(2026, 11, 20, 23, 59, 59)}},
      {"saturday", {local(2026, 11, 21, 0, 0, 0), local(2026, 11, 21, 23, 59, 59)}},
      {"monday", {local(2026, 11, 16, 0, 0, 0), local(2026, 11, 16, 23, 59, 59)}},
      {"Sun", {local(2026, 11, 15, 0, 0, 0), local(2026, 11, 15, 23, 59, 59)}},
      {"monday 09:00:30", moment(local(2026, 11, 16, 9, 0, 30))},
      {"1795255200", moment(1795255200)},
      {"1h ago", moment(now() - 3600)},
      {"2 h ago", moment(now() - 7200)},
      {"90min ago", moment(now() - 5400)},
      {"-2 hours", moment(now() - 7200)},
      {"1 year ago", moment(local(2025, 11, 21, 12, 0, 0))},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(parse_when(text, now(), DayBound::kStart), expected.first) << text;
    EXPECT_EQ(parse_when(text, now(), DayBound::kEnd), expected.second) << text;
  }
}

TEST(When, InvalidTimesAreRefused) {
  for (const char* text : {"",
                           "soon",
                           "-",
                           "-h",
                           "-2",
                           "-2x",
                           "--2h",
                           "2h",
                           "2 days",
                           "days ago",
                           " days ago",
                           "2 ago",
                           "2  ago",
                           "-2 days ago",
                           "2 fortnights ago",
                           "2 dayss ago",
                           "2026-11",
                           "2026-11-31",
                           "2026",
                           "2026-11-21 10",
                           "2026-11-21 10:",
                           "2026-11-21 24:00",
                           "25:00",
                           "9:00",
                           "09:00 yesterday",
                           "mondays",
                           "monday 9",
                           "mon day",
                           "yesterday ",
                           "1x days ago",
                           "99999999999 days ago",
                           "1000000001 days ago",
                           "1000000000 weeks ago"}) {
    EXPECT_FALSE(parse_when(text, now(), DayBound::kStart).has_value()) << text;
  }
}

TEST(When, LogsHaveDateAndTimeOfFourDigitYears) {
  const DateAndTime moment = date_and_time(local(2026, 1, 2, 3, 4, 5));
  EXPECT_EQ(moment.date, "2026-01-02");
  EXPECT_EQ(moment.time, "03:04:05");
  EXPECT_THROW(static_cast<void>(date_and_time(local(9999, 12, 31, 0, 0, 0) + 864000)), Refusal);
  EXPECT_THROW(static_cast<void>(date_and_time(-99999999999)), Refusal);
}

TEST(TimeText, OnlyThirtyTwoBitsAndNotZeroCanBeStored) {
  EXPECT_EQ(storable_time(2147483647), 2147483647);
  EXPECT_EQ(storable_time(-2147483648LL), -2147483647 - 1);
  EXPECT_THROW(static_cast<void>(storable_time(2147483648LL)), Refusal);
  EXPECT_THROW(static_cast<void>(storable_time(-2147483649LL)), Refusal);
  EXPECT_THROW(static_cast<void>(storable_time(0)), Refusal);
}

TEST(LineFormat, IsToldByTheBeginningOfTheLine) {
  const auto name_of_format = [](std::string_view line) {
    const LineFormat* const format = looks_like(line);
    return std::string(format == nullptr ? "" : format->name);
  };
  EXPECT_EQ(name_of_format("2024-01-01T10:00:00Z host p: x"), "syslog");
  EXPECT_EQ(name_of_format("Jun  4 15:16:01 host p: x"), "syslog");
  for (const LineFormat& format : kLineFormats) {
    EXPECT_EQ(name_of_format(format.sample), format.name) << format.sample;
  }
  for (const char* line : {"", " ", "Jun", "Jun 1", "Jun 14", "Jux 14 15:16:01", "2024-01-01", "[1]", "hello"}) {
    EXPECT_EQ(name_of_format(line), "") << line;
  }
}

struct FormatCase {
  const char* line;
  const char* format;
  std::int64_t time;
  Severity severity;
  const char* level_from;
  const char* host;
  const char* program;
  const char* process;
  const char* category;
  const char* user;
  const char* address;
  const char* text;
};

TEST(LineFormat, TellsThePartsOfItsLines) {
  const std::int64_t ten = local(2026, 11, 21, 10, 0, 0);
  const std::vector<FormatCase> cases{
      {"<34>1 2026-11-21T10:00:00.003Z nas su 12 ID47 [a@1 b=\"x\\\"]y\"] \xEF\xBB\xBF'su root' failed", "syslog5424",
       1795255200, Severity::kError, "the priority 34", "nas", "su", "12", "ID47", "", "", "'su root' failed"},
      {"<14>1 - - - - - -", "syslog5424", 1795255200, Severity::kInformation, "the priority 14", "", "", "", "", "", "",
       ""},
      {"<12>Nov 21 10:00:00 nas p[7]: disk failed", "syslog", ten, Severity::kWarning, "the priority 12", "nas", "p",
       "7", "", "", "", "disk failed"},
      {"[Sat Nov 21 10:00:00.123456 2026] [core:error] [pid 7:tid 8] [client 10.0.0.1:99] AH1: no file", "apache", ten,
       Severity::kError, "the level 'error'", "", "apache", "7", "core", "", "10.0.0.1", "AH1: no file"},
      {"[Sat Nov 21 10:00:00 2026] [notice] workerEnv.init() ok", "apache", ten, Severity::kInformation,
       "the level 'notice'", "", "apache", "", "", "", "", "workerEnv.init() ok"},
      {"[Sat Nov 21 10:00:00 2026] [warn] [client ::1:443] x", "apache", ten, Severity::kWarning, "the level 'warn'",
       "", "apache", "", "", "", "::1", "x"},
      {"2026/11/21 10:00:00 [crit] 7#8: *1 open() failed, client: 10.0.0.1, server: x", "nginx", ten, Severity::kError,
       "the level 'crit'", "", "nginx", "7", "", "", "10.0.0.1", "*1 open() failed, client: 10.0.0.1, server: x"},
      {"10.0.0.1 - bob [21/Nov/2026:11:00:00 +0100] \"GET /a\\\"b HTTP/1.1\" 404 5 \"-\" \"curl/8\"", "access",
       1795255200, Severity::kWarning, "the status 404", "", "httpd", "", "", "bob", "10.0.0.1",
       "\"GET /a\\\"b HTTP/1.1\" 404 5 \"-\" \"curl/8\""},
      {"::1 - - [21/Nov/2026:10:00:00 +0000] \"-\" 500 -", "access", 1795255200, Severity::kError, "the status 500", "",
       "httpd", "", "", "", "::1", "\"-\" 500 -"},
      {"[Sat Nov 21 10:00:00 2026] eth0: link timeout", "dmesg", ten, Severity::kWarning, "the word 'timeout'", "",
       "kernel", "", "", "", "", "eth0: link timeout"},
      {"kern  :err   : [Sat Nov 21 10:00:00 2026] x", "dmesg", ten, Severity::kError, "the level 'err'", "", "kernel",
       "", "", "", "", "x"},
      {"node=nas type=USER_LOGIN msg=audit(1795255200.123:77): pid=1 acct=\"bob\" addr=10.0.0.1 res=failed", "audit",
       1795255200, Severity::kError, "the word 'failed'", "nas", "audit", "77", "USER_LOGIN", "bob", "10.0.0.1",
       "pid=1 acct=\"bob\" addr=10.0.0.1 res=failed"},
  };
  for (const FormatCase& one : cases) {
    const LineFormat* const format = looks_like(one.line);
    ASSERT_NE(format, nullptr) << one.line;
    EXPECT_STREQ(format->name, one.format) << one.line;
    const LogLine line = parse_line(*format, one.line, 1795255200);
    EXPECT_EQ(line.time, one.time) << one.line;
    EXPECT_EQ(line.severity, one.severity) << one.line;
    EXPECT_EQ(line.level_from, one.level_from) << one.line;
    EXPECT_EQ(line.host, one.host) << one.line;
    EXPECT_EQ(line.program, one.program) << one.line;
    EXPECT_EQ(line.process, one.process) << one.line;
    EXPECT_EQ(line.category, one.category) << one.line;
    EXPECT_EQ(line.user, one.user) << one.line;
    EXPECT_EQ(line.address, one.address) << one.line;
    EXPECT_EQ(line.text, one.text) << one.line;
  }
}

TEST(LineFormat, MalformedLinesAreRefused) {
  const std::vector<std::pair<const char*, const char*>> lines{
      {"syslog5424", "<34>2 2026-11-21T10:00:00Z h p 1 - - x"},
      {"syslog5424", "<192>1 2026-11-21T10:00:00Z h p 1 - - x"},
      {"syslog5424", "<34>1 2026-11-31T10:00:00Z h p 1 - - x"},
      {"syslog5424", "<34>1 2026-11-21T10:00:00Z h p 1 - [open x"},
      {"syslog", "<999>Nov 21 10:00:00 h p: x"},
      {"syslog", "<34Nov 21 10:00:00 h p: x"},
      {"apache", "[Sat Nov 31 10:00:00 2026] [error] x"},
      {"apache", "[Sat Nov 21 10:00:00 2026] error x"},
      {"nginx", "2026/13/21 10:00:00 [error] 7#7: x"},
      {"nginx", "2026/11/21 10:00:00 error 7#7: x"},
      {"access", "10.0.0.1 - bob [21/Nov/2026] \"GET /\" 200 5"},
      {"access", "10.0.0.1 - bob [21/Nov/2026:10:00:00 +0100] \"GET / 200 5"},
      {"dmesg", "[   12.345] eth0: link up"},
      {"audit", "type=X msg=audit(x:1): y"},
  };
  for (const auto& [name, line] : lines) {
    const LineFormat* const format = find_line_format(name);
    ASSERT_NE(format, nullptr) << name;
    EXPECT_THROW(static_cast<void>(parse_line(*format, line, now())), Refusal) << line;
  }
}

TEST(LineTime, KnowsTheUsualForms) {
  const std::int64_t ten = local(2026, 11, 21, 10, 0, 0);
  for (const char* text :
       {"2026-11-21 10:00:00", "2026-11-21T10:00:00.5", "Nov 21 10:00:00", "Sat Nov 21 10:00:00 2026",
        "Nov 21 10:00:00 2026", "21/Nov/2026:10:00:00", "2026/11/21 10:00:00"}) {
    EXPECT_EQ(line_time(text, now(), ""), ten) << text;
  }
  for (const char* text : {"1795255200", "1795255200.25", "1795255200123", "1795255200123456", "1795255200123456789"}) {
    EXPECT_EQ(line_time(text, now(), ""), 1795255200) << text;
  }
  for (const char* text : {"", "x", "2026-11-21", "21/Nev/2026:10:00:00", "-5", "1.5x", "2026/02/30 10:00:00"}) {
    EXPECT_FALSE(line_time(text, now(), "").has_value()) << text;
  }
  EXPECT_EQ(line_time("261121 100000", now(), "%y%m%d %H%M%S"), ten);
  EXPECT_EQ(line_time("2026-11-21 10:00:00 +0000", now(), "%F %T %z"), 1795255200);
  EXPECT_FALSE(line_time("261121 100000 x", now(), "%y%m%d %H%M%S").has_value());
}

TEST(LogIn, IsWhatPamSuAndSudoSayToo) {
  struct Case {
    const char* line;
    bool any;
    bool accepted;
    const char* user;
    const char* address;
  };
  const std::vector<Case> cases{
      {"Nov 21 10:00:00 nas su[1]: Successful su for root by bob", true, true, "bob", ""},
      {"Nov 21 10:00:00 nas su[1]: (to root) bob on pts/0", true, true, "bob", ""},
      {"Nov 21 10:00:00 nas su[1]: FAILED SU (to root) bob on pts/0", true, false, "bob", ""},
      {"Nov 21 10:00:00 nas sudo:      bob : TTY=pts/0 ; PWD=/ ; USER=root ; COMMAND=/bin/ls", true, true, "bob", ""},
      {"Nov 21 10:00:00 nas sudo:      bob : 3 incorrect password attempts ; TTY=pts/0 ; COMMAND=/x", true, false,
       "bob", ""},
      {"Nov 21 10:00:00 nas sudo:      bob : user NOT in sudoers ; TTY=pts/0 ; COMMAND=/x", true, false, "bob", ""},
      {"Nov 21 10:00:00 nas login[1]: pam_unix(login:auth): authentication failure; logname= uid=0 rhost=  user=ann",
       true, false, "ann", ""},
      {"Nov 21 10:00:00 nas sshd(pam_unix)[1]: authentication failure; logname= uid=0 ruser= rhost=10.0.0.2  user=root",
       true, false, "root", "10.0.0.2"},
      {"Nov 21 10:00:00 nas sshd(pam_unix)[1]: authentication failure; logname= ruser= rhost=10.0.0.2 ", true, false,
       "", "10.0.0.2"},
      {"Nov 21 10:00:00 nas sshd(pam_unix)[1]: authentication failure; ruser= rhost=host.example", false, false, "",
       ""},
      {"Nov 21 10:00:00 nas sshd[1]: pam_unix(sshd:auth): authentication failure; rhost=10.0.0.2  user=root", false,
       false, "", ""},
      {"Nov 21 10:00:00 nas su(pam_unix)[1]: session opened for user root by (uid=0)", false, false, "", ""},
      {"Nov 21 10:00:00 nas cron[1]: FAILED SU (to root) bob on pts/0", false, false, "", ""},
  };
  for (const Case& one : cases) {
    const std::optional<LogIn> log_in = log_in_of(parse_syslog(one.line, now()));
    ASSERT_EQ(log_in.has_value(), one.any) << one.line;
    if (log_in) {
      EXPECT_EQ(log_in->accepted, one.accepted) << one.line;
      EXPECT_EQ(log_in->user, one.user) << one.line;
      EXPECT_EQ(log_in->address, one.address) << one.line;
    }
  }
}

TEST(CsvRows, CellsKeepQuotesBlanksAndLineEnds) {
  CsvRows fresh;
  EXPECT_FALSE(fresh.add("\"one\r").has_value());
  EXPECT_TRUE(fresh.open());
  const auto row = fresh.add("two\",\"\",, x ,\"q\"\"q\"\r");
  ASSERT_TRUE(row.has_value());
  ASSERT_EQ(row->size(), 5U);
  EXPECT_EQ((*row)[0].text, "one\r\ntwo");
  EXPECT_FALSE((*row)[1].null);
  EXPECT_TRUE((*row)[2].null);
  EXPECT_EQ((*row)[3].text, " x ");
  EXPECT_EQ((*row)[4].text, "q\"q");
  EXPECT_FALSE(fresh.open());
  EXPECT_THROW(static_cast<void>(fresh.add("\"a\"b,c")), Refusal);
  EXPECT_EQ(fresh.add("d,e")->size(), 2U);
}

TEST(Refusals, LikeOnesAreSummedUp) {
  Refusals refusals;
  EXPECT_EQ(refusals.add("f", 2, "the user is 65 bytes long"), "f:2: the user is 65 bytes long");
  for (std::uint64_t line = 3; line < 2002; ++line) {
    EXPECT_EQ(refusals.add("f", line, "the user is " + std::to_string(line) + " bytes long"), "");
  }
  EXPECT_EQ(refusals.add("f", 3000, "'x' is not an address"), "f:3000: 'x' is not an address");
  EXPECT_EQ(refusals.rest("f"), "f: 1,999 more like line 2");
  EXPECT_EQ(refusals.count(), 2001U);
}

TEST(Dpkg, EveryKindOfLineKeepsItsOwnWords) {
  const LogLine status = parse_dpkg("2024-01-01 10:00:00 status half-configured foo:amd64 1.0");
  EXPECT_EQ(status.text, "status half-configured foo:amd64 1.0");
  EXPECT_EQ(status.category, "status");
  EXPECT_EQ(status.severity, Severity::kInformation);
  EXPECT_EQ(status.time, local(2024, 1, 1, 10, 0, 0));
  EXPECT_EQ(parse_dpkg("2024-01-01 10:00:00 startup archives unpack").category, "startup");
  EXPECT_EQ(parse_dpkg("2024-01-01 10:00:00 conffile /etc/x keep").category, "conffile");
  EXPECT_EQ(parse_dpkg("2024-01-01 10:00:00 purge foo:amd64 1.0 <none>").severity, Severity::kWarning);
}

TEST(Dpkg, OtherProgramsLinesAreRefused) {
  for (const char* line : {"2024-01-01 10:00:00", "2024-01-01 10:00:00 ", "2024-01-01 10:00:00 install",
                           "2024-01-01 10:00:00 server started", "2024-01-32 10:00:00 install x"}) {
    EXPECT_THROW(static_cast<void>(parse_dpkg(line)), Refusal) << line;
  }
}

TEST(Syslog, YearIsTheLatestThatIsNotInTheFuture) {
  EXPECT_EQ(parse_syslog("Nov 21 12:00:00 h p: x", now()).time, now());
  EXPECT_EQ(parse_syslog("Nov 21 12:00:01 h p: x", now()).time, local(2025, 11, 21, 12, 0, 1));
  EXPECT_EQ(parse_syslog("Jan  1 00:00:00 h p: x", now()).time, local(2026, 1, 1, 0, 0, 0));
  EXPECT_EQ(parse_syslog("Feb 29 01:02:03 h p: x", now()).time, local(2024, 2, 29, 1, 2, 3));
}

TEST(Syslog, TagIsTakenApart) {
  const LogLine full = parse_syslog("Jun 14 15:16:01 combo sshd(pam_unix)[19939]: check pass", now());
  EXPECT_EQ(full.host, "combo");
  EXPECT_EQ(full.program, "sshd");
  EXPECT_EQ(full.category, "pam_unix");
  EXPECT_EQ(full.process, "19939");
  EXPECT_EQ(full.text, "check pass");

  const LogLine plain = parse_syslog("Jun 14 15:16:01 combo kernel: [1.5] up: now", now());
  EXPECT_EQ(plain.program, "kernel");
  EXPECT_EQ(plain.process, "");
  EXPECT_EQ(plain.text, "[1.5] up: now");

  const LogLine untagged = parse_syslog("Jun 14 15:16:01 combo -- root[2421]: ROOT LOGIN ON tty2", now());
  EXPECT_EQ(untagged.program, "");
  EXPECT_EQ(untagged.text, "-- root[2421]: ROOT LOGIN ON tty2");

  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 combo kernel:", now()).text, "");
}

TEST(Syslog, SeverityComesFromWholeWords) {
  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 h p: Failed password", now()).severity, Severity::kError);
  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 h p: KERNEL PANIC!", now()).severity, Severity::kError);
  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 h p: connection refused", now()).severity, Severity::kWarning);
  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 h p: refused, then failed", now()).severity, Severity::kError);
  EXPECT_EQ(parse_syslog("Jun 14 15:16:01 h p: terrorist failover", now()).severity, Severity::kInformation);
}

TEST(Syslog, AddressAndUserAreFoundInTheText) {
  const LogLine failure = parse_syslog("Jun 14 15:16:01 h p: logname= ruser=bad rhost=10.0.0.9  user=root", now());
  EXPECT_EQ(failure.address, "10.0.0.9");
  EXPECT_EQ(failure.user, "root");
  const LogLine invalid = parse_syslog("Dec 10 06:55:46 h sshd[1]: Invalid user webmaster from fe80::1", now());
  EXPECT_EQ(invalid.address, "fe80::1");
  EXPECT_EQ(invalid.user, "webmaster");
  const LogLine named = parse_syslog("Jun 14 15:16:01 h p: rhost=host.example ruser=x", now());
  EXPECT_EQ(named.address, "");
  EXPECT_EQ(named.user, "");
}

TEST(Syslog, CutOffLinesAreRefused) {
  for (const char* line : {"Jun 14 15:16:01", "Jun 14 15:16:01 ", "Jun 31 15:16:01 h p: x", "2026-11-21T10:00:00",
                           "2026-11-21T10:00:00x h p: x", "Jun 14 15:16:0"}) {
    EXPECT_THROW(static_cast<void>(parse_syslog(line, now())), Refusal) << line;
  }
}

TEST(JsonLine, NumbersAreTextsAndNullIsMarked) {
  const auto members = parse_json_line(R"({"a":1,"b":"t","c":null,"d":-2.5})");
  ASSERT_EQ(members.size(), 4U);
  EXPECT_EQ(members[0].text, "1");
  EXPECT_EQ(members[1].text, "t");
  EXPECT_TRUE(members[2].null);
  EXPECT_EQ(members[3].text, "-2.5");
}

TEST(JsonLine, OtherThanObjectsOfTextsAndNumbersIsRefused) {
  const std::string deep(100000, '[');
  for (const std::string& line :
       {std::string("[]"), std::string("1"), std::string("{"), std::string("{} {}"), std::string("{\"a\":true}"),
        std::string("{\"a\":{}}"), std::string("{\"a\":1e999}"), std::string("{\"a\":\"\xff\"}"), deep}) {
    EXPECT_THROW(static_cast<void>(parse_json_line(line)), Refusal) << line.substr(0, 20);
  }
}

TEST(ProgressText, FitsTheTerminalAndShowsPercentOnlyWhenKnown) {
  EXPECT_EQ(progress_text("f", 50, 7, "events", 80), " 50% [##########          ] 7 events  f");
  EXPECT_EQ(progress_text("f", 0, 0, "events", 80), "  0% [                    ] 0 events  f");
  EXPECT_EQ(progress_text("f", 100, 1, "events", 80), "100% [####################] 1 events  f");
  EXPECT_EQ(progress_text("f", std::nullopt, 7, "events", 80), "7 events  f");
  EXPECT_EQ(progress_text("abcdefghij", std::nullopt, 7, "events", 12), "7 events  …");
}

}  // namespace

}  // namespace annalctl
