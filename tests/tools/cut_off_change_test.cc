// Reading a log whose last change was interrupted, which must be rolled back first.
#include <sys/stat.h>

#include <sstream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"
#include "tests/tools/other_users.h"

namespace {

using annal::test::exists;
using annal::test::sql;
using damage::contents_of;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kJournal = "/etc/logs/event.log-journal";

class AnnalctlCutOffChange : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    sql(kLog,
        "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 40) INSERT INTO ANNAL_EVENT (event_type, "
        "event_desc) SELECT 2, 'event ' || i || hex(zeroblob(200)) FROM n;");
    good_ = contents_of(kLog);
    damage::cut_off_a_change(kLog,
                             "DELETE FROM ANNAL_EVENT WHERE event_id < 30; UPDATE ANNAL_EVENT SET event_desc = 'new';");
    ASSERT_FALSE(contents_of(kLog) == good_);
  }

  std::string good_;
};

}  // namespace

TEST_F(AnnalctlCutOffChange, IsUndoneBeforeAnyRowIsListed) {
  const std::string half = contents_of(kLog);
  const std::string journal = contents_of(kJournal);
  for (const std::vector<std::string>& verb :
       std::vector<std::vector<std::string>>{{"list", "--all"},
                                             {"list", "--all", "--sort", "user"},
                                             {"list", "--type", "error", "--all"},
                                             {"tail", "--no-follow"},
                                             {"group", "--by", "message"}}) {
    SCOPED_TRACE(verb.front());
    damage::put(kLog, half);
    damage::put(kJournal, journal);
    std::vector<std::string> arguments{"event"};
    arguments.insert(arguments.end(), verb.begin(), verb.end());
    arguments.emplace_back("--json");
    const Finished listed = annalctl(arguments);
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(listed.out.find("\"new\""), std::string::npos);
    EXPECT_NE(listed.out.find("event 40"), std::string::npos);
    EXPECT_EQ(lines_of(listed.out).size(), verb.front() == "tail" ? 10U : 40U);
    EXPECT_FALSE(exists(kJournal));
    EXPECT_TRUE(contents_of(kLog) == good_);
  }
}

TEST_F(AnnalctlCutOffChange, IsToldToWhoMayNotUndoIt) {
  const std::string half = contents_of(kLog);
  ASSERT_EQ(chmod("/etc/logs", 0555), 0);
  ASSERT_EQ(chmod(kLog, 0444), 0);
  ASSERT_EQ(chmod(kJournal, 0444), 0);
  other_users::as_ordinary_user([] {
    for (const char* const verb : {"count", "list", "group --by user", "tail --no-follow"}) {
      SCOPED_TRACE(verb);
      std::vector<std::string> arguments{"event"};
      std::istringstream words(verb);
      for (std::string word; words >> word;) {
        arguments.push_back(word);
      }
      const Finished refused = annalctl(arguments);
      EXPECT_EQ(refused.status, 1);
      EXPECT_NE(
          refused.err.find("its last change was interrupted, and what undoes it is in /etc/logs/event.log-journal: "
                           "reading the log needs that done first, by a user who may write the log and its folder "
                           "(run 'annalctl event count' as such a user, root for example)"),
          std::string::npos)
          << refused.err;
    }
  });
  ASSERT_EQ(chmod("/etc/logs", 0755), 0);
  EXPECT_TRUE(contents_of(kLog) == half);
}
