// A change of a log, which is rolled back unless it was finished.
#pragma once

#include "tools/annalctl/query/reader.h"

namespace annalctl {

class Change {
 public:
  // Waits for the log to be free, and locks out other writers.
  explicit Change(Reader& reader);
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  void finish();

 private:
  Reader& reader_;
  bool finished_ = false;
};

}  // namespace annalctl
