// Plants edits, deletions, insertions, reorderings, truncations and roll-backs in sealed logs, each alone, and demands
// that exactly this is found. The seed is fixed; ANNAL_PROOF=whole plants a thousand.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <set>
#include <string_view>

#include "tests/proof/sealed_log.h"

namespace annalctl::proof {

namespace {

constexpr int kEntries = 240;
constexpr unsigned kSeed = 20261122;

int number_of_plants() {
  const char* const how = std::getenv("ANNAL_PROOF");
  return how != nullptr && std::string_view(how) == "whole" ? 1000 : 120;
}

using Random = std::mt19937;

int between(Random& random, int least, int most) {
  return std::uniform_int_distribution(least, most)(random);
}

// What a plant has to be found as.
struct Expected {
  State state;
  std::set<std::int64_t> ids;  // none: a finding about no entry
};

struct Plant {
  const char* name;
  Expected (*plant)(SealedLog& log, Random& random);
};

// The texts of an entry's columns, which differ for each log.
Expected edit(SealedLog& log, Random& random) {
  const std::int64_t id = log.some_id(between(random, 0, kEntries));
  std::vector<const Column*> columns;
  for (const Column& column : log.log().columns) {
    if (std::string_view(column.name) != log.log().id) {
      columns.push_back(&column);
    }
  }
  const Column& column =
      *columns.at(static_cast<std::size_t>(between(random, 0, static_cast<int>(columns.size()) - 1)));
  log.run(fmt::format("UPDATE {} SET \"{}\" = {} WHERE rowid = {}", log.log().table, column.name,
                      column.integer ? "1234567" : "'something else'", id));
  return {State::kChanged, {id}};
}

Expected delete_some(SealedLog& log, Random& random) {
  const std::vector<std::int64_t> ids = log.ids();
  // Neither the oldest, of which nobody can tell, nor the newest, which is a truncation.
  const int count = between(random, 1, 5);
  const int first = between(random, 1, static_cast<int>(ids.size()) - count - 2);
  Expected expected{State::kDeleted, {}};
  for (int i = first; i < first + count; ++i) {
    expected.ids.insert(ids.at(static_cast<std::size_t>(i)));
  }
  log.run(fmt::format("DELETE FROM {} WHERE rowid BETWEEN {} AND {}", log.log().table, *expected.ids.begin(),
                      *expected.ids.rbegin()));
  return expected;
}

Expected delete_oldest(SealedLog& log, Random& random) {
  const std::vector<std::int64_t> ids = log.ids();
  const int count = between(random, 1, 20);
  Expected expected{State::kUndecided, {ids.begin(), ids.begin() + count}};
  log.run(fmt::format("DELETE FROM {} WHERE rowid <= {}", log.log().table, *expected.ids.rbegin()));
  return expected;
}

Expected insert(SealedLog& log, Random& random) {
  // Ids that were given and whose entries were gone before the log was sealed.
  const std::vector<std::int64_t> free = log.free_ids();
  const std::int64_t id = free.at(static_cast<std::size_t>(between(random, 0, static_cast<int>(free.size()) - 1)));
  log.add(id, "it was planted");
  return {State::kInserted, {id}};
}

Expected reorder(SealedLog& log, Random& random) {
  const std::int64_t one = log.some_id(between(random, 0, kEntries));
  std::int64_t other = one;
  while (other == one) {
    other = log.some_id(between(random, 0, kEntries));
  }
  const std::string update = fmt::format("UPDATE {} SET rowid =", log.log().table);
  log.run(
      fmt::format("{0} -1 WHERE rowid = {1}; {0} {1} WHERE rowid = {2}; {0} {2} WHERE rowid = -1", update, one, other));
  return {State::kMoved, {one, other}};
}

Expected give_another_id(SealedLog& log, Random& random) {
  const std::vector<std::int64_t> free = log.free_ids();
  const std::int64_t to = free.at(static_cast<std::size_t>(between(random, 0, static_cast<int>(free.size()) - 1)));
  log.run(fmt::format("UPDATE {} SET rowid = {} WHERE rowid = {}", log.log().table, to,
                      log.some_id(between(random, 1, kEntries - 10))));
  return {State::kMoved, {to}};
}

Expected truncate(SealedLog& log, Random& random) {
  const std::vector<std::int64_t> ids = log.ids();
  const int count = between(random, 1, 30);
  Expected expected{State::kTruncated, {ids.end() - count, ids.end()}};
  log.run(fmt::format("DELETE FROM {} WHERE rowid >= {}", log.log().table, *expected.ids.begin()));
  return expected;
}

Expected roll_back_both(SealedLog& log, Random& random) {
  log.roll_back(between(random, 0, 1));
  return {State::kRolledBack, {}};
}

Expected edit_chain(SealedLog& log, Random& random) {
  // A commitment, its id, its time or its kind.
  log.change_chain(static_cast<std::size_t>(between(random, 0, kEntries / 2)),
                   static_cast<std::size_t>(between(random, 1, static_cast<int>(kLinkedSize) - 1)));
  return {State::kRewritten, {}};
}

Expected cut_chain(SealedLog& log, Random& random) {
  log.cut_chain(static_cast<std::uintmax_t>(between(random, 1, 2000)));
  return {State::kCut, {}};
}

constexpr std::array kPlants{
    Plant{"edit", edit},
    Plant{"deletion", delete_some},
    Plant{"insertion", insert},
    Plant{"reordering", reorder},
    Plant{"truncation", truncate},
    Plant{"roll-back", roll_back_both},
    Plant{"other id", give_another_id},
    Plant{"deletion of the oldest", delete_oldest},
    Plant{"edit of the chain", edit_chain},
    Plant{"cut of the chain", cut_chain},
};

// The ids of what was found in a state.
std::set<std::int64_t> found_ids(const Report& report, State state) {
  std::set<std::int64_t> ids;
  for (const Finding& finding : report.findings) {
    if (finding.state == state) {
      for (std::int64_t id = finding.from; finding.from > 0 && id <= finding.through; ++id) {
        ids.insert(id);
      }
    }
  }
  return ids;
}

std::string text_of(const Report& report) {
  std::string text;
  for (const Finding& finding : report.findings) {
    text += fmt::format("{} {}-{}: {}\n", name_of(finding.state), finding.from, finding.through, finding.text);
  }
  return text;
}

class Planted : public SealedLogTest {};

TEST_F(Planted, IsFoundEachAndNothingElseIs) {
  Random random(kSeed);  // NOLINT(cert-msc51-cpp): the same in every run
  std::vector<std::unique_ptr<SealedLog>> logs;
  for (const LogKind& kind : kLogKinds) {
    logs.push_back(std::make_unique<SealedLog>(kind, keys(), kEntries));
  }
  const int plants = number_of_plants();
  for (int number = 0; number < plants; ++number) {
    SealedLog& log = *logs.at(static_cast<std::size_t>(number) % logs.size());
    const Plant& plant = kPlants.at(static_cast<std::size_t>(number) / logs.size() % kPlants.size());
    SCOPED_TRACE(fmt::format("plant {}: {} in the {} log", number, plant.name, log.log().name));
    log.restore();
    ASSERT_TRUE(log.verify().clean()) << text_of(log.verify());
    const Expected expected = plant.plant(log, random);
    const Report report = log.verify();
    EXPECT_FALSE(report.clean());
    ASSERT_TRUE(has(report, expected.state)) << text_of(report);
    // Free ids stand between those of a run that was deleted.
    std::set<std::int64_t> ids = found_ids(report, expected.state);
    for (const std::int64_t free : log.free_ids()) {
      if (!expected.ids.contains(free)) {
        ids.erase(free);
      }
    }
    EXPECT_EQ(ids, expected.ids) << text_of(report);
    const bool of_the_log = !expected.ids.empty();
    for (const Finding& finding : report.findings) {
      EXPECT_TRUE(is_remark(finding.state) || finding.state == expected.state || !of_the_log) << text_of(report);
    }
  }
}

TEST_F(Planted, IsNotFoundInWhatALogDoesByItself) {
  for (const LogKind& kind : kLogKinds) {
    SealedLog log(kind, keys(), kEntries);
    SCOPED_TRACE(log.log().name);
    Random random(kSeed);  // NOLINT(cert-msc51-cpp): the same in every run
    log.set_limit(kEntries);
    for (int round = 0; round < 20; ++round) {
      const int added = between(random, 0, 60);
      for (int i = 0; i < added; ++i) {
        log.add({}, fmt::format("round {}", round));
      }
      ASSERT_TRUE(log.verify().clean()) << text_of(log.verify());
      if (between(random, 0, 1) == 0) {
        log.seal();
        ASSERT_TRUE(log.verify().clean()) << text_of(log.verify());
      }
    }
  }
}

}  // namespace

}  // namespace annalctl::proof
