// The connection log for its tests: its file, its records, and its consumers' arguments.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"
#include "tests/support/appliance.h"
#include "tests/support/records.h"

namespace annal::test {

inline constexpr const char* kLog = "/etc/logs/conn.log";

inline constexpr TestedLog kTested{
    .path = kLog,
    .table = "ANNAL_CONN",
    .trigger = "annal_conn_logfull",
    .create = annal_conn_create_tbl,
    .entry =
        "INSERT INTO ANNAL_CONN VALUES (7, 1, '2020-01-02', '10:00:00', 'ann', '10.0.0.5', 'pc1', '/share/a', 3, "
        "10, 'Files', 13, 'id', 'app', 'agent');",
};

// ---- records ----

#define FIELD(name) Field({#name, offsetof(ConnRecord, name), sizeof(ConnRecord::name)})
inline constexpr Field kUser = FIELD(conn_user);
inline constexpr Field kIp = FIELD(conn_ip);
inline constexpr Field kComp = FIELD(conn_comp);
inline constexpr Field kRes = FIELD(conn_res);
inline constexpr Field kApp = FIELD(conn_app);
inline constexpr Field kClientId = FIELD(conn_client_id);
inline constexpr Field kClientApp = FIELD(conn_client_app);
inline constexpr Field kClientAgent = FIELD(conn_client_agent);
#undef FIELD

inline constexpr Field kTexts[] = {kUser, kIp, kComp, kRes, kApp, kClientId, kClientApp, kClientAgent};
inline constexpr Field kClientTexts[] = {kClientId, kClientApp, kClientAgent};

template <typename Record>
testing::AssertionResult same_bytes(const Record& actual, const Record& expected) {
  return same_bytes(actual, expected, kTexts);
}

// A complete connection, in which nothing is replaced. Fields that are not read have filler bytes.
inline ConnRecord complete_record() {
  ConnRecord record;
  std::memset(&record, kLeftBehind, sizeof record);
  record.conn_type = 1;
  record.conn_serv = 3;
  record.conn_action = 10;
  record.conn_action_result = 13;
  put(record, kUser, "ann");
  put(record, kIp, "10.0.0.5");
  put(record, kComp, "pc1");
  put(record, kRes, "/share/a");
  put(record, kApp, "Files");
  put(record, kClientId, "id-3");
  put(record, kClientApp, "Browser");
  put(record, kClientAgent, "Mozilla/5.0 (X11)");
  return record;
}

// An empty connection, in which everything is replaced.
inline ConnRecord empty_record() {
  ConnRecord record = complete_record();
  for (const Field& field : kTexts) {
    *field.in(record) = '\0';
  }
  return record;
}

// An empty field's replacement: the text, padded with zero bytes to the width.
struct Default {
  Field field;
  const char* text;
  std::size_t width;
};

// The replacements common to all forms of submission; user and address differ.
inline constexpr Default kCommonDefaults[] = {
    {kComp, "localhost", 64}, {kRes, "---", 4},       {kApp, "---", 4},
    {kClientId, "---", 4},    {kClientApp, "---", 4}, {kClientAgent, "---", 4},
};

// The earlier form, with the complete record's values.
inline ConnRecordV1 earlier_form(const ConnRecord& full) {
  ConnRecordV1 record;
  std::memcpy(&record, &full, sizeof record);
  return record;
}

// ---- what is stored ----

inline Rows stored_rows() {
  return sql(
      kLog,
      "SELECT conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, conn_app, "
      "conn_action_result, conn_client_id, conn_client_app, conn_client_agent FROM ANNAL_CONN ORDER BY conn_id;");
}

inline const Row& complete_row() {
  static const Row row{"1",  "ann",   "10.0.0.5", "pc1",  "/share/a", "3",
                       "10", "Files", "13",       "id-3", "Browser",  "Mozilla/5.0 (X11)"};
  return row;
}

inline std::string stored_count() {
  return value(kLog, "SELECT COUNT(*) FROM ANNAL_CONN;");
}

// A column of the last stored connection.
inline std::string stored(const std::string& column) {
  return value(kLog, "SELECT " + column + " FROM ANNAL_CONN ORDER BY conn_id DESC LIMIT 1;");
}

// A log with an empty table.
class ConnLogTest : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

// ---- batches ----

inline constexpr const char* kBatchInsert =
    "INSERT INTO ANNAL_CONN ( conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
    "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) VALUES ( ?, "
    "strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME'), ?, ?, "
    "?, ?, ?, ?, ?, ?, ?, ?, ? );";

inline constexpr int kNobody = -99;  // never a batch's count

// ---- connections that are refused one by one, and skipped in a batch ----

// One byte too long.
inline void make_overlong(ConnRecord& record, const Field& field) {
  overfill(record, field, 'x');
  field.in(record)[field.size] = '\0';
}

struct Refused {
  const char* name;
  int answer;
  void (*spoil)(ConnRecord& record);
};

inline constexpr Refused kRefused[] = {
    {"OverlongUser", ANNAL_TOO_LONG, [](ConnRecord& record) { make_overlong(record, kUser); }},
    {"OverlongApplication", ANNAL_TOO_LONG, [](ConnRecord& record) { make_overlong(record, kApp); }},
    {"OverlongAddress", ANNAL_TOO_LONG, [](ConnRecord& record) { make_overlong(record, kIp); }},
    {"OverlongComputer", ANNAL_TOO_LONG, [](ConnRecord& record) { make_overlong(record, kComp); }},
    {"OverlongResource", ANNAL_TOO_LONG, [](ConnRecord& record) { make_overlong(record, kRes); }},
    {"Type3", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_type = 3; }},
    {"NegativeType", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_type = -1; }},
    {"LowestType", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_type = INT32_MIN; }},
    {"Service13", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_serv = 13; }},
    {"NegativeService", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_serv = -1; }},
    {"LowestService", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_serv = INT32_MIN; }},
    {"Action37", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action = 37; }},
    {"NegativeAction", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action = -1; }},
    {"LowestAction", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action = INT32_MIN; }},
    {"Result1", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action_result = 1; }},
    {"Result12", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action_result = 12; }},
    {"Result14", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action_result = 14; }},
    {"Result256", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action_result = 256; }},
    {"NegativeResult", ANNAL_BAD_ARGUMENT, [](ConnRecord& record) { record.conn_action_result = -13; }},
};

template <typename Parameter>
std::string name_in(const testing::TestParamInfo<Parameter>& tested) {
  return tested.param.name;
}

}  // namespace annal::test
