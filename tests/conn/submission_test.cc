// Stores connections one at a time: refusals, changes to the caller's record, and the statement.
#include <climits>
#include <cstdio>
#include <fstream>
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

constexpr Default kUserDefault{kUser, "---", 65};
constexpr Default kIpDefault{kIp, "---", 65};

std::vector<Default> defaults() {
  std::vector<Default> all{kUserDefault, kIpDefault};
  all.insert(all.end(), std::begin(kCommonDefaults), std::end(kCommonDefaults));
  return all;
}

// The empty record after submission.
ConnRecord normalised_bare_record() {
  ConnRecord record = empty_record();
  for (const auto& [field, text, width] : defaults()) {
    fill(record, field, text, width);
  }
  fill(record, kClientApp, "localhost", sizeof "localhost");
  return record;
}

// The statement for these values.
std::string insert(const std::string& values) {
  return "INSERT INTO ANNAL_CONN \t( conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, "
         "conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) \tVALUES \t( " +
         values + ");";
}

std::string insert_of_complete_record() {
  return insert("1, 'ann', '10.0.0.5', 'pc1', '/share/a', 3, 10, 'Files', 13, 'id-3', 'Browser', 'Mozilla/5.0 (X11)'");
}

class ConnSubmission : public ConnLogTest {};

// No log exists, and a refused connection must not create one.
class ConnSubmissionRefusal : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_EQ(platform.calls(), Calls());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }
};

// ---- what it has in common with the other operations on a log ----

std::vector<Operation> operations() {
  return {
      {.name = "Add",
       .call =
           [] {
             ConnRecord record = complete_record();
             return annal_conn_add2(&record);
           },
       .work = {"exec " + insert_of_complete_record()},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_INSERT_FAILED},
      {.name = "AddOfAnEarlierForm",
       .call =
           [] {
             const ConnRecordV1 record = earlier_form(complete_record());
             return annal_conn_add(&record);
           },
       .work = {"exec " + insert("1, 'ann', '10.0.0.5', 'pc1', '/share/a', 3, 10, 'Files', 13, '---', '---', '---'")},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_INSERT_FAILED},
  };
}

INSTANTIATE_TEST_SUITE_P(ConnSubmission, EveryOperation, testing::ValuesIn(tested(kTested, operations(), Which::kAll)),
                         &name_of);
INSTANTIATE_TEST_SUITE_P(ConnSubmission, EveryBuiltOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kBuildText)), &name_of);
INSTANTIATE_TEST_SUITE_P(ConnSubmission, EveryWaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kWait)), &name_of);

// ---- refusals ----

class ConnSubmissionRefusalOf : public ConnSubmissionRefusal, public testing::WithParamInterface<Refused> {};
INSTANTIATE_TEST_SUITE_P(, ConnSubmissionRefusalOf, testing::ValuesIn(kRefused), name_in<Refused>);

// Each would be changed if it passed the checks.
TEST_P(ConnSubmissionRefusalOf, ChangesNothing) {
  for (ConnRecord record : {complete_record(), empty_record()}) {
    GetParam().spoil(record);
    const ConnRecord before = copy_of(record);
    EXPECT_EQ(annal_conn_add2(&record), GetParam().answer);
    EXPECT_TRUE(same_bytes(record, before));
  }
}

TEST_P(ConnSubmissionRefusalOf, HoldsForTheEarlierForm) {
  ConnRecord full = empty_record();
  GetParam().spoil(full);
  const ConnRecordV1 record = earlier_form(full);
  EXPECT_EQ(annal_conn_add(&record), GetParam().answer);
  EXPECT_TRUE(same_bytes(record, earlier_form(full)));
}

TEST_P(ConnSubmissionRefusalOf, ChecksLengthsFirst) {
  for (const Field& field : {kUser, kApp, kIp, kComp, kRes}) {
    ConnRecord record = complete_record();
    GetParam().spoil(record);
    overfill(record, field, 'x');
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_TOO_LONG) << field.name;
  }
}

TEST_F(ConnSubmissionRefusal, RefusesANullRecord) {
  EXPECT_EQ(annal_conn_add2(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_add(nullptr), ANNAL_BAD_ARGUMENT);
}

// Only two results are valid: every consumer can show them.
TEST_F(ConnSubmissionRefusal, RefusesAnActionResultOtherThan0And13) {
  for (int result = -300; result <= 300; ++result) {
    if (result == 0 || result == 13) {
      continue;
    }
    ConnRecord record = complete_record();
    record.conn_action_result = result;
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_BAD_ARGUMENT) << result;
  }
}

// ---- bounds ----

struct Bound {
  Field field;
  std::size_t bound;
};

constexpr Bound kBounds[] = {{kUser, 64}, {kIp, 64},       {kComp, 64},       {kRes, 1024},
                             {kApp, 256}, {kClientId, 64}, {kClientApp, 128}, {kClientAgent, 256}};

class ConnSubmissionBound : public ConnSubmission, public testing::WithParamInterface<Bound> {};
INSTANTIATE_TEST_SUITE_P(, ConnSubmissionBound, testing::ValuesIn(kBounds),
                         [](const testing::TestParamInfo<Bound>& tested) { return tested.param.field.name; });

TEST_P(ConnSubmissionBound, IsStoredInFull) {
  platform.answer("Is_Valid_Source", 1);
  const auto& [field, bound] = GetParam();
  ConnRecord record = complete_record();
  const std::string text(bound, 'x');
  EXPECT_EQ(field.size, bound + 1);
  put(record, field, text);
  const ConnRecord before = copy_of(record);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(stored(field.name), text);
  EXPECT_TRUE(same_bytes(record, before));
}

TEST_F(ConnSubmission, ReadsAnUnterminatedClientFieldIntoTheNext) {
  ConnRecord record = complete_record();
  overfill(record, kClientId, 'i');
  overfill(record, kClientApp, 'a');
  const ConnRecord before = copy_of(record);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  const std::string agent = "Mozilla/5.0 (X11)";
  EXPECT_EQ(stored("conn_client_id"), std::string(65, 'i') + std::string(129, 'a') + agent);
  EXPECT_EQ(stored("conn_client_app"), std::string(129, 'a') + agent);
  EXPECT_EQ(stored("conn_client_agent"), agent);
  EXPECT_TRUE(same_bytes(record, before));
}

TEST_F(ConnSubmission, StopsReadingClientFieldsAtTheRecordsEnd) {
  RecordAtTheEnd<ConnRecord> record;
  *record = complete_record();
  overfill(*record, kClientId, 'i');
  overfill(*record, kClientApp, 'a');
  overfill(*record, kClientAgent, 'g');
  EXPECT_EQ(annal_conn_add2(record.get()), ANNAL_OK);
  EXPECT_EQ(stored("conn_client_id"), std::string(65, 'i') + std::string(129, 'a') + std::string(257, 'g'));
  EXPECT_EQ(stored("conn_client_app"), std::string(129, 'a') + std::string(257, 'g'));
  EXPECT_EQ(stored("conn_client_agent"), std::string(257, 'g'));
}

TEST_F(ConnSubmission, ReadsNothingAfterARecordOfTheEarlierForm) {
  RecordAtTheEnd<ConnRecordV1> record;
  *record = earlier_form(complete_record());
  EXPECT_EQ(annal_conn_add(record.get()), ANNAL_OK);
  Row expected = complete_row();
  std::fill(expected.end() - 3, expected.end(), "---");
  EXPECT_EQ(stored_rows(), Rows({expected}));
}

// ---- numbers ----

TEST_F(ConnSubmission, StoresEachNumber) {
  const auto add = [](int type, int service, int action, int result) {
    ConnRecord record = complete_record();
    record.conn_type = type;
    record.conn_serv = service;
    record.conn_action = action;
    record.conn_action_result = result;
    const ConnRecord before = copy_of(record);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_TRUE(same_bytes(record, before));
    EXPECT_EQ(stored("conn_type || ' ' || conn_serv || ' ' || conn_action || ' ' || conn_action_result"),
              std::to_string(type) + " " + std::to_string(service) + " " + std::to_string(action) + " " +
                  std::to_string(result));
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
  EXPECT_EQ(stored("typeof(conn_type) || typeof(conn_serv) || typeof(conn_action) || typeof(conn_action_result)"),
            "integerintegerintegerinteger");
}

// ---- what becomes of the record ----

TEST_F(ConnSubmission, KeepsACompleteRecord) {
  ConnRecord record = complete_record();
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, complete_record()));
  EXPECT_EQ(stored_rows(), Rows({complete_row()}));
}

TEST_F(ConnSubmission, FillsAnEmptyRecord) {
  ConnRecord record = empty_record();
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, normalised_bare_record()));
  EXPECT_EQ(stored_rows(),
            Rows({{"1", "---", "---", "localhost", "---", "3", "10", "---", "13", "---", "localhost", "---"}}));
}

class ConnSubmissionDefault : public ConnSubmission, public testing::WithParamInterface<Default> {};
INSTANTIATE_TEST_SUITE_P(, ConnSubmissionDefault, testing::ValuesIn(defaults()),
                         [](const testing::TestParamInfo<Default>& tested) { return tested.param.field.name; });

TEST_P(ConnSubmissionDefault, ReplacesAnEmptyField) {
  const auto& [field, text, width] = GetParam();
  ConnRecord record = complete_record();
  std::memset(field.in(record), kLeftBehind, field.size);
  *field.in(record) = '\0';
  ConnRecord expected = copy_of(record);
  fill(expected, field, text, width);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored(field.name), text);
}

TEST_P(ConnSubmissionDefault, LeavesAOneLetterTextAlone) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  put(record, GetParam().field, "x");
  const ConnRecord before = copy_of(record);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored(GetParam().field.name), "x");
}

TEST_F(ConnSubmission, StampsTheEntryWithTheLocalTime) {
  const std::string now = "SELECT datetime('now', 'localtime');";
  const std::string before = value(kLog, now);
  ConnRecord record = complete_record();
  std::memcpy(record.conn_date, "2001-01-01", sizeof "2001-01-01");
  std::memcpy(record.conn_time, "01:01:01", sizeof "01:01:01");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  const std::string when = stored("conn_date || ' ' || conn_time");
  EXPECT_LE(before, when);
  EXPECT_LE(when, value(kLog, now));
}

TEST_F(ConnSubmission, NumbersConnectionsInTheirOrder) {
  for (const char* user : {"first", "second"}) {
    ConnRecord record = complete_record();
    record.conn_id = 77;
    put(record, kUser, user);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(record.conn_id, 77);
  }
  EXPECT_EQ(sql(kLog, "SELECT conn_id, conn_user FROM ANNAL_CONN ORDER BY conn_id;"),
            Rows({{"1", "first"}, {"2", "second"}}));
}

TEST_F(ConnSubmission, KeepsARecordOfTheEarlierForm) {
  ConnRecord full = empty_record();
  put(full, kIp, "fe80::1%eth0");
  put(full, kRes, "/share/\ta");
  const ConnRecordV1 record = earlier_form(full);
  EXPECT_EQ(annal_conn_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, earlier_form(full)));
  EXPECT_EQ(stored_rows(),
            Rows({{"1", "---", "fe80::1", "localhost", "/share/a", "3", "10", "---", "13", "---", "---", "---"}}));
}

// ---- address ----

TEST_F(ConnSubmission, NormalisesAddresses) {
  constexpr std::pair<const char*, const char*> kAddresses[] = {
      {"10.0.0.5", "10.0.0.5"},
      {"127.0.0.1", "127.0.0.1"},
      {"2001:db8::1", "2001:db8::1"},
      {"fe80::1%eth0", "fe80::1"},
      {"::ffff:10.1.2.3", "10.1.2.3"},
      {"10.0.0.5 ", "---"},
      {"pc1", "---"},
      {"pc1%eth0", "---"},
      {"::ffff:", "---"},
      {"---", "---"},
      {"10.0.0.5'", "---"},
  };
  for (const auto& [given, expected] : kAddresses) {
    ConnRecord record = complete_record();
    put(record, kIp, given);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK) << given;
    EXPECT_EQ(stored("conn_ip"), expected) << given;
    EXPECT_STREQ(record.conn_ip, expected);
  }
}

TEST_F(ConnSubmission, ClearsTheWholeFieldOfARejectedAddress) {
  for (const char* rejected : {"next-door.example", "---"}) {
    ConnRecord record = complete_record();
    put(record, kIp, rejected);
    ConnRecord expected = copy_of(record);
    fill(expected, kIp, "---", 65);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_TRUE(same_bytes(record, expected));
  }
}

TEST_F(ConnSubmission, ClearsTheFieldAfterAnAddressWithoutItsPrefix) {
  ConnRecord record = complete_record();
  put(record, kIp, "::ffff:10.0.0.5");
  ConnRecord expected = copy_of(record);
  fill(expected, kIp, "10.0.0.5", 63);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(ConnSubmission, KeepsTheBytesAfterAnAddressWithoutItsZone) {
  ConnRecord record = complete_record();
  put(record, kIp, "fe80::1%eth0");
  ConnRecord expected = copy_of(record);
  expected.conn_ip[7] = '\0';
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
}

// ---- the appliance's own connections ----

struct Origin {
  const char* ip;
  const char* client_app;
  const char* stored;
};

TEST_F(ConnSubmission, TreatsAConnectionWithNeitherAddressNorClientAsTheAppliances) {
  constexpr Origin kOrigins[] = {
      {"", "", "localhost"},
      {"", "---", "localhost"},
      {"", "---x", "localhost"},
      {"---", "", "localhost"},
      {"300.0.0.1", "----", "localhost"},
      {"", "--", "--"},
      {"", "--x", "--x"},
      {"", " ---", " ---"},
      {"", "Browser", "Browser"},
      {"10.0.0.5", "", "---"},
      {"10.0.0.5", "---x", "---x"},
      {"127.0.0.1", "", "---"},
      {"::1", "", "---"},
  };
  for (const auto& [ip, client_app, expected] : kOrigins) {
    ConnRecord record = complete_record();
    fill(record, kIp, ip, 65);
    put(record, kClientApp, client_app);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(stored("conn_client_app"), expected) << ip << " and " << client_app;
    EXPECT_STREQ(record.conn_client_app, expected) << ip << " and " << client_app;
  }
}

TEST_F(ConnSubmission, ComparesTheFirstThreeCharactersOfTheAddress) {
  platform.answer("Is_Valid_Source", 1);
  constexpr Origin kOrigins[] = {
      {"---x", "", "localhost"}, {"--x", "", "---"}, {"--", "", "---"}, {"127.0.0.1", "", "---"}};
  for (const auto& [ip, client_app, expected] : kOrigins) {
    ConnRecord record = complete_record();
    put(record, kIp, ip);
    put(record, kClientApp, client_app);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(stored("conn_client_app"), expected) << ip;
  }
}

TEST_F(ConnSubmission, KeepsTheBytesAfterItsOwnName) {
  ConnRecord record = complete_record();
  fill(record, kIp, "---", 65);
  overfill(record, kClientApp, '-');
  ConnRecord expected = copy_of(record);
  fill(expected, kClientApp, "localhost", sizeof "localhost");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("conn_client_app"), "localhost");
}

// ---- control characters ----

TEST_F(ConnSubmission, RemovesControlCharactersFromTheResource) {
  ConnRecord record = complete_record();
  put(record, kRes, "\x1F\u0085/share\n/\u200Ea\u2028\x7F");
  ConnRecord expected = copy_of(record);
  Skip_Unicode_Control_Characters(expected.conn_res);
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_STREQ(record.conn_res, "/share/a");
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("conn_res"), "/share/a");
}

TEST_F(ConnSubmission, RemovesThemOnlyFromThatField) {
  platform.answer("Is_Valid_Source", 1);
  for (const Field& field : kTexts) {
    if (field.offset == kRes.offset) {
      continue;
    }
    ConnRecord record = complete_record();
    put(record, field, "\x01\u200E");
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(stored(field.name), "\x01\u200E") << field.name;
  }
}

// A text that cleaning empties stays empty.
TEST_F(ConnSubmission, StoresAnEmptyTextForAResourceOfControlCharacters) {
  ConnRecord record = complete_record();
  put(record, kRes, "\x01\x02");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(stored("conn_res"), "");
}

TEST_F(ConnSubmission, CallsThePlatformInOrder) {
  ConnRecord record = complete_record();
  put(record, kRes, "/share\n/a");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("10.0.0.5"))", R"(Is_Valid_Source("10.0.0.5"))",
                                     "Skip_Unicode_Control_Characters(\"/share\n/a\")",
                                     R"(SendConnToZSyslogd(1, "ann", "10.0.0.5", "pc1", 3, 10, "/share/a"))"}));
}

// ---- quotes ----

TEST_F(ConnSubmission, StoresQuotesInTheResource) {
  for (const std::string& text :
       {std::string("/share/Ann's"), std::string("'"), std::string("''"), std::string("'); DROP TABLE ANNAL_CONN; --"),
        std::string("%s %d %Q %n \"\\"), std::string(1024, '\''), std::string("gr\u00FCn \xC3\xFF")}) {
    ConnRecord record = complete_record();
    put(record, kRes, text);
    const ConnRecord before = copy_of(record);
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(stored("conn_res"), text);
    EXPECT_TRUE(same_bytes(record, before));
  }
}

TEST_F(ConnSubmission, DoublesQuotesInTheStatement) {
  ConnRecord record = complete_record();
  put(record, kRes, "a'b''");
  put(record, kClientId, "'i");
  put(record, kClientApp, "a'); DELETE FROM ANNAL_CONN; --");
  put(record, kClientAgent, "'");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(),
            connection(kLog,
                       {"exec " + insert("1, 'ann', '10.0.0.5', 'pc1', 'a''b''''', 3, 10, 'Files', 13, '''i', "
                                         "'a''); DELETE FROM ANNAL_CONN; --', ''''")},
                       true));
  EXPECT_EQ(stored("conn_res"), "a'b''");
  EXPECT_EQ(stored("conn_client_id"), "'i");
  EXPECT_EQ(stored("conn_client_app"), "a'); DELETE FROM ANNAL_CONN; --");
  EXPECT_EQ(stored("conn_client_agent"), "'");
}

TEST_F(ConnSubmission, StoresClientFieldsAsTheyAre) {
  for (const Field& field : kClientTexts) {
    for (const char* text : {"O'Brien", "''", "x', 'y', 'z'); DROP TABLE ANNAL_CONN; --", "100 % %s%n", "\xC3\xFF"}) {
      ConnRecord record = complete_record();
      put(record, field, text);
      EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
      EXPECT_EQ(stored(field.name), text);
    }
  }
}

class ConnSubmissionWithAQuoteIn : public ConnSubmission, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(, ConnSubmissionWithAQuoteIn, testing::Values(kUser, kIp, kComp, kApp), name_in<Field>);

TEST_P(ConnSubmissionWithAQuoteIn, FailsAndIsNotForwarded) {
  platform.answer("Is_Valid_Source", 1);
  commands.install("/usr/local/sbin/evsh");
  commands.install("/sbin/orcapro_conn_log_tool");
  for (const char* text : {"O'Brien", "'", "x'--"}) {
    ConnRecord record = complete_record();
    put(record, GetParam(), text);
    const ConnRecord before = copy_of(record);
    const ChildRecorder noted;
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_INSERT_FAILED) << text;
    EXPECT_TRUE(same_bytes(record, before));
    EXPECT_TRUE(ChildRecorder::calls().empty());
  }
  EXPECT_EQ(stored_rows(), Rows());
  EXPECT_EQ(consumer_calls(), Calls());
}

// A doubled quote does not end the text, so services may escape names themselves.
TEST_P(ConnSubmissionWithAQuoteIn, StoresOneOfTwo) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  put(record, GetParam(), "O''Brien");
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(stored(GetParam().name), "O'Brien");
}

// ---- failures ----

class ConnSubmissionFailure : public ConnSubmission {
 protected:
  // Submits the empty record and expects it to be normalised but not forwarded.
  void expect_answer(int result) {
    ConnRecord record = empty_record();
    EXPECT_EQ(annal_conn_add2(&record), result);
    EXPECT_TRUE(same_bytes(record, normalised_bare_record()));
    EXPECT_EQ(consumer_calls(), Calls());
  }
};

// The escaped resource is built first, then the statement.
TEST_F(ConnSubmissionFailure, WithoutMemoryOpensNothing) {
  for (const int text : {1, 2}) {
    sqlite.fail("mprintf", text);
    expect_answer(ANNAL_NO_MEMORY);
    EXPECT_EQ(sqlite.calls(), Calls());
  }
}

TEST_F(ConnSubmissionFailure, WithoutTheLogFolder) {
  remove_log_folder();
  expect_answer(ANNAL_OPEN_FAILED);
}

TEST_F(ConnSubmissionFailure, WithoutTheTableKeepsTheFile) {
  annal_conn_remove_tbl();
  expect_answer(ANNAL_INSERT_FAILED);
  EXPECT_TRUE(exists(kLog));
}

TEST_F(ConnSubmissionFailure, InADamagedFileKeepsIt) {
  put_garbage(kLog);
  expect_answer(ANNAL_INSERT_FAILED);
  std::ifstream file(kLog);
  EXPECT_EQ(file.get(), 'x');
}

TEST_F(ConnSubmissionFailure, InATableOfAnEarlierRelease) {
  sql(kLog, "ALTER TABLE ANNAL_CONN DROP COLUMN conn_client_agent;");
  expect_answer(ANNAL_INSERT_FAILED);
}

TEST_F(ConnSubmissionFailure, BehindALastingLock) {
  sqlite.shorten_waits(50);
  const LockHolder lock(kLog);
  expect_answer(ANNAL_INSERT_FAILED);
}

TEST_F(ConnSubmissionFailure, EndsWithItsCause) {
  sqlite.fail("exec");
  expect_answer(ANNAL_INSERT_FAILED);
  EXPECT_EQ(stored_rows(), Rows());
  ConnRecord record = empty_record();
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(stored_count(), "1");
}

// ---- full log ----

TEST_F(ConnSubmission, DropsTheOldestOfAFullLogInTheSameStatement) {
  ASSERT_EQ(annal_conn_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_conn_add_trigger_logfull(3, 2), ANNAL_OK);
  for (const char* date : {"2001-01-03", "2001-01-01", "2001-01-02"}) {
    sql(kLog, std::string("INSERT INTO ANNAL_CONN (conn_date, conn_time) VALUES ('") + date + "', '10:00:00');");
  }
  ConnRecord record = complete_record();
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT conn_id FROM ANNAL_CONN ORDER BY conn_id;"), Rows({{"1"}, {"4"}}));
}

}  // namespace
}  // namespace annal::test
