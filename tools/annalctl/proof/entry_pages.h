// A log's entries in the order of their ids, a page at a time, with the log unlocked between pages.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/proof/content.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl::proof {

class EntryPage {
 public:
  void clear();
  [[nodiscard]] std::size_t size() const { return ids_.size(); }
  [[nodiscard]] std::int64_t id(std::size_t entry) const { return ids_[entry]; }
  [[nodiscard]] std::uint32_t time(std::size_t entry) const { return times_[entry]; }
  [[nodiscard]] std::string_view content(std::size_t entry) const;

 private:
  friend class EntryPages;
  std::vector<std::int64_t> ids_;
  std::vector<std::uint32_t> times_;
  std::vector<std::size_t> ends_;
  std::string bytes_;
};

class EntryPages {
 public:
  EntryPages(Reader& reader, const Log& log, std::int64_t after = std::numeric_limits<std::int64_t>::min());

  // False at the end.
  [[nodiscard]] bool next(EntryPage& page);

 private:
  Reader& reader_;
  ContentReader contents_;
  SqliteStatement rows_;
  std::int64_t from_;
  bool ended_ = false;
};

}  // namespace annalctl::proof
