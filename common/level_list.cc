// Turns a polling client's list of levels into a WHERE clause of bounded size.
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

LevelClause::LevelClause(const LevelFilter& filter, const char* list) noexcept {
  fill_field(text_, filter.prefix, kRoomForPrefix);
  char* const condition = text_ + strnlen(text_, kRoomForPrefix - 1);
  *condition = '\0';

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
    const std::size_t room = kRoomForCondition - length;
    const int written =
        std::snprintf(condition + length, room, "%s(%s =%d )", length == 0 ? "" : " or ", filter.column, level);
    if (static_cast<std::size_t>(written) < room) {
      length += static_cast<std::size_t>(written);
    } else {
      condition[length] = '\0';  // a level that does not fit or cannot be formatted is omitted entirely
    }
  }
}

}  // namespace annal
