#include "common/level_list.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/record.h"

namespace annal {

namespace {
constexpr int kPieces = 3;
constexpr unsigned kHighestLevel = 2;
}  // namespace

LevelCondition::LevelCondition(const char* list, const char* column) noexcept {
  char pieces[64] = "";
  fill_field(pieces, list, sizeof pieces - 1);

  char* rest = nullptr;
  const char* piece = strtok_r(pieces, ",", &rest);
  std::size_t length = 0;
  for (int i = 0; i < kPieces && piece != nullptr; ++i, piece = strtok_r(nullptr, ",", &rest)) {
    const int level = static_cast<int>(std::strtol(piece, nullptr, 10));
    if (static_cast<unsigned>(level) > kHighestLevel) {
      continue;
    }
    char one[32];
    const int written = std::snprintf(one, sizeof one, "%s(%s =%d )", length == 0 ? "" : " or ", column, level);
    // A level that does not fit is left out whole.
    if (written > 0 && length + static_cast<std::size_t>(written) < sizeof text_) {
      std::strcpy(text_ + length, one);
      length += static_cast<std::size_t>(written);
    }
  }
}

}  // namespace annal
