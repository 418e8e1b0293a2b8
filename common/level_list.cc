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
    const std::size_t room = sizeof text_ - length;
    const int written = std::snprintf(text_ + length, room, "%s(%s =%d )", length == 0 ? "" : " or ", column, level);
    if (written > 0 && static_cast<std::size_t>(written) < room) {
      length += static_cast<std::size_t>(written);
    } else {
      text_[length] = '\0';  // a level that does not fit is left out whole
    }
  }
}

}  // namespace annal
