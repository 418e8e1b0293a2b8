// Stores connections in a batch: one transaction, one statement; refused records are skipped silently.
#include <array>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "Corix_annal.h"
#include "platform/platform.h"
#include "tests/conn/conn_log.h"
#include "tests/support/forwarding.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr Default kUserDefault{kUser, "System", 7};
constexpr Default kIpDefault{kIp, "127.0.0.1", 64};

std::vector<Default> defaults() {
  std::vector<Default> all{kUserDefault, kIpDefault};
  all.insert(all.end(), std::begin(kCommonDefaults), std::end(kCommonDefaults));
  return all;
}

// The empty record as a batch fills it.
ConnRecord normalised_bare_record() {
  ConnRecord record = empty_record();
  for (const auto& [field, text, width] : defaults()) {
    fill(record, field, text, width);
  }
  fill(record, kClientApp, "localhost", sizeof "localhost");
  return record;
}

// A batch of one record.
int submit(ConnRecord& record) {
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(&record, 1, &inserted), ANNAL_OK);
  return inserted;
}

template <std::size_t size>
int submit(std::array<ConnRecord, size>& records) {
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), static_cast<int>(size), &inserted), ANNAL_OK);
  return inserted;
}

ConnRecord record_of(const char* user) {
  ConnRecord record = complete_record();
  put(record, kUser, user);
  return record;
}

std::string stored_users() {
  return value(kLog,
               "SELECT coalesce(group_concat(conn_user), '') FROM (SELECT conn_user FROM ANNAL_CONN ORDER BY "
               "conn_id);");
}

class ConnBatch : public ConnLogTest {};

// No log exists, and none may be created.
class ConnBatchArguments : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_EQ(platform.calls(), Calls());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }
};

// ---- arguments ----

TEST_F(ConnBatchArguments, RefuseNull) {
  ConnRecord record = complete_record();
  const ConnRecordV1 earlier = earlier_form(record);
  int inserted = 5;
  for (const int count : {-1, 0, 1}) {
    EXPECT_EQ(annal_conn_add_entries2(&record, count, nullptr), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_conn_add_entries(&earlier, count, nullptr), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(annal_conn_add_entries2(nullptr, 1, &inserted), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_add_entries(nullptr, 1, &inserted), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_add_entries2(nullptr, INT_MAX, &inserted), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_add_entries2(nullptr, 0, nullptr), ANNAL_BAD_ARGUMENT);
}

TEST_F(ConnBatch, RunsAnEmptyTransactionForNoRecords) {
  ConnRecord record = empty_record();
  const ConnRecordV1 earlier = earlier_form(record);
  const Calls empty = connection(
      kLog, {std::string("prepare ") + kBatchInsert, "exec BEGIN TRANSACTION;", "exec END TRANSACTION", "finalize"},
      true);
  for (const int count : {0, -1, INT_MIN}) {
    const std::vector<int (*)(ConnRecord&, const ConnRecordV1&, int, int*)> calls = {
        [](ConnRecord& full, const ConnRecordV1&, int given, int* out) {
          return annal_conn_add_entries2(&full, given, out);
        },
        [](ConnRecord&, const ConnRecordV1&, int given, int* out) {
          return annal_conn_add_entries2(nullptr, given, out);
        },
        [](ConnRecord&, const ConnRecordV1& shorter, int given, int* out) {
          return annal_conn_add_entries(&shorter, given, out);
        },
        [](ConnRecord&, const ConnRecordV1&, int given, int* out) {
          return annal_conn_add_entries(nullptr, given, out);
        },
    };
    for (const auto& call : calls) {
      sqlite.reset();
      int inserted = 5;
      EXPECT_EQ(call(record, earlier, count, &inserted), ANNAL_OK);
      EXPECT_EQ(inserted, 0);
      EXPECT_EQ(sqlite.calls(), empty);
    }
  }
  EXPECT_TRUE(same_bytes(record, empty_record()));
  EXPECT_EQ(stored_rows(), Rows());
  EXPECT_EQ(consumer_calls(), Calls());
}

// ---- the statement and the transaction ----

Calls row_work(const ConnRecord& record) {
  const auto text = [](int place, const char* bound) { return "bind " + std::to_string(place) + " \"" + bound + "\""; };
  const auto number = [](int place, int bound) {
    return "bind " + std::to_string(place) + " " + std::to_string(bound);
  };
  return {number(1, record.conn_type),
          text(2, record.conn_user),
          text(3, record.conn_ip),
          text(4, record.conn_comp),
          text(5, record.conn_res),
          number(6, record.conn_serv),
          number(7, record.conn_action),
          text(8, record.conn_app),
          number(9, record.conn_action_result),
          text(10, record.conn_client_id),
          text(11, record.conn_client_app),
          text(12, record.conn_client_agent),
          "step",
          "reset"};
}

Calls transaction(const Calls& rows) {
  Calls work = {std::string("prepare ") + kBatchInsert, "exec BEGIN TRANSACTION;"};
  append(work, rows);
  append(work, {"exec END TRANSACTION", "finalize"});
  return connection(kLog, work, true);
}

TEST_F(ConnBatch, BindsOneStatementForEachRecordInOneTransaction) {
  std::array records{record_of("first"), record_of("second"), empty_record()};
  records[1].conn_type = 2;
  records[1].conn_serv = 12;
  records[1].conn_action = 36;
  records[1].conn_action_result = 0;
  sqlite.follow_statements();
  EXPECT_EQ(submit(records), 3);
  Calls rows;
  for (const ConnRecord& record : records) {
    append(rows, row_work(record));
  }
  EXPECT_EQ(sqlite.calls(), transaction(rows));
}

TEST_F(ConnBatch, StoresRecordsInTheirOrder) {
  std::array records{record_of("first"), record_of("second"), record_of("third")};
  EXPECT_EQ(submit(records), 3);
  EXPECT_EQ(sql(kLog, "SELECT conn_id, conn_user FROM ANNAL_CONN ORDER BY conn_id;"),
            Rows({{"1", "first"}, {"2", "second"}, {"3", "third"}}));
}

TEST_F(ConnBatch, KeepsACompleteRecord) {
  ConnRecord record = complete_record();
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, complete_record()));
  EXPECT_EQ(stored_rows(), Rows({complete_row()}));
  EXPECT_EQ(stored("typeof(conn_type) || typeof(conn_serv) || typeof(conn_action) || typeof(conn_action_result)"),
            "integerintegerintegerinteger");
}

TEST_F(ConnBatch, StampsItsEntriesWithTheLocalTime) {
  const std::string now = "SELECT datetime('now', 'localtime');";
  const std::string before = value(kLog, now);
  ConnRecord record = complete_record();
  EXPECT_EQ(submit(record), 1);
  const std::string when = stored("conn_date || ' ' || conn_time");
  EXPECT_LE(before, when);
  EXPECT_LE(when, value(kLog, now));
}

// No other connection sees a row before the last one is stored.
TEST_F(ConnBatch, IsVisibleToOthersOnlyAsAWhole) {
  std::array records{record_of("first"), record_of("second")};
  Row seen;
  platform.meanwhile("SendConnToZSyslogd", [&seen] { seen.push_back(stored_count()); });
  EXPECT_EQ(submit(records), 2);
  EXPECT_EQ(seen, Row({"0", "0"}));
  EXPECT_EQ(stored_count(), "2");
}

// ---- what becomes of the records ----

TEST_F(ConnBatch, FillsAnEmptyRecord) {
  ConnRecord record = empty_record();
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, normalised_bare_record()));
  EXPECT_EQ(
      stored_rows(),
      Rows({{"1", "System", "127.0.0.1", "localhost", "---", "3", "10", "---", "13", "---", "localhost", "---"}}));
}

class ConnBatchDefault : public ConnBatch, public testing::WithParamInterface<Default> {};
INSTANTIATE_TEST_SUITE_P(, ConnBatchDefault, testing::ValuesIn(defaults()),
                         [](const testing::TestParamInfo<Default>& tested) { return tested.param.field.name; });

TEST_P(ConnBatchDefault, ReplacesAnEmptyField) {
  const auto& [field, text, width] = GetParam();
  ConnRecord record = complete_record();
  std::memset(field.in(record), kLeftBehind, field.size);
  *field.in(record) = '\0';
  ConnRecord expected = copy_of(record);
  fill(expected, field, text, width);
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored(field.name), text);
}

TEST_P(ConnBatchDefault, LeavesAOneLetterTextAlone) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  put(record, GetParam().field, "x");
  const ConnRecord before = copy_of(record);
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored(GetParam().field.name), "x");
}

TEST_F(ConnBatch, ReplacesARejectedAddressByTheAppliancesOwn) {
  for (const char* rejected : {"next-door.example", "---", "pc1%eth0", "300.0.0.1"}) {
    ConnRecord record = complete_record();
    put(record, kIp, rejected);
    ConnRecord expected = copy_of(record);
    fill(expected, kIp, "127.0.0.1", 64);
    EXPECT_EQ(submit(record), 1);
    EXPECT_TRUE(same_bytes(record, expected));
    EXPECT_EQ(stored("conn_ip"), "127.0.0.1");
  }
}

TEST_F(ConnBatch, NormalisesAddresses) {
  constexpr std::pair<const char*, const char*> kAddresses[] = {
      {"fe80::1%eth0", "fe80::1"}, {"::ffff:10.1.2.3", "10.1.2.3"}, {"::1", "::1"}};
  for (const auto& [given, expected] : kAddresses) {
    ConnRecord record = complete_record();
    put(record, kIp, given);
    EXPECT_EQ(submit(record), 1);
    EXPECT_EQ(stored("conn_ip"), expected);
    EXPECT_STREQ(record.conn_ip, expected);
  }
}

TEST_F(ConnBatch, ClearsTheFieldAfterAnAddressWithoutItsPrefix) {
  ConnRecord record = complete_record();
  put(record, kIp, "::ffff:10.0.0.5");
  ConnRecord expected = copy_of(record);
  fill(expected, kIp, "10.0.0.5", 63);
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, expected));
}

struct Origin {
  const char* ip;
  const char* client_app;
  const char* stored;
};

constexpr Origin kOrigins[] = {
    {"", "", "localhost"},
    {"", "---", "localhost"},
    {"---", "----", "localhost"},
    {"127.0.0.1", "", "localhost"},
    {"127.0.0.1", "---x", "localhost"},
    {"127.0.0.10", "", "localhost"},
    {"127.0.0.199", "---", "localhost"},
    {"::ffff:127.0.0.1", "", "localhost"},
    {"127.0.0.1", "Browser", "Browser"},
    {"127.0.0.1", "--", "--"},
    {"127.0.0.1", "--x", "--x"},
    {"127.0.0.2", "", "---"},
    {"127.0.1.1", "", "---"},
    {"10.0.0.5", "", "---"},
    {"::1", "---", "---"},
};

TEST_F(ConnBatch, TreatsItsOwnAddressWithoutAClientAsTheAppliance) {
  for (const auto& [ip, client_app, expected] : kOrigins) {
    ConnRecord record = complete_record();
    fill(record, kIp, ip, 65);
    put(record, kClientApp, client_app);
    EXPECT_EQ(submit(record), 1);
    EXPECT_EQ(stored("conn_client_app"), expected) << ip << " and " << client_app;
    EXPECT_STREQ(record.conn_client_app, expected) << ip << " and " << client_app;
  }
}

TEST_F(ConnBatch, ComparesTheFirstNineCharactersOfTheAddress) {
  platform.answer("Is_Valid_Source", 1);
  constexpr Origin kAccepted[] = {
      {"127.0.0.1x", "", "localhost"}, {"127.0.0.", "", "---"}, {"---", "", "---"}, {"---x", "---", "---"}};
  for (const auto& [ip, client_app, expected] : kAccepted) {
    ConnRecord record = complete_record();
    put(record, kIp, ip);
    put(record, kClientApp, client_app);
    EXPECT_EQ(submit(record), 1);
    EXPECT_EQ(stored("conn_client_app"), expected) << ip;
  }
}

TEST_F(ConnBatch, KeepsTheBytesAfterItsOwnName) {
  ConnRecord record = complete_record();
  put(record, kIp, "127.0.0.1");
  overfill(record, kClientApp, '-');
  ConnRecord expected = copy_of(record);
  fill(expected, kClientApp, "localhost", sizeof "localhost");
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(ConnBatch, RemovesControlCharactersFromTheResourceBeforeItIsBound) {
  ConnRecord record = complete_record();
  put(record, kRes, "\x1F\u0085/share\n/\u200Ea\u2028\x7F");
  ConnRecord expected = copy_of(record);
  Skip_Unicode_Control_Characters(expected.conn_res);
  EXPECT_EQ(submit(record), 1);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("conn_res"), "/share/a");
  put(record, kRes, "\x01\x02");
  EXPECT_EQ(submit(record), 1);
  EXPECT_EQ(stored("conn_res"), "");
}

TEST_F(ConnBatch, RemovesThemOnlyFromThatField) {
  platform.answer("Is_Valid_Source", 1);
  for (const Field& field : kTexts) {
    if (field.offset == kRes.offset) {
      continue;
    }
    ConnRecord record = complete_record();
    put(record, field, "\x01\u200E");
    EXPECT_EQ(submit(record), 1);
    EXPECT_EQ(stored(field.name), "\x01\u200E") << field.name;
  }
}

TEST_F(ConnBatch, StoresTextsAsTheyAre) {
  platform.answer("Is_Valid_Source", 1);
  for (const char* text : {"O'Brien", "''", "x'); DROP TABLE ANNAL_CONN; --", "100 % of %s %d %Q", "a\"b\\c",
                           "gr\u00FCn", "\xC3\xFF\x80"}) {
    ConnRecord record = complete_record();
    for (const Field& field : kTexts) {
      if (field.offset != kIp.offset || std::string(text).find('%') == std::string::npos) {
        put(record, field, text);
      }
    }
    const ConnRecord before = copy_of(record);
    EXPECT_EQ(submit(record), 1);
    EXPECT_TRUE(same_bytes(record, before));
    for (const Field& field : kTexts) {
      EXPECT_EQ(stored(field.name), field.in(record)) << field.name;
    }
  }
}

TEST_F(ConnBatch, StoresTextsUpToTheirBounds) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  for (const Field& field : kTexts) {
    put(record, field, std::string(field.size - 1, 'x'));
  }
  EXPECT_EQ(submit(record), 1);
  for (const Field& field : kTexts) {
    EXPECT_EQ(stored(field.name), std::string(field.size - 1, 'x')) << field.name;
  }
}

TEST_F(ConnBatch, StoresEachNumber) {
  std::vector<ConnRecord> records;
  std::string expected;
  const auto add = [&](int type, int service, int action, int result) {
    ConnRecord record = complete_record();
    record.conn_type = type;
    record.conn_serv = service;
    record.conn_action = action;
    record.conn_action_result = result;
    records.push_back(copy_of(record));
    for (const int number : {type, service, action, result}) {
      expected += std::to_string(number) + " ";
    }
  };
  for (const int type : {0, 1, 2}) {
    add(type, 5, 6, 0);
  }
  for (int service = 0; service <= 12; ++service) {
    add(1, service, 6, 13);
  }
  for (int action = 0; action <= 36; ++action) {
    add(1, 5, action, 0);
  }
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), static_cast<int>(records.size()), &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, static_cast<int>(records.size()));
  std::string found;
  for (const Row& row : sql(kLog, "SELECT conn_type, conn_serv, conn_action, conn_action_result FROM ANNAL_CONN;")) {
    for (const std::string& number : row) {
      found += number + " ";
    }
  }
  EXPECT_EQ(found, expected);
}

// ---- bytes after a record ----

using ThreeRecords = std::array<ConnRecord, 3>;

TEST_F(ConnBatch, StopsReadingClientFieldsAtEachRecordsEnd) {
  RecordAtTheEnd<ThreeRecords> records;
  for (ConnRecord& record : *records) {
    record = complete_record();
    record.conn_id = 0x41414141;
    overfill(record, kClientId, 'i');
    overfill(record, kClientApp, 'a');
    overfill(record, kClientAgent, 'g');
  }
  EXPECT_EQ(submit(*records), 3);
  const std::string agent(257, 'g');
  const std::string app = std::string(129, 'a') + agent;
  const std::string id = std::string(65, 'i') + app;
  EXPECT_EQ(sql(kLog, "SELECT conn_client_id, conn_client_app, conn_client_agent FROM ANNAL_CONN;"),
            Rows({{id, app, agent}, {id, app, agent}, {id, app, agent}}));
}

TEST_F(ConnBatch, ReadsNothingAfterItsLastRecord) {
  RecordAtTheEnd<ThreeRecords> records;
  *records = {complete_record(), complete_record(), complete_record()};
  EXPECT_EQ(submit(*records), 3);
  RecordAtTheEnd<std::array<ConnRecordV1, 2>> earlier;
  *earlier = {earlier_form(complete_record()), earlier_form(complete_record())};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries((*earlier).data(), 2, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 2);
}

TEST_F(ConnBatch, ReadsOnlyTheGivenNumberOfRecords) {
  std::array records{record_of("first"), record_of("second"), empty_record()};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 2, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 2);
  EXPECT_EQ(stored_users(), "first,second");
  EXPECT_TRUE(same_bytes(records[2], empty_record()));
}

// ---- the earlier form ----

TEST_F(ConnBatch, KeepsRecordsOfTheEarlierForm) {
  ConnRecord spoiled = empty_record();
  put(spoiled, kRes, "/share/\ta");
  const std::array before{earlier_form(complete_record()), earlier_form(spoiled)};
  std::array records{before};
  sqlite.follow_statements();
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries(records.data(), 2, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 2);
  EXPECT_TRUE(same_bytes(records[0], before[0]));
  EXPECT_TRUE(same_bytes(records[1], before[1]));
  Row first = complete_row();
  std::fill(first.end() - 3, first.end(), "---");
  EXPECT_EQ(
      stored_rows(),
      Rows({first,
            {"1", "System", "127.0.0.1", "localhost", "/share/a", "3", "10", "---", "13", "---", "localhost", "---"}}));
  ConnRecord widened = complete_record();
  ConnRecord filled = normalised_bare_record();
  put(filled, kRes, "/share/a");
  for (const Field& field : kClientTexts) {
    put(widened, field, "---");
  }
  Calls rows = row_work(widened);
  append(rows, row_work(filled));
  EXPECT_EQ(sqlite.calls(), transaction(rows));
}

// ---- records that are skipped ----

class ConnBatchWithRefused : public ConnBatch, public testing::WithParamInterface<Refused> {
 protected:
  static void expect_one_around_the_skipped() {
    EXPECT_EQ(stored_users(), "first,third");
    EXPECT_EQ(PlatformRecorder::calls_of("SendConnToZSyslogd").size(), 2U);
  }
};
INSTANTIATE_TEST_SUITE_P(, ConnBatchWithRefused, testing::ValuesIn(kRefused), name_in<Refused>);

TEST_P(ConnBatchWithRefused, SkipsItSilentlyAndUnchanged) {
  for (const ConnRecord& skipped : {complete_record(), empty_record()}) {
    ASSERT_EQ(annal_conn_flush_tbl(), ANNAL_OK);
    std::array records{record_of("first"), skipped, record_of("third")};
    GetParam().spoil(records[1]);
    const ConnRecord before = copy_of(records[1]);
    platform.reset();
    sqlite.reset();
    sqlite.follow_statements();
    EXPECT_EQ(submit(records), 2);
    EXPECT_TRUE(same_bytes(records[1], before));
    Calls rows = row_work(records[0]);
    append(rows, row_work(records[2]));
    EXPECT_EQ(sqlite.calls(), transaction(rows));
    expect_one_around_the_skipped();
  }
}

TEST_P(ConnBatchWithRefused, SkipsItInTheEarlierForm) {
  ConnRecord skipped = empty_record();
  GetParam().spoil(skipped);
  const std::array records{earlier_form(record_of("first")), earlier_form(skipped), earlier_form(record_of("third"))};
  const std::array before{records};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries(records.data(), 3, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 2);
  EXPECT_TRUE(same_bytes(records[1], before[1]));
  expect_one_around_the_skipped();
}

TEST_F(ConnBatch, SucceedsIfEveryRecordIsSkipped) {
  std::array records{complete_record(), complete_record()};
  for (ConnRecord& record : records) {
    record.conn_action_result = 12;
  }
  EXPECT_EQ(submit(records), 0);
  EXPECT_EQ(stored_count(), "0");
  EXPECT_EQ(platform.calls(), Calls());
}

// ---- what cannot be bound, stored or committed ----

// It does not matter which value cannot be bound.
class ConnBatchWithAFailingBind : public ConnBatch, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(, ConnBatchWithAFailingBind, testing::Range(1, 13));

TEST_P(ConnBatchWithAFailingBind, SkipsTheRecord) {
  std::array records{record_of("first"), record_of("second"), record_of("third")};
  sqlite.follow_statements();
  sqlite.fail("bind", 12 + GetParam());
  EXPECT_EQ(submit(records), 2);
  Calls rows = row_work(records[0]);
  Calls second = row_work(records[1]);
  second.resize(static_cast<std::size_t>(GetParam()));
  append(rows, second);
  rows.emplace_back("reset");
  append(rows, row_work(records[2]));
  EXPECT_EQ(sqlite.calls(), transaction(rows));
  EXPECT_EQ(stored_users(), "first,third");
  EXPECT_EQ(platform.calls_of("SendConnToZSyslogd").size(), 2U);
}

TEST_F(ConnBatch, ForwardsButDoesNotCountARecordThatIsNotStored) {
  std::array records{record_of("first"), record_of("second"), record_of("third")};
  sqlite.follow_statements();
  sqlite.fail("step", 2);
  EXPECT_EQ(submit(records), 2);
  Calls rows;
  for (const ConnRecord& record : records) {
    append(rows, row_work(record));
  }
  EXPECT_EQ(sqlite.calls(), transaction(rows));
  EXPECT_EQ(stored_users(), "first,third");
  EXPECT_EQ(platform.calls_of("SendConnToZSyslogd"),
            Calls({R"(SendConnToZSyslogd(1, "first", "10.0.0.5", "pc1", 3, 10, "/share/a"))",
                   R"(SendConnToZSyslogd(1, "second", "10.0.0.5", "pc1", 3, 10, "/share/a"))",
                   R"(SendConnToZSyslogd(1, "third", "10.0.0.5", "pc1", 3, 10, "/share/a"))"}));
}

TEST_F(ConnBatch, DoesNotCountARecordThatATriggerRefuses) {
  sql(kLog,
      "CREATE TRIGGER refuse BEFORE INSERT ON ANNAL_CONN WHEN NEW.conn_user = 'second' BEGIN SELECT RAISE(ABORT, "
      "'no'); "
      "END; CREATE TRIGGER ignore BEFORE INSERT ON ANNAL_CONN WHEN NEW.conn_user = 'third' BEGIN SELECT RAISE(IGNORE); "
      "END;");
  // An ignored row counts: the statement ran to its end.
  std::array records{record_of("first"), record_of("second"), record_of("third"), record_of("fourth")};
  EXPECT_EQ(submit(records), 3);
  EXPECT_EQ(stored_users(), "first,fourth");
  EXPECT_EQ(consumer_calls().size(), 4U);
}

TEST_F(ConnBatch, ReportsAFailingCommit) {
  std::array records{record_of("first"), record_of("second")};
  sqlite.fail("exec", 2);  // after the one that begins the transaction
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 2, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(inserted, 2);
  EXPECT_EQ(stored_rows(), Rows());
  EXPECT_EQ(sqlite.calls(), transaction({}));
  EXPECT_EQ(consumer_calls().size(), 2U);
}

TEST_F(ConnBatch, ReportsAFailingCommitOfNoRecords) {
  int inserted = kNobody;
  sqlite.fail("exec", 2);
  EXPECT_EQ(annal_conn_add_entries2(nullptr, 0, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(inserted, 0);
  sqlite.fail("exec", 2);
  EXPECT_EQ(annal_conn_add_entries(nullptr, -1, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(inserted, 0);
}

// A trigger can end the transaction in the middle of a batch, as SQLite does on a full disk. Later records are stored
// one by one, in a batch that fails.
TEST_F(ConnBatch, ContinuesAfterARolledBackTransaction) {
  sql(kLog,
      "CREATE TRIGGER refuse BEFORE INSERT ON ANNAL_CONN WHEN NEW.conn_user = 'second' BEGIN SELECT RAISE(ROLLBACK, "
      "'no'); END;");
  std::array records{record_of("first"), record_of("second"), record_of("third")};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 3, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(inserted, 2);  // the first, which was then rolled back, and the third
  EXPECT_EQ(stored_users(), "third");
}

// ---- full log ----

TEST_F(ConnBatch, DropsTheOldestOfAFullLog) {
  ASSERT_EQ(annal_conn_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_conn_add_trigger_logfull(2, 1), ANNAL_OK);
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_date, conn_time, conn_user) VALUES ('2001-01-01', '10:00:00', 'old');");
  std::array records{record_of("first"), record_of("second")};
  EXPECT_EQ(submit(records), 2);
  EXPECT_EQ(stored_users(), "first,second");
}

}  // namespace
}  // namespace annal::test
