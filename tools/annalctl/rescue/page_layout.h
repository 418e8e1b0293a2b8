// Infers the layout of a damaged database from its pages, because any of the hundred bytes of its header may be
// wrong.
#pragma once

#include <cstdint>

#include "tools/annalctl/rescue/damaged_file.h"

namespace annalctl {

enum class Encoding : std::uint8_t { kUtf8 = 1, kUtf16Little = 2, kUtf16Big = 3 };  // numbered as in the header

struct Layout {
  std::uint32_t page_size = 0;  // a power of two from 512 to 65536
  std::uint32_t reserved = 0;   // bytes at the end of each page that SQLite does not use
  Encoding encoding = Encoding::kUtf8;
  std::size_t usual_values = 0;  // how many values most rows have; 0: there are no rows
  bool as_told = false;          // the header agrees on page size and reserved bytes, so its list of free pages counts
};

// Reads only a sample of a large file. Takes from the header what the pages do not tell.
[[nodiscard]] Layout layout_of(DamagedFile& file);

// The file's header where it can be right, with this layout and without what prevents SQLite from reading: write-ahead
// mode and the number of pages.
[[nodiscard]] Header corrected_header(const DamagedFile& file, const Layout& layout);

}  // namespace annalctl
