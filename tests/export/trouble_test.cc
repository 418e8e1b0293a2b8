// What annal-export does about a full disk, a clock that jumps, and logs that several users may write: it says what is
// wrong, and loses nothing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/export/course_test.h"
#include "tests/export/program_fixture.h"
#include "tests/support/log_file.h"
#include "tools/export/log_rights.h"

namespace annal::test {
namespace {

namespace fs = std::filesystem;

// --- a full disk ---

class ExportFullDisk : public ExportProgram {
 protected:
  void SetUp() override {
    ExportProgram::SetUp();
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can mount a small disk";
    }
    state_folder = folder + "/state";
    fs::create_directory(state_folder);
    ASSERT_EQ(mount("tmpfs", state_folder.c_str(), "tmpfs", 0, "size=64k"), 0) << std::strerror(errno);
  }
  void TearDown() override {
    umount2(state_folder.c_str(), MNT_DETACH);
    ExportProgram::TearDown();
  }
  void fill() const {
    std::ofstream big(state_folder + "/big", std::ios::binary);
    const std::string block(4096, 'x');
    while (big.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
    }
    EXPECT_EQ(fs::space(state_folder).available, 0);
  }
};

TEST_F(ExportFullDisk, StopsSendingWithAClearErrorAndSendsOnOnceThereIsRoom) {
  configure("type = \"stdout\"\n");
  add_events(3);
  EXPECT_EQ(keys_in(once()).size(), 3);
  const std::string before = content_of(state_folder + "/out.event.state");
  fill();
  add_events(2);
  Running run(with({"--once"}));
  const std::string lines = run.rest();
  const std::string errors = run.errors();
  EXPECT_EQ(run.finish(), 1);
  EXPECT_NE(errors.find("cannot write the state " + state_folder + "/out.event.state: No space left on device"),
            std::string::npos)
      << errors;
  EXPECT_EQ(content_of(state_folder + "/out.event.state"), before);
  fs::remove(state_folder + "/big");
  EXPECT_EQ(keys_in(once()), (Texts{"event/1/4", "event/1/5"}));
  EXPECT_EQ(once(), "");
}

TEST_F(ExportFullDisk, WaitsForRoomWhileItFollowsALog) {
  configure("type = \"stdout\"\nacknowledge = \"input\"\n");
  Running run(with({}));
  add_event("first");
  EXPECT_EQ(key_in(run.line()), "event/1/1");
  fill();
  run.say("\n");
  // It is sent again, since it could not be noted that it was acknowledged.
  EXPECT_EQ(key_in(run.line()), "event/1/1");
  fs::remove(state_folder + "/big");
  run.say("\n");
  add_event("second");
  EXPECT_EQ(key_in(run.line()), "event/1/2");
  run.say("\n");
  run.send(SIGTERM);
  EXPECT_EQ(run.finish(), 0);
  EXPECT_EQ(once(), "");
}

// --- a clock that jumps ---

void set_changed(const std::string& path, std::time_t when) {
  const std::array<timespec, 2> times{{{when, 0}, {when, 0}}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

class ExportClock : public ExportCourse {};

TEST_F(ExportClock, ThatJumpsBackAndForthChangesNeitherOrderNorNumberOfTheEntries) {
  add_events(6);
  sql(kEventLog,
      "UPDATE ANNAL_EVENT SET event_date = CASE event_id % 3 WHEN 0 THEN '1970-01-01' WHEN 1 THEN '2099-12-31' ELSE "
      "'2026-11-21' END, event_timet = CASE event_id % 3 WHEN 0 THEN 0 WHEN 1 THEN 4102444799 ELSE 1795255200 END");
  EXPECT_EQ(sent_now(2), (Keys{"event/1/1", "event/1/2", "event/1/3", "event/1/4", "event/1/5", "event/1/6"}));
  EXPECT_EQ(sent_now(), Keys());
}

TEST_F(ExportClock, DoesNotHideANewEntryWhenItIsSetBack) {
  constexpr std::time_t kDay = 86400;
  FakeSink sink;
  const std::string name = "central";
  const LogCourse::Owner owner{
      .folder = folder, .appliance = appliance, .sink = name, .batch = 1000, .saves_at_close = false};
  LogCourse course(owner, log);
  const auto all = [&] {
    for (int i = 0; i < 10; ++i) {
      static_cast<void>(course.advance(sink, stop, page));
    }
    return sink.keys.size();
  };
  const std::time_t now = std::time(nullptr);
  for (const std::time_t when : {now, now + kDay, now - kDay, now + 2 * kDay, std::time_t{0}}) {
    add_event("one more");
    set_changed(kEventLog, when);
    const std::size_t before = sink.keys.size();
    EXPECT_EQ(all(), before + 1) << when - now;
  }
}

TEST_F(ExportProgram, TellsNoNegativeLagOfEntriesFromTheFuture) {
  add_events(2);
  once();
  add_events(3);
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_date = '2099-12-31', event_timet = 4102444799 WHERE event_id > 2");
  Running run(with({"status", "--json"}));
  const std::string lines = run.rest();
  EXPECT_EQ(run.finish(), 0);
  const nlohmann::json event = nlohmann::json::parse(lines.substr(0, lines.find('\n')));
  EXPECT_EQ(event.at("lag_entries"), 3);
  EXPECT_EQ(event.at("lag_seconds"), 0);
  EXPECT_GE(event.at("rate").get<double>(), 0);
}

TEST_F(ExportProgram, SealsAllLogsIfToldSoAndSendsTheirHeads) {
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
  add_events(2);
  const std::string text = content_of(folder + "/c.toml");
  write_file(folder + "/c.toml", text + "[proof]\nseal_every = 1\nkey_file = \"" + folder + "/seal.key\"\n");
  const Texts keys = keys_in(once());
  EXPECT_EQ(keys.size(), 5) << testing::PrintToString(keys);
  EXPECT_EQ(once(), "");
  EXPECT_TRUE(fs::exists("/etc/logs/event.log.chain"));
  EXPECT_TRUE(fs::exists("/etc/logs/notice.log.chain"));
}

// --- logs of several users ---

class ExportRights : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can give files away";
    }
  }
  std::string refusal(const std::vector<exporter::SourceLog>& logs) const {
    try {
      exporter::take_rights_for(logs, folder);
    } catch (const exporter::RightsProblem& problem) {
      return problem.what();
    }
    return {};
  }
  const exporter::LogShape* shape = &exporter::log_shapes().front();
};

TEST_F(ExportRights, LogsThatNeedThoseOfDifferentUsersAreRefused) {
  constexpr uid_t kFirst = 1234;
  constexpr uid_t kSecond = 2345;
  std::vector<exporter::SourceLog> logs;
  for (const uid_t user : {kFirst, kSecond}) {
    const std::string place = "/etc/logs/" + std::to_string(user);
    fs::create_directory(place);
    fs::copy_file(kEventLog, place + "/event.log");
    ASSERT_EQ(chmod(place.c_str(), 0755), 0);
    ASSERT_EQ(chown((place + "/event.log").c_str(), user, user), 0);
    ASSERT_EQ(chown(place.c_str(), user, user), 0);
    logs.push_back({shape, place + "/event.log"});
  }
  const std::string text = refusal(logs);
  EXPECT_NE(text.find("/etc/logs/1234/event.log is to be opened with those of 1234 rights, and "
                      "/etc/logs/2345/event.log with those of 2345"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("run an exporter for each"), std::string::npos) << text;
  EXPECT_EQ(geteuid(), 0);
}

TEST_F(ExportRights, ALogThatSeveralUsersMayWriteIsRefused) {
  fs::create_directory("/etc/logs/shared");
  fs::copy_file(kEventLog, "/etc/logs/shared/event.log");
  ASSERT_EQ(chown("/etc/logs/shared", 1234, 1234), 0);
  ASSERT_EQ(chown("/etc/logs/shared/event.log", 2345, 2345), 0);
  EXPECT_NE(refusal({{shape, "/etc/logs/shared/event.log"}}), "");
}

}  // namespace
}  // namespace annal::test
