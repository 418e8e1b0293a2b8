// The library can store and read in every file that check calls sound, whatever happened to the file.
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/tools/damage.h"
#include "tests/tools/whole_size.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/rescue/inspection.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using damage::contents_of;
using damage::put;

constexpr std::size_t kPage = 2048;

int count_row(void* rows, int /*columns*/, char** /*values*/, char** /*names*/) {
  ++*static_cast<int*>(rows);
  return 0;
}

struct Kind {
  const char* name;
  const annalctl::Log& log;
  std::function<int()> create;
  std::function<bool()> add;
  std::function<int(int*)> list;
};

const std::vector<Kind>& kinds() {
  static const std::vector<Kind> all{
      {"event", annalctl::event::kLog, [] { return annal_event_create_tbl(500, 7); },
       [] {
         EventRecord record{};
         return annal_event_add_msgid_ex3(&record) == ANNAL_OK;
       },
       [](int* rows) { return annal_event_query(count_row, 0, 0, 1000, 0, rows); }},
      {"conn", annalctl::conn::kLog, [] { return annal_conn_create_tbl(500, 7); },
       [] {
         ConnRecord record{};
         int inserted = 0;
         return annal_conn_add2(&record) == ANNAL_OK && annal_conn_add_entries2(&record, 1, &inserted) == ANNAL_OK &&
                inserted == 1;
       },
       [](int* rows) { return annal_conn_query(annalctl::conn::kLog.path, count_row, 0, 0, 1000, 0, rows); }},
      {"notice", annalctl::notice::kLog, [] { return annal_notice_create_tbl(500, 7); },
       [] {
         NoticeRecord record{};
         return annal_notice_add(&record) == ANNAL_OK;
       },
       [](int* rows) { return annal_notice_query(count_row, 0, 0, 1000, 0, rows); }},
      {"fileop", annalctl::fileop::kLog,
       [] {
         annalctl::fileop::use_file("/etc/logs/operations.db");
         return pavo2log_event_create_tbl(annalctl::fileop::kLog.path, 500, 7);
       },
       [] {
         FileOpRecord record{};
         record.event_action = 1;
         return pavo2log_event_add(annalctl::fileop::kLog.path, &record) > 0;
       },
       [](int* rows) { return pavo2log_event_query(annalctl::fileop::kLog.path, count_row, 0, 0, 1000, 0, rows); }},
  };
  return all;
}

class AnnalctlCheckPromise : public annal::test::ApplianceTest, public testing::WithParamInterface<std::size_t> {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(kind().create(), ANNAL_OK);
    std::string names;
    std::string values;
    for (const annalctl::Column& column : kind().log.columns.subspan(1)) {
      names += (names.empty() ? "" : ", ") + std::string(column.name);
      values +=
          (values.empty() ? "" : ", ") +
          std::string(column.integer ? "i % 7" : "CASE WHEN i % 19 = 0 THEN hex(zeroblob(1500)) ELSE 't' || i END");
    }
    sql(kind().log.path,
        std::string("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 40) INSERT INTO ") +
            kind().log.table + " (" + names + ") SELECT " + values + " FROM n;");
    good_ = contents_of(kind().log.path);
  }

  static const Kind& kind() { return kinds().at(GetParam()); }

  // Looks at a damaged log and, if it is called sound, uses it.
  void look_at(const std::string& content) {
    for (const char* beside : {"-journal", "-wal", "-shm"}) {
      fs::remove(kind().log.path + std::string(beside));
    }
    put(kind().log.path, content);
    ++looks_;
    const annalctl::Inspection inspection = annalctl::inspect(kind().log);
    if (!inspection.sound()) {
      return;
    }
    ++sound_;
    const bool added = kind().add();
    int rows = 0;
    const int listed = kind().list(&rows);
    EXPECT_TRUE(added);
    EXPECT_EQ(listed, ANNAL_OK);
    EXPECT_GT(rows, inspection.entries);
  }

  void report() const {
    RecordProperty("looks", looks_);
    RecordProperty("sound", sound_);
    std::printf("%s: %d looks, %d sound\n", kind().name, looks_, sound_);
  }

  void flip(std::size_t bit) {
    SCOPED_TRACE("byte " + std::to_string(bit / 8) + ", bit " + std::to_string(bit % 8));
    std::string content = good_;
    content[bit / 8] = static_cast<char>(static_cast<unsigned char>(content[bit / 8]) ^ (1U << (bit % 8)));
    look_at(content);
  }

  std::size_t random(std::size_t below) { return std::uniform_int_distribution<std::size_t>(0, below - 1)(random_); }

  std::string good_;
  std::mt19937 random_{1};  // NOLINT(cert-msc51-cpp): the same damages at every run
  int looks_ = 0;
  int sound_ = 0;
};

}  // namespace

TEST_P(AnnalctlCheckPromise, HoldsForFlippedBitsOfTheHeader) {
  constexpr std::size_t kHeader = 100;
  for (std::size_t bit = 0; bit < (at_whole_size() ? kPage : kHeader) * 8; bit += 1) {
    flip(bit);
  }
  report();
}

TEST_P(AnnalctlCheckPromise, HoldsForFlippedBitsAnywhere) {
  for (int i = 0; i < (at_whole_size() ? 1000 : 150); ++i) {
    flip(random(good_.size() * 8));
  }
  report();
}

// Its text begins on the first page and says nothing of itself: a letter is as good as another.
TEST_P(AnnalctlCheckPromise, HoldsForChangedLettersOfTheSchema) {
  constexpr std::string_view kLetters = "aQ0 _'(%,;";
  std::vector<std::size_t> places;
  for (std::size_t i = 100; i < good_.size(); ++i) {
    if (good_.compare(i, 7, "CREATE ") == 0) {
      for (std::size_t j = i; j < std::min(good_.size(), i + 400); ++j) {
        places.push_back(j);
      }
    }
  }
  ASSERT_GT(places.size(), 1000U);
  for (int i = 0; i < (at_whole_size() ? 2000 : 150); ++i) {
    const std::size_t place = places[random(places.size())];
    std::string content = good_;
    content[place] = kLetters[random(kLetters.size())];
    SCOPED_TRACE("byte " + std::to_string(place) + " is " + content[place]);
    look_at(content);
  }
  report();
}

TEST_P(AnnalctlCheckPromise, HoldsForPagesInDisorder) {
  const std::size_t pages = good_.size() / kPage;
  for (int i = 0; i < (at_whole_size() ? 500 : 100); ++i) {
    std::string content = good_;
    const std::size_t one = random(pages) * kPage;
    const std::size_t other = random(pages) * kPage;
    const int what = static_cast<int>(random(7));
    SCOPED_TRACE("page " + std::to_string(one / kPage) + ", " + std::to_string(other / kPage) + ", damage " +
                 std::to_string(what));
    switch (what) {
      case 0:
        content.replace(one, kPage, good_, other, kPage);
        break;
      case 1:
        content.replace(one, kPage, good_, other, kPage).replace(other, kPage, good_, one, kPage);
        break;
      case 2:
        content.replace(one, kPage, kPage, '\0');
        break;
      case 3:
        content.resize(one + random(kPage));
        break;
      case 4:  // the head of a page, with the places of what is on it
        for (std::size_t j = 0; j < 4; ++j) {
          content[one + random(40)] = static_cast<char>(random(256));
        }
        break;
      case 5:
        for (std::size_t j = 0; j < 16; ++j) {
          content[one + random(kPage)] = static_cast<char>(random(256));
        }
        break;
      default: {
        const std::size_t from = one + random(kPage / 2);
        content.replace(from, 64, good_, other + random(kPage / 2), 64);
      }
    }
    look_at(content);
  }
  report();
}

INSTANTIATE_TEST_SUITE_P(OfEachLog, AnnalctlCheckPromise, testing::Range(std::size_t{0}, std::size_t{4}),
                         [](const auto& chosen) { return std::string(kinds().at(chosen.param).name); });
