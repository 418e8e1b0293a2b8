// Reading a log for any length of time without locking writers out.
#include "tools/annalctl/query/reader.h"

#include <sqlite3.h>

#include <cstring>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tools/annalctl/event/model.h"

namespace annalctl {

namespace {

using annal::test::sql;

constexpr const char* kPath = "/etc/logs/event.log";
constexpr int kRows = 4200;

// Counts the transactions on every connection.
int begun = 0;

int count_transactions(unsigned /*what*/, void* /*context*/, void* /*statement*/, void* text) {
  begun += std::strcmp(static_cast<const char*>(text), "BEGIN") == 0 ? 1 : 0;
  return 0;
}

int trace(sqlite3* database, char** /*message*/, const sqlite3_api_routines* /*routines*/) {
  return sqlite3_trace_v2(database, SQLITE_TRACE_STMT, count_transactions, nullptr);
}

class ReaderTest : public annal::test::ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(100000, 1), ANNAL_OK);
    // Seventy megabytes, which take longer to look through than a writer is to wait.
    sql(kPath, "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(kRows) +
                   ") INSERT INTO ANNAL_EVENT (event_type, event_desc) SELECT i % 3, hex(zeroblob(8000)) || (i % 7) "
                   "FROM n;");
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(trace));
    begun = 0;
  }
  void TearDown() override {
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(trace));
    ApplianceTest::TearDown();
  }

  // Takes its time for each row. (LIKE alone would, if the text were full of the pattern's first letter. With the
  // address sanitizer, which measures the rest of the text at each of them, that would be minutes.)
  static Query ending_with(const std::string& text) {
    Query query;
    query.conditions.push_back({"length(hex(hex(event_desc))) > 0 AND event_desc LIKE ?", {"%" + text}});
    return query;
  }
};

}  // namespace

TEST_F(ReaderTest, LongFilteredCountLetsWritersInBetween) {
  Reader reader(event::kLog);
  EXPECT_EQ(reader.count(ending_with("3")), kRows / 7);
  EXPECT_GT(begun, 5);
}

TEST_F(ReaderTest, CountOfAllOrByAnIndexIsOneTransaction) {
  Reader reader(event::kLog);
  EXPECT_EQ(reader.count({}), kRows);
  EXPECT_EQ(begun, 0);
}

}  // namespace annalctl
