// A new file that an attacker replaces between its creation and SQLite's opening it by name.
#include "tools/annalctl/rescue/pinned_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/appliance.h"
#include "tests/tools/damage.h"
#include "tools/annalctl/base/sqlite.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::put;

constexpr const char* kSecret = "/usr/local/sbin/secret";

class PinnedFileTest : public annal::test::ApplianceTest {};

}  // namespace

TEST_F(PinnedFileTest, DoesNotUseWhatAnEnemyPutsInPlaceOfTheNewLogOrBesideIt) {
  const std::string made = "/etc/logs/event.log.salvage-20261122-060000";
  const int file = open(made.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  ASSERT_GE(file, 0);
  put(kSecret, "");
  fs::rename(made, "/etc/logs/taken");
  fs::create_symlink(kSecret, made);
  put(made + "-journal", "forged");
  put(made + "-wal", "forged");
  {
    const annalctl::PinnedFile pinned(made, file);
    const annalctl::SqliteDatabase database(made, SQLITE_OPEN_READWRITE);
    EXPECT_TRUE(database.run("PRAGMA journal_mode = MEMORY; CREATE TABLE t (x); INSERT INTO t VALUES (1)"))
        << database.message();
    EXPECT_TRUE(database.run("SELECT * FROM t; PRAGMA integrity_check")) << database.message();
  }
  close(file);
  EXPECT_TRUE(contents_of(kSecret).empty());
  EXPECT_EQ(contents_of(made + "-journal"), "forged");
  EXPECT_EQ(contents_of(made + "-wal"), "forged");
  EXPECT_EQ(value("/etc/logs/taken", "SELECT x FROM t;"), "1");
  // SQLite resolves names as usual again.
  fs::remove(made + "-journal");
  fs::remove(made + "-wal");
  sql(made.c_str(), "CREATE TABLE u (x);");
  EXPECT_FALSE(contents_of(kSecret).empty());
}
