// What a sink is handed of the chain beside a log: redactions and heads.
#include "tools/export/chain_news.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/export/course_test.h"
#include "tests/support/log_file.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/proof/redaction.h"
#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/proof/verify.h"
#include "tools/export/sealing.h"

namespace annal::test {
namespace {

namespace proof = annalctl::proof;

constexpr char kChain[] = "/etc/logs/event.log.chain";
constexpr std::chrono::seconds kAlways{0};

class ExportChain : public ExportCourse {
 protected:
  void SetUp() override {
    ExportCourse::SetUp();
    keys.emplace(proof::load_or_create_keys(folder + "/seal.key"));
  }

  void seal() const {
    static_cast<void>(proof::seal(annalctl::event::kLog, *keys, {}, [](std::int64_t, std::uint64_t) {}));
  }
  void redact(const std::string& condition) const {
    constexpr std::array kPersonal{"event_user", "event_desc"};
    annalctl::Query query;
    query.id = "event_id";
    query.conditions.push_back({condition, {}});
    proof::Redacted done;
    proof::redact(annalctl::event::kLog, query, {.personal = kPersonal}, &*keys, done, [] {});
  }

  // What a run hands over, without the heads.
  Keys redactions_now() {
    Keys keys_now = sent_now();
    std::erase_if(keys_now, [](const std::string& key) { return key.find("/head/") != std::string::npos; });
    return keys_now;
  }

  std::optional<proof::KeyRing> keys;
};

TEST_F(ExportChain, PassesARedactionOnOnceWithTheEntryAsItIsNow) {
  add_events(5);
  seal();
  EXPECT_EQ(redactions_now().size(), 5);
  redact("event_id IN (2, 4)");
  FakeSink sink;
  run(sink);
  ASSERT_EQ(sink.keys.size(), 3) << testing::PrintToString(sink.keys);
  EXPECT_EQ(sink.keys[0], "event/1/redaction/2");
  EXPECT_EQ(sink.keys[1], "event/1/redaction/4");
  EXPECT_EQ(sink.texts[0], "[redacted]");
  EXPECT_EQ(redactions_now(), Keys());
  add_event("one more");
  EXPECT_EQ(redactions_now(), Keys{"event/1/6"});
}

TEST_F(ExportChain, PassesARedactionOnAgainUntilItIsAcknowledged) {
  add_events(5);
  seal();
  EXPECT_EQ(redactions_now().size(), 5);
  redact("event_id IN (1, 2, 3)");
  FakeSink sink;
  sink.answer = [](const exporter::Batch&) { return Outcome{.acknowledged = 1}; };
  EXPECT_EQ(run(sink).step, Step::kTrouble);
  EXPECT_EQ(redactions_now(), (Keys{"event/1/redaction/2", "event/1/redaction/3"}));
  EXPECT_EQ(redactions_now(), Keys());
}

TEST_F(ExportChain, PassesManyRedactionsOn) {
  add_events(600);
  seal();
  EXPECT_EQ(redactions_now().size(), 600);
  redact("1");
  const Keys sent = redactions_now();
  ASSERT_EQ(sent.size(), 600);
  EXPECT_EQ(sent.back(), "event/1/redaction/600");
  EXPECT_EQ(redactions_now(), Keys());
}

// What the process has read from files and the like.
std::int64_t bytes_read() {
  const std::string counts = content_of("/proc/self/io");
  return std::stoll(counts.substr(counts.find("rchar: ") + std::string("rchar: ").size()));
}

TEST_F(ExportChain, LooksThroughTheChainOnceForManyRedactionsOfEntriesThatAreGone) {
  constexpr int kEntries = 5000;
  sql(kEventLog, "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                     std::to_string(kEntries) +
                     ") INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc) SELECT 1, "
                     "'2026-11-21', time(i, 'unixepoch'), 'ann', 'was here' FROM n");
  seal();
  EXPECT_EQ(redactions_now().size(), kEntries);
  redact("1");
  sql(kEventLog, "DELETE FROM ANNAL_EVENT");
  const auto chain_size = static_cast<std::int64_t>(std::filesystem::file_size(kChain));
  std::vector<std::string> times;
  FakeSink sink;
  sink.answer = [&times](const exporter::Batch& batch) {
    for (const exporter::Record& record : batch.records) {
      if (record.kind == exporter::Kind::kRedaction) {
        times.emplace_back(record.time);
      }
    }
    return Outcome{.acknowledged = batch.records.size()};
  };
  const std::int64_t before = bytes_read();
  run(sink);
  // A page reads ahead of its tombstones. A look through the chain for each of the 20 pages would be 20 times its size.
  EXPECT_LT(bytes_read() - before, 10 * chain_size);
  ASSERT_EQ(times.size(), kEntries);
  EXPECT_EQ(times.front(), "00:00:01");
  EXPECT_EQ(times.back(), "01:23:20");
}

TEST_F(ExportChain, NamesTheFileInTheHeadOfALogOfWhichThereMayBeSeveral) {
  constexpr char kOperations[] = "/etc/logs/operations.db";
  ASSERT_EQ(pavo2log_event_create_tbl(kOperations, 0, 0), ANNAL_OK);
  sql(kOperations,
      "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_filepath) VALUES (0, "
      "'2026-11-21', '10:00:00', '/share/file')");
  exporter::Sealing at_once(kAlways, proof::load_keys(folder + "/seal.key"));
  const exporter::SourceLog operations{&exporter::log_shapes().back(), kOperations};
  const std::string name = "central";
  const LogCourse::Owner owner{.folder = folder,
                               .appliance = appliance,
                               .sink = name,
                               .batch = 1000,
                               .saves_at_close = false,
                               .sealing = &at_once};
  std::vector<std::string> files;
  FakeSink sink;
  sink.answer = [&files](const exporter::Batch& batch) {
    for (const exporter::Record& record : batch.records) {
      if (record.kind == exporter::Kind::kHead) {
        files.push_back(proof::heads_in(std::string(record.head) + "\n").front().file);
      }
    }
    return Outcome{.acknowledged = batch.records.size()};
  };
  LogCourse course(owner, operations);
  while (course.advance(sink, stop, page).step == Step::kProgress) {
  }
  EXPECT_EQ(files, std::vector<std::string>{kOperations});
}

// The receiver may have stored the entry, and the connection was cut before it said so.
TEST_F(ExportChain, SendsARedactionAfterItsEntryEvenIfThatIsBlankByThen) {
  add_events(3);
  seal();
  FakeSink sink;
  sink.answer = [](const exporter::Batch& batch) {
    return Outcome{.acknowledged = batch.records.front().kind == exporter::Kind::kHead ? 1U : 0U};
  };
  EXPECT_EQ(run(sink).step, Step::kTrouble);
  redact("event_id = 2");
  EXPECT_EQ(redactions_now(), (Keys{"event/1/1", "event/1/2", "event/1/3", "event/1/redaction/2"}));
}

TEST_F(ExportChain, SendsARedactionWithoutContentOfAnEntryThatIsGone) {
  add_events(3);
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_date = '2026-11-21', event_time = '23:59:58'");
  seal();
  EXPECT_EQ(redactions_now().size(), 3);
  redact("event_id = 2");
  sql(kEventLog, "DELETE FROM ANNAL_EVENT WHERE event_id = 2");
  FakeSink sink;
  bool seen = false;
  sink.answer = [&seen](const exporter::Batch& batch) {
    for (const exporter::Record& record : batch.records) {
      if (record.kind == exporter::Kind::kRedaction) {
        seen = true;
        EXPECT_EQ(record.id, 2);
        EXPECT_EQ(record.date, "2026-11-21");
        EXPECT_EQ(record.time, "23:59:58");
        EXPECT_TRUE(record.fields.empty());
        EXPECT_TRUE(record.message.empty());
      }
    }
    return Outcome{.acknowledged = batch.records.size()};
  };
  run(sink);
  EXPECT_TRUE(seen);
}

TEST_F(ExportChain, LeavesAnEntryAloneWhoseRedactionWasCutOff) {
  add_events(3);
  seal();
  EXPECT_EQ(redactions_now().size(), 3);
  {
    proof::ChainFile chain = proof::open_own_chain(annalctl::event::kLog, *keys);
    chain.append({.kind = proof::Kind::kRedaction, .id = 2});
    chain.commit(keys->key, chain.head().last_id, 1795255200);
  }
  EXPECT_EQ(redactions_now(), Keys());
  redact("event_id = 3");
  EXPECT_EQ(redactions_now(), Keys{"event/1/redaction/3"});
}

TEST_F(ExportChain, PassesTheLastRedactionsOfALogOnThatWasCreatedAgainAndNoneOfThemToTheNewOne) {
  add_events(3);
  seal();
  EXPECT_EQ(redactions_now().size(), 3);
  redact("event_id = 2");
  create_again();
  add_event("another");
  EXPECT_EQ(redactions_now(), (Keys{"event/1/redaction/2", "event/2/1"}));
  add_events(5);
  EXPECT_EQ(redactions_now().size(), 5);
  std::filesystem::remove(kChain);
  seal();
  redact("event_id = 4");
  EXPECT_EQ(redactions_now(), Keys{"event/2/redaction/4"});
}

TEST_F(ExportChain, DoesNotWaitForAProgramThatHoldsTheChain) {
  add_events(3);
  seal();
  EXPECT_EQ(redactions_now().size(), 3);
  redact("event_id = 2");
  add_event("one more");
  FakeSink sink;
  const auto begun = std::chrono::steady_clock::now();
  {
    const auto held = proof::ChainFile::open(kChain, proof::Access::kWrite);
    run(sink);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
  EXPECT_EQ(sink.keys, Keys{"event/1/4"});
  EXPECT_EQ(redactions_now(), Keys{"event/1/redaction/2"});
}

TEST_F(ExportChain, SendsTheEntriesOfALogWithADamagedChain) {
  add_events(3);
  seal();
  write_file(kChain, "nothing of the kind");
  EXPECT_EQ(sent_now(), (Keys{"event/1/1", "event/1/2", "event/1/3"}));
}

TEST_F(ExportChain, SendsEachHeadOnceAndItVerifies) {
  add_events(3);
  seal();
  std::string lines;
  FakeSink sink;
  sink.answer = [&lines](const exporter::Batch& batch) {
    for (const exporter::Record& record : batch.records) {
      if (record.kind == exporter::Kind::kHead) {
        lines += std::string(record.head) + "\n";
        EXPECT_EQ(key_of(batch.stream, record), std::string(kAppliance) + "/event/1/head/" + std::string(record.chain) +
                                                    "/" + std::to_string(record.id));
      }
    }
    return Outcome{.acknowledged = batch.records.size()};
  };
  run(sink);
  run(sink);
  add_event("one more");
  run(sink);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
  seal();
  run(sink);
  const std::vector<proof::Head> heads = proof::heads_in(lines);
  ASSERT_EQ(heads.size(), 2);
  EXPECT_EQ(heads.back().last_id, 4);
  const auto report = [&] {
    return proof::verify(annalctl::event::kLog, {keys->trusted, heads}, [](std::int64_t, std::uint64_t) {})
        .value()
        .report;
  };
  EXPECT_TRUE(report().clean());
  // Whoever has the key cannot write another chain that goes with them.
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_desc = 'nothing' WHERE event_id = 2");
  std::filesystem::remove(kChain);
  seal();
  EXPECT_FALSE(report().clean());
}

TEST_F(ExportChain, SealsBeforeItReadsIfItMay) {
  const auto sealed_and_sent_now = [this] {
    exporter::Sealing at_once(kAlways, proof::load_keys(folder + "/seal.key"));
    sealing = &at_once;
    return sent_now();
  };
  add_events(3);
  const Keys first = sealed_and_sent_now();
  EXPECT_EQ(first.size(), 4) << testing::PrintToString(first);
  add_events(2);
  EXPECT_EQ(sealed_and_sent_now().size(), 3);
  EXPECT_EQ(sealed_and_sent_now(), Keys());
  EXPECT_EQ(proof::ChainFile::open(kChain, proof::Access::kRead)->head().last_id, 5);
}

TEST_F(ExportChain, SealsNoLogThatIsNotThere) {
  exporter::Sealing always(kAlways, proof::load_keys(folder + "/seal.key"));
  sealing = &always;
  std::filesystem::remove(kEventLog);
  EXPECT_EQ(sent_now(), Keys());
  EXPECT_FALSE(std::filesystem::exists(kChain));
}

TEST_F(ExportChain, SendsTheEntriesOfALogThatCannotBeSealed) {
  exporter::Sealing always(kAlways, proof::load_keys(folder + "/seal.key"));
  sealing = &always;
  std::filesystem::create_directory(kChain);
  add_events(3);
  EXPECT_EQ(sent_now().size(), 3);
}

}  // namespace
}  // namespace annal::test
