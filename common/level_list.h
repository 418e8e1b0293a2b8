// The levels that a polling client asks for, as a condition of its statement.
#pragma once

namespace annal {

class LevelCondition {
 public:
  // list: stored levels separated by commas, such as "0,2". The first three pieces count, and of these the levels 0 to
  // 2; a piece that is no number reads as 0. column: the log's level column.
  LevelCondition(const char* list, const char* column) noexcept;

  // "(event_type =0 ) or (event_type =2 )"; empty without a valid level. Such a condition makes the statement fail,
  // which is how a client learns of a wrong list.
  [[nodiscard]] const char* text() const noexcept { return text_; }

 private:
  char text_[64] = "";
};

}  // namespace annal
