// Infers page size, reserved bytes, text encoding and row shape from the pages themselves.
//
// Each possible layout is tried on a sample of the file, and the one under which most records are in order wins: with a
// wrong page size, pointers and rows leave their pages. The encoding is the one in which the texts are mostly ASCII.
#include "tools/annalctl/rescue/page_layout.h"

#include <algorithm>
#include <bit>
#include <map>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/files/sqlite_format.h"
#include "tools/annalctl/rescue/cell.h"

namespace annalctl {

namespace {

// SQLite's file format: offsets in the header.
constexpr std::size_t kPageSizeAt = 16;
constexpr std::size_t kVersionsAt = 18;
constexpr std::size_t kReservedAt = 20;
constexpr std::size_t kFractionsAt = 21;
constexpr std::size_t kChangesAt = 24;
constexpr std::size_t kFormatAt = 44;
constexpr std::size_t kLargestRootAt = 52;
constexpr std::size_t kEncodingAt = 56;
constexpr std::size_t kIncrementalAt = 64;
constexpr std::size_t kCountedWithAt = 92;

constexpr std::uint32_t kSmallestPage = 512;
constexpr std::uint32_t kLargestPage = 65536;
constexpr std::uint32_t kMostReserved = 255;
constexpr std::uint32_t kLeastUsable = 480;

// Parts of the file that start on a page boundary of any page size.
constexpr std::size_t kPart = kLargestPage;
constexpr std::uint64_t kMostParts = 256;

struct Part {
  std::uint64_t place;
  std::vector<unsigned char> bytes;
};

std::vector<Part> sample(DamagedFile& file) {
  const std::uint64_t all = (file.size() + kPart - 1) / kPart;
  const std::uint64_t parts = std::min(all, kMostParts);
  std::vector<Part> taken;
  for (std::uint64_t i = 0; i < parts; ++i) {
    const std::uint64_t place = all * i / parts * kPart;
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(kPart, file.size() - place));
    taken.push_back({place, std::vector<unsigned char>(size)});
    static_cast<void>(file.read(place, taken.back().bytes));
  }
  return taken;
}

// Visits each cell whose record is in order, page by page.
template <typename Take>
void each_cell(const std::vector<Part>& parts, std::uint32_t page_size, const Take& take) {
  RecordHead head;
  StoredCell cell;
  for (const Part& part : parts) {
    for (std::size_t begin = 0; begin + page_size <= part.bytes.size(); begin += page_size) {
      const std::uint64_t page = part.place + begin;
      LeafCells cells(Bytes(part.bytes).subspan(begin, page_size), page == 0 ? kHeaderSize : 0);
      while (cells.next(cell)) {
        if (read_head(cell.rest, cell.payload, head)) {
          take(page, cell, head);
        }
      }
    }
  }
}

std::optional<std::uint32_t> told_page_size(const DamagedFile& file) {
  const auto code = static_cast<std::uint32_t>(number_at(file.header(), kPageSizeAt, 2));
  const std::uint32_t size = code == 1 ? kLargestPage : code;
  const bool possible = file.has_header() && size >= kSmallestPage && std::has_single_bit(size);
  return possible ? std::optional(size) : std::nullopt;
}

// The right size is the one with which most records are in order: with a smaller one, pointers lead out of the page;
// with a larger one, rows end in the middle.
std::uint32_t page_size_of(const DamagedFile& file, const std::vector<Part>& parts) {
  constexpr std::uint32_t kUsual = 2048;
  const std::uint32_t told = told_page_size(file).value_or(0);
  std::map<std::uint32_t, std::size_t> found;
  for (std::uint32_t size = kSmallestPage; size <= kLargestPage; size *= 2) {
    // Pages with their last part in use: of a page that is read as a larger one, only the first half is.
    std::map<std::uint64_t, std::pair<std::size_t, bool>> pages;
    each_cell(parts, size, [&](std::uint64_t page, const StoredCell& cell, const RecordHead& /*head*/) {
      auto& [cells, reaches_end] = pages[page];
      ++cells;
      reaches_end = reaches_end || size - cell.place <= std::max<std::uint64_t>(cell.payload, kMostReserved) * 2;
    });
    for (const auto& [page, of_page] : pages) {
      found[size] += of_page.second ? of_page.first : 0;
    }
  }
  const auto best = std::max_element(found.begin(), found.end(),
                                     [](const auto& one, const auto& other) { return one.second < other.second; });
  if (best == found.end() || best->second == 0) {
    return told != 0 ? told : kUsual;
  }
  return found.contains(told) && found[told] == best->second ? told : best->first;
}

// Rows fill a page from its end, with the reserved bytes after them.
std::uint32_t reserved_of(const DamagedFile& file, const std::vector<Part>& parts, std::uint32_t page_size) {
  constexpr std::size_t kEnough = 3;
  const std::uint32_t most = std::min(kMostReserved, page_size - kLeastUsable);
  const std::uint32_t told = file.has_header() ? file.header().at(kReservedAt) : 0;
  // Where the last row of a page ends. Known for a row that is all on its page; otherwise only with the reserved bytes.
  const auto end_of = [page_size](const StoredCell& cell, std::uint32_t reserved) {
    const std::size_t local = local_size(cell.payload, page_size - reserved);
    return page_size - cell.rest.size() + local + (local < cell.payload ? kLink : 0);
  };
  std::map<std::uint64_t, StoredCell> last;
  each_cell(parts, page_size, [&last](std::uint64_t page, const StoredCell& cell, const RecordHead& /*head*/) {
    StoredCell& known = last[page];
    known = known.place < cell.place ? cell : known;
  });
  std::vector<std::size_t> fitting(most + 1);
  std::size_t beyond = 0;  // pages whose rows reach into bytes that the header calls reserved
  for (const auto& [page, cell] : last) {
    for (std::uint32_t reserved = 0; reserved <= most; ++reserved) {
      fitting[reserved] += end_of(cell, reserved) == page_size - reserved ? 1 : 0;
    }
    beyond += told <= most && end_of(cell, told) > page_size - told ? 1 : 0;
  }
  const auto best = static_cast<std::uint32_t>(std::max_element(fitting.begin(), fitting.end()) - fitting.begin());
  if (told > most || beyond * 2 > last.size()) {
    return best;
  }
  return fitting[best] >= kEnough && fitting[best] > 2 * fitting[told] ? best : told;
}

// How many of a text's characters are ASCII, as in dates, names and the schema. Read in another encoding, a text has
// hardly any.
std::size_t ascii_characters(std::string_view text, Encoding encoding) {
  if (encoding == Encoding::kUtf8) {
    const bool possible = text.find('\0') == std::string_view::npos && characters_of(text);
    return possible ? static_cast<std::size_t>(
                          std::count_if(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }))
                    : 0;
  }
  std::size_t count = 0;
  const std::size_t low = encoding == Encoding::kUtf16Little ? 0 : 1;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const char c = text[i + low];
    count += text[i + 1 - low] == '\0' && c >= ' ' && c <= '~' ? 1 : 0;
  }
  return text.size() % 2 == 0 ? count : 0;
}

}  // namespace

Layout layout_of(DamagedFile& file) {
  constexpr std::array kEncodings{Encoding::kUtf8, Encoding::kUtf16Little, Encoding::kUtf16Big};
  const std::vector<Part> parts = sample(file);
  Layout layout;
  layout.page_size = page_size_of(file, parts);
  layout.reserved = reserved_of(file, parts, layout.page_size);
  layout.as_told = told_page_size(file) == layout.page_size && file.header().at(kReservedAt) == layout.reserved;

  std::map<Encoding, std::size_t> ascii;
  std::map<std::size_t, std::size_t> rows;
  each_cell(parts, layout.page_size, [&](std::uint64_t /*page*/, const StoredCell& cell, const RecordHead& head) {
    const std::size_t local = local_size(cell.payload, layout.page_size - layout.reserved);
    std::size_t place = head.size;
    for (const std::uint64_t type : head.types) {
      const std::uint64_t stored = size_of_value(type).value_or(0);
      if (place + stored > std::min(local, cell.rest.size())) {
        break;
      }
      const auto size = static_cast<std::size_t>(stored);
      const StoredValue value = value_of(type, cell.rest.subspan(place, size));
      for (const Encoding encoding : kEncodings) {
        ascii[encoding] += value.kind == StoredValue::Kind::kText ? ascii_characters(value.bytes, encoding) : 0;
      }
      place += size;
    }
    // The first value is NULL: the id, which is not in the record.
    rows[head.types.size()] += !head.types.empty() && head.types.front() == 0 ? 1 : 0;
  });
  const std::uint32_t code = file.has_header() ? four_bytes(file.header(), kEncodingAt) : 0;
  layout.encoding = code == 2 || code == 3 ? static_cast<Encoding>(code) : Encoding::kUtf8;
  for (const Encoding encoding : kEncodings) {
    layout.encoding = ascii[encoding] > 2 * ascii[layout.encoding] ? encoding : layout.encoding;
  }
  const auto usual = std::max_element(rows.begin(), rows.end(),
                                      [](const auto& one, const auto& other) { return one.second < other.second; });
  layout.usual_values = usual != rows.end() && usual->second > 0 ? usual->first : 0;
  return layout;
}

Header corrected_header(const DamagedFile& file, const Layout& layout) {
  constexpr std::uint32_t kNewestFormat = 4;
  Header header = file.has_header() ? file.header() : Header{};
  const auto put = [&header](std::size_t place, std::size_t size, std::uint32_t number) {
    for (std::size_t i = size; i > 0; --i, number >>= 8U) {
      header.at(place + i - 1) = static_cast<unsigned char>(number);
    }
  };
  std::copy(kFileMagic.begin(), kFileMagic.end(), header.begin());
  put(kPageSizeAt, 2, layout.page_size == kLargestPage ? 1 : layout.page_size);
  put(kVersionsAt, 2, 0x0101);
  put(kReservedAt, 1, layout.reserved);
  put(kFractionsAt, 3, 0x402020);
  const std::uint32_t format = four_bytes(header, kFormatAt);
  put(kFormatAt, 4, format >= 1 && format <= kNewestFormat ? format : kNewestFormat);
  put(kEncodingAt, 4, static_cast<std::uint32_t>(layout.encoding));
  // Moving pages (auto-vacuum) does not matter to a reader, and would make SQLite look for maps that may not exist.
  put(kLargestRootAt, 4, 0);
  put(kIncrementalAt, 4, 0);
  // Without a valid count, SQLite takes the number of pages from the file's size.
  put(kCountedWithAt, 4, ~four_bytes(header, kChangesAt));
  return header;
}

}  // namespace annalctl
