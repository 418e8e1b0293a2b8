// Compares the library's arrays with their source files row by row, and checks what programs rely on.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Corix_annal.h"

namespace {

struct Array {
  template <std::size_t kLength>
  constexpr Array(const char* name, std::size_t wanted, const CatalogEntry (&list)[kLength])
      : application(name), rows(wanted), entries(list) {}

  const char* application;
  std::size_t rows;  // including the blank row and the terminator
  std::span<const CatalogEntry> entries;
};

// The lengths with which programs were linked.
const Array kArrays[] = {
    {"A001", 38, A001_list}, {"A002", 1291, A002_list}, {"A003", 21, A003_list},  {"A004", 47, A004_list},
    {"A005", 82, A005_list}, {"A007", 39, A007_list},   {"A008", 37, A008_list},  {"A009", 96, A009_list},
    {"A010", 15, A010_list}, {"A011", 21, A011_list},   {"A013", 8, A013_list},   {"A015", 54, A015_list},
    {"A017", 7, A017_list},  {"A018", 78, A018_list},   {"A019", 7, A019_list},   {"A020", 26, A020_list},
    {"A021", 53, A021_list}, {"A022", 78, A022_list},   {"A023", 38, A023_list},  {"A024", 12, A024_list},
    {"A026", 28, A026_list}, {"A029", 11, A029_list},   {"A030", 9, A030_list},   {"A031", 36, A031_list},
    {"A032", 31, A032_list}, {"A034", 14, A034_list},   {"A035", 22, A035_list},  {"A036", 22, A036_list},
    {"A037", 19, A037_list}, {"A038", 5, A038_list},    {"A039", 102, A039_list}, {"A040", 12, A040_list},
    {"A041", 63, A041_list}, {"A043", 20, A043_list},   {"A044", 29, A044_list},  {"A045", 6, A045_list},
    {"A046", 11, A046_list}, {"A047", 64, A047_list},   {"A049", 179, A049_list}, {"A053", 170, A053_list},
    {"A055", 4, A055_list},  {"A057", 8, A057_list},    {"A059", 14, A059_list},  {"A201", 196, A201_list},
    {"A234", 13, A234_list}, {"A255", 20, A255_list},   {"A259", 4, A259_list},   {"A267", 4, A267_list},
    {"A283", 87, A283_list},
};

using Row = std::tuple<std::string, long, std::string, std::string, std::string>;

void PrintTo(const Array& array, std::ostream* out) {
  *out << array.application;
}

const Array& array_of(const std::string& application) {
  return *std::find_if(std::begin(kArrays), std::end(kArrays),
                       [&](const Array& array) { return array.application == application; });
}

// Walks an array as every reader does: from the row after the blank one to the terminator.
std::vector<CatalogEntry> content(const CatalogEntry* list) {
  std::vector<CatalogEntry> rows;
  for (const CatalogEntry* entry = list + 1; entry->app_id != nullptr; ++entry) {
    rows.push_back(*entry);
  }
  return rows;
}

const CatalogEntry* find(const CatalogEntry* list, const std::string& number) {
  for (const CatalogEntry* entry = list + 1; entry->app_id != nullptr; ++entry) {
    if (entry->msg_no == number) {
      return entry;
    }
  }
  return nullptr;
}

bool is_phrase(const CatalogEntry& entry) {
  return entry.msg_no[0] == '%';
}

std::vector<int> numbers_of(const CatalogEntry* list) {
  std::vector<int> numbers;
  for (const CatalogEntry& entry : content(list)) {
    if (!is_phrase(entry)) {
      numbers.push_back(std::stoi(entry.msg_no));
    }
  }
  return numbers;
}

// The rows of a source file, parsed independently of the generator.
std::vector<Row> source_of(const std::string& application) {
  std::ifstream file(std::string(CATALOG_DATA "/") + application + ".tsv");
  std::vector<Row> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') {
      continue;
    }
    std::vector<std::string> fields;
    std::istringstream parts(line);
    for (std::string field; std::getline(parts, field, '\t');) {
      fields.push_back(field);
    }
    fields.resize(5);
    rows.emplace_back(fields[0], std::stol(fields[1]), fields[2], fields[3], fields[4]);
  }
  return rows;
}

class CatalogArray : public testing::TestWithParam<Array> {};

INSTANTIATE_TEST_SUITE_P(Each, CatalogArray, testing::ValuesIn(kArrays),
                         [](const auto& array) { return std::string(array.param.application); });

}  // namespace

TEST_P(CatalogArray, HasTheLengthThatProgramsWereLinkedWith) {
  EXPECT_EQ(GetParam().entries.size(), GetParam().rows);
  EXPECT_EQ(content(GetParam().entries.data()).size(), GetParam().rows - 2);
}

TEST_P(CatalogArray, BeginsWithABlankRow) {
  const CatalogEntry& blank = GetParam().entries.front();
  EXPECT_STREQ(blank.app_id, "");
  EXPECT_EQ(blank.level, 0);
  EXPECT_STREQ(blank.category_id, "");
  EXPECT_STREQ(blank.msg_no, "");
  EXPECT_STREQ(blank.msg_template, "");
}

TEST_P(CatalogArray, EndsWithATerminator) {
  const CatalogEntry& last = GetParam().entries.back();
  EXPECT_EQ(last.app_id, nullptr);
  EXPECT_EQ(last.level, 0);
  EXPECT_EQ(last.category_id, nullptr);
  EXPECT_EQ(last.msg_no, nullptr);
  EXPECT_EQ(last.msg_template, nullptr);
}

TEST_P(CatalogArray, HoldsTheRowsOfItsFileInTheirOrder) {
  const std::vector<Row> wanted = source_of(GetParam().application);
  const std::vector<CatalogEntry> found = content(GetParam().entries.data());
  ASSERT_EQ(found.size(), wanted.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    const CatalogEntry& entry = found[i];
    EXPECT_EQ(Row(entry.app_id, entry.level, entry.category_id, entry.msg_no, entry.msg_template), wanted[i]);
  }
}

TEST_P(CatalogArray, HoldsOnlyItsApplicationsRowsWithUniqueNumbers) {
  std::set<std::string> numbers;
  for (const CatalogEntry& entry : content(GetParam().entries.data())) {
    EXPECT_STREQ(entry.app_id, GetParam().application);
    EXPECT_TRUE(numbers.insert(entry.msg_no).second) << entry.msg_no;
  }
}

TEST_P(CatalogArray, HasRowsOfTwoFormsOnly) {
  for (const CatalogEntry& entry : content(GetParam().entries.data())) {
    const std::string category = entry.category_id;
    const std::string number = entry.msg_no;
    SCOPED_TRACE(number);
    if (is_phrase(entry)) {
      EXPECT_EQ(entry.level, 0);
      EXPECT_EQ(category, "[reserved]");
      EXPECT_EQ(number.size(), 6U);
      EXPECT_EQ(number.substr(0, 2) + number.substr(5), "%V%");
      EXPECT_EQ(number.find_first_not_of("0123456789", 2), 5U);
    } else {
      EXPECT_TRUE(entry.level == 1 || entry.level == 2 || entry.level == 4) << entry.level;
      EXPECT_TRUE(category == "[reserved]" || (category.size() == 4 && category[0] == 'C' &&
                                               category.find_first_not_of("0123456789", 1) == std::string::npos))
          << category;
      EXPECT_EQ(number, std::to_string(std::stoi(number)));
    }
  }
}

TEST_P(CatalogArray, HasTemplatesOfOneLineAndAtMost400CharactersWithPlaceholdersUpTo20) {
  for (const CatalogEntry& entry : content(GetParam().entries.data())) {
    const std::string text = entry.msg_template;
    SCOPED_TRACE(text);
    EXPECT_FALSE(text.empty());
    const auto characters = std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
    EXPECT_LE(characters, 400);
    EXPECT_EQ(std::count_if(text.begin(), text.end(), [](char c) { return c >= 0 && c < ' '; }), 0);
    for (std::size_t at = text.find('{'); at != std::string::npos; at = text.find('{', at + 1)) {
      EXPECT_LE(std::stoi(text.substr(at + 1)), 20);
    }
  }
}

TEST_P(CatalogArray, HasAscendingNumbersUnlessItIsOneOfThree) {
  const std::set<std::string> mixed{"A023", "A049", "A053"};
  const std::vector<int> numbers = numbers_of(GetParam().entries.data());
  EXPECT_EQ(std::is_sorted(numbers.begin(), numbers.end()), !mixed.contains(GetParam().application));
}

TEST_P(CatalogArray, NeverFindsItsBlankRowInALookup) {
  EXPECT_EQ(find(GetParam().entries.data(), ""), nullptr);
  EXPECT_EQ(find(GetParam().entries.data(), "0"), nullptr);
}

// ---- what other programs quote ----

TEST(Catalog, HoldsTheRowsThatOtherProgramsQuote) {
  const std::vector<Row> quoted{
      {"A011", 4, "C001", "1", "[External Device] Added printer {0}."},
      {"A011", 4, "C002", "3", "[External Device] Changed UPS model to SNMP mode."},
      {"A011", 2, "C002", "7", "[External Device] Detected UPS power loss. Shutting down NAS in {0} second(s)."},
      {"A049", 1, "C004", "16", "[{0}] System fan {1} failed."},
      {"A049", 1, "[reserved]", "45",
       "[{0}] The system was forced to shut down/reboot. Some services stopped working."},
      {"A002", 0, "[reserved]", "%V002%", "Storage pool"},
      {"A002", 0, "[reserved]", "%V004%", "Thick"},
      {"A059", 0, "[reserved]", "%V999%", "Delegated Administration"},
  };
  for (const Row& row : quoted) {
    const CatalogEntry* const entry = find(array_of(std::get<0>(row)).entries.data(), std::get<3>(row));
    ASSERT_NE(entry, nullptr) << std::get<3>(row);
    EXPECT_EQ(Row(entry->app_id, entry->level, entry->category_id, entry->msg_no, entry->msg_template), row);
  }
}

TEST(Catalog, Holds2958RowsWithACategory159PhrasesAnd36MessagesWithout) {
  std::map<std::string, int> counts;
  for (const Array& array : kArrays) {
    for (const CatalogEntry& entry : content(array.entries.data())) {
      const bool reserved = std::strcmp(entry.category_id, "[reserved]") == 0;
      ++counts[is_phrase(entry) ? "phrases" : reserved ? "without" : "with"];
    }
  }
  EXPECT_EQ(counts, (std::map<std::string, int>{{"with", 2958}, {"phrases", 159}, {"without", 36}}));
  EXPECT_EQ(std::size(kArrays), 49U);
}

TEST(Catalog, FindsNoRowForAnAbsentNumber) {
  for (const char* number : {"4", "7", "8", "9", "10"}) {
    EXPECT_EQ(find(A010_list, number), nullptr) << number;
  }
  for (const char* number : {"3", "5", "6", "11"}) {
    EXPECT_NE(find(A010_list, number), nullptr) << number;
  }
  for (const char* number : {"840", "841", "899"}) {
    EXPECT_EQ(find(A002_list, number), nullptr) << number;
  }
  for (const char* number : {"839", "900"}) {
    EXPECT_NE(find(A002_list, number), nullptr) << number;
  }
}

TEST(Catalog, HoldsNumbers45To49OfTheHardwareWithoutACategory) {
  for (const char* number : {"45", "46", "47", "48", "49"}) {
    const CatalogEntry* const entry = find(A049_list, number);
    ASSERT_NE(entry, nullptr) << number;
    EXPECT_STREQ(entry->category_id, "[reserved]");
    EXPECT_NE(entry->level, 0);
  }
}

TEST(Catalog, BeginsWithThePhrasesOfStorage) {
  const std::vector<CatalogEntry> rows = content(A002_list);
  EXPECT_TRUE(std::is_partitioned(rows.begin(), rows.end(), is_phrase));
  EXPECT_TRUE(is_phrase(rows.front()));
  EXPECT_FALSE(is_phrase(rows.back()));
}

TEST(Catalog, HasThePhrasesOfHardwareAndNetworkBetweenTheirMessages) {
  for (const CatalogEntry* list : {A049_list, A008_list}) {
    const std::vector<CatalogEntry> rows = content(list);
    EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), is_phrase));
    EXPECT_FALSE(is_phrase(rows.front()));
    EXPECT_FALSE(is_phrase(rows.back()));
  }
}

TEST(Catalog, CarriesTheDegreeSignAsUtf8) {
  const std::vector<CatalogEntry> rows = content(A049_list);
  EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [](const CatalogEntry& entry) {
    return std::strstr(entry.msg_template, "\xE2\x84\x83") != nullptr;
  }));
}

// ---- how it is kept ----

// A program's copy of an array, which this one may have, and the library's own.
TEST(CatalogDeathTest, IsReadOnly) {
  void* const library = dlopen("libCorix_annal.so.2", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  auto* const own = static_cast<CatalogEntry*>(dlsym(library, "A011_list"));
  ASSERT_NE(own, nullptr);
  EXPECT_STREQ(own[1].msg_template, A011_list[1].msg_template);
  EXPECT_DEATH(const_cast<volatile long&>(own[1].level) = 1, "");
  EXPECT_DEATH(const_cast<volatile char&>(own[1].msg_template[0]) = 'x', "");
  EXPECT_DEATH(const_cast<volatile long&>(A011_list[1].level) = 1, "");
  dlclose(library);
}
