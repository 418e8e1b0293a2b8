// The parts of salvage that a damaged log alone does not show.
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/tools/damage.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/rescue/set_aside.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using damage::names_in_folder;
using damage::put;

constexpr const char* kLog = "/etc/logs/event.log";

class SalvagePartsTest : public annal::test::ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    put(kLog, "some rows");
  }
};

}  // namespace

TEST_F(SalvagePartsTest, RefusedOwnerLeavesNoFile) {
  if (chown(kLog, 7, 8) != 0) {
    GTEST_SKIP() << "this user cannot give a file to another one";
  }
  const std::string names = names_in_folder();
  const pid_t child = fork();
  if (child == 0) {
    // Root's rights without the right to give files away.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    syscall(SYS_capget, &header, data);
    data[0].effective &= ~(1U << CAP_CHOWN);
    bool refused = syscall(SYS_capset, &header, data) == 0;
    for (const auto& attempt : {+[] { annalctl::copy_file(kLog, "/etc/logs/copy"); },
                                +[] { static_cast<void>(annalctl::create_like(kLog, "/etc/logs/like")); }}) {
      try {
        attempt();
        refused = false;
      } catch (const annalctl::FileFailure&) {
      }
    }
    _exit(refused ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(names_in_folder(), names);
}

TEST_F(SalvagePartsTest, CopyOfAJournalThatFailsTakesThatOfTheLogWithIt) {
  fs::create_directory("/etc/logs/event.log-journal");  // which cannot be copied
  const std::string names = names_in_folder();
  EXPECT_THROW(annalctl::copy_files(kLog, "/etc/logs/copy", {"", "-journal"}), annalctl::FileFailure);
  EXPECT_EQ(names_in_folder(), names);
}

// The defaults of the library's migration, word for word.
TEST_F(SalvagePartsTest, RowsThatAreOlderThanAColumnHaveWhatAMigrationGivesThem) {
  const struct {
    const annalctl::Log& log;
    int (*migrate)();
  } logs[] = {{annalctl::event::kLog, annal_event_modify_tbl}, {annalctl::conn::kLog, annal_conn_modify_tbl}};
  for (const auto& [log, migrate] : logs) {
    SCOPED_TRACE(log.path);
    fs::remove(log.path);
    std::string columns;
    for (const annalctl::Column& column : log.columns.first(log.earliest_columns)) {
      columns += std::string(columns.empty() ? "" : ", ") + column.name + (column.integer ? " INTEGER" : " TEXT") +
                 (columns.empty() ? " PRIMARY KEY AUTOINCREMENT" : "");
    }
    sql(log.path, std::string("CREATE TABLE ") + log.table + " (" + columns + ");");
    static_cast<void>(migrate());
    for (const annalctl::Column& column : log.columns.subspan(log.earliest_columns)) {
      ASSERT_NE(column.older, nullptr) << column.name;
      EXPECT_EQ(value(log.path, std::string("SELECT dflt_value FROM pragma_table_info('") + log.table +
                                    "') WHERE name = '" + column.name + "';"),
                column.older)
          << column.name;
    }
  }
}
