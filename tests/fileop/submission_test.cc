// Stores file operations: refusals, changes to the record, the file's content, and waits for locks.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"
#include "tests/support/records.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/operations.db";

// ---- records ----

#define FIELD(name) Field({#name, offsetof(FileOpRecord, name), sizeof(FileOpRecord::name)})
constexpr Field kUser = FIELD(event_user);
constexpr Field kIp = FIELD(event_ip);
constexpr Field kComp = FIELD(event_comp);
constexpr Field kDuid = FIELD(event_duid);
constexpr Field kDesc = FIELD(event_desc);
#undef FIELD

constexpr Field kTexts[] = {kUser, kIp, kComp, kDuid, kDesc};

// A complete operation, in which nothing is replaced.
FileOpRecord complete_record() {
  FileOpRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.event_type = 1;
  record.event_tm.tm_year = 120;
  record.event_tm.tm_mon = 1;
  record.event_tm.tm_mday = 3;
  record.event_tm.tm_hour = 4;
  record.event_tm.tm_min = 5;
  record.event_tm.tm_sec = 6;
  put(record, kUser, "ann");
  put(record, kIp, "10.0.0.5");
  record.event_oldfilepath = "/share/old name";
  record.event_filepath = "/share/new name";
  record.event_isFolder = 2;
  record.event_action = 17;
  record.event_filesize = 4096;
  put(record, kComp, "pc1");
  put(record, kDuid, "phone");
  put(record, kDesc, "renamed");
  return record;
}

constexpr const char* kCompleteInsert =
    "INSERT INTO PAVO2LOG_EVENT \t( event_type, event_date, event_time, event_user, event_ip, "
    "event_oldfilepath, event_filepath, event_isFolder, event_action, event_filesize, event_comp, "
    "event_duid, event_desc, sub_user, pid) \tVALUES \t( 1, '2020-02-03', '04:05:06', 'ann', '10.0.0.5', "
    "'/share/old name', '/share/new name', 2, 17, 4096, 'pc1', 'phone', 'renamed', '', 0);";

// An empty operation, in which everything is replaced.
FileOpRecord empty_record() {
  FileOpRecord record = complete_record();
  record.event_tm.tm_year = 0;
  record.event_oldfilepath = nullptr;
  record.event_filepath = nullptr;
  for (const Field& field : kTexts) {
    *field.in(record) = '\0';
  }
  return record;
}

constexpr std::time_t kWinter = 1705361400;  // 2024-01-16 00:30:00; still the previous day in UTC
constexpr std::time_t kSummer = 1721082600;  // 2024-07-16 00:30:00, likewise

std::int64_t add(FileOpRecord& record) {
  return pavo2log_event_add(kLog, &record);
}

// A column of the last stored operation.
std::string stored(const std::string& column) {
  return value(kLog, "SELECT " + column + " FROM PAVO2LOG_EVENT ORDER BY event_id DESC LIMIT 1;");
}

std::string ids() {
  return value(kLog,
               "SELECT coalesce(group_concat(event_id), '') FROM (SELECT event_id FROM PAVO2LOG_EVENT ORDER BY "
               "event_id);");
}

class FileOpSubmission : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

// No log exists, and a refused operation must not create one.
class FileOpSubmissionArguments : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_EQ(platform.calls(), Calls());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }

  static void expect_refused(FileOpRecord record, std::int64_t result) {
    const std::string before = bytes_of(record);
    EXPECT_EQ(add(record), result);
    EXPECT_TRUE(bytes_of(record) == before);
  }
};

// ---- bounds ----

class FileOpSubmissionBound : public FileOpSubmission, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(Of, FileOpSubmissionBound, testing::ValuesIn(kTexts),
                         [](const auto& tested) { return tested.param.name; });

TEST(FileOpSubmissionBounds, AreOneByteBelowTheFieldsSize) {
  const std::size_t sizes[] = {65, 65, 65, 65, 1025};
  EXPECT_TRUE(std::equal(std::begin(sizes), std::end(sizes), std::begin(kTexts), std::end(kTexts),
                         [](std::size_t size, const Field& field) { return size == field.size; }));
}

TEST_P(FileOpSubmissionBound, IsStoredInFull) {
  FileOpRecord record = complete_record();
  std::string text(GetParam().size - 1, 'x');
  text.replace(0, 8, "10.0.0.5");
  put(record, GetParam(), text);
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(stored(GetParam().name), text);
}

class FileOpSubmissionRefusalOfOverlong : public FileOpSubmissionArguments,
                                          public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(Of, FileOpSubmissionRefusalOfOverlong, testing::ValuesIn(kTexts),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpSubmissionRefusalOfOverlong, ChangesNothingAndComesBeforeAllOthers) {
  // After the field comes another text, only a terminator, or filler bytes.
  for (FileOpRecord record : {complete_record(), empty_record(), FileOpRecord{}}) {
    // Fills the field to its last byte: one more than allowed, and no terminator.
    std::memset(GetParam().in(record), 'x', GetParam().size);
    expect_refused(record, ANNAL_TOO_LONG);
    record.event_type = 3;
    record.event_action = 0;
    expect_refused(record, ANNAL_TOO_LONG);
  }
}

// ---- codes ----

TEST_F(FileOpSubmissionArguments, RefuseNull) {
  FileOpRecord record = complete_record();
  EXPECT_EQ(pavo2log_event_add(kLog, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_add(nullptr, &record), ANNAL_BAD_ARGUMENT);
  std::memset(&record, 'x', sizeof record);
  EXPECT_EQ(pavo2log_event_add(nullptr, &record), ANNAL_BAD_ARGUMENT);
}

TEST_F(FileOpSubmissionArguments, RefuseCodesOutOfRange) {
  constexpr struct {
    std::uint32_t FileOpRecord::*field;
    std::uint32_t code;
  } kCodes[] = {
      {&FileOpRecord::event_type, 3},         {&FileOpRecord::event_type, UINT_MAX},
      {&FileOpRecord::event_isFolder, 3},     {&FileOpRecord::event_isFolder, UINT_MAX},
      {&FileOpRecord::event_action, 0},       {&FileOpRecord::event_action, 36},
      {&FileOpRecord::event_action, INT_MAX}, {&FileOpRecord::event_action, UINT_MAX},
  };
  for (const auto& [field, code] : kCodes) {
    SCOPED_TRACE(code);
    FileOpRecord record = empty_record();
    record.*field = code;
    expect_refused(record, ANNAL_BAD_ARGUMENT);
  }
}

TEST_F(FileOpSubmission, AcceptsEveryCodeInRange) {
  for (std::uint32_t code = 0; code <= 2; ++code) {
    FileOpRecord record = complete_record();
    record.event_type = code;
    record.event_isFolder = 2 - code;
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_type || ' ' || event_isFolder"), std::to_string(code) + " " + std::to_string(2 - code));
  }
  for (std::uint32_t code = 1; code <= 35; ++code) {
    FileOpRecord record = complete_record();
    record.event_action = code;
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_action"), std::to_string(code));
  }
}

// ---- the statement ----

TEST_F(FileOpSubmission, RunsOneStatementAndReturnsTheNewId) {
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(sqlite.calls(),
            Calls({std::string("open ") + kLog, "busy_handler", std::string("exec ") + kCompleteInsert, "close"}));
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("10.0.0.5"))"}));
}

TEST_F(FileOpSubmission, FillsEveryColumn) {
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(sql(kLog, "SELECT * FROM PAVO2LOG_EVENT;"),
            Rows({{"1", "1", "2020-02-03", "04:05:06", "ann", "10.0.0.5", "/share/old name", "/share/new name", "2",
                   "17", "4096", "pc1", "phone", "renamed", "", "0"}}));
}

TEST_F(FileOpSubmission, KeepsACompleteRecord) {
  FileOpRecord record = complete_record();
  const std::string before = bytes_of(record);
  EXPECT_EQ(add(record), 1);
  EXPECT_TRUE(bytes_of(record) == before);
}

// ---- what replaces what is missing ----

TEST_F(FileOpSubmission, FillsTheRecordsEmptyFields) {
  FileOpRecord record = empty_record();
  FileOpRecord expected = empty_record();
  // The user's whole field; all but the last byte of the others.
  std::memset(expected.event_user, 0, 65);
  put(expected, kUser, "System");
  for (const Field& field : {kIp, kComp, kDuid}) {
    std::memset(field.in(expected), 0, 64);
    put(expected, field, field.offset == kIp.offset ? "127.0.0.1" : "localhost");
  }
  EXPECT_EQ(add(record), 1);
  EXPECT_TRUE(bytes_of(record) == bytes_of(expected));
  EXPECT_EQ(sql(kLog,
                "SELECT event_user, event_ip, event_comp, event_duid, event_desc, event_oldfilepath, event_filepath "
                "FROM PAVO2LOG_EVENT;"),
            Rows({{"System", "127.0.0.1", "localhost", "localhost", "", "", ""}}));
}

TEST_F(FileOpSubmission, NormalisesARecordThatIsNotStored) {
  remove_log_folder();
  FileOpRecord record = empty_record();
  EXPECT_EQ(add(record), ANNAL_OPEN_FAILED);
  EXPECT_STREQ(record.event_user, "System");
  EXPECT_STREQ(record.event_ip, "127.0.0.1");
}

TEST_F(FileOpSubmission, StoresTheAddressNormalisedByItsOwnCheck) {
  constexpr struct {
    const char* given;
    const char* stored;
  } kAddresses[] = {{"192.168.1.2", "192.168.1.2"}, {"::FFFF:10.0.0.5", "10.0.0.5"},    {"fe80::2%eth0", "fe80::2"},
                    {"10.0.0.5%eth0", "10.0.0.5"},  {"10.0.0.5:8080", "10.0.0.5:8080"}, {"10.0.0.256", "127.0.0.1"},
                    {"10.0.0", "127.0.0.1"},        {"nonsense", "127.0.0.1"},          {"", "127.0.0.1"},
                    {"%eth0", "127.0.0.1"}};
  for (const auto& [given, expected] : kAddresses) {
    FileOpRecord record = complete_record();
    put(record, kIp, given);
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_ip"), expected) << given;
    EXPECT_STREQ(record.event_ip, expected);
  }
}

TEST_F(FileOpSubmission, ClearsTheFieldAfterAnAddressWithoutItsPrefix) {
  FileOpRecord record = complete_record();
  put(record, kIp, "::ffff:10.0.0.5");
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(std::string(record.event_ip, 63), "10.0.0.5" + std::string(55, '\0'));
}

// ---- date and time ----

TEST_F(FileOpSubmission, StampsTheLocalTimeForAYearOf0) {
  constexpr struct {
    std::time_t now;
    const char* stored;
  } kMoments[] = {{kWinter, "2024-01-16 00:30:00"},
                  {kWinter - 1801, "2024-01-15 23:59:59"},
                  {kSummer, "2024-07-16 00:30:00"},
                  {0, "1970-01-01 01:00:00"}};
  for (const auto& [now, expected] : kMoments) {
    Clock::stop_at(now);
    FileOpRecord record = complete_record();
    record.event_tm.tm_year = 0;
    const std::string before = bytes_of(record);
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_date || ' ' || event_time"), expected);
    EXPECT_TRUE(bytes_of(record) == before);
  }
}

TEST_F(FileOpSubmission, FollowsTheTimeZone) {
  Clock::stop_at(kWinter);
  const char* const set = std::getenv("TZ");
  const std::string before = set != nullptr ? set : "";
  setenv("TZ", "XXX+10", 1);
  FileOpRecord record = empty_record();
  EXPECT_EQ(add(record), 1);
  setenv("TZ", before.c_str(), 1);
  EXPECT_EQ(stored("event_date || ' ' || event_time"), "2024-01-15 13:30:00");
}

TEST_F(FileOpSubmission, TakesAnyOtherYearFromTheRecord) {
  constexpr struct {
    int year;
    const char* stored;
  } kYears[] = {{120, "2020-02-03 04:05:06"},
                {1, "1901-02-03 04:05:06"},
                {-1, "1899-02-03 04:05:06"},
                {8100, "10000-02-03 04:05:06"}};
  for (const auto& [year, expected] : kYears) {
    FileOpRecord record = complete_record();
    record.event_tm.tm_year = year;
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_date || ' ' || event_time"), expected);
  }
}

TEST_F(FileOpSubmission, StoresAnEmptyTextForAnImpossibleDate) {
  FileOpRecord record = complete_record();
  record.event_tm.tm_year = INT_MAX;
  record.event_tm.tm_mon = -2000000000;
  record.event_tm.tm_mday = -2000000000;
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(stored("event_date || '|' || event_time"), "|04:05:06");
  record = complete_record();
  record.event_tm.tm_hour = -2000000000;
  record.event_tm.tm_min = -2000000000;
  record.event_tm.tm_sec = -2000000000;
  EXPECT_EQ(add(record), 2);
  EXPECT_EQ(stored("event_date || '|' || event_time"), "2020-02-03|");
}

// ---- quotes ----

TEST_F(FileOpSubmission, KeepsQuotesInPathsAndDescription) {
  FileOpRecord record = complete_record();
  record.event_oldfilepath = "'it''s'";
  record.event_filepath = "/share/'); DROP TABLE PAVO2LOG_EVENT; --";
  put(record, kDesc, "don't '%s' %d");
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(sql(kLog, "SELECT event_oldfilepath, event_filepath, event_desc FROM PAVO2LOG_EVENT;"),
            Rows({{"'it''s'", "/share/'); DROP TABLE PAVO2LOG_EVENT; --", "don't '%s' %d"}}));
  EXPECT_NE(sqlite.statements().at(0).find("'''it''''s''', '/share/''); DROP"), std::string::npos);
  EXPECT_NE(sqlite.statements().at(0).find("'don''t ''%s'' %d'"), std::string::npos);
}

TEST_F(FileOpSubmission, KeepsADescriptionOfQuotesAlone) {
  FileOpRecord record = complete_record();
  put(record, kDesc, std::string(1024, '\''));
  const std::string path(10000, '\'');
  record.event_filepath = path.c_str();
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(stored("event_desc"), std::string(1024, '\''));
  EXPECT_EQ(stored("event_filepath"), path);
}

class FileOpSubmissionUnescaped : public FileOpSubmission, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(Of, FileOpSubmissionUnescaped, testing::Values(kUser, kIp, kComp, kDuid),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpSubmissionUnescaped, FailsWithAQuote) {
  FileOpRecord record = complete_record();
  put(record, GetParam(), "10.0.0.5'");
  EXPECT_EQ(add(record), ANNAL_INSERT_FAILED);
  EXPECT_EQ(ids(), "");
}

TEST_P(FileOpSubmissionUnescaped, TakesADoubledQuoteForOne) {
  FileOpRecord record = complete_record();
  put(record, GetParam(), "10.0.0.5''s");
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(stored(GetParam().name), "10.0.0.5's");
}

// ---- sizes and ids ----

TEST_F(FileOpSubmission, StoresTheSizesThirtyTwoBitsUnchanged) {
  constexpr struct {
    std::int64_t size;
    const char* stored;
  } kSizes[] = {{0, "0"},
                {-1, "-1"},
                {INT32_MAX, "2147483647"},
                {INT64_C(2147483648), "-2147483648"},
                {INT64_C(3000000000), "-1294967296"},
                {INT64_C(4294967296), "0"}};
  for (const auto& [size, expected] : kSizes) {
    FileOpRecord record = complete_record();
    record.event_filesize = static_cast<std::int32_t>(size);
    EXPECT_GT(add(record), 0);
    EXPECT_EQ(stored("event_filesize"), expected);
  }
}

TEST_F(FileOpSubmission, ContinuesItsIds) {
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(add(record), 2);
  ASSERT_EQ(pavo2log_event_flush_tbl(kLog), ANNAL_OK);
  EXPECT_EQ(add(record), 3);
  sql(kLog, "UPDATE sqlite_sequence SET seq = 5000000000;");
  EXPECT_EQ(add(record), 5000000001);
}

TEST_F(FileOpSubmission, ReturnsTheNewIdAfterTheTriggerDeletedRows) {
  ASSERT_EQ(pavo2log_event_remove_trigger_logfull(kLog), ANNAL_OK);
  ASSERT_EQ(pavo2log_event_add_trigger_logfull(kLog, 2, 2), ANNAL_OK);
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  EXPECT_EQ(add(record), 2);
  EXPECT_EQ(add(record), 3);
  EXPECT_EQ(ids(), "3");
  EXPECT_EQ(add(record), 4);
}

TEST_F(FileOpSubmission, ReturnsTheNewIdEvenIfTheTriggerDeletedThatRow) {
  ASSERT_EQ(pavo2log_event_remove_trigger_logfull(kLog), ANNAL_OK);
  ASSERT_EQ(pavo2log_event_add_trigger_logfull(kLog, 1, 1), ANNAL_OK);
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  record.event_tm.tm_year = 100;
  EXPECT_EQ(add(record), 2);
  EXPECT_EQ(ids(), "1");
}

// ---- failures ----

TEST_F(FileOpSubmission, FailsWithoutTheFolder) {
  remove_log_folder();
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), ANNAL_OPEN_FAILED);
}

TEST_F(FileOpSubmission, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {}, false));
}

TEST_F(FileOpSubmission, FailsWithoutTheTable) {
  sql(kLog, "DROP TABLE PAVO2LOG_EVENT;");
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), ANNAL_INSERT_FAILED);
}

TEST_F(FileOpSubmission, FailsOnANonDatabaseFile) {
  put_garbage(kLog);
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), ANNAL_INSERT_FAILED);
}

TEST_F(FileOpSubmission, ReportsAFailedStatementAndNoEarlierId) {
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), 1);
  sqlite.fail("exec");
  EXPECT_EQ(add(record), ANNAL_INSERT_FAILED);
  EXPECT_EQ(ids(), "1");
}

TEST_F(FileOpSubmission, OpensNothingIfItsStatementCannotBeBuilt) {
  sqlite.fail("mprintf");
  FileOpRecord record = complete_record();
  EXPECT_EQ(add(record), ANNAL_NO_MEMORY);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_EQ(ids(), "");
}

// ---- a locked log ----

Calls calls_with_pauses(std::size_t pauses) {
  Calls work = {"busy_handler", std::string("exec ") + kCompleteInsert};
  work.insert(work.end(), pauses, "sleep 100");
  return connection(kLog, work, false);
}

TEST_F(FileOpSubmission, PausesUntilALockIsReleased) {
  FileOpRecord record = complete_record();
  const LockHolder lock(kLog, 350ms);
  EXPECT_EQ(add(record), 1);
  const std::size_t pauses = sqlite.calls().size() - calls_with_pauses(0).size();
  EXPECT_GE(pauses, 1U);
  EXPECT_LE(pauses, 50U);
  EXPECT_EQ(sqlite.calls(), calls_with_pauses(pauses));
}

TEST_F(FileOpSubmission, GivesUpAfterFiftyPauses) {
  FileOpRecord record = complete_record();
  {
    const LockHolder lock(kLog);
    EXPECT_EQ(add(record), ANNAL_INSERT_FAILED);
  }
  EXPECT_EQ(sqlite.calls(), calls_with_pauses(50));
  EXPECT_EQ(ids(), "");
}

}  // namespace
}  // namespace annal::test
