// A batch whose transaction SQLite rolls back half-way, as it does on a full disk.
#include <sqlite3.h>

#include <array>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

constexpr DiskFault kFullDisk{"write to a full disk", DiskOperation::kWrite, SQLITE_FULL};

class UndoneBatch : public TrustTest {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    ASSERT_EQ(annal_conn_remove_trigger_logfull(), ANNAL_OK);  // with one, SQLite rolls back only the insert
  }
};

TEST_F(UndoneBatch, CountsAndStoresTheRecordsAfterIt) {
  std::array<ConnRecord, 3> records{};
  Disk::fail(kFullDisk, 1, FaultDuration::kOnce);
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 3, &inserted), ANNAL_INSERT_FAILED);
  Disk::count();
  EXPECT_EQ(inserted, 2);
  EXPECT_EQ(value(kConnLog, "SELECT COUNT(*) FROM ANNAL_CONN;"), "2");
}

TEST_F(UndoneBatch, ForwardsTheRecordsAfterIt) {
  std::array<ConnRecord, 3> records{};
  Disk::fail(kFullDisk, 1, FaultDuration::kOnce);
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 3, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(PlatformRecorder::calls_of("SendConnToZSyslogd").size(), 3U);
}

}  // namespace
}  // namespace annal::test
