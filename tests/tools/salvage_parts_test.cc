// Parts of salvage that need more than a damaged log: owners, folders and older releases.
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/tools/damage.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/rescue/set_aside.h"

namespace {

namespace fs = std::filesystem;
using annal::test::exists;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::names_in;
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
    const annalctl::LogFolder folder("/etc/logs");
    for (const auto& attempt :
         {std::function([&folder] { folder.copy("event.log", "copy"); }),
          std::function([&folder] { static_cast<void>(folder.create_like("event.log", "like")); })}) {
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

TEST_F(SalvagePartsTest, FailedCopyOfAJournalDeletesTheCopyOfTheLog) {
  fs::create_directory("/etc/logs/event.log-journal");  // which cannot be copied
  const std::string names = names_in_folder();
  EXPECT_THROW(annalctl::LogFolder("/etc/logs").copy("event.log", "copy", {"", "-journal"}), annalctl::FileFailure);
  EXPECT_EQ(names_in_folder(), names);
}

// An enemy who may write in a folder above the log's can put another folder in its place at any moment.
TEST_F(SalvagePartsTest, WorksInTheOpenFolderWhereverItsNameLeads) {
  fs::create_directory("/etc/logs/open");
  put("/etc/logs/open/event.log", "some rows");
  put("/etc/logs/open/event.log.salvage-1", "some rows, rescued");
  const annalctl::LogFolder folder("/etc/logs/open");
  const annalctl::FileId old_file = folder.id_of("event.log");
  const annalctl::FileId new_file = folder.id_of("event.log.salvage-1");
  fs::rename("/etc/logs/open", "/etc/logs/moved");
  fs::create_directory("/etc/logs/open");
  for (const char* name : {"event.log", "event.log.salvage-1", "copy"}) {
    put(std::string("/etc/logs/open/") + name, "an enemy's");
  }

  folder.copy("event.log", "copy");
  EXPECT_EQ(contents_of("/etc/logs/moved/copy"), "some rows");
  close(folder.create_like("event.log", "empty"));
  EXPECT_EQ(contents_of("/etc/logs/moved/empty"), "");
  folder.remove("copy");
  EXPECT_FALSE(exists("/etc/logs/moved/copy"));
  EXPECT_EQ(folder.leftovers_of("event.log", "salvage"), std::vector<std::string>{"event.log.salvage-1"});
  { EXPECT_TRUE(annalctl::LogLock(folder, "event.log", old_file).held()); }
  const std::string aside = folder.replace("event.log", old_file, "event.log.salvage-1", new_file);
  EXPECT_EQ(contents_of("/etc/logs/moved/event.log"), "some rows, rescued");
  EXPECT_EQ(contents_of("/etc/logs/moved/" + aside), "some rows");
  EXPECT_TRUE(folder.leftovers_of("event.log", "salvage").empty());

  EXPECT_EQ(names_in("/etc/logs/open"), "copy event.log event.log.salvage-1 ");
  for (const char* name : {"event.log", "event.log.salvage-1", "copy"}) {
    EXPECT_EQ(contents_of(std::string("/etc/logs/open/") + name), "an enemy's") << name;
  }
}

// The defaults of the library's migration, word for word.
TEST_F(SalvagePartsTest, RowsOlderThanAColumnGetTheMigrationsDefault) {
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
