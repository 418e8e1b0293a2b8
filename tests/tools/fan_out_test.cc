// Trees whose pages each lead to the same next page hundreds of times: 70 KB with more paths than can ever be
// followed.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::put;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr std::size_t kPage = 2048;
constexpr int kDepth = 12;
constexpr char kInteriorTable = 0x05;
constexpr char kInteriorIndex = 0x02;

std::string number(std::uint64_t value, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = size; i > 0; --i, value >>= 8U) {
    bytes[i - 1] = static_cast<char>(value);
  }
  return bytes;
}

std::size_t two_bytes(const std::string& page, std::size_t place) {
  return static_cast<std::size_t>(static_cast<unsigned char>(page[place])) << 8U |
         static_cast<unsigned char>(page[place + 1]);
}

// An interior page that is full of cells, each of which leads to one page.
std::string full_page(char kind, std::size_t next, const std::string& behind_the_number) {
  constexpr std::size_t kHeader = 12;
  const std::string cell = number(next, 4) + behind_the_number;
  const std::size_t count = (kPage - kHeader) / (cell.size() + 2);
  std::string places;
  std::string cells;
  for (std::size_t i = 0; i < count; ++i) {
    cells.insert(0, cell);
    places += number(kPage - cells.size(), 2);
  }
  const std::string header =
      kind + number(0, 2) + number(count, 2) + number(kPage - cells.size(), 2) + number(0, 1) + number(next, 4);
  return header + places + std::string(kPage - header.size() - places.size() - cells.size(), '\0') + cells;
}

class AnnalctlFanOut : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    sql(kLog,
        "CREATE INDEX two ON ANNAL_EVENT(event_user, event_ip); "
        "INSERT INTO ANNAL_EVENT (event_type, event_user, event_desc) VALUES (1, 'a', 'one'), (2, 'b', 'two'), "
        "(3, 'c', 'three');");
  }

  // Puts a tree of full pages above the only page of a table or an index.
  static void put_tree_above(const std::string& name) {
    const std::size_t root =
        std::stoul(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = '" + name + "';")) - 1;
    std::string file = contents_of(kLog);
    const std::string leaf = file.substr(root * kPage, kPage);
    const bool table = leaf[0] == 0x0D;
    const std::size_t cell = two_bytes(leaf, 8);
    // A table's cell has the highest id below it, an index's what its own leaves have.
    const std::string behind =
        table ? std::string(1, '\3') : leaf.substr(cell, static_cast<unsigned char>(leaf[cell]) + std::size_t{1});
    file += leaf;
    for (int i = 0; i < kDepth; ++i) {
      file += full_page(table ? kInteriorTable : kInteriorIndex, file.size() / kPage, behind);
    }
    file.replace(root * kPage, kPage, full_page(table ? kInteriorTable : kInteriorIndex, file.size() / kPage, behind));
    file.replace(28, 4, number(file.size() / kPage, 4));
    put(kLog, file);
  }
};

}  // namespace

TEST_F(AnnalctlFanOut, EndsCheckAndSalvageWithAllRowsSaved) {
  const std::string good = contents_of(kLog);
  for (const char* const name : {"ANNAL_EVENT", "idx_event_type", "two"}) {
    SCOPED_TRACE(name);
    for (const auto& entry : fs::directory_iterator("/etc/logs")) {
      fs::remove(entry);
    }
    put(kLog, good);
    put_tree_above(name);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_DATA, &before), 0);
    rlimit limit = before;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    limit.rlim_cur = rlim_t{400} << 20U;
#endif
    ASSERT_EQ(setrlimit(RLIMIT_DATA, &limit), 0);
    const auto begun = std::chrono::steady_clock::now();
    const Finished checked = annalctl({"event", "check"});
    const Finished salvaged = annalctl({"event", "salvage", "--yes", "--json"});
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(60));
    ASSERT_EQ(setrlimit(RLIMIT_DATA, &before), 0);
    EXPECT_NE(checked.out.find("damaged"), std::string::npos) << checked.out;
    ASSERT_EQ(salvaged.status, 0) << salvaged.err;
    EXPECT_EQ(nlohmann::json::parse(salvaged.out)["saved"], 3) << salvaged.err;
    EXPECT_EQ(value(kLog, "SELECT group_concat(event_id || event_user || event_desc) FROM ANNAL_EVENT;"),
              "1aone,2btwo,3cthree");
  }
}
