// Changes of a log that leave nothing of what they replace: neither in the file nor in its journal.
#pragma once

#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl::proof {

// Has SQLite overwrite what it frees, on this connection.
class ErasingChanges {
 public:
  ErasingChanges(Reader& reader, const Log& log);

  // One change, with the log locked for everybody until its journal has been overwritten. Undone unless finished.
  class Change {
   public:
    explicit Change(ErasingChanges& changes);
    ~Change();
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    void finish();

   private:
    ErasingChanges& changes_;
    bool finished_ = false;
  };

  // Whether others on this machine overwrite what they free, too: otherwise the file has earlier copies.
  [[nodiscard]] bool are_usual() const { return usual_; }
  // Writes the file again, without what was ever freed.
  void write_again();
  // By a program that was killed. The next change overwrites it.
  [[nodiscard]] bool is_journal_left() const;
  // Empties the log that is written ahead, when there is one. Throws ReadFailure while somebody reads it.
  void finish();

 private:
  void keep_journal();
  void overwrite_journal() const;
  void release();

  Reader& reader_;
  std::string journal_;
  bool usual_;
  bool write_ahead_;
};

}  // namespace annalctl::proof
