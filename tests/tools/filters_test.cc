// The same filters find the same entries in all four logs, the newest first.
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::sql;

constexpr char kFileOps[] = "/etc/logs/operations.db";

// A log, and how the i-th of its entries is put there: all with a user, an address, a text, a moment and a level.
struct KnownLog {
  Texts name;  // as annalctl is given it
  const char* path;
  const char* table;
  const char* id;
  const char* columns;  // level, user, address, text, moment
  bool stamped;         // the moment is in seconds; else it is a local date and a time
  const char* levels[3];
};

const KnownLog kKnown[] = {
    {{"event"},
     "/etc/logs/event.log",
     "ANNAL_EVENT",
     "event_id",
     "event_type, event_user, event_ip, event_desc, event_date, event_time",
     false,
     {"0", "1", "2"}},
    {{"conn"},
     "/etc/logs/conn.log",
     "ANNAL_CONN",
     "conn_id",
     "conn_type, conn_user, conn_ip, conn_res, conn_date, conn_time",
     false,
     {"0", "1", "2"}},
    {{"fileop", "--db", kFileOps},
     kFileOps,
     "PAVO2LOG_EVENT",
     "event_id",
     "event_type, event_user, event_ip, event_filepath, event_date, event_time",
     false,
     {"0", "1", "2"}},
    {{"notice"}, "/etc/logs/notice.log", "ANNAL_NOTICE", "id", "severity, user, ip, desc, time", true, {"6", "4", "3"}},
};

Texts command(const KnownLog& log, const Texts& more) {
  Texts all = log.name;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// Local times are those of UTC in these tests.
class AnnalctlFilters : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    setenv("TZ", "UTC", 1);
    for (const KnownLog& log : kKnown) {
      ASSERT_EQ(annalctl(command(log, {"create"})).status, 0);
    }
  }
  void TearDown() override {
    unsetenv("TZ");
    AnnalctlTest::TearDown();
  }

  static std::string moment(const KnownLog& log, std::time_t seconds) {
    if (log.stamped) {
      return std::to_string(seconds);
    }
    const std::string text = std::to_string(seconds) + ", 'unixepoch')";
    return "date(" + text + ", time(" + text;
  }

  // level: 0 information, 1 warning, 2 error
  static void put(const KnownLog& log, int level, const char* user, const char* address, const std::string& text,
                  std::time_t seconds) {
    sql(log.path, std::string("INSERT INTO ") + log.table + " (" + log.columns + ") VALUES (" + log.levels[level] +
                      ", '" + user + "', '" + address + "', '" + text + "', " + moment(log, seconds) + ");");
  }

  static void put_four() {
    for (const KnownLog& log : kKnown) {
      put(log, 0, "ann", "10.0.0.1", "disk 50% full", 1795255200);    // Saturday, 2026-11-21 10:00:00
      put(log, 1, "ben", "10.0.0.2", "disk 502 full", 1795255260);    // a minute later
      put(log, 2, "a_n", "192.168.0.1", "Fan 2 failed", 1795341600);  // a day later
      put(log, 2, "annabel", "192.168.0.2", "fan 33 failed", 1795341601);
    }
  }

  static Texts ids(const KnownLog& log, Texts options) {
    options.insert(options.begin(), {"list", "--json"});
    const Finished listed = annalctl(command(log, options));
    EXPECT_EQ(listed.status, 0) << listed.err;
    Texts found;
    for (const std::string& line : lines_of(listed.out)) {
      found.push_back(Json::parse(line)[log.id].dump());
    }
    return found;
  }
};

Texts falling(int first, int last) {
  Texts ids;
  for (int id = first; id >= last; --id) {
    ids.push_back(std::to_string(id));
  }
  return ids;
}

}  // namespace

TEST_F(AnnalctlFilters, FindTheSameInAllLogs) {
  put_four();
  const struct {
    Texts options;
    Texts found;
  } cases[] = {
      {{"--type", "error"}, {"4", "3"}},
      {{"--type", "ERROR"}, {"4", "3"}},
      {{"--type", "error", "--type", "Warning"}, {"4", "3", "2"}},
      {{"--type", "error,warning"}, {"4", "3", "2"}},
      {{"--type", "all"}, {"4", "3", "2", "1"}},
      {{"--not-type", "error"}, {"2", "1"}},
      {{"-p", "warning"}, {"4", "3", "2"}},
      {{"-p", "error"}, {"4", "3"}},
      {{"-p", "information"}, {"4", "3", "2", "1"}},
      {{"--user", "ANN"}, {"4", "1"}},
      {{"--user", "a_n"}, {"3"}},
      {{"--user", "a_n", "--like"}, {"4", "3", "1"}},
      {{"--user", "ben", "--user", "annabel"}, {"4", "2"}},
      {{"--not-user", "ann"}, {"3", "2"}},
      {{"--not-user", "ann", "--not-user", "ben"}, {"3"}},
      {{"--exact-user", "ann"}, {"1"}},
      {{"--not-exact-user", "ann"}, {"4", "3", "2"}},
      {{"--ip", "10.0."}, {"2", "1"}},
      {{"--not-ip", "10.0."}, {"4", "3"}},
      {{"--text", "50%"}, {"1"}},
      {{"--text", "50%", "--like"}, {"2", "1"}},
      {{"--not-text", "disk"}, {"4", "3"}},
      {{"-g", "fan [0-9]+ failed"}, {"4", "3"}},
      {{"-g", "Fan [0-9]+ failed"}, {"3"}},
      {{"--grep", "^disk|33"}, {"4", "2", "1"}},
      {{"--not-grep", "full$"}, {"4", "3"}},
      {{"--since", "2026-11-22"}, {"4", "3"}},
      {{"--until", "2026-11-21 10:00"}, {"1"}},
      {{"--since", "2026-11-21 10:01", "--until", "2026-11-22"}, {"4", "3", "2"}},
      {{"--since", "2026-11-21T12:01:00+02:00", "--until", "@1795341600"}, {"3", "2"}},
      {{"--until", "2026-11-22 10:00:01", "--days", "1"}, {"4", "3", "2"}},
      {{"--until", "2026-11-22 10:00:01", "--days", "0"}, {"4"}},
      {{"--type", "error", "--user", "annabel", "--text", "33", "--since", "2026-11-01"}, {"4"}},
  };
  for (const KnownLog& log : kKnown) {
    for (const auto& [options, found] : cases) {
      SCOPED_TRACE(log.name[0] + " " + options[0] + " " + options[1]);
      EXPECT_EQ(ids(log, options), found);
      Texts count = options;
      count.insert(count.begin(), "count");
      EXPECT_EQ(annalctl(command(log, count)).out, std::to_string(found.size()) + "\n");
      Texts tail = options;
      tail.insert(tail.begin(), {"tail", "--no-follow", "--csv"});
      EXPECT_EQ(lines_of(annalctl(command(log, tail)).out).size(), found.size() + 1);
    }
  }
}

TEST_F(AnnalctlFilters, OppositesKeepWhatHasNoValue) {
  put_four();
  for (const KnownLog& log : kKnown) {
    const std::string column = log.stamped ? "user" : log.name[0] == "conn" ? "conn_user" : "event_user";
    sql(log.path, std::string("UPDATE ") + log.table + " SET " + column + " = NULL WHERE " + log.id + " = 1;");
    EXPECT_EQ(ids(log, {"--not-user", "ben"}), (Texts{"4", "3", "1"})) << log.name[0];
    EXPECT_EQ(ids(log, {"--user", ""}), (Texts{"4", "3", "2"})) << log.name[0];
  }
}

TEST_F(AnnalctlFilters, WhatCannotBeLookedForIsWrongUsage) {
  for (const KnownLog& log : kKnown) {
    for (const Texts& options : std::vector<Texts>{{"--since", "soon"},
                                                   {"--until", ""},
                                                   {"--since", "2026-02-30"},
                                                   {"--since", "2026-02-02", "--until", "2026-02-01"},
                                                   {"--type", "fatal"},
                                                   {"--not-type", "fatal"},
                                                   {"-p", "fatal"},
                                                   {"-g", "(unclosed"},
                                                   {"-g", "(?=lookahead)"},
                                                   {"--days", "-1"}}) {
      for (const char* verb : {"list", "count", "tail"}) {
        Texts arguments = command(log, {verb});
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Finished refused = annalctl(arguments);
        EXPECT_EQ(refused.status, 2) << log.name[0] << " " << verb << " " << options[0] << " " << options[1];
        EXPECT_NE(refused.err.find(options[1]), std::string::npos) << refused.err;
      }
    }
  }
}

// An expression that a backtracking search would never finish, on a text that is made for it.
TEST_F(AnnalctlFilters, ExpressionsTakeNoLongerForHostileTexts) {
  for (const KnownLog& log : kKnown) {
    put(log, 0, "ann", "10.0.0.1", std::string(2000, 'a') + "!", 1795255200);
    EXPECT_EQ(ids(log, {"-g", "(a*)*(a*)*(a|aa)+$"}), Texts{}) << log.name[0];
  }
}

TEST_F(AnnalctlFilters, NewestOfOneSecondComeFirstInPagesToo) {
  constexpr int kErrors = 120;
  for (const KnownLog& log : kKnown) {
    sql(log.path, std::string("WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 120) INSERT INTO ") +
                      log.table + " (" + log.columns + ") SELECT " + log.levels[2] +
                      ", 'ann', '10.0.0.1', 'fan 2 failed', " + moment(log, 1795255200) + " FROM n;");
    // What was stored later and happened earlier is older.
    put(log, 0, "ben", "10.0.0.2", "disk full", 1795255199);
    for (const Texts& filter : std::vector<Texts>{{"--type", "error"},
                                                  {"-p", "warning"},
                                                  {"--user", "ann"},
                                                  {"--ip", "10.0.0.1"},
                                                  {"--text", "failed"},
                                                  {"-g", "fan"},
                                                  {"--since", "2026-11-21 10:00"},
                                                  {"--since", "2026-11-21", "--not-type", "information"},
                                                  {"--text", "failed", "--until", "2026-11-21"},
                                                  {}}) {
      SCOPED_TRACE(log.name[0] + " " + (filter.empty() ? "" : filter[0]));
      const auto page = [&log, &filter](const Texts& more) {
        Texts options = filter;
        options.insert(options.end(), more.begin(), more.end());
        return ids(log, options);
      };
      EXPECT_EQ(page({}), falling(kErrors, kErrors - 49));
      EXPECT_EQ(page({"--limit", "50"}), falling(kErrors, kErrors - 49));
      EXPECT_EQ(page({"--limit", "50", "--offset", "50"}), falling(kErrors - 50, kErrors - 99));
      EXPECT_EQ(page({"--limit", "1"}), falling(kErrors, kErrors));
      const Texts all = page({"--all"});
      EXPECT_EQ(Texts(all.begin(), all.begin() + kErrors), falling(kErrors, 1));
    }
  }
}

// What many entries meet is found through the order, and what few meet through what they meet: both give the same.
TEST_F(AnnalctlFilters, FindTheSameByAnyWayInALargeLog) {
  for (const KnownLog& log : kKnown) {
    sql(log.path, std::string("WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 30000) INSERT INTO ") +
                      log.table + " (" + log.columns + ") SELECT " + log.levels[2] +
                      ", iif(i = 22000, 'rare', 'ann'), " + "'10.0.0.1', 'fan ' || i, " + moment(log, 1795255200) +
                      " FROM n;");
    EXPECT_EQ(ids(log, {"--user", "rare"}), Texts{"22000"});
    EXPECT_EQ(ids(log, {"--exact-user", "rare", "--limit", "1"}), Texts{"22000"});
    EXPECT_EQ(ids(log, {"--type", "error", "--limit", "2"}), (Texts{"30000", "29999"}));
    EXPECT_EQ(ids(log, {"-g", "^fan 2200[12]$", "--limit", "2"}), (Texts{"22002", "22001"}));
  }
}
