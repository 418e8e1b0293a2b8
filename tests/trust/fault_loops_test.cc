// Fails each allocation and each disk operation of every exported function, one at a time and from one on. The function
// must return a documented code and leave what that code says.
#include <algorithm>
#include <iterator>

#include "Corix_annal.h"
#include "tests/trust/harness/faulty_memory.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

class EveryFunction : public TrustTest, public testing::WithParamInterface<Scenario> {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    path_ = path_of(scenario().log);
    set_up(scenario().log, scenario().start);
    image_ = Image::of(path_);
    expected_.before = content_of(path_);
    // First a warm-up for libc and SQLite, then the reference run for the rest of the walk.
    for (int i = 0; i < 2; ++i) {
      image_.put_back(path_);
      expected_.output.clear();
      ASSERT_EQ(scenario().call(expected_.output), scenario().success);
    }
    expected_.after = content_of(path_);
  }

  static const Scenario& scenario() { return GetParam(); }

  // Restores the log, calls the function with the caller's armed fault, and disarms it.
  template <typename Arm>
  Outcome call_with(Arm arm) {
    image_.put_back(path_);
    SqliteTrace::reset();
    Outcome outcome{};
    arm();
    outcome.result = scenario().call(outcome.output);
    PlainMemory::watch(false);
    return outcome;
  }

  // Counts an operation in a call without faults.
  template <typename Seen>
  int count(Seen seen) {
    (void)call_with([&] { calm(); });
    PlainMemory::watch(false);
    return seen();
  }

  static void calm() {
    SqliteMemory::countdown().count_only();
    PlainMemory::countdown().count_only();
    PlainMemory::watch(true);
    Disk::count();
  }

  // Arms, calls and checks. struck returns the number of faults.
  template <typename Arm, typename Struck>
  void walk(const std::string& what, int nth, FaultDuration lasting, Arm arm, Struck struck,
            bool commit_may_stand = false) {
    const std::string place = name_of(scenario()) + ", " + what + " number " + std::to_string(nth) +
                              (lasting == FaultDuration::kOnce ? "" : " and all that follow");
    set_crash_note(place);
    SCOPED_TRACE(place);
    const Ledger ledger;
    Outcome outcome = call_with([&] {
      calm();
      arm();
    });
    const long waited = Disk::waited();
    outcome.faults = struck();
    SqliteMemory::countdown().count_only();
    PlainMemory::countdown().count_only();
    Disk::count();

    EXPECT_GT(outcome.faults, 0) << "a walk that meets no fault";
    ledger.expect_balance();
    EXPECT_LE(waited, static_cast<long>(scenario().waits) * scenario().wait_milliseconds)
        << "waits longer than it says";
    judge(outcome, commit_may_stand);
  }

 private:
  [[nodiscard]] static bool is_one_of(const std::vector<int>& codes, int code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
  }

  // The same for a failure after which the work may still have been committed.
  [[nodiscard]] bool is_described_as_done(Outcome outcome) const {
    std::vector<int> codes = scenario().failures;
    codes.insert(codes.end(), scenario().partial_failures.begin(), scenario().partial_failures.end());
    const bool failed = is_one_of(codes, outcome.result);
    codes.push_back(scenario().success);
    return failed && std::any_of(codes.begin(), codes.end(), [&](int code) {
             outcome.result = code;
             return is_described(scenario(), outcome, expected_);
           });
  }

  void judge(Outcome& outcome, bool commit_may_stand) {
    if (image_.is_at(path_)) {
      outcome.found = expected_.before;
    } else {
      try {
        outcome.found = content_of(path_);
      } catch (const std::exception& problem) {
        FAIL() << "answered " << outcome.result << " and left a file that is not sound: " << problem.what();
      }
    }
    EXPECT_TRUE(is_described(scenario(), outcome, expected_) || (commit_may_stand && is_described_as_done(outcome)))
        << "answered " << outcome.result << " with \"" << outcome.output << "\", and left\n"
        << text_of(outcome.found) << "where it found\n"
        << text_of(expected_.before) << "and would leave\n"
        << text_of(expected_.after);
  }

  const char* path_ = nullptr;
  Image image_;
  Expectation expected_;
};

constexpr FaultDuration kLastings[] = {FaultDuration::kOnce, FaultDuration::kFromThenOn};

TEST_P(EveryFunction, SurvivesSqliteAllocationFailures) {
  constexpr int kFew = 60;
  const int all = count([] { return SqliteMemory::countdown().seen(); });
  for (const FaultDuration lasting : kLastings) {
    for (const int nth : positions(all, kFew, name_of(scenario()))) {
      walk(
          "allocation by SQLite", nth, lasting, [&] { SqliteMemory::countdown().arm(nth, lasting); },
          [] { return SqliteMemory::countdown().struck() > 0; });
    }
  }
}

TEST_P(EveryFunction, SurvivesMallocFailures) {
  if (!PlainMemory::interposed()) {
    GTEST_SKIP() << "the sanitizers bring a malloc of their own";
  }
  constexpr int kFew = 50;
  const int all = count([] { return PlainMemory::countdown().seen(); });
  for (const FaultDuration lasting : kLastings) {
    for (const int nth : positions(all, kFew, name_of(scenario()))) {
      walk(
          "allocation", nth, lasting, [&] { PlainMemory::countdown().arm(nth, lasting); },
          [] { return PlainMemory::countdown().struck() > 0; });
    }
  }
}

TEST_P(EveryFunction, SurvivesDiskFailures) {
  constexpr int kFew = 25;
  for (const DiskFault& fault : disk_faults()) {
    const int all = count([&] { return Disk::seen(fault.operation); });
    for (const FaultDuration lasting : kLastings) {
      for (const int nth : positions(all, kFew, name_of(scenario()) + fault.name)) {
        walk(
            fault.name, nth, lasting, [&] { Disk::fail(fault, nth, lasting); }, [] { return Disk::struck(); },
            fault.commit_may_stand);
      }
    }
  }
}

// In UTF-16, converting a name allocates memory after its row has been read.
class MigrationInUtf16 : public TrustTest {};

TEST_F(MigrationInUtf16, SurvivesSqliteAllocationFailures) {
  constexpr const char* kFile = "/etc/logs/paper.log";
  constexpr AnnalColumn kColumns[] = {{"id", nullptr}, {"title", "ALTER TABLE paper ADD COLUMN title TEXT;"}};
  sql(kFile, "PRAGMA encoding = 'UTF-16'; CREATE TABLE paper (id INTEGER); INSERT INTO paper VALUES (7);");
  const Image image = Image::of(kFile);
  const auto migrated = [&] {
    image.put_back(kFile);
    return annal_common_migrate_db(kFile, "paper", kColumns, std::size(kColumns));
  };
  ASSERT_EQ(migrated(), ANNAL_OK);
  const Content after = content_of(kFile);
  SqliteMemory::countdown().count_only();
  ASSERT_EQ(migrated(), ANNAL_OK);
  const int all = SqliteMemory::countdown().seen();
  for (int nth = 1; nth <= all; ++nth) {
    SCOPED_TRACE(nth);
    const Ledger ledger;
    SqliteMemory::countdown().arm(nth, FaultDuration::kOnce);
    const int result = migrated();
    SqliteMemory::countdown().count_only();
    ledger.expect_balance();
    if (result == ANNAL_OK) {
      EXPECT_EQ(content_of(kFile), after);
    } else {
      EXPECT_TRUE(result == ANNAL_OPEN_FAILED || result == ANNAL_CHANGE_FAILED) << result;
      EXPECT_TRUE(image.is_at(kFile));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Trust, EveryFunction, testing::ValuesIn(scenarios()),
                         [](const auto& scenario) { return name_of(scenario.param); });

}  // namespace
}  // namespace annal::test
