// What a sink is handed of a log, whatever happens to the log and to the sink meanwhile.
#include "tools/export/log_course.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/export/course_test.h"
#include "tests/support/log_file.h"

namespace annal::test {
namespace {

TEST_F(ExportCourse, HandsOverEachEntryOnceAndGoesOnWhereItWas) {
  add_events(5);
  EXPECT_EQ(sent_now(2), (Keys{"event/1/1", "event/1/2", "event/1/3", "event/1/4", "event/1/5"}));
  EXPECT_EQ(sent_now(), Keys());
  add_event("one more");
  EXPECT_EQ(sent_now(), Keys{"event/1/6"});
}

TEST_F(ExportCourse, GoesOnAfterTheLastAcknowledgedEntryOnly) {
  add_events(5);
  FakeSink sink;
  sink.answer = [](const exporter::Batch&) {
    return Outcome{.acknowledged = 2, .refused = {}, .trouble = exporter::Trouble{.reason = "enough"}};
  };
  const LogCourse::Result result = run(sink);
  EXPECT_EQ(result.step, Step::kTrouble);
  EXPECT_EQ(result.trouble.value_or(exporter::Trouble{}).reason, "enough");
  EXPECT_EQ(sent_now(), (Keys{"event/1/3", "event/1/4", "event/1/5"}));
}

TEST_F(ExportCourse, SendsAgainWhatWasNeverAcknowledged) {
  add_events(3);
  FakeSink sink;
  sink.answer = [](const exporter::Batch&) { return Outcome{}; };
  EXPECT_EQ(run(sink).step, Step::kTrouble);
  EXPECT_EQ(sent_now().size(), 3);
}

TEST_F(ExportCourse, SaysWhatWasDeletedBeforeItWasSent) {
  add_events(10);
  EXPECT_EQ(sent_now().size(), 10);
  add_events(5);
  sql(kEventLog, "DELETE FROM ANNAL_EVENT WHERE event_id <= 13 OR event_id = 15");
  EXPECT_EQ(sent_now(), (Keys{"event/1/gap/11+3", "event/1/14", "event/1/gap/15+1"}));
  EXPECT_EQ(sent_now(), Keys());
  const auto state = exporter::load_state(folder, appliance, "central", "event");
  ASSERT_TRUE(state);
  EXPECT_EQ(state->missing, 4);
  EXPECT_EQ(state->sent, 11);
}

TEST_F(ExportCourse, BeginsWithAGapIfTheFirstEntriesAreGone) {
  add_events(4);
  sql(kEventLog, "DELETE FROM ANNAL_EVENT WHERE event_id < 4");
  EXPECT_EQ(sent_now(), (Keys{"event/1/gap/1+3", "event/1/4"}));
}

TEST_F(ExportCourse, SaysThatAllEntriesOfAnEmptiedLogAreMissing) {
  add_events(4);
  sql(kEventLog, "DELETE FROM ANNAL_EVENT");
  EXPECT_EQ(sent_now(), Keys{"event/1/gap/1+4"});
}

TEST_F(ExportCourse, GivesALogThatWasCreatedAgainANewGeneration) {
  add_events(3);
  EXPECT_EQ(sent_now().size(), 3);
  create_again();
  add_event("another");
  EXPECT_EQ(sent_now(), Keys{"event/2/1"});
}

TEST_F(ExportCourse, KnowsANewLogThatHasMoreEntriesThanTheOldOneByTheirContent) {
  add_events(3);
  EXPECT_EQ(sent_now().size(), 3);
  create_again();
  for (int i = 0; i < 5; ++i) {
    add_event("another");
  }
  EXPECT_EQ(sent_now(), (Keys{"event/2/1", "event/2/2", "event/2/3", "event/2/4", "event/2/5"}));
}

TEST_F(ExportCourse, KnowsANewTableInTheSameFile) {
  add_events(3);
  EXPECT_EQ(sent_now().size(), 3);
  ASSERT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  for (int i = 0; i < 4; ++i) {
    add_event("another");
  }
  EXPECT_EQ(sent_now().size(), 4);
}

TEST_F(ExportCourse, KnowsANewLogWithEqualEntriesOfTheSameSecond) {
  add_event("the same");
  EXPECT_EQ(sent_now(), Keys{"event/1/1"});
  create_again();
  add_event("the same");
  EXPECT_EQ(sent_now(), Keys{"event/2/1"});
}

TEST_F(ExportCourse, KeepsTheGenerationOfALogWhoseFileWasCopiedOrCompacted) {
  sql(kEventLog, "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time) VALUES (0, '2020-01-01', '10:00:00')");
  EXPECT_EQ(sent_now(), Keys{"event/1/1"});
  sql(kEventLog, "VACUUM");
  EXPECT_EQ(sent_now(), Keys());
  const std::string copy = std::string(kEventLog) + ".copy";
  std::filesystem::copy_file(kEventLog, copy);
  std::filesystem::rename(copy, kEventLog);
  EXPECT_EQ(sent_now(), Keys());
  add_event("later");
  EXPECT_EQ(sent_now(), Keys{"event/1/2"});
}

TEST_F(ExportCourse, KeepsTheGenerationOfALogWhoseNewestEntriesWereRedacted) {
  add_events(10);
  EXPECT_EQ(sent_now().size(), 10);
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_desc = '[redacted]', event_user = '[redacted]'");
  EXPECT_EQ(sent_now(), Keys());
  add_event("later");
  EXPECT_EQ(sent_now(), Keys{"event/1/11"});
}

TEST_F(ExportCourse, SaysWhatALogStillHadThatWasCreatedAgain) {
  add_events(5);
  FakeSink sink;
  sink.answer = [](const exporter::Batch&) { return Outcome{.acknowledged = 2}; };
  EXPECT_EQ(run(sink).step, Step::kTrouble);
  create_again();
  EXPECT_EQ(sent_now(), Keys{"event/1/gap/3+3"});
  add_event("another");
  EXPECT_EQ(sent_now(), Keys{"event/2/1"});
}

TEST_F(ExportCourse, UsesTheGenerationThatAnotherSinkHasGivenTheSameLog) {
  add_event("first");
  EXPECT_EQ(sent_now(1000, "one"), Keys{"event/1/1"});
  EXPECT_EQ(sent_now(1000, "two"), Keys{"event/1/1"});
  create_again();
  add_event("second");
  EXPECT_EQ(sent_now(1000, "one"), Keys{"event/2/1"});
  create_again();
  add_event("third");
  EXPECT_EQ(sent_now(1000, "one"), Keys{"event/3/1"});
  // This one has never seen the second.
  EXPECT_EQ(sent_now(1000, "two"), Keys{"event/3/1"});
  EXPECT_EQ(sent_now(1000, "three"), Keys{"event/3/1"});
}

TEST_F(ExportCourse, SetsARefusedEntryAsideAndSendsTheOthers) {
  add_events(4);
  FakeSink sink;
  sink.answer = [](const exporter::Batch& batch) {
    Outcome outcome{.acknowledged = batch.records.size()};
    for (std::size_t i = 0; i < batch.records.size(); ++i) {
      if (batch.records[i].message == "event 2") {
        outcome.refused.push_back({i, "I do not take \"2\""});
      }
    }
    return outcome;
  };
  EXPECT_EQ(run(sink).step, Step::kNothing);
  EXPECT_EQ(sink.keys.size(), 4);
  const std::string aside = content_of(exporter::set_aside_path(folder, "central", "event"));
  EXPECT_EQ(std::count(aside.begin(), aside.end(), '\n'), 1);
  EXPECT_NE(aside.find(R"("reason":"I do not take \"2\"")"), std::string::npos) << aside;
  EXPECT_NE(aside.find(R"("message":"event 2")"), std::string::npos) << aside;
  const auto state = exporter::load_state(folder, appliance, "central", "event");
  ASSERT_TRUE(state);
  EXPECT_EQ(state->refused, 1);
  EXPECT_EQ(state->sent, 3);
}

TEST_F(ExportCourse, DoesNotPassARefusedEntryThatCannotBeSetAside) {
  add_events(2);
  FakeSink sink;
  sink.answer = [](const exporter::Batch& batch) {
    return Outcome{.acknowledged = batch.records.size(), .refused = {{0, "not that one"}}};
  };
  const std::string aside = exporter::set_aside_path(folder, "central", "event");
  std::filesystem::create_directory(aside);
  try {
    run(sink);
    FAIL() << "it went on";
  } catch (const exporter::StateFailure& failure) {
    EXPECT_NE(std::string(failure.what()).find("cannot set refused entries aside in " + aside), std::string::npos)
        << failure.what();
  }
  std::filesystem::remove(aside);
  EXPECT_EQ(sent_now(), (Keys{"event/1/1", "event/1/2"}));
}

TEST_F(ExportCourse, HoldsNoLockWhileTheSinkWorks) {
  add_events(3);
  FakeSink sink;
  int written = 0;
  sink.meanwhile = [&written] {
    // Fails if anyone reads the log at this moment.
    sql(kEventLog, "BEGIN EXCLUSIVE; COMMIT");
    ++written;
  };
  run(sink, 1);
  EXPECT_EQ(written, 3);
}

TEST_F(ExportCourse, DoesNotReadOnBeforeTheSinkHasAcknowledged) {
  add_events(3);
  FakeSink sink;
  std::size_t most = 0;
  sink.answer = [&most](const exporter::Batch& batch) {
    most = std::max(most, batch.records.size());
    return Outcome{};
  };
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(run(sink, 2).step, Step::kTrouble);
  }
  EXPECT_EQ(most, 2);
  EXPECT_TRUE(sink.keys.empty());
}

TEST_F(ExportCourse, KeepsThePositionWhereItWasIfItCannotBeSaved) {
  add_events(2);
  FakeSink sink;
  std::filesystem::create_directory(exporter::state_path(folder, "central", "event") + ".new");
  EXPECT_THROW(run(sink), exporter::StateFailure);
  EXPECT_EQ(sink.keys.size(), 2);
  std::filesystem::remove(exporter::state_path(folder, "central", "event") + ".new");
  EXPECT_EQ(sent_now().size(), 2);
}

TEST_F(ExportCourse, WaitsForALogThatIsNotThereAndCreatesNone) {
  std::filesystem::remove(kEventLog);
  EXPECT_EQ(sent_now(), Keys());
  EXPECT_FALSE(exists(kEventLog));
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  add_event("now");
  EXPECT_EQ(sent_now(), Keys{"event/1/1"});
}

TEST_F(ExportCourse, SaysThatADamagedLogCannotBeRead) {
  write_file(kEventLog, std::string(8192, 'x'));
  FakeSink sink;
  try {
    run(sink);
    FAIL() << "it read the log";
  } catch (const exporter::ReadTrouble& trouble) {
    EXPECT_NE(std::string(trouble.what()).find("annalctl check"), std::string::npos) << trouble.what();
  }
}

TEST_F(ExportCourse, NoticesTwoChangesWithinOneTickOfTheClock) {
  FakeSink sink;
  const std::string name = "central";
  const LogCourse::Owner owner{
      .folder = folder, .appliance = appliance, .sink = name, .batch = 1000, .saves_at_close = false};
  LogCourse course(owner, log);
  for (int i = 1; i <= 30; ++i) {
    add_event("one");
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (sink.keys.size() < static_cast<std::size_t>(i) && std::chrono::steady_clock::now() < limit) {
      static_cast<void>(course.advance(sink, stop, page));
    }
    ASSERT_EQ(sink.keys.size(), i);
  }
}

TEST_F(ExportCourse, SendsTextsThatAreNoUnicodeWithReplacements) {
  sql(kEventLog,
      "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_desc) VALUES (1, 'someday', NULL, "
      "CAST(x'41FF42EDA0804300' AS TEXT))");
  FakeSink sink;
  sink.answer = [](const exporter::Batch& batch) {
    const exporter::Record& record = batch.records.front();
    EXPECT_EQ(record.date, "1970-01-01");
    EXPECT_EQ(record.time, "00:00:00");
    EXPECT_EQ(record.level, "warning");
    EXPECT_EQ(record.severity, 4);
    EXPECT_EQ(record.fields[0].name, "event_id");
    return Outcome{.acknowledged = batch.records.size()};
  };
  run(sink);
  ASSERT_EQ(sink.texts.size(), 1);
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(sink.texts.front(), "A" + replaced + "B" + replaced + replaced + replaced + "C" + replaced);
}

}  // namespace
}  // namespace annal::test
