// What is told of each failure of SQLite.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <optional>
#include <string>

#include "tools/annalctl/event/model.h"
#include "tools/annalctl/log/diagnosis.h"

using testing::HasSubstr;

TEST(Reasons, EveryFailureOfSqliteThatHasOneIsTold) {
  const struct {
    int code;
    const char* reason;
    const char* help;
  } cases[] = {
      {SQLITE_CORRUPT, "/etc/logs/event.log is damaged", "annalctl event check"},
      {SQLITE_CORRUPT_INDEX, "/etc/logs/event.log is damaged", "annalctl event check"},
      {SQLITE_NOTADB, "/etc/logs/event.log is damaged", "annalctl event check"},
      {SQLITE_FULL, "the disk is full", "make room on the file system of /etc/logs/event.log"},
      {SQLITE_IOERR_READ, "the disk could not be read or written", "see the kernel's messages"},
      {SQLITE_IOERR_FSYNC, "the disk could not be read or written", "annalctl event check"},
      {SQLITE_READONLY, "/etc/logs/event.log or its file system is read-only", "annalctl event check"},
      {SQLITE_CONSTRAINT_TRIGGER, "a trigger, an index or a column of /etc/logs/event.log refuses it",
       "annalctl event check"},
      {SQLITE_CONSTRAINT_NOTNULL, "refuses it", "annalctl event check"},
  };
  for (const auto& [code, reason, help] : cases) {
    const std::optional<std::string> told = annalctl::reason_of(annalctl::event::kLog, code);
    ASSERT_TRUE(told) << code;
    EXPECT_THAT(*told, HasSubstr(reason)) << code;
    EXPECT_THAT(*told, HasSubstr(help)) << code;
  }
  EXPECT_FALSE(annalctl::reason_of(annalctl::event::kLog, SQLITE_ERROR));
  EXPECT_FALSE(annalctl::reason_of(annalctl::event::kLog, SQLITE_READONLY_ROLLBACK));
}
