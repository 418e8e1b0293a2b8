// Stores notices: checks, changes to the caller's record, and the file's content.
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>

#include "Corix_annal.h"
#include "platform/platform.h"
#include "tests/support/appliance.h"
#include "tests/support/records.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/notice.log";
constexpr std::time_t kNow = 1705361400;

// ---- records ----

#define FIELD(name) Field({#name, offsetof(NoticeRecord, name), sizeof(NoticeRecord::name)})
constexpr Field kService = FIELD(serviceName);
constexpr Field kUser = FIELD(user);
constexpr Field kIp = FIELD(ip);
constexpr Field kClient = FIELD(client);
constexpr Field kDesc = FIELD(desc);
constexpr Field kMsgCode = FIELD(msgCode);
constexpr Field kVarContent = FIELD(varContent);
constexpr Field kName = FIELD(name);
constexpr Field kLinkId = FIELD(link_id);
constexpr Field kLinkOption = FIELD(link_option);
constexpr Field kTitle = FIELD(title);
#undef FIELD

constexpr Field kTexts[] = {kService,    kUser, kIp,     kClient,     kDesc, kMsgCode,
                            kVarContent, kName, kLinkId, kLinkOption, kTitle};

testing::AssertionResult same_bytes(const NoticeRecord& actual, const NoticeRecord& expected) {
  return test::same_bytes(actual, expected, kTexts);
}

// A complete notice, in which nothing is replaced and every number differs.
NoticeRecord complete_record() {
  NoticeRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.severity = 4;
  record.server = -11;
  record.action = 12;
  record.facility = 13;
  record.varNum = 14;
  record.status = -15;
  record.uid = 1001;
  record.gid = 0;
  put(record, kService, "Backup");
  put(record, kUser, "admin");
  put(record, kIp, "10.0.0.5");
  put(record, kClient, "nas-1");
  put(record, kDesc, "Fan 2 failed.");
  put(record, kMsgCode, "F-17");
  put(record, kVarContent, "2;rear");
  put(record, kName, "fan");
  put(record, kLinkId, "link-1");
  put(record, kLinkOption, "open");
  put(record, kTitle, "Hardware");
  return record;
}

// An empty notice, in which everything is replaced.
NoticeRecord empty_record() {
  NoticeRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.severity = 0;
  record.uid = -5;
  record.gid = INT32_MIN;
  for (const Field& field : kTexts) {
    *field.in(record) = '\0';
  }
  put(record, kDesc, "Fan\t2 failed.\u2028");
  return record;
}

// An empty field's replacement: the text, padded with zero bytes to the width.
struct Default {
  Field field;
  const char* text;
  std::size_t width;
};
constexpr Default kDefaults[] = {
    {kService, "System", 7},    {kUser, "System", 65}, {kIp, "127.0.0.1", 64},
    {kClient, "localhost", 64}, {kMsgCode, "0", 65},
};

void PrintTo(const Default& replaced, std::ostream* out) {
  *out << replaced.field.name;
}

// The empty record after submission.
NoticeRecord normalised_bare_record() {
  NoticeRecord record = empty_record();
  for (const auto& [field, text, width] : kDefaults) {
    fill(record, field, text, width);
  }
  record.uid = -1;
  record.gid = -1;
  Skip_Unicode_Control_Characters(record.desc);
  return record;
}

// A column of the last stored notice.
std::string stored(const std::string& column) {
  return sql(kLog, "SELECT " + column + " FROM ANNAL_NOTICE ORDER BY id DESC LIMIT 1;").at(0).at(0);
}

class NoticeSubmission : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
    Clock::stop_at(kNow);
  }
};

// No log exists, and a refused notice must not create one.
class NoticeSubmissionRefusal : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(sqlite.calls().empty());
    EXPECT_TRUE(platform.calls().empty());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }
};

// ---- bounds ----

constexpr Field kBounded[] = {kUser, kIp, kClient, kDesc};

template <typename Parameter>
std::string name_of(const testing::TestParamInfo<Parameter>& tested) {
  if constexpr (std::is_same_v<Parameter, Field>) {
    return tested.param.name;
  } else {
    return tested.param.field.name;
  }
}

class NoticeSubmissionBound : public NoticeSubmission, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(, NoticeSubmissionBound, testing::ValuesIn(kTexts), name_of<Field>);

TEST_P(NoticeSubmissionBound, IsStoredInFull) {
  platform.answer("Is_Valid_Source", 1);
  NoticeRecord record = complete_record();
  const std::string text(GetParam().size - 1, 'x');
  put(record, GetParam(), text);
  const NoticeRecord before = copy_of(record);
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_EQ(stored(GetParam().name), text);
  EXPECT_TRUE(same_bytes(record, before));
}

class NoticeSubmissionOfOverlong : public NoticeSubmissionRefusal, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(, NoticeSubmissionOfOverlong, testing::ValuesIn(kBounded), name_of<Field>);

TEST_P(NoticeSubmissionOfOverlong, ChangesNothing) {
  NoticeRecord record = empty_record();
  put(record, kDesc, "");
  overfill(record, GetParam(), 'x');
  const NoticeRecord before = copy_of(record);
  EXPECT_EQ(annal_notice_add(&record), ANNAL_TOO_LONG);
  EXPECT_TRUE(same_bytes(record, before));
}

TEST_P(NoticeSubmissionOfOverlong, ComesBeforeTheSeverity) {
  NoticeRecord record = complete_record();
  overfill(record, GetParam(), 'x');
  record.severity = 8;
  EXPECT_EQ(annal_notice_add(&record), ANNAL_TOO_LONG);
}

TEST_F(NoticeSubmission, ReadsAnUnterminatedTextUpToTheRecordsEnd) {
  RecordAtTheEnd<NoticeRecord> record;
  *record = complete_record();
  overfill(*record, kLinkOption, 'o');
  overfill(*record, kTitle, 't');
  EXPECT_EQ(annal_notice_add(record.get()), ANNAL_OK);
  EXPECT_EQ(stored("link_option"), std::string(1025, 'o') + std::string(257, 't'));
  EXPECT_EQ(stored("title"), std::string(257, 't'));
}

// ---- severity ----

TEST_F(NoticeSubmission, StoresEachSeverity) {
  std::string expected;
  for (std::uint32_t severity = 0; severity <= 7; ++severity) {
    NoticeRecord record = complete_record();
    record.severity = severity;
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK) << severity;
    EXPECT_EQ(record.severity, severity);
  }
  EXPECT_EQ(value(kLog, "SELECT group_concat(severity) FROM (SELECT severity FROM ANNAL_NOTICE ORDER BY id);"),
            "0,1,2,3,4,5,6,7");
}

TEST_F(NoticeSubmissionRefusal, OfAnUnknownSeverityChangesNothing) {
  for (const std::uint32_t severity : {8U, 9U, 0x7FFFFFFFU, 0x80000000U, UINT32_MAX}) {
    NoticeRecord record = empty_record();
    record.severity = severity;
    put(record, kIp, "fe80::1%eth0");
    const NoticeRecord before = copy_of(record);
    EXPECT_EQ(annal_notice_add(&record), ANNAL_BAD_ARGUMENT) << severity;
    EXPECT_TRUE(same_bytes(record, before)) << severity;
  }
}

TEST_F(NoticeSubmissionRefusal, OfNoRecord) {
  EXPECT_EQ(annal_notice_add(nullptr), ANNAL_BAD_ARGUMENT);
}

// ---- what is written into the record ----

TEST_F(NoticeSubmission, KeepsACompleteRecord) {
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, complete_record()));
  EXPECT_EQ(
      sql(kLog, "SELECT * FROM ANNAL_NOTICE;"),
      Rows({{"1",        "4",      "-11",           "12",      "Backup", "13",     "1705361400", "1705361400", "admin",
             "10.0.0.5", "nas-1",  "Fan 2 failed.", "F-17",    "14",     "2;rear", "fan",        "-15",        "1001",
             "0",        "link-1", "open",          "Hardware"}}));
}

TEST_F(NoticeSubmission, FillsAnEmptyRecord) {
  NoticeRecord record = empty_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, normalised_bare_record()));
  EXPECT_EQ(
      sql(kLog,
          "SELECT serviceName, user, ip, client, desc, msgCode, uid, gid, varContent, name, link_id, link_option, "
          "title FROM ANNAL_NOTICE;"),
      Rows({{"System", "System", "127.0.0.1", "localhost", "Fan2 failed.", "0", "-1", "-1", "", "", "", "", ""}}));
}

class NoticeSubmissionDefault : public NoticeSubmission, public testing::WithParamInterface<Default> {};
INSTANTIATE_TEST_SUITE_P(, NoticeSubmissionDefault, testing::ValuesIn(kDefaults), name_of<Default>);

TEST_P(NoticeSubmissionDefault, ReplacesOnlyAnEmptyField) {
  const auto& [field, text, width] = GetParam();
  NoticeRecord record = complete_record();
  put(record, field, "");
  NoticeRecord expected = copy_of(record);
  fill(expected, field, text, width);
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored(field.name), text);
}

TEST_P(NoticeSubmissionDefault, LeavesAOneLetterTextAlone) {
  platform.answer("Is_Valid_Source", 1);
  NoticeRecord record = complete_record();
  put(record, GetParam().field, "x");
  const NoticeRecord before = copy_of(record);
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored(GetParam().field.name), "x");
}

TEST_F(NoticeSubmission, FillsTheRecordOfANoticeThatCannotBeStored) {
  remove_log_folder();
  NoticeRecord record = empty_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OPEN_FAILED);
  EXPECT_TRUE(same_bytes(record, normalised_bare_record()));
}

struct Address {
  const char* given;
  const char* stored;
};

TEST_F(NoticeSubmission, NormalisesAddresses) {
  constexpr Address kAddresses[] = {
      {"10.0.0.5", "10.0.0.5"},
      {"::ffff:10.0.0.5", "10.0.0.5"},
      {"::FFFF:10.0.0.5", "10.0.0.5"},
      {"fe80::1%eth0", "fe80::1"},
      {"fe80::1", "fe80::1"},
      {"nonsense", "127.0.0.1"},
      {"10.0.0.256", "127.0.0.1"},
      {"---", "127.0.0.1"},
      {" ", "127.0.0.1"},
      {"%eth0", "127.0.0.1"},
      {"10.0.0.5%x", "10.0.0.5"},
  };
  for (const auto& [given, expected] : kAddresses) {
    NoticeRecord record = complete_record();
    put(record, kIp, given);
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK) << given;
    EXPECT_STREQ(record.ip, expected);
    EXPECT_EQ(stored("ip"), expected) << given;
  }
}

// After the address, as for events.
TEST_F(NoticeSubmission, ClearsTheFieldAfterAnAddressWithoutItsPrefix) {
  NoticeRecord record = complete_record();
  put(record, kIp, "::ffff:10.0.0.5");
  NoticeRecord expected = copy_of(record);
  fill(expected, kIp, "10.0.0.5", 63);
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(NoticeSubmission, StoresANegativeUserOrGroupAsMinus1) {
  for (const auto& [given, kept] : {std::pair(-1, -1), std::pair(-2, -1), std::pair(-5, -1), std::pair(INT_MIN, -1),
                                    std::pair(0, 0), std::pair(1, 1), std::pair(INT_MAX, INT_MAX)}) {
    NoticeRecord record = complete_record();
    record.uid = given;
    record.gid = 7;
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
    EXPECT_EQ(record.uid, kept);
    EXPECT_EQ(stored("uid || ' ' || gid"), std::to_string(kept) + " 7");
    record.uid = 7;
    record.gid = given;
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
    EXPECT_EQ(record.gid, kept);
    EXPECT_EQ(stored("uid || ' ' || gid"), "7 " + std::to_string(kept));
  }
}

TEST_F(NoticeSubmission, RemovesControlCharactersFromTheTextAlone) {
  NoticeRecord record = complete_record();
  for (const Field& field : kTexts) {
    put(record, field, "a\tb\u2028c");
  }
  put(record, kIp, "10.0.0.5");
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_STREQ(record.desc, "abc");
  for (const Field& field : kTexts) {
    if (field.offset != kIp.offset && field.offset != kDesc.offset) {
      EXPECT_EQ(stored(field.name), "a\tb\u2028c") << field.name;
    }
  }
  EXPECT_EQ(stored("desc"), "abc");
}

// ---- time ----

TEST_F(NoticeSubmission, StoresTheTimeOfTheCallAsA32BitNumber) {
  const std::pair<std::time_t, const char*> moments[] = {{kNow, "1705361400"},
                                                         {0, "0"},
                                                         {INT32_MAX, "2147483647"},
                                                         {std::time_t{INT32_MAX} + 1, "-2147483648"},
                                                         {(std::time_t{1} << 32) + 5, "5"}};
  for (const auto& [moment, text] : moments) {
    Clock::stop_at(moment);
    NoticeRecord record = complete_record();
    record.time = 77;
    record.endtime = 88;
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
    EXPECT_EQ(stored("time"), text);
    EXPECT_EQ(stored("endtime"), text);
    EXPECT_EQ(stored("typeof(time) || typeof(endtime)"), "integerinteger");
    EXPECT_EQ(record.time, 77);
    EXPECT_EQ(record.endtime, 88);
  }
}

// ---- the statement ----

TEST_F(NoticeSubmission, RunsOneStatementInOneConnection) {
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(),
            Calls({"open /etc/logs/notice.log", "busy_timeout 20000",
                   "exec INSERT INTO ANNAL_NOTICE \t( severity, server, action, serviceName, facility, time, endtime, "
                   "user, ip, client, desc, msgCode, varNum, varContent, name, status, uid, gid , link_id, "
                   "link_option, title) \tVALUES \t( 4, -11, 12, 'Backup', 13, 1705361400, 1705361400, 'admin', "
                   "'10.0.0.5', 'nas-1', 'Fan 2 failed.', 'F-17', 14, '2;rear', 'fan', -15, 1001, 0 , 'link-1', "
                   "'open', 'Hardware');",
                   "close"}));
}

TEST_F(NoticeSubmission, CallsThePlatformOnlyForTheAddressAndTheText) {
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("10.0.0.5"))", R"(Is_Valid_Source("10.0.0.5"))",
                                     R"(Skip_Unicode_Control_Characters("Fan 2 failed."))"}));
}

TEST_F(NoticeSubmission, StoresTextsAsTheyAre) {
  const std::string text = "it's \"50%\" %s; DROP TABLE ANNAL_NOTICE; -- grün";
  NoticeRecord record = complete_record();
  for (const Field& field : kTexts) {
    if (field.offset != kIp.offset) {
      put(record, field, text);
    }
  }
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  for (const Field& field : kTexts) {
    if (field.offset != kIp.offset) {
      EXPECT_EQ(stored(field.name), text) << field.name;
    }
  }
}

// The platform decides what an address is, so it may contain a quote.
TEST_F(NoticeSubmission, StoresAnAddressAsItIs) {
  platform.answer("Is_Valid_Source", 1);
  NoticeRecord record = complete_record();
  put(record, kIp, "it's");
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_EQ(stored("ip"), "it's");
}

TEST_F(NoticeSubmission, NumbersNoticesInTheirOrder) {
  for (const char* text : {"first", "second", "third"}) {
    NoticeRecord record = complete_record();
    record.id = 77;
    put(record, kDesc, text);
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
    EXPECT_EQ(record.id, 77);
  }
  EXPECT_EQ(sql(kLog, "SELECT id, desc FROM ANNAL_NOTICE ORDER BY id;"),
            Rows({{"1", "first"}, {"2", "second"}, {"3", "third"}}));
}

TEST_F(NoticeSubmission, LetsTheFullLogDropItsOldest) {
  ASSERT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_notice_add_trigger_logfull(3, 2), ANNAL_OK);
  for (int i = 1; i <= 5; ++i) {
    Clock::stop_at(kNow + i);
    NoticeRecord record = complete_record();
    EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  }
  EXPECT_EQ(sql(kLog, "SELECT id FROM ANNAL_NOTICE ORDER BY id;"), Rows({{"3"}, {"4"}, {"5"}}));
}

TEST_F(NoticeSubmission, ForwardsNothing) {
  for (const char* command : {"/usr/local/sbin/evsh", "/usr/local/sbin/notify", "/sbin/log_tool"}) {
    commands.install(command);
  }
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(NoticeSubmission, WaitsForALock) {
  const LockHolder lock(kLog, 250ms);
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), ANNAL_OK);
}

// ---- failures ----

struct Failure {
  const char* name;
  int answer;
  void (*prepare)();
  std::size_t calls;  // the number of SQLite calls
};

constexpr Failure kFailures[] = {
    {"WithoutMemory", ANNAL_NO_MEMORY, [] { SqliteTrace::fail("mprintf"); }, 0},
    {"WithoutTheFolder", ANNAL_OPEN_FAILED, [] { remove_log_folder(); }, 2},
    {"WithAFileThatDoesNotOpen", ANNAL_OPEN_FAILED, [] { SqliteTrace::fail("open"); }, 2},
    {"WithoutTheTable", ANNAL_INSERT_FAILED, [] { sql(kLog, "DROP TABLE ANNAL_NOTICE;"); }, 4},
    {"WithARefusedStatement", ANNAL_INSERT_FAILED, [] { SqliteTrace::fail("exec"); }, 4},
    {"InATableWithoutTitle", ANNAL_INSERT_FAILED, [] { sql(kLog, "ALTER TABLE ANNAL_NOTICE DROP COLUMN title;"); }, 4},
    {"InADamagedFile", ANNAL_INSERT_FAILED, [] { std::ofstream(kLog, std::ios::trunc) << std::string(4096, 'x'); }, 4},
};

void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.name;
}

class NoticeSubmissionFailure : public NoticeSubmission, public testing::WithParamInterface<Failure> {};
INSTANTIATE_TEST_SUITE_P(, NoticeSubmissionFailure, testing::ValuesIn(kFailures),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(NoticeSubmissionFailure, ReturnsItsCodeAndClosesTheFile) {
  GetParam().prepare();
  NoticeRecord record = complete_record();
  EXPECT_EQ(annal_notice_add(&record), GetParam().answer);
  EXPECT_EQ(sqlite.calls().size(), GetParam().calls);
  if (GetParam().calls > 0) {
    EXPECT_EQ(sqlite.calls().back(), "close");
  }
}

}  // namespace
}  // namespace annal::test
