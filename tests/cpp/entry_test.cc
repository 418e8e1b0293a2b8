// What the header for C++ stores, and what it refuses instead of cutting.
#include <algorithm>
#include <functional>
#include <list>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.hpp"
#include "common/paths.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

using namespace std::string_literals;

constexpr char kFileOpLog[] = "/etc/logs/operations.db";

constexpr char kHostile[] = "o'neil'); DROP TABLE ANNAL_CONN; --";

class CppEntry : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_TRUE(event::create());
    ASSERT_TRUE(conn::create());
    ASSERT_TRUE(notice::create());
    ASSERT_TRUE(operations.create());
    sqlite.reset();
  }

  fileop::Log operations{kFileOpLog};
};

TEST_F(CppEntry, StoresEveryFieldOfAnEvent) {
  ASSERT_TRUE(event::add({.level = Level::warning,
                          .message = "Volume 1 is nearly full.",
                          .user = "ann",
                          .address = "10.0.0.5",
                          .computer = "pc1",
                          .message_id = "m7",
                          .time = 1600000000,
                          .app_id = "A002",
                          .app = "Storage",
                          .category_id = "C001",
                          .category = "Volumes",
                          .client_id = "id-3",
                          .client_app = "Browser",
                          .client_agent = "Mozilla/5.0 (X11)"}));
  EXPECT_EQ(sql(kEventLog, "SELECT * FROM ANNAL_EVENT;"),
            (Rows{{"1", "1", "2020-09-13", "14:26:40", "ann", "10.0.0.5", "pc1", "Volume 1 is nearly full.", "m7",
                   "1600000000", "A002", "Storage", "C001", "Volumes", "id-3", "Browser", "Mozilla/5.0 (X11)"}}));
}

TEST_F(CppEntry, IsFilledFluentlyToo) {
  ASSERT_TRUE(event::add(event::Entry{}
                             .with_level(Level::error)
                             .with_message("Fan 2 failed.")
                             .with_user("ann")
                             .with_address("10.0.0.5")
                             .with_computer("pc1")
                             .with_message_id("m7")
                             .with_time(1600000000)
                             .with_app("Storage", "A002")
                             .with_category("Volumes", "C001")
                             .with_client("id-3", "Browser", "Mozilla")));
  EXPECT_EQ(sql(kEventLog, "SELECT * FROM ANNAL_EVENT;"),
            (Rows{{"1", "2", "2020-09-13", "14:26:40", "ann", "10.0.0.5", "pc1", "Fan 2 failed.", "m7", "1600000000",
                   "A002", "Storage", "C001", "Volumes", "id-3", "Browser", "Mozilla"}}));
}

TEST_F(CppEntry, StoresEveryFieldOfAConnection) {
  ASSERT_TRUE(conn::add({.level = Level::error,
                         .user = "ann",
                         .address = "10.0.0.5",
                         .computer = "pc1",
                         .resource = "/share/a",
                         .service = 12,
                         .action = 36,
                         .app = "Files",
                         .outcome = Outcome::failed,
                         .client_id = "id-3",
                         .client_app = "Browser",
                         .client_agent = "Mozilla/5.0 (X11)"}));
  EXPECT_EQ(sql(kConnLog,
                "SELECT conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, conn_app, "
                "conn_action_result, conn_client_id, conn_client_app, conn_client_agent FROM ANNAL_CONN;"),
            (Rows{{"2", "ann", "10.0.0.5", "pc1", "/share/a", "12", "36", "Files", "13", "id-3", "Browser",
                   "Mozilla/5.0 (X11)"}}));
}

TEST_F(CppEntry, StoresEveryFieldOfANotice) {
  ASSERT_TRUE(notice::add({.severity = Severity::error,
                           .message = "Fan 2 failed.",
                           .title = "Fan",
                           .name = "fan",
                           .user = "ann",
                           .address = "10.0.0.5",
                           .client = "pc1",
                           .service = "Hardware",
                           .facility = 3,
                           .server = 4,
                           .action = 5,
                           .status = 6,
                           .message_code = "m7",
                           .variable_count = 8,
                           .variables = "2",
                           .uid = 9,
                           .gid = 10,
                           .link_id = "l11",
                           .link_option = "o12"}));
  EXPECT_EQ(sql(kNoticeLog,
                "SELECT severity, desc, title, name, user, ip, client, serviceName, facility, server, action, status, "
                "msgCode, varNum, varContent, uid, gid, link_id, link_option FROM ANNAL_NOTICE;"),
            (Rows{{"3", "Fan 2 failed.", "Fan", "fan", "ann", "10.0.0.5", "pc1", "Hardware", "3", "4", "5", "6", "m7",
                   "8", "2", "9", "10", "l11", "o12"}}));
}

TEST_F(CppEntry, OfANoticeTakesItsSeverityFromAnEventsLevel) {
  EXPECT_EQ(severity_of(Level::information), Severity::informational);
  EXPECT_EQ(severity_of(Level::warning), Severity::warning);
  EXPECT_EQ(severity_of(Level::error), Severity::error);
}

TEST_F(CppEntry, OfANoticeThatIsLeftOutIsNobodysAndNoAlarm) {
  ASSERT_TRUE(notice::add({}));
  EXPECT_EQ(sql(kNoticeLog, "SELECT severity, uid, gid FROM ANNAL_NOTICE;"), (Rows{{"6", "-1", "-1"}}));
}

TEST_F(CppEntry, StoresEveryFieldOfAFileOperation) {
  const Result<std::int64_t> id = operations.add({.level = Level::error,
                                                  .time = 1600000000,
                                                  .user = "ann",
                                                  .address = "10.0.0.5",
                                                  .old_path = "/share/a",
                                                  .path = "/share/b",
                                                  .folder = 1,
                                                  .action = 35,
                                                  .size = 7,
                                                  .computer = "pc1",
                                                  .device = "d1",
                                                  .message = "moved"});
  ASSERT_TRUE(id);
  EXPECT_EQ(*id, 1);
  EXPECT_EQ(sql(kFileOpLog, "SELECT * FROM PAVO2LOG_EVENT;"),
            (Rows{{"1", "2", "2020-09-13", "14:26:40", "ann", "10.0.0.5", "/share/a", "/share/b", "1", "35", "7", "pc1",
                   "d1", "moved", "", "0"}}));
}

TEST_F(CppEntry, StoresHostileTextsAsTheyAre) {
  ASSERT_TRUE(event::add({.message = kHostile, .user = kHostile, .computer = kHostile, .app = kHostile}));
  ASSERT_TRUE(conn::add({.user = kHostile, .computer = kHostile, .resource = kHostile, .app = kHostile}));
  ASSERT_TRUE(notice::add({.message = kHostile, .title = kHostile, .user = kHostile, .service = kHostile}));
  ASSERT_TRUE(operations.add(
      {.user = kHostile, .path = kHostile, .computer = kHostile, .device = kHostile, .message = kHostile}));
  EXPECT_EQ(sql(kEventLog, "SELECT event_desc, event_user, event_comp, event_app_name FROM ANNAL_EVENT;"),
            (Rows{Row(4, kHostile)}));
  EXPECT_EQ(sql(kConnLog, "SELECT conn_user, conn_comp, conn_res, conn_app FROM ANNAL_CONN;"),
            (Rows{Row(4, kHostile)}));
  EXPECT_EQ(sql(kNoticeLog, "SELECT desc, title, user, serviceName FROM ANNAL_NOTICE;"), (Rows{Row(4, kHostile)}));
  EXPECT_EQ(
      sql(kFileOpLog, "SELECT event_user, event_filepath, event_comp, event_duid, event_desc FROM PAVO2LOG_EVENT;"),
      (Rows{Row(5, kHostile)}));
}

// ---- what is refused ----

// A text field, with its bound, of an entry that is fine otherwise.
struct TextField {
  std::string name;
  std::size_t bound;
  std::function<Code(std::string_view)> add;
};

void PrintTo(const TextField& field, std::ostream* out) {
  *out << field.name;
}

template <typename Entry, typename Add>
TextField field(std::string name, std::size_t bound, std::string_view Entry::*member, Add add) {
  return {std::move(name), bound, [member, add](std::string_view text) {
            Entry entry;
            entry.*member = text;
            return add(entry).code();
          }};
}

std::vector<TextField> text_fields() {
  std::vector<TextField> all;
  const auto of_event = [&all](const char* name, std::size_t bound, std::string_view event::Entry::*member) {
    all.push_back(field("Event"s + name, bound, member, event::add));
  };
  const auto of_connection = [&all](const char* name, std::size_t bound, std::string_view conn::Entry::*member) {
    all.push_back(field("Connection"s + name, bound, member, conn::add));
  };
  const auto of_notice = [&all](const char* name, std::size_t bound, std::string_view notice::Entry::*member) {
    all.push_back(field("Notice"s + name, bound, member, notice::add));
  };
  const auto of_operation = [&all](const char* name, std::size_t bound, std::string_view fileop::Entry::*member) {
    all.push_back(field("FileOperation"s + name, bound, member,
                        [](const fileop::Entry& entry) { return fileop::Log(kFileOpLog).add(entry); }));
  };
  of_event("Message", 2048, &event::Entry::message);
  of_event("User", 64, &event::Entry::user);
  of_event("Computer", 64, &event::Entry::computer);
  of_event("MessageId", 64, &event::Entry::message_id);
  of_event("AppId", 64, &event::Entry::app_id);
  of_event("App", 128, &event::Entry::app);
  of_event("CategoryId", 64, &event::Entry::category_id);
  of_event("Category", 128, &event::Entry::category);
  of_event("ClientId", 64, &event::Entry::client_id);
  of_event("ClientApp", 128, &event::Entry::client_app);
  of_event("ClientAgent", 255, &event::Entry::client_agent);
  of_connection("User", 64, &conn::Entry::user);
  of_connection("Computer", 64, &conn::Entry::computer);
  of_connection("Resource", 1024, &conn::Entry::resource);
  of_connection("App", 256, &conn::Entry::app);
  of_connection("ClientId", 64, &conn::Entry::client_id);
  of_connection("ClientApp", 128, &conn::Entry::client_app);
  of_connection("ClientAgent", 256, &conn::Entry::client_agent);
  of_notice("Message", 2048, &notice::Entry::message);
  of_notice("Title", 256, &notice::Entry::title);
  of_notice("Name", 128, &notice::Entry::name);
  of_notice("User", 64, &notice::Entry::user);
  of_notice("Client", 64, &notice::Entry::client);
  of_notice("Service", 1024, &notice::Entry::service);
  of_notice("MessageCode", 64, &notice::Entry::message_code);
  of_notice("Variables", 2048, &notice::Entry::variables);
  of_notice("LinkId", 256, &notice::Entry::link_id);
  of_notice("LinkOption", 1024, &notice::Entry::link_option);
  of_operation("User", 64, &fileop::Entry::user);
  of_operation("Computer", 64, &fileop::Entry::computer);
  of_operation("Device", 64, &fileop::Entry::device);
  of_operation("Message", 1024, &fileop::Entry::message);
  return all;
}

class CppEntryText : public CppEntry, public testing::WithParamInterface<TextField> {
 protected:
  static bool is_stored(const std::string& text) {
    for (const char* path : {kEventLog, kConnLog, kNoticeLog, kFileOpLog}) {
      for (const std::string& table : {"ANNAL_EVENT"s, "ANNAL_CONN"s, "ANNAL_NOTICE"s, "PAVO2LOG_EVENT"s}) {
        if (value(path, "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name = '" + table + "';") != "1") {
          continue;
        }
        for (const Row& row : sql(path, "SELECT * FROM " + table + ";")) {
          if (std::ranges::find(row, text) != row.end()) {
            return true;
          }
        }
      }
    }
    return false;
  }
};

TEST_P(CppEntryText, IsStoredWholeUpToItsBound) {
  const std::string text(GetParam().bound, 'x');
  EXPECT_EQ(GetParam().add(text), Code::ok);
  EXPECT_TRUE(is_stored(text));
}

TEST_P(CppEntryText, IsRefusedBeyondItAndWithAZeroByteInIt) {
  EXPECT_EQ(GetParam().add(std::string(GetParam().bound + 1, 'x')), Code::too_long);
  EXPECT_EQ(GetParam().add("x\0y"s), Code::bad_argument);
  EXPECT_EQ(SqliteTrace::calls(), Calls{});
}

INSTANTIATE_TEST_SUITE_P(Every, CppEntryText, testing::ValuesIn(text_fields()),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(CppEntry, NeedNotBeTerminated) {
  const std::string text = "ann and more";
  ASSERT_TRUE(event::add({.user = std::string_view(text).substr(0, 3)}));
  EXPECT_EQ(value(kEventLog, "SELECT event_user FROM ANNAL_EVENT;"), "ann");
}

TEST_F(CppEntry, IsRefusedWithAnAddressThatIsNone) {
  for (const char* text : {"10.0.0", "localhost", " 10.0.0.5", "10.0.0.5'", "'", "::1::"}) {
    EXPECT_EQ(event::add({.address = text}).code(), Code::bad_argument) << text;
    EXPECT_EQ(conn::add({.address = text}).code(), Code::bad_argument) << text;
    EXPECT_EQ(notice::add({.address = text}).code(), Code::bad_argument) << text;
    EXPECT_FALSE(is_address(text)) << text;
  }
  EXPECT_EQ(operations.add({.address = "10.0.0.5:80'); --"}).code(), Code::bad_argument);
  EXPECT_EQ(event::add({.address = std::string(65, '1')}).code(), Code::too_long);
  EXPECT_EQ(SqliteTrace::calls(), Calls{});
  for (const char* text : {"10.0.0.5", "::1", "fe80::1%eth0", "::ffff:10.0.0.5"}) {
    EXPECT_TRUE(is_address(text)) << text;
    EXPECT_TRUE(event::add({.address = text})) << text;
  }
}

TEST_F(CppEntry, IsRefusedWithANumberOutOfItsRange) {
  EXPECT_EQ(event::add({.level = static_cast<Level>(3)}).code(), Code::bad_argument);
  EXPECT_EQ(conn::add({.level = static_cast<Level>(-1)}).code(), Code::bad_argument);
  EXPECT_EQ(conn::add({.service = 13}).code(), Code::bad_argument);
  EXPECT_EQ(conn::add({.service = -1}).code(), Code::bad_argument);
  EXPECT_EQ(conn::add({.action = 37}).code(), Code::bad_argument);
  EXPECT_EQ(conn::add({.outcome = static_cast<Outcome>(1)}).code(), Code::bad_argument);
  EXPECT_EQ(notice::add({.severity = static_cast<Severity>(8)}).code(), Code::bad_argument);
  EXPECT_EQ(operations.add({.folder = 3}).code(), Code::bad_argument);
  EXPECT_EQ(operations.add({.folder = -1}).code(), Code::bad_argument);
  EXPECT_EQ(operations.add({.action = 36}).code(), Code::bad_argument);
  EXPECT_EQ(SqliteTrace::calls(), Calls{});
}

// A quote is stored as two bytes of the statement's text, which is what the field holds.
TEST_F(CppEntry, OfAFileOperationCountsAQuoteTwiceForItsBound) {
  EXPECT_TRUE(operations.add({.user = std::string(32, '\'')}));
  EXPECT_EQ(operations.add({.user = std::string(33, '\'')}).code(), Code::too_long);
  EXPECT_EQ(value(kFileOpLog, "SELECT event_user FROM PAVO2LOG_EVENT;"), std::string(32, '\''));
}

// ---- ranges ----

TEST_F(CppEntry, ComesFromAnyRange) {
  const std::vector<conn::Entry> vector{{.user = "ann"}, {.user = "o'neil"}};
  const std::list<conn::Entry> list{{.user = "bob"}};
  const conn::Entry array[] = {{.user = "cid"}};
  const std::vector<std::string> names{"dan", "eve"};
  const auto as_entry = [](const std::string& user) { return conn::Entry{.user = user}; };
  int stored = 0;
  EXPECT_TRUE(conn::add_all(vector, &stored));
  EXPECT_EQ(stored, 2);
  EXPECT_TRUE(conn::add_all(list));
  EXPECT_TRUE(conn::add_all(array));
  EXPECT_TRUE(conn::add_all(names, as_entry, &stored));
  EXPECT_TRUE(conn::add_all(std::vector<conn::Entry>{}, &stored));
  EXPECT_EQ(stored, 0);
  EXPECT_EQ(value(kConnLog, "SELECT group_concat(conn_user) FROM (SELECT conn_user FROM ANNAL_CONN ORDER BY conn_id);"),
            "ann,o'neil,bob,cid,dan,eve");
}

TEST_F(CppEntry, OfARangeIsStoredInOneTransaction) {
  ASSERT_TRUE(conn::add_all(std::vector<conn::Entry>(1000, {.user = "ann"})));
  EXPECT_EQ(value(kConnLog, "SELECT COUNT(*) FROM ANNAL_CONN;"), "1000");
  EXPECT_EQ(std::ranges::count(SqliteTrace::statements(), "BEGIN TRANSACTION;"), 1);
}

TEST_F(CppEntry, OfARangeThatDoesNotFitLeavesOutAll) {
  const std::string long_name(65, 'x');
  int stored = -1;
  EXPECT_EQ(conn::add_all(std::vector<conn::Entry>{{.user = "ann"}, {.user = long_name}}, &stored).code(),
            Code::too_long);
  EXPECT_EQ(stored, 0);
  EXPECT_EQ(SqliteTrace::calls(), Calls{});
}

TEST_F(CppEntry, OfAnotherLogsRangeIsStoredUpToTheFirstThatDoesNotFit) {
  int stored = -1;
  const event::Entry fine{.message = "fine"};
  const event::Entry wrong{.address = "nowhere"};
  EXPECT_EQ(event::add_all(std::vector{fine, fine, wrong, fine}, &stored).code(), Code::bad_argument);
  EXPECT_EQ(stored, 2);
  EXPECT_EQ(*event::count(), 2);
  EXPECT_TRUE(notice::add_all(std::vector<notice::Entry>(3)));
  EXPECT_EQ(*notice::count(), 3);
  EXPECT_TRUE(operations.add_all(std::vector<fileop::Entry>(4)));
  EXPECT_EQ(*operations.count(), 4);
}

// ---- the road for names from the network ----

TEST_F(CppEntry, OfAConnectionIsNotForcedOnALogThatRefusesIt) {
  sql(kConnLog, "ALTER TABLE ANNAL_CONN RENAME COLUMN conn_user TO theirs;");
  const std::string before = value(kConnLog, "SELECT sql FROM sqlite_master WHERE name = 'ANNAL_CONN';");
  EXPECT_EQ(conn::takes_entries().code(), Code::batch_failed);
  EXPECT_EQ(conn::add({.user = "ann"}).code(), Code::batch_failed);
  EXPECT_EQ(conn::add_all(std::vector<conn::Entry>(2)).code(), Code::batch_failed);
  EXPECT_EQ(value(kConnLog, "SELECT sql FROM sqlite_master WHERE name = 'ANNAL_CONN';"), before);
}

TEST_F(CppEntry, OfAConnectionMakesNoLog) {
  remove_log_folder();
  EXPECT_EQ(conn::add({.user = "ann"}).code(), Code::open_failed);
}

TEST_F(CppEntry, OfAConnectionIsHandedOnOnce) {
  ASSERT_TRUE(conn::add({.user = kHostile}));
  EXPECT_EQ(std::ranges::count_if(platform.calls(),
                                  [](const std::string& call) { return call.starts_with("SendConnToZSyslogd"); }),
            1);
}

// ---- deletions ----

TEST_F(CppEntry, IsErasedByItsTextOrNumberAndNoOtherIs) {
  ASSERT_TRUE(event::add_all(std::vector<event::Entry>{{.user = kHostile}, {.user = "ann"}, {.user = "bob"}}));
  ASSERT_TRUE(event::erase(event::TextColumn::user, kHostile));
  ASSERT_TRUE(event::erase(event::NumberColumn::id, 2));
  EXPECT_EQ(value(kEventLog, "SELECT event_user FROM ANNAL_EVENT;"), "bob");
  EXPECT_TRUE(event::erase(event::TextColumn::user, "x' OR '1' = '1"));
  EXPECT_EQ(*event::count(), 1);

  ASSERT_TRUE(conn::add_all(std::vector<conn::Entry>{{.user = kHostile}, {.user = "ann"}, {.user = "bob"}}));
  ASSERT_TRUE(conn::erase(conn::TextColumn::user, kHostile));
  ASSERT_TRUE(conn::erase(conn::NumberColumn::id, 2));
  EXPECT_EQ(value(kConnLog, "SELECT conn_user FROM ANNAL_CONN;"), "bob");

  ASSERT_TRUE(notice::add_all(std::vector<notice::Entry>{{.user = kHostile}, {.user = "ann"}, {.user = "bob"}}));
  ASSERT_TRUE(notice::erase(notice::TextColumn::user, kHostile));
  ASSERT_TRUE(notice::erase(notice::NumberColumn::id, 2));
  EXPECT_EQ(value(kNoticeLog, "SELECT user FROM ANNAL_NOTICE;"), "bob");

  ASSERT_TRUE(operations.add_all(std::vector<fileop::Entry>{{.user = kHostile}, {.path = "/it's"}, {.user = "bob"}}));
  ASSERT_TRUE(operations.erase(fileop::TextColumn::user, kHostile));
  ASSERT_TRUE(operations.erase(fileop::TextColumn::path, "/it's"));
  EXPECT_EQ(value(kFileOpLog, "SELECT event_user FROM PAVO2LOG_EVENT;"), "bob");

  EXPECT_EQ(event::erase(event::TextColumn::user, "a\0b"s).code(), Code::bad_argument);
}

// Every column of each log: a wrong number would name another one.
TEST_F(CppEntry, IsErasedByEachOfItsColumns) {
  using Number = event::NumberColumn;
  using Text = event::TextColumn;
  const auto erased = [](auto column, auto value) {
    EXPECT_TRUE(event::clear());
    EXPECT_TRUE(event::add({.level = Level::error,
                            .message = "text",
                            .user = "ann",
                            .address = "10.0.0.5",
                            .computer = "pc1",
                            .message_id = "m7",
                            .time = 1600000000}));
    EXPECT_TRUE(event::erase(column, value));
    return *event::count() == 0;
  };
  EXPECT_TRUE(erased(Number::level, 2));
  EXPECT_TRUE(erased(Number::time_stamp, 1600000000));
  EXPECT_TRUE(erased(Text::date, "2020-09-13"));
  EXPECT_TRUE(erased(Text::time, "14:26:40"));
  EXPECT_TRUE(erased(Text::user, "ann"));
  EXPECT_TRUE(erased(Text::address, "10.0.0.5"));
  EXPECT_TRUE(erased(Text::computer, "pc1"));
  EXPECT_TRUE(erased(Text::message, "text"));
  EXPECT_TRUE(erased(Text::message_id, "m7"));
  EXPECT_FALSE(erased(Text::user, "bob"));
}

// ---- maintenance ----

TEST_F(CppEntry, LeavesWhenTheLogIsTrimmedClearedOrDropped) {
  ASSERT_TRUE(event::add_all(std::vector<event::Entry>(5)));
  EXPECT_TRUE(event::trim_to(2));
  EXPECT_EQ(event::trim_to(0).code(), Code::bad_argument);
  EXPECT_EQ(*event::count(), 2);
  EXPECT_TRUE(event::remove_limit());
  EXPECT_TRUE(event::set_limit({.rows = 2, .drop = 1}));
  EXPECT_EQ(event::set_limit({}).code(), Code::trigger_failed);
  ASSERT_TRUE(event::add({}));
  EXPECT_EQ(*event::count(), 2);
  EXPECT_TRUE(event::migrate());
  EXPECT_TRUE(event::clear());
  EXPECT_EQ(*event::count(), 0);
  EXPECT_TRUE(event::drop());
  EXPECT_EQ(event::count().code(), Code::query_failed);

  ASSERT_TRUE(conn::add_all(std::vector<conn::Entry>(5)));
  EXPECT_TRUE(conn::trim_by(2));
  EXPECT_EQ(conn::trim_by(-1).code(), Code::bad_argument);
  EXPECT_EQ(*conn::count(), 3);
  EXPECT_TRUE(conn::remove_limit());
  EXPECT_TRUE(conn::set_limit({.rows = 3, .drop = 2}));
  EXPECT_TRUE(conn::migrate());
  EXPECT_TRUE(conn::clear());
  EXPECT_TRUE(conn::drop());

  ASSERT_TRUE(notice::add({}));
  EXPECT_TRUE(notice::age(1));
  EXPECT_EQ(notice::age(0).code(), Code::bad_argument);
  EXPECT_EQ(*notice::count(), 1);
  EXPECT_TRUE(notice::remove_limit());
  EXPECT_TRUE(notice::set_limit({}));
  EXPECT_TRUE(notice::clear());
  EXPECT_TRUE(notice::drop());

  ASSERT_TRUE(operations.add({}));
  EXPECT_TRUE(operations.remove_limit());
  EXPECT_TRUE(operations.set_limit({.rows = 1, .drop = 1}));
  EXPECT_TRUE(operations.clear());
  EXPECT_EQ(*operations.count(), 0);
  EXPECT_TRUE(operations.drop());
}

// ---- results ----

TEST_F(CppEntry, ThatFailsSaysWhyOrThrowsIt) {
  const Result<void> failed = event::create();
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.code(), Code::table_failed);
  EXPECT_STREQ(failed.text(), "creating or dropping a table failed, or the compaction");
  EXPECT_STREQ(name(failed.code()), "ANNAL_TABLE_FAILED");
  try {
    failed.value();
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), Code::table_failed);
    EXPECT_STREQ(error.what(), failed.text());
  }
  ASSERT_TRUE(event::drop());
  EXPECT_THROW((void)event::count().value(), Error);
  EXPECT_EQ(event::count().value_or(-5), -5);
  EXPECT_EQ(*event::count(), 0);
  EXPECT_THROW((void)event::page().value(), Error);
  ASSERT_TRUE(event::create());
  EXPECT_EQ(event::count().value(), 0);
}

TEST_F(CppEntry, HasNamesForItsNumbers) {
  EXPECT_STREQ(name(Level::warning), "warning");
  EXPECT_STREQ(name(Severity::debug), "debug");
  EXPECT_STREQ(name(Outcome::failed), "failed");
  EXPECT_STREQ(annal_log_path(ANNAL_EVENT_LOG), kEventLog);
  EXPECT_STREQ(annal_log_path(ANNAL_CONN_LOG), kConnLog);
  EXPECT_STREQ(annal_log_path(ANNAL_NOTICE_LOG), kNoticeLog);
}

}  // namespace
}  // namespace annal::test
