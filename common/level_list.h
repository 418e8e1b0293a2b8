// The levels that a polling client asks for, as a clause of its statement.
#pragma once

namespace annal {

// How a statement asks for levels.
struct LevelFilter {
  const char* prefix;  // the WHERE, with a blank behind it or without: both are as other programs' traces know them
  const char* column;
};

class LevelClause {
 public:
  // list: stored levels separated by commas, such as "0,2". The first three pieces count, and of these the levels 0 to
  // 2; a piece that is no number reads as 0.
  LevelClause(const LevelFilter& filter, const char* list) noexcept;

  // "where (event_type =0 ) or (event_type =2 )"; the prefix alone without a valid level. Such a clause makes the
  // statement fail, which is how a client learns of a wrong list.
  [[nodiscard]] const char* text() const noexcept { return text_; }

 private:
  static constexpr unsigned kRoomForPrefix = 8;
  static constexpr unsigned kRoomForCondition = 64;
  char text_[kRoomForPrefix + kRoomForCondition];
};

// Whether a polling client's question makes sense: the levels, the time it last looked, and how many days back at most.
[[nodiscard]] constexpr bool is_valid_poll(const char* levels, const char* client_time, int days) noexcept {
  return levels != nullptr && client_time != nullptr && days >= 0;
}

}  // namespace annal
