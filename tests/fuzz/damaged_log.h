// Logs of each kind, sound and damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz.h"
#include "tools/annalctl/base/log.h"

namespace annal::fuzz {

struct Cell {
  int type;  // SQLite's
  std::string bytes;
  bool operator==(const Cell&) const = default;
};

// By their ids.
using Table = std::map<std::int64_t, std::vector<Cell>>;

struct GoodLog {
  const annalctl::Log* log;
  std::vector<const annalctl::Column*> columns;  // that its table has, without the id
  const annalctl::Column* lost;                  // which its table does not have; null for none
  std::size_t page_size;
  bool utf16;
  std::string content;
  Table rows;
  std::map<std::int64_t, std::set<std::size_t>> pages_of_rows;  // those that hold a row, by their numbers from 1
};

// One of them, made with the first use.
const GoodLog& any_good_log(Input& input);

// What its damaged content is.
std::string damaged(Input& input, const GoodLog& good);

// What SQLite reads of a log's table, by its lowest id upwards, to the end or the first fault.
Table read_table(const GoodLog& good);

// The damaged content under the header that it had.
std::string with_header_of(const GoodLog& good, const std::string& content);

// Whether damage has left alone each page that holds a part of the row.
bool is_intact(const GoodLog& good, const std::string& content, std::int64_t id);

}  // namespace annal::fuzz
