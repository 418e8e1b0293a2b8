// A seeded sample of damages to each log: salvage saves rows unchanged, or names them.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/row_pages.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"
#include "tests/tools/salvaged_ids.h"
#include "tests/tools/whole_size.h"

namespace {

namespace fs = std::filesystem;
using annal::test::ids_in;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::put;

constexpr std::size_t kPage = 2048;

struct Subject {
  const char* name;
  const char* path;
  const char* table;
  std::vector<std::string> command;
};

std::ostream& operator<<(std::ostream& out, const Subject& subject) {
  return out << subject.name;
}

using Rows = std::map<std::int64_t, std::vector<std::string>>;

class SalvageSampleTest : public AnnalctlTest, public testing::WithParamInterface<Subject> {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    ASSERT_EQ(run({"create", "--limit", "5000", "--batch", "7"}).status, 0);
    std::string names;
    std::string values;
    for (const auto& row : sql(log().path, std::string("PRAGMA table_info(") + log().table + ");")) {
      columns_.push_back(row.at(1));
      if (columns_.size() > 1) {
        names += (names.empty() ? "" : ", ") + row.at(1);
        values += (values.empty() ? "" : ", ") + (row.at(2) == "INTEGER"
                                                      ? std::string("i % 9")
                                                      : "'" + row.at(1) +
                                                            " ' || (i * 37 % 101) || "
                                                            "CASE WHEN i % 25 = 0 THEN hex(zeroblob(900)) ELSE '' END");
      }
    }
    sql(log().path, std::string("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 120) INSERT INTO ") +
                        log().table + " (" + names + ") SELECT " + values + " FROM n; DELETE FROM " + log().table +
                        " WHERE rowid BETWEEN 90 AND 93;");
    good_ = contents_of(log().path);
    rows_ = rows();
    ASSERT_EQ(rows_.size(), 116U);
    std::set<std::int64_t> ids;
    for (const auto& [id, values_of_row] : rows_) {
      ids.insert(id);
    }
    pages_ = annal::test::row_pages(sql(log().path, annal::test::row_pages_query(log().table)), ids);
    ASSERT_EQ(pages_.size(), rows_.size());
  }

  static const Subject& log() { return GetParam(); }

  static Finished run(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = log().command;
    all.insert(all.end(), arguments.begin(), arguments.end());
    return annalctl(all);
  }

  Rows rows() const {
    std::string select = "SELECT rowid";
    for (const std::string& column : columns_) {
      select += ", quote(" + column + ")";
    }
    Rows rows;
    for (auto& row : sql(log().path, select + " FROM " + log().table + ";")) {
      rows.emplace(std::stoll(row.at(0)), std::vector<std::string>(row.begin() + 1, row.end()));
    }
    return rows;
  }

  std::string damaged(std::mt19937& random) const {
    std::string file = good_;
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    const auto any = [&below] { return static_cast<char>(below(256)); };
    const std::size_t page = below(file.size() / kPage) * kPage;
    const std::size_t place = page + below(kPage - 200);
    switch (below(10)) {
      case 0:
        std::generate_n(file.begin() + static_cast<std::ptrdiff_t>(page), kPage, any);
        break;
      case 1:
        file.replace(page, kPage, file.substr(below(file.size() / kPage) * kPage, kPage));
        break;
      case 2:
        file.replace(place, 200, 4 + below(196), '\0');
        file.resize(good_.size());
        break;
      case 3:
        for (std::size_t i = 0; i < 12; ++i) {
          file[below(file.size())] = any();
        }
        break;
      case 4:
        file.resize(kPage + below(file.size() - kPage));
        break;
      case 5:
        file[59] = static_cast<char>(2 + below(2));  // the encoding
        break;
      case 6:
        file[20] = any();  // what is reserved
        break;
      case 7:
        file[16] = static_cast<char>(2U << below(6));  // the size of a page
        break;
      case 8:
        file[100 + below(kPage - 100)] = any();
        break;
      default:
        for (std::size_t i = 0; i < 3; ++i) {
          char& byte = file[below(file.size())];
          byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << below(8)));
        }
    }
    return file;
  }

  std::string with_a_flipped_bit(std::mt19937& random) const {
    std::string file = good_;
    const std::size_t bit = random() % (file.size() * 8);
    file[bit / 8] = static_cast<char>(static_cast<unsigned char>(file[bit / 8]) ^ (1U << (bit % 8)));
    return file;
  }

  using Damage = std::function<std::string(std::mt19937& random)>;

  // Salvages a number of damaged logs, and counts the results for their rows.
  void salvage(const Damage& damage, unsigned long logs) {
    const char* const wanted = std::getenv("ANNAL_TRUST_SEED");
    const unsigned long seed = wanted == nullptr ? 15 : std::stoul(wanted);
    for (unsigned long i = 0; i < logs; ++i) {
      SCOPED_TRACE("ANNAL_TRUST_SEED=" + std::to_string(seed) + ", damage " + std::to_string(i));
      std::mt19937 random(static_cast<std::mt19937::result_type>(seed * 10000 + i));
      fs::remove_all("/etc/logs");
      fs::create_directory("/etc/logs");
      const std::string file = damage(random);
      put(log().path, file);
      const Finished salvaged = run({"salvage", "--yes", "--force", "--json"});
      ++logs_;
      if (salvaged.status == 1) {
        ++refused_;
        EXPECT_TRUE(contents_of(log().path) == file);
        continue;
      }
      ASSERT_EQ(salvaged.status, 0) << salvaged.err;
      look_at(salvaged, file);
    }
    std::printf(
        "%s: %lu logs, %lu refused; rows as they were %lu, told to be in doubt %lu, unproven %lu; called good "
        "and wrong %lu; held by their pages and lost %lu\n",
        log().name, logs_, refused_, right_, told_, unproven_, wrong_, lost_);
  }

  void look_at(const Finished& salvaged, const std::string& file) {
    const auto told = nlohmann::json::parse(salvaged.out);
    const std::set<std::int64_t> doubtful = ids_in(told["doubtful_ids"]);
    const std::string unproven = columns_unproven(salvaged.err);
    const Rows saved = rows();
    std::size_t wrong = 0;
    for (const auto& [id, values] : saved) {
      const auto was = rows_.find(id);
      bool differs = was == rows_.end();
      bool shows = differs;
      for (std::size_t i = 0; i < columns_.size() && was != rows_.end(); ++i) {
        const bool other = was->second[i] != values[i];
        differs = differs || other;
        shows = shows || (other && unproven.find(" " + columns_[i] + ",") == std::string::npos);
      }
      right_ += differs ? 0 : 1;
      told_ += differs && doubtful.contains(id) ? 1 : 0;
      wrong += shows && !doubtful.contains(id) ? 1 : 0;
      unproven_ += differs && !doubtful.contains(id) ? 1 : 0;
    }
    // Of these rows it is only said how many they are.
    const auto uncompared = told["uncompared"].get<std::size_t>();
    EXPECT_LE(wrong, uncompared) << salvaged.out << salvaged.err;
    wrong_ += wrong - std::min(wrong, uncompared);
    for (const auto& [id, values] : rows_) {
      if (annal::test::is_intact(pages_.at(id), kPage, good_, file)) {
        const bool lost = !saved.contains(id);
        EXPECT_FALSE(lost) << id << salvaged.out << salvaged.err;
        EXPECT_TRUE(lost || doubtful.contains(id) || saved.at(id) == values) << id << salvaged.err;
        lost_ += lost ? 1 : 0;
      }
    }
  }

  static std::string columns_unproven(const std::string& said) {
    const std::size_t told = said.find("so damage to them may not show: ");
    return told == std::string::npos ? "" : " " + said.substr(told, said.find('\n', told) - told) + ",";
  }

  std::vector<std::string> columns_;
  std::string good_;
  Rows rows_;
  std::map<std::int64_t, std::set<std::size_t>> pages_;
  unsigned long logs_ = 0;
  unsigned long refused_ = 0;
  unsigned long right_ = 0;
  unsigned long told_ = 0;
  unsigned long unproven_ = 0;
  unsigned long wrong_ = 0;
  unsigned long lost_ = 0;
};

}  // namespace

TEST_P(SalvageSampleTest, NoRowThatDamageHasChangedIsCalledGoodAndNoneThatIsLeftIsLost) {
  salvage([this](std::mt19937& random) { return damaged(random); }, at_whole_size() ? 500 : 50);
}

TEST_P(SalvageSampleTest, NoRowThatABitHasChangedIsCalledGood) {
  salvage([this](std::mt19937& random) { return with_a_flipped_bit(random); }, at_whole_size() ? 1000 : 25);
}

INSTANTIATE_TEST_SUITE_P(
    Logs, SalvageSampleTest,
    testing::Values(Subject{"event", "/etc/logs/event.log", "ANNAL_EVENT", {"event"}},
                    Subject{"conn", "/etc/logs/conn.log", "ANNAL_CONN", {"conn"}},
                    Subject{"notice", "/etc/logs/notice.log", "ANNAL_NOTICE", {"notice"}},
                    Subject{
                        "fileop", "/etc/logs/files.db", "PAVO2LOG_EVENT", {"fileop", "--db", "/etc/logs/files.db"}}),
    testing::PrintToStringParamName());
