// Stores events: refusals, changes to the caller's record, the statement and the file's content.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Corix_annal.h"
#include "platform/platform.h"
#include "tests/support/appliance.h"
#include "tests/support/records.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/event.log";

// ---- records ----

#define FIELD(name) Field({#name, offsetof(EventRecord, name), sizeof(EventRecord::name)})
constexpr Field kUser = FIELD(event_user);
constexpr Field kIp = FIELD(event_ip);
constexpr Field kComp = FIELD(event_comp);
constexpr Field kDesc = FIELD(event_desc);
constexpr Field kMsgId = FIELD(event_msgid);
constexpr Field kAppId = FIELD(event_app_id);
constexpr Field kAppName = FIELD(event_app_name);
constexpr Field kCategoryId = FIELD(event_category_id);
constexpr Field kCategory = FIELD(event_category);
constexpr Field kClientId = FIELD(event_client_id);
constexpr Field kClientApp = FIELD(event_client_app);
constexpr Field kClientAgent = FIELD(event_client_agent);
#undef FIELD

constexpr Field kTexts[] = {kUser,    kIp,         kComp,     kDesc,     kMsgId,     kAppId,
                            kAppName, kCategoryId, kCategory, kClientId, kClientApp, kClientAgent};

template <typename Record>
testing::AssertionResult same_bytes(const Record& actual, const Record& expected) {
  return test::same_bytes(actual, expected, kTexts);
}

constexpr std::time_t kWinter = 1705361400;  // 2024-01-16 00:30:00; still the previous day in UTC
constexpr std::time_t kSummer = 1721082600;  // 2024-07-16 00:30:00, likewise

// A complete event, in which nothing is replaced.
EventRecord complete_record() {
  EventRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.event_type = 1;
  record.event_timet = kWinter;
  put(record, kUser, "admin");
  put(record, kIp, "10.0.0.5");
  put(record, kComp, "nas-1");
  put(record, kDesc, "Fan 2 failed.");
  put(record, kMsgId, "F-17");
  put(record, kAppId, "app-1");
  put(record, kAppName, "Backup");
  put(record, kCategoryId, "cat-2");
  put(record, kCategory, "Hardware");
  put(record, kClientId, "client-3");
  put(record, kClientApp, "Browser");
  put(record, kClientAgent, "Mozilla/5.0");
  return record;
}

// An empty field's replacement: the text, padded with zero bytes to the width.
struct Default {
  Field field;
  const char* text;
  std::size_t width;
};
constexpr Default kDefaults[] = {
    {kUser, "---", 64},     {kIp, "---", 64},         {kComp, "localhost", 64},   {kMsgId, "---", 64},
    {kAppId, "---", 64},    {kAppName, "---", 128},   {kCategoryId, "---", 64},   {kCategory, "---", 128},
    {kClientId, "---", 64}, {kClientApp, "---", 129}, {kClientAgent, "---", 256},
};

// An empty event, in which everything is replaced.
EventRecord empty_record() {
  EventRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.event_type = 2;
  record.event_timet = 0;
  for (const Field& field : kTexts) {
    *field.in(record) = '\0';
  }
  put(record, kDesc, "Fan\t2 failed.\u2028");
  return record;
}

// The empty record after submission.
EventRecord normalised_bare_record(std::time_t now) {
  EventRecord record = empty_record();
  for (const auto& [field, text, width] : kDefaults) {
    fill(record, field, text, width);
  }
  fill(record, kClientApp, "localhost", 128);
  Skip_Unicode_Control_Characters(record.event_desc);
  record.event_timet = now;
  return record;
}

// A shorter form, with the complete record's values.
template <typename Record>
Record leading_part(const EventRecord& full) {
  Record record;
  std::memcpy(&record, &full, sizeof record);
  return record;
}

int submit(const EventRecordBasic* record) {
  return annal_event_add(record);
}

int submit(const EventRecordMsgId* record) {
  return annal_event_add_msgid(record);
}

int submit(const EventRecordEx* record) {
  return annal_event_add_msgid_ex2(record);
}

int submit(EventRecord* record) {
  return annal_event_add_msgid_ex3(record);
}

// ---- what is stored ----

Rows stored_rows() {
  return sql(kLog,
             "SELECT event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
             "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
             "event_client_app, event_client_agent FROM ANNAL_EVENT ORDER BY event_id;");
}

// A column of the last stored event.
std::string stored(const std::string& column) {
  return sql(kLog, "SELECT " + column + " FROM ANNAL_EVENT ORDER BY event_id DESC LIMIT 1;").at(0).at(0);
}

std::string stored_moment() {
  return stored("event_timet || ' ' || event_date || ' ' || event_time");
}

// No log exists, and a refused event must not create one.
class EventSubmissionRefusal : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(sqlite.calls().empty());
    EXPECT_TRUE(platform.calls().empty());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }
};

class EventSubmission : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

template <typename Parameter>
std::string name_of(const testing::TestParamInfo<Parameter>& info) {
  if constexpr (std::is_same_v<Parameter, Field>) {
    return info.param.name;
  } else {
    return info.param.field.name;
  }
}

// ---- bounds ----

constexpr Field kBounded[] = {kUser, kIp, kComp, kDesc, kMsgId, kAppId, kAppName, kCategoryId, kCategory};
constexpr Field kRefused[] = {kUser, kIp, kComp, kDesc, kAppId, kAppName, kCategoryId, kCategory};

TEST(EventSubmissionBounds, AreOneByteBelowTheFieldsSize) {
  const std::size_t sizes[] = {65, 65, 65, 2049, 65, 65, 129, 65, 129};
  EXPECT_TRUE(std::equal(std::begin(sizes), std::end(sizes), std::begin(kBounded), std::end(kBounded),
                         [](std::size_t size, const Field& field) { return size == field.size; }));
}

class EventSubmissionBound : public EventSubmission, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(, EventSubmissionBound, testing::ValuesIn(kBounded), name_of<Field>);

TEST_P(EventSubmissionBound, IsStoredInFull) {
  platform.answer("Is_Valid_Source", 1);
  EventRecord record = complete_record();
  const std::string text(GetParam().size - 1, 'x');
  put(record, GetParam(), text);
  const EventRecord before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored(GetParam().name), text);
  EXPECT_TRUE(same_bytes(record, before));
}

class EventSubmissionRefusalOfOverlong : public EventSubmissionRefusal, public testing::WithParamInterface<Field> {};
INSTANTIATE_TEST_SUITE_P(, EventSubmissionRefusalOfOverlong, testing::ValuesIn(kRefused), name_of<Field>);

TEST_P(EventSubmissionRefusalOfOverlong, ChangesNothingWhenTheNextFieldIsEmpty) {
  EventRecord record = empty_record();
  put(record, kDesc, "");
  overfill(record, GetParam(), 'x');
  const EventRecord before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_TOO_LONG);
  EXPECT_TRUE(same_bytes(record, before));
}

TEST_P(EventSubmissionRefusalOfOverlong, ChangesNothingWhenTheTextRunsOnIntoTheNextField) {
  EventRecord record = complete_record();
  overfill(record, GetParam(), 'x');
  const EventRecord before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_TOO_LONG);
  EXPECT_TRUE(same_bytes(record, before));
}

TEST_P(EventSubmissionRefusalOfOverlong, ComesBeforeTheTypesRefusal) {
  EventRecord record = complete_record();
  overfill(record, GetParam(), 'x');
  record.event_type = 3;
  EXPECT_EQ(submit(&record), ANNAL_TOO_LONG);
}

TEST_P(EventSubmissionRefusalOfOverlong, ReplacesAnOverlongMessageIdOnlyInAnEarlierField) {
  EventRecord record = complete_record();
  overfill(record, GetParam(), 'x');
  overfill(record, kMsgId, 'm');
  EventRecord expected = copy_of(record);
  if (kMsgId.offset < GetParam().offset) {
    fill(expected, kMsgId, "0", 64);
  }
  EXPECT_EQ(submit(&record), ANNAL_TOO_LONG);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_P(EventSubmissionRefusalOfOverlong, HoldsTogetherWithAnyOther) {
  for (const Field& other : kTexts) {
    EventRecord record = complete_record();
    overfill(record, GetParam(), 'x');
    overfill(record, other, 'y');
    EXPECT_EQ(submit(&record), ANNAL_TOO_LONG) << other.name;
  }
}

TEST_F(EventSubmission, ReplacesAnOverlongMessageIdByZero) {
  EventRecord record = complete_record();
  overfill(record, kMsgId, 'm');
  EventRecord expected = copy_of(record);
  fill(expected, kMsgId, "0", 64);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_msgid"), "0");
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(record.event_msgid[64], 'm');
}

TEST_F(EventSubmissionRefusal, ReplacesAnOverlongMessageIdBeforeCheckingTheType) {
  EventRecord record = complete_record();
  overfill(record, kMsgId, 'm');
  record.event_type = 3;
  EventRecord expected = copy_of(record);
  fill(expected, kMsgId, "0", 64);
  EXPECT_EQ(submit(&record), ANNAL_BAD_ARGUMENT);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(EventSubmission, ReadsAnUnterminatedClientFieldIntoTheNext) {
  EventRecord record = complete_record();
  overfill(record, kClientId, 'i');
  overfill(record, kClientApp, 'a');
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_client_id"), std::string(65, 'i') + std::string(129, 'a') + "Mozilla/5.0");
  EXPECT_EQ(stored("event_client_app"), std::string(129, 'a') + "Mozilla/5.0");
  EXPECT_EQ(stored("event_client_agent"), "Mozilla/5.0");
}

TEST_F(EventSubmission, StopsReadingClientFieldsAtTheRecordsEnd) {
  RecordAtTheEnd<EventRecord> record;
  *record = complete_record();
  overfill(*record, kClientId, 'i');
  overfill(*record, kClientApp, 'a');
  overfill(*record, kClientAgent, 'g');
  EXPECT_EQ(submit(record.get()), ANNAL_OK);
  EXPECT_EQ(stored("event_client_id"), std::string(65, 'i') + std::string(129, 'a') + std::string(256, 'g'));
  EXPECT_EQ(stored("event_client_app"), std::string(129, 'a') + std::string(256, 'g'));
  EXPECT_EQ(stored("event_client_agent"), std::string(256, 'g'));
}

// ---- type ----

TEST_F(EventSubmission, StoresEachType) {
  for (const int type : {0, 1, 2}) {
    EventRecord record = complete_record();
    record.event_type = type;
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(record.event_type, type);
  }
  EXPECT_EQ(sql(kLog, "SELECT event_type FROM ANNAL_EVENT ORDER BY event_id;"), Rows({{"0"}, {"1"}, {"2"}}));
}

TEST_F(EventSubmissionRefusal, OfAnUnknownTypeChangesNothing) {
  for (const int type : {3, 4, INT_MAX, -1, -2, INT_MIN}) {
    EventRecord record = empty_record();
    record.event_type = type;
    put(record, kIp, "fe80::1%eth0");
    const EventRecord before = copy_of(record);
    EXPECT_EQ(submit(&record), ANNAL_BAD_ARGUMENT) << type;
    EXPECT_TRUE(same_bytes(record, before)) << type;
  }
}

// ---- defaults ----

TEST_F(EventSubmission, KeepsACompleteRecord) {
  EventRecord record = complete_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, complete_record()));
  EXPECT_EQ(stored_rows(),
            Rows({{"1", "2024-01-16", "00:30:00", "admin", "10.0.0.5", "nas-1", "Fan 2 failed.", "F-17", "1705361400",
                   "app-1", "Backup", "cat-2", "Hardware", "client-3", "Browser", "Mozilla/5.0"}}));
}

TEST_F(EventSubmission, FillsAnEmptyRecord) {
  Clock::stop_at(kSummer);
  EventRecord record = empty_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, normalised_bare_record(kSummer)));
  EXPECT_EQ(stored_rows(), Rows({{"2", "2024-07-16", "00:30:00", "---", "---", "localhost", "Fan2 failed.", "---",
                                  "1721082600", "---", "---", "---", "---", "---", "localhost", "---"}}));
}

class EventSubmissionDefault : public EventSubmission, public testing::WithParamInterface<Default> {};
INSTANTIATE_TEST_SUITE_P(, EventSubmissionDefault, testing::ValuesIn(kDefaults), name_of<Default>);

TEST_P(EventSubmissionDefault, ReplacesAnEmptyField) {
  const auto& [field, text, width] = GetParam();
  EventRecord record = complete_record();
  std::memset(field.in(record), kLeftBehind, field.size);
  *field.in(record) = '\0';
  EventRecord expected = copy_of(record);
  fill(expected, field, text, width);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored(field.name), text);
}

TEST_P(EventSubmissionDefault, LeavesAOneLetterTextAlone) {
  platform.answer("Is_Valid_Source", 1);
  EventRecord record = complete_record();
  put(record, GetParam().field, "x");
  const EventRecord before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored(GetParam().field.name), "x");
}

TEST_F(EventSubmission, KeepsAnEmptyMessageEmpty) {
  EventRecord record = complete_record();
  put(record, kDesc, "");
  const EventRecord before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored("event_desc"), "");
}

// ---- address ----

TEST_F(EventSubmission, CutsAZoneSuffix) {
  EventRecord record = complete_record();
  put(record, kIp, "fe80::1%eth0");
  EventRecord expected = copy_of(record);
  expected.event_ip[7] = '\0';
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("event_ip"), "fe80::1");
}

struct Address {
  const char* given;
  const char* stored;
};

TEST_F(EventSubmission, NormalisesAddresses) {
  constexpr Address kAddresses[] = {
      {"10.0.0.5", "10.0.0.5"},
      {"2001:db8::1", "2001:db8::1"},
      {"::1", "::1"},
      {"fe80::1%", "fe80::1"},
      {"10.0.0.5%eth0", "10.0.0.5"},
      {"::ffff:10.1.2.3", "10.1.2.3"},
      {"::FFFF:10.1.2.3", "10.1.2.3"},
      {"::ffff:10.1.2.3%eth0", "10.1.2.3"},
      {"::ffff:", "---"},
      {"300.0.0.1", "---"},
      {"10.0.0.5 ", "---"},
      {"nas-1", "---"},
      {"nas-1%eth0", "---"},
      {"%eth0", "---"},
      {"---", "---"},
  };
  for (const auto& [given, expected] : kAddresses) {
    EventRecord record = complete_record();
    fill(record, kIp, given, 65);
    EXPECT_EQ(submit(&record), ANNAL_OK) << given;
    EXPECT_EQ(stored("event_ip"), expected) << given;
    EXPECT_STREQ(record.event_ip, expected);
  }
}

TEST_F(EventSubmission, ClearsTheFieldAfterAnAddressWithoutItsPrefix) {
  EventRecord record = complete_record();
  std::memset(record.event_ip, 0xAA, sizeof record.event_ip);
  std::strcpy(record.event_ip, "::ffff:10.1.2.3");
  EventRecord expected = copy_of(record);
  fill(expected, kIp, "10.1.2.3", 63);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(EventSubmission, ReplacesARejectedAddress) {
  EventRecord record = complete_record();
  put(record, kIp, "next-door.example");
  EventRecord expected = copy_of(record);
  fill(expected, kIp, "---", 64);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
}

TEST_F(EventSubmission, LetsThePlatformDecideWhatAnAddressIs) {
  platform.answer("Is_Valid_Source", 1);
  EventRecord record = complete_record();
  put(record, kIp, "next-door.example");
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_ip"), "next-door.example");
}

struct Origin {
  const char* ip;
  const char* client_app;
  const char* stored;
};

TEST_F(EventSubmission, TreatsAnEventWithNeitherAddressNorClientAsTheAppliances) {
  constexpr Origin kOrigins[] = {
      {"", "", "localhost"},
      {"", "---", "localhost"},
      {"", "---x", "localhost"},
      {"", "----", "localhost"},
      {"---", "", "localhost"},
      {"300.0.0.1", "", "localhost"},
      {"300.0.0.1", "---", "localhost"},
      {"", "--", "--"},
      {"", "--x", "--x"},
      {"", " ---", " ---"},
      {"", "Browser", "Browser"},
      {"10.0.0.5", "", "---"},
      {"10.0.0.5", "---", "---"},
      {"10.0.0.5", "---x", "---x"},
      {"fe80::1", "", "---"},
      {"::ffff:10.0.0.5", "", "---"},
  };
  for (const auto& [ip, client_app, expected] : kOrigins) {
    EventRecord record = complete_record();
    fill(record, kIp, ip, 65);
    put(record, kClientApp, client_app);
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(stored("event_client_app"), expected) << ip << " and " << client_app;
    EXPECT_STREQ(record.event_client_app, expected) << ip << " and " << client_app;
  }
}

TEST_F(EventSubmission, ComparesTheFirstThreeCharactersOfTheAddress) {
  platform.answer("Is_Valid_Source", 1);
  constexpr Origin kOrigins[] = {{"---x", "", "localhost"}, {"--x", "", "---"}, {"--", "", "---"}};
  for (const auto& [ip, client_app, expected] : kOrigins) {
    EventRecord record = complete_record();
    put(record, kIp, ip);
    put(record, kClientApp, client_app);
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(stored("event_client_app"), expected) << ip;
  }
}

TEST_F(EventSubmission, KeepsTheLastByteOfTheClientApplicationOfItsOwnEvents) {
  EventRecord record = complete_record();
  put(record, kIp, "---");
  overfill(record, kClientApp, '-');
  EventRecord expected = copy_of(record);
  fill(expected, kIp, "---", 64);
  fill(expected, kClientApp, "localhost", 128);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("event_client_app"), "localhost");
}

// ---- time ----

struct Moment {
  std::int64_t given;
  const char* stored;
};

TEST_F(EventSubmission, StampsTheTimeOfTheCallInWinterAndSummer) {
  constexpr Moment kMoments[] = {{kWinter, "1705361400 2024-01-16 00:30:00"},
                                 {kSummer, "1721082600 2024-07-16 00:30:00"}};
  for (const auto& [now, expected] : kMoments) {
    Clock::stop_at(now);
    EventRecord record = complete_record();
    record.event_timet = 0;
    EventRecord after = copy_of(record);
    after.event_timet = now;
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_TRUE(same_bytes(record, after));
    EXPECT_EQ(stored_moment(), expected);
  }
}

TEST_F(EventSubmission, KeepsAGivenTimeAndStoresItsLower32Bits) {
  Clock::stop_at(1600000000);
  constexpr Moment kMoments[] = {
      {kWinter, "1705361400 2024-01-16 00:30:00"},
      {kSummer, "1721082600 2024-07-16 00:30:00"},
      {1, "1 1970-01-01 01:00:01"},
      {-1, "-1 1970-01-01 00:59:59"},
      {-86400, "-86400 1969-12-31 01:00:00"},
      {INT_MAX, "2147483647 2038-01-19 04:14:07"},
      {INT_MIN, "-2147483648 1901-12-13 21:45:52"},
      {2147483648, "-2147483648 1901-12-13 21:45:52"},
      {4294967296 - 1, "-1 1970-01-01 00:59:59"},
      {4294967296, "0 1970-01-01 01:00:00"},
      {4294967296 + 5, "5 1970-01-01 01:00:05"},
      {-4294967296 + 5, "5 1970-01-01 01:00:05"},
      {INT64_MAX, "-1 1970-01-01 00:59:59"},
  };
  for (const auto& [given, expected] : kMoments) {
    EventRecord record = complete_record();
    record.event_timet = given;
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(record.event_timet, given);
    EXPECT_EQ(stored_moment(), expected) << given;
  }
}

TEST_F(EventSubmission, StoresNumbersAsNumbers) {
  EventRecord record = complete_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("typeof(event_id) || event_id || typeof(event_type) || typeof(event_timet)"),
            "integer1integerinteger");
}

// ---- message ----

TEST_F(EventSubmission, RemovesControlCharactersFromTheMessage) {
  EventRecord record = complete_record();
  put(record, kDesc, "\x1F\u0085Fan\n 2\u200E f\u200Failed\u2028.\x7F");
  EventRecord expected = copy_of(record);
  Skip_Unicode_Control_Characters(expected.event_desc);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_STREQ(record.event_desc, "Fan 2 failed.");
  EXPECT_TRUE(same_bytes(record, expected));
  EXPECT_EQ(stored("event_desc"), "Fan 2 failed.");
}

TEST_F(EventSubmission, RemovesThemOnlyFromThatField) {
  for (const Field& field : kTexts) {
    if (field.offset == kDesc.offset || field.offset == kIp.offset) {
      continue;
    }
    EventRecord record = complete_record();
    put(record, field, "\x01\u200E");
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(stored(field.name), "\x01\u200E") << field.name;
  }
}

TEST_F(EventSubmission, StoresAnEmptyTextForAMessageOfControlCharacters) {
  EventRecord record = complete_record();
  put(record, kDesc, "\x01\x02");
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_desc"), "");
}

TEST_F(EventSubmission, CallsThePlatformInOrder) {
  EventRecord record = complete_record();
  put(record, kIp, "10.0.0.5%eth0");
  put(record, kDesc, "Fan\n2");
  EXPECT_EQ(submit(&record), ANNAL_OK);
  Calls calls = platform.calls();
  ASSERT_GE(calls.size(), 3U);
  calls.resize(3);
  EXPECT_EQ(calls, Calls({R"(IS_IPv6_Address("10.0.0.5"))", R"(Is_Valid_Source("10.0.0.5"))",
                          "Skip_Unicode_Control_Characters(\"Fan\n2\")"}));
}

TEST_F(EventSubmission, CleansTheMessageOnce) {
  EventRecord record = complete_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(platform.calls_of("Skip_Unicode_Control_Characters"),
            Calls({R"(Skip_Unicode_Control_Characters("Fan 2 failed."))"}));
}

TEST_F(EventSubmission, IgnoresTheCleaningsResult) {
  for (const int answer : {-1, 0, 1, 3000}) {
    platform.answer("Skip_Unicode_Control_Characters", answer);
    EventRecord record = complete_record();
    put(record, kDesc, "Fan\t2");
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(stored("event_desc"), "Fan\t2");
  }
}

// ---- statement ----

TEST_F(EventSubmission, RunsOneStatementInOneConnection) {
  EventRecord record{};
  record.event_type = 2;
  record.event_timet = 4294967296 + 5;
  for (const Field& field : kTexts) {
    put(record, field, std::string(field.name + std::strlen("event_")) + "'s");
  }
  put(record, kIp, "10.0.0.5");
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(
      sqlite.calls(),
      Calls({"open /etc/logs/event.log", "busy_timeout 20000",
             "exec INSERT INTO ANNAL_EVENT ( event_type, event_date, event_time, event_user, event_ip, event_comp, "
             "event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
             "event_client_id, event_client_app, event_client_agent ) VALUES ( 2, DATE(5, 'UNIXEPOCH', 'LOCALTIME'), "
             "TIME(5, 'UNIXEPOCH', 'LOCALTIME'), 'user''s', '10.0.0.5', 'comp''s', 'desc''s', 'msgid''s', 5, "
             "'app_id''s', 'app_name''s', 'category_id''s', 'category''s', 'client_id''s', 'client_app''s', "
             "'client_agent''s' );",
             "close"}));
}

TEST_F(EventSubmission, StoresTextsAsTheyAre) {
  for (const char* text : {"O'Brien", "''", "100 % of %s %d %n", "a\"b;--c", "x'); DROP TABLE ANNAL_EVENT; --",
                           "gr\u00FCn \u6E29\u5EA6", "\xC3\xFF\x80"}) {
    for (const Field& field : kTexts) {
      if (field.offset == kIp.offset) {
        continue;
      }
      EventRecord record = complete_record();
      put(record, field, text);
      EXPECT_EQ(submit(&record), ANNAL_OK);
      EXPECT_EQ(stored(field.name), text) << field.name;
    }
  }
}

TEST_F(EventSubmission, NumbersEventsInTheirOrder) {
  for (const char* user : {"first", "second", "third"}) {
    EventRecord record = complete_record();
    record.event_id = 77;
    put(record, kUser, user);
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(record.event_id, 77);
  }
  EXPECT_EQ(sql(kLog, "SELECT event_id, event_user FROM ANNAL_EVENT ORDER BY event_id;"),
            Rows({{"1", "first"}, {"2", "second"}, {"3", "third"}}));
}

// ---- failures ----

class EventSubmissionFailure : public EventSubmission {
 protected:
  // Submits the empty record and expects it to be normalised.
  void expect_answer(int result) {
    Clock::stop_at(kWinter);
    EventRecord record = empty_record();
    EXPECT_EQ(submit(&record), result);
    EXPECT_TRUE(same_bytes(record, normalised_bare_record(kWinter)));
  }
};

TEST_F(EventSubmissionFailure, WithoutMemoryOpensNothing) {
  sqlite.fail("mprintf");
  expect_answer(ANNAL_NO_MEMORY);
  EXPECT_TRUE(sqlite.calls().empty());
}

TEST_F(EventSubmissionFailure, WithoutTheLogFolder) {
  remove_log_folder();
  expect_answer(ANNAL_OPEN_FAILED);
}

TEST_F(EventSubmissionFailure, ToOpenRunsNothing) {
  sqlite.fail("open");
  expect_answer(ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "close"}));
  EXPECT_EQ(stored_rows(), Rows());
}

TEST_F(EventSubmissionFailure, WithoutTheTable) {
  annal_event_remove_tbl();
  expect_answer(ANNAL_INSERT_FAILED);
  EXPECT_EQ(sql(kLog, "SELECT name FROM sqlite_master WHERE name LIKE '%annal_event';"), Rows());
}

TEST_F(EventSubmissionFailure, WithoutTheFile) {
  std::remove(kLog);
  expect_answer(ANNAL_INSERT_FAILED);
}

TEST_F(EventSubmissionFailure, OfTheStatementStoresNothing) {
  sqlite.fail("exec");
  expect_answer(ANNAL_INSERT_FAILED);
  EXPECT_EQ(sqlite.calls().size(), 4U);
  EXPECT_EQ(sqlite.calls().back(), "close");
  EXPECT_EQ(stored_rows(), Rows());
}

TEST_F(EventSubmissionFailure, InADamagedFile) {
  std::ofstream(kLog) << std::string(8192, 'x');
  expect_answer(ANNAL_INSERT_FAILED);
}

TEST_F(EventSubmissionFailure, InATableOfAnEarlierRelease) {
  sql(kLog, "ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent;");
  expect_answer(ANNAL_INSERT_FAILED);
}

TEST_F(EventSubmissionFailure, InATriggerStoresNothing) {
  sql(kLog, "CREATE TRIGGER refuse AFTER INSERT ON ANNAL_EVENT BEGIN SELECT RAISE(ABORT, 'no'); END;");
  expect_answer(ANNAL_INSERT_FAILED);
  EXPECT_EQ(stored_rows(), Rows());
}

// Keeps files from growing, as on a full disk.
TEST_F(EventSubmissionFailure, OnAFullDiskStoresNothing) {
  const auto before = std::signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  rlimit full = usual;
  full.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
  EventRecord record = complete_record();
  const int result = submit(&record);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
  std::signal(SIGXFSZ, before);
  EXPECT_EQ(result, ANNAL_INSERT_FAILED);
  EXPECT_EQ(stored_rows(), Rows());
}

TEST_F(EventSubmissionFailure, EndsWithItsCause) {
  sqlite.fail("exec");
  expect_answer(ANNAL_INSERT_FAILED);
  expect_answer(ANNAL_OK);
  EXPECT_EQ(stored_rows().size(), 1U);
}

// ---- other writers ----

TEST_F(EventSubmission, WaitsForALock) {
  const LockHolder lock(kLog, 300ms);
  EventRecord record = complete_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_user"), "admin");
}

TEST_F(EventSubmission, StoresEveryEventOfSeveralProcesses) {
  constexpr int kEvents = 25;
  constexpr std::array kUsers{"one", "two", "three", "four"};
  std::array<pid_t, kUsers.size()> children{};
  for (std::size_t child = 0; child < kUsers.size(); ++child) {
    children[child] = fork();
    if (children[child] == 0) {
      int refused = 0;
      for (int i = 0; i < kEvents; ++i) {
        EventRecord record = complete_record();
        put(record, kUser, kUsers[child]);
        refused += submit(&record) == ANNAL_OK ? 0 : 1;
      }
      _exit(refused);
    }
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(sql(kLog, "SELECT event_user, COUNT(*) FROM ANNAL_EVENT GROUP BY event_user ORDER BY event_user;"),
            Rows({{"four", "25"}, {"one", "25"}, {"three", "25"}, {"two", "25"}}));
}

// ---- full log ----

class EventSubmissionToFullLog : public EventSubmission {
 protected:
  void SetUp() override {
    EventSubmission::SetUp();
    ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
    ASSERT_EQ(annal_event_add_trigger_logfull(3, 2), ANNAL_OK);
    for (const std::time_t moment : {30000, 10000, 20000}) {
      submit_at(moment);
    }
    sqlite.reset();
  }

  static void submit_at(std::time_t moment) {
    EventRecord record = complete_record();
    record.event_timet = moment;
    EXPECT_EQ(submit(&record), ANNAL_OK);
  }
};

TEST_F(EventSubmissionToFullLog, DropsTheOldestInTheSameStatement) {
  submit_at(40000);
  EXPECT_EQ(sql(kLog, "SELECT event_timet FROM ANNAL_EVENT ORDER BY event_id;"), Rows({{"30000"}, {"40000"}}));
  ASSERT_EQ(sqlite.statements().size(), 1U);
  EXPECT_TRUE(sqlite.statements()[0].starts_with("INSERT INTO ANNAL_EVENT "));
}

TEST_F(EventSubmissionToFullLog, SucceedsForAnEventThatIsItselfTheOldest) {
  submit_at(5000);
  EXPECT_EQ(sql(kLog, "SELECT event_timet FROM ANNAL_EVENT ORDER BY event_id;"), Rows({{"30000"}, {"20000"}}));
}

// ---- every form of the record ----

using AllForms = testing::Types<EventRecordBasic, EventRecordMsgId, EventRecordEx, EventRecord>;
using CheckedOlderForms = testing::Types<EventRecordMsgId, EventRecordEx>;
using OlderForms = testing::Types<EventRecordBasic, EventRecordMsgId, EventRecordEx>;

template <typename Record>
class EventSubmissionRefusalOfAnyForm : public EventSubmissionRefusal {};
TYPED_TEST_SUITE(EventSubmissionRefusalOfAnyForm, AllForms);

TYPED_TEST(EventSubmissionRefusalOfAnyForm, RefusesANullRecord) {
  EXPECT_EQ(submit(static_cast<TypeParam*>(nullptr)), ANNAL_BAD_ARGUMENT);
}

TYPED_TEST(EventSubmissionRefusalOfAnyForm, RefusesAnUnknownType) {
  for (const int type : {3, -1, INT_MIN}) {
    auto record = leading_part<TypeParam>(complete_record());
    record.event_type = type;
    EXPECT_EQ(submit(&record), ANNAL_BAD_ARGUMENT) << type;
  }
}

template <typename Record>
class EventSubmissionOfAnyForm : public EventSubmission {
 protected:
  Record record = leading_part<Record>(complete_record());
};
TYPED_TEST_SUITE(EventSubmissionOfAnyForm, AllForms);

TYPED_TEST(EventSubmissionOfAnyForm, TakesEachType) {
  for (const int type : {0, 1, 2}) {
    this->record.event_type = type;
    EXPECT_EQ(submit(&this->record), ANNAL_OK);
  }
  EXPECT_EQ(sql(kLog, "SELECT event_type FROM ANNAL_EVENT ORDER BY event_id;"), Rows({{"0"}, {"1"}, {"2"}}));
}

TYPED_TEST(EventSubmissionOfAnyForm, RunsOneStatementInOneConnection) {
  EXPECT_EQ(submit(&this->record), ANNAL_OK);
  EXPECT_EQ(this->sqlite.calls().size(), 4U);
}

TYPED_TEST(EventSubmissionOfAnyForm, ReturnsNoMemoryWithoutMemory) {
  this->sqlite.fail("mprintf");
  EXPECT_EQ(submit(&this->record), ANNAL_NO_MEMORY);
  EXPECT_TRUE(this->sqlite.calls().empty());
}

TYPED_TEST(EventSubmissionOfAnyForm, ReturnsOpenFailedWithoutTheLogFolder) {
  remove_log_folder();
  EXPECT_EQ(submit(&this->record), ANNAL_OPEN_FAILED);
}

TYPED_TEST(EventSubmissionOfAnyForm, ReturnsInsertFailedWithoutTheTable) {
  annal_event_remove_tbl();
  EXPECT_EQ(submit(&this->record), ANNAL_INSERT_FAILED);
}

template <typename Record>
class EventSubmissionOfOlderForm : public EventSubmission {};
TYPED_TEST_SUITE(EventSubmissionOfOlderForm, OlderForms);

TYPED_TEST(EventSubmissionOfOlderForm, LeavesTheCallersRecordAsItIs) {
  EventRecord full = empty_record();
  put(full, kIp, "fe80::1%eth0");
  auto record = leading_part<TypeParam>(full);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, leading_part<TypeParam>(full)));
  EXPECT_EQ(stored("event_user"), "---");
  EXPECT_EQ(stored("event_ip"), "fe80::1");
  EXPECT_EQ(stored("event_desc"), "Fan2 failed.");
}

TYPED_TEST(EventSubmissionOfOlderForm, ReadsNothingAfterTheRecord) {
  RecordAtTheEnd<TypeParam> record;
  *record = leading_part<TypeParam>(complete_record());
  EXPECT_EQ(submit(record.get()), ANNAL_OK);
}

TYPED_TEST(EventSubmissionOfOlderForm, LeavesAnOverlongMessageIdInTheCallersRecord) {
  auto record = leading_part<TypeParam>(complete_record());
  overfill(record, kMsgId, 'm');
  const auto before = copy_of(record);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, before));
  EXPECT_EQ(stored("event_msgid"), "0");
}

// ---- basic form ----

// A basic record with values in every field that must not be read.
EventRecordBasic basic_record() {
  EventRecordBasic record;
  std::memset(&record, 'x', sizeof record);
  record.event_type = 1;
  put(record, kUser, "admin");
  put(record, kIp, "10.0.0.5");
  put(record, kComp, "nas-1");
  put(record, kDesc, "Fan 2 failed.");
  return record;
}

TEST_F(EventSubmission, TakesFiveFieldsOfABasicRecord) {
  Clock::stop_at(kSummer);
  const EventRecordBasic record = basic_record();
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, basic_record()));
  EXPECT_EQ(stored_rows(), Rows({{"1", "2024-07-16", "00:30:00", "admin", "10.0.0.5", "nas-1", "Fan 2 failed.", "0",
                                  "1721082600", "---", "---", "---", "---", "---", "---", "---"}}));
}

TEST_F(EventSubmission, FillsAnEmptyBasicRecord) {
  Clock::stop_at(kWinter);
  const EventRecordBasic record{};
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored_rows(), Rows({{"0", "2024-01-16", "00:30:00", "---", "---", "localhost", "", "0", "1705361400",
                                  "---", "---", "---", "---", "---", "localhost", "---"}}));
}

TEST_F(EventSubmission, CutsOverlongTextsOfABasicRecord) {
  platform.answer("Is_Valid_Source", 1);
  for (const Field& field : {kUser, kIp, kComp, kDesc}) {
    EventRecordBasic record = basic_record();
    overfill(record, field, 'y');
    const EventRecordBasic before = copy_of(record);
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_TRUE(same_bytes(record, before));
    EXPECT_EQ(stored(field.name), std::string(field.size - 1, 'y'));
  }
}

TEST_F(EventSubmission, StoresTextsOfABasicRecordUpToTheirBounds) {
  platform.answer("Is_Valid_Source", 1);
  for (const Field& field : {kUser, kIp, kComp, kDesc}) {
    EventRecordBasic record = basic_record();
    put(record, field, std::string(field.size - 1, 'y'));
    EXPECT_EQ(submit(&record), ANNAL_OK);
    EXPECT_EQ(stored(field.name), std::string(field.size - 1, 'y'));
  }
}

// ---- forms with a message identifier ----

TEST_F(EventSubmission, TakesARecordWithMessageIdUpToItsTime) {
  const auto record = leading_part<EventRecordMsgId>(complete_record());
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, leading_part<EventRecordMsgId>(complete_record())));
  EXPECT_EQ(stored_rows(), Rows({{"1", "2024-01-16", "00:30:00", "admin", "10.0.0.5", "nas-1", "Fan 2 failed.", "F-17",
                                  "1705361400", "---", "---", "---", "---", "---", "---", "---"}}));
}

TEST_F(EventSubmission, FillsAnEmptyRecordWithMessageId) {
  Clock::stop_at(kWinter);
  const EventRecordMsgId record{};
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored_rows(), Rows({{"0", "2024-01-16", "00:30:00", "---", "---", "localhost", "", "---", "1705361400",
                                  "---", "---", "---", "---", "---", "localhost", "---"}}));
}

TEST_F(EventSubmission, TakesAnExtendedRecordUpToItsCategory) {
  EventRecord full = complete_record();
  fill(full, kClientId, "", kClientId.size);
  const auto record = leading_part<EventRecordEx>(full);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_TRUE(same_bytes(record, leading_part<EventRecordEx>(full)));
  EXPECT_EQ(stored_rows(), Rows({{"1", "2024-01-16", "00:30:00", "admin", "10.0.0.5", "nas-1", "Fan 2 failed.", "F-17",
                                  "1705361400", "app-1", "Backup", "cat-2", "Hardware", "---", "---", "---"}}));
}

TEST_F(EventSubmission, FillsAnEmptyExtendedRecord) {
  Clock::stop_at(kWinter);
  const EventRecordEx record{};
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored_rows(), Rows({{"0", "2024-01-16", "00:30:00", "---", "---", "localhost", "", "---", "1705361400",
                                  "---", "---", "---", "---", "---", "localhost", "---"}}));
}

// If a caller does not clear its record, the padding after the last field becomes the client identifier.
TEST_F(EventSubmission, ReadsThePaddingOfAnExtendedRecordAsAClientId) {
  auto record = leading_part<EventRecordEx>(complete_record());
  std::memcpy(kClientId.in(record), "abcd", 4);
  EXPECT_EQ(submit(&record), ANNAL_OK);
  EXPECT_EQ(stored("event_client_id"), "abcd");
}

template <typename Record>
class EventSubmissionRefusalOfOverlongOlderForm : public EventSubmissionRefusal {};
TYPED_TEST_SUITE(EventSubmissionRefusalOfOverlongOlderForm, CheckedOlderForms);

TYPED_TEST(EventSubmissionRefusalOfOverlongOlderForm, ChangesNothing) {
  for (const Field& field : kRefused) {
    if (field.offset + field.size > sizeof(TypeParam)) {
      continue;
    }
    auto record = leading_part<TypeParam>(complete_record());
    overfill(record, field, 'x');
    const auto before = copy_of(record);
    EXPECT_EQ(submit(&record), ANNAL_TOO_LONG) << field.name;
    EXPECT_TRUE(same_bytes(record, before)) << field.name;
  }
}

}  // namespace
}  // namespace annal::test
