// How the notice log's column check misjudges a healthy log if memory is short.
#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/faulty_memory.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

class MissingColumns : public TrustTest {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
    NoticeRecord notice = a_notice("kept");
    ASSERT_EQ(annal_notice_add(&notice), ANNAL_OK);
    ASSERT_EQ(isAllColumnExist(), 0);
  }

  // Fails one allocation of SQLite's, the next one in each call, until the function returns the given result.
  template <typename Call, typename Found>
  static bool comes_to(Call call, Found found) {
    for (int nth = 1;; ++nth) {
      SqliteMemory::countdown().arm(nth, FaultDuration::kOnce);
      const int result = call();
      const bool struck = SqliteMemory::countdown().struck() > 0;
      SqliteMemory::countdown().count_only();
      if (!struck || found(result)) {
        return struck;
      }
    }
  }
};

TEST_F(MissingColumns, AreOvercountedIfMemoryIsShort) {
  EXPECT_TRUE(comes_to(isAllColumnExist, [](int missing) { return missing > 0; }));
  EXPECT_EQ(isAllColumnExist(), 0);
}

TEST_F(MissingColumns, MakeAMigrationDeleteAHealthyLogIfMemoryIsShort) {
  EXPECT_TRUE(comes_to(AnnalNoticeModifyTbl, [](int /*result*/) {
    return value(kNoticeLog, "SELECT COUNT(*) FROM ANNAL_NOTICE WHERE desc = 'kept';") == "0";
  }));
}

}  // namespace
}  // namespace annal::test
