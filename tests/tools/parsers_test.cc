// The parsers of times, levels and imported lines.
#include <gtest/gtest.h>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"
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
  EXPECT_EQ(looks_like("2024-01-01 10:00:00 install x"), LineFormat::kDpkg);
  EXPECT_EQ(looks_like("2024-01-01T10:00:00Z host p: x"), LineFormat::kSyslog);
  EXPECT_EQ(looks_like("Jun 14 15:16:01 host p: x"), LineFormat::kSyslog);
  EXPECT_EQ(looks_like("Jun  4 15:16:01 host p: x"), LineFormat::kSyslog);
  EXPECT_EQ(looks_like("  {\"a\":1}"), LineFormat::kJsonLines);
  for (const char* line : {"", " ", "Jun", "Jun 1", "Jun 14", "Jux 14 15:16:01", "2024-01-01", "[1]", "hello"}) {
    EXPECT_EQ(looks_like(line), LineFormat::kUnknown) << line;
  }
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
