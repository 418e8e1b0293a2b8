// How a damaged database is laid out, by what its pages show: its header is only a hundred bytes, each of which may be
// wrong.
#pragma once

#include <cstdint>

#include "tools/annalctl/rescue/damaged_file.h"

namespace annalctl {

enum class Encoding : std::uint8_t { kUtf8 = 1, kUtf16Little = 2, kUtf16Big = 3 };  // as the header numbers them

struct Layout {
  std::uint32_t page_size = 0;  // a power of two from 512 to 65536
  std::uint32_t reserved = 0;   // bytes at the end of each page that SQLite does not use
  Encoding encoding = Encoding::kUtf8;
  std::size_t usual_values = 0;  // how many values most of the rows have; 0: there is no row
  bool as_told = false;          // the header has page size and reserved bytes too, so its list of free pages counts
};

// Reads no more than a sample of a large file. What the pages do not tell is taken from the header.
[[nodiscard]] Layout layout_of(DamagedFile& file);

// The file's header, as far as it can be right, with that layout and without what keeps SQLite from reading: the mode
// in which changes are written ahead, and the number of pages.
[[nodiscard]] Header corrected_header(const DamagedFile& file, const Layout& layout);

}  // namespace annalctl
