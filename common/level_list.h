// The levels that a polling client requests, as a clause of its statement.
#pragma once

namespace annal {

// How a log's statement selects levels.
struct LevelFilter {
  const char* prefix;  // WHERE with or without a trailing blank: other programs' traces have both
  const char* column;
};

class LevelClause {
 public:
  // list: stored levels separated by commas, such as "0,2". Only the first three items count, and of these only levels
  // 0 to 2; an item that is not a number reads as 0.
  LevelClause(const LevelFilter& filter, const char* list) noexcept;

  // "where (event_type =0 ) or (event_type =2 )", or the prefix alone if no level is valid. The statement then fails,
  // which tells the client that its list is wrong.
  [[nodiscard]] const char* text() const noexcept { return text_; }

 private:
  static constexpr unsigned kRoomForPrefix = 8;
  static constexpr unsigned kRoomForCondition = 64;
  char text_[kRoomForPrefix + kRoomForCondition];
};

// Checks a polling client's arguments: the levels, when it last looked, and the maximum number of days to go back.
[[nodiscard]] constexpr bool is_valid_poll(const char* levels, const char* client_time, int days) noexcept {
  return levels != nullptr && client_time != nullptr && days >= 0;
}

}  // namespace annal
