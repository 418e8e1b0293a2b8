// Which pages of a database hold a row: damage to all other pages cannot have touched it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace annal::test {

// Page by page, what dbstat says: the path from the root, the page's number, its kind and its number of cells.
inline std::string row_pages_query(const std::string& table) {
  return "SELECT path, pageno, pagetype, ncell FROM dbstat WHERE name = '" + table +
         "' AND pagetype <> 'internal' ORDER BY path;";
}

// The pages of each row, by the row's id; the first page is number 1. Leaves have the rows in order. A long row
// continues on pages whose path is the leaf's path and the row's number on that leaf.
inline std::map<std::int64_t, std::set<std::size_t>> row_pages(const std::vector<std::vector<std::string>>& pages,
                                                               const std::set<std::int64_t>& ids) {
  std::map<std::int64_t, std::set<std::size_t>> of_rows;
  auto id = ids.begin();
  auto first = id;
  for (const std::vector<std::string>& page : pages) {
    const std::string& path = page.at(0);
    const std::size_t number = std::stoul(page.at(1));
    if (page.at(2) == "leaf") {
      first = id;
      for (int cells = std::stoi(page.at(3)); cells > 0 && id != ids.end(); --cells) {
        of_rows[*id++].insert(number);
      }
    } else {
      const std::string cell = path.substr(path.rfind('/') + 1);
      of_rows[*std::next(first, std::stol(cell, nullptr, 16))].insert(number);
    }
  }
  return of_rows;
}

// Whether damage has left alone each page that holds a part of the row.
inline bool is_intact(const std::set<std::size_t>& pages, std::size_t page_size, const std::string& good,
                      const std::string& damaged) {
  for (const std::size_t page : pages) {
    const std::size_t begin = (page - 1) * page_size;
    if (begin + page_size > damaged.size() || good.compare(begin, page_size, damaged, begin, page_size) != 0) {
      return false;
    }
  }
  return !pages.empty();
}

}  // namespace annal::test
