// What the chain beside a log has for receivers: which entries were redacted since they were sent, and the newest
// signed head.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/export/entry_times.h"
#include "tools/export/log_reader.h"
#include "tools/export/page.h"
#include "tools/export/source_log.h"
#include "tools/export/state.h"

namespace annalctl::proof {
class ChainFile;
}  // namespace annalctl::proof

namespace exporter {

class ChainNews {
 public:
  ChainNews(const SourceLog& log, LogReader& reader);

  // Whether there may be something after the state's mark. Opens nothing.
  [[nodiscard]] bool may_be_there(const State& state) const;

  // Fills the page with some of it. A redaction of an entry that is still to be sent waits for that: the receiver may
  // have the entry without having acknowledged it. A chain that another program holds is looked at again later, and one
  // that cannot be read is reported. Throws ReadTrouble.
  void read(const State& state, Page& page);

  // The mark once this many of the page's records were acknowledged; of an empty page, where the next look begins.
  [[nodiscard]] const ChainMark& mark_after(std::size_t acknowledged) const;

  // For a log that was created again: the mark behind everything that is about the former one. Throws ReadTrouble if
  // another program holds the chain.
  [[nodiscard]] ChainMark mark_behind_all(const ChainMark& former) const;

 private:
  using Look = std::array<std::int64_t, 4>;
  [[nodiscard]] Look look() const;
  void read(const annalctl::proof::ChainFile& chain, const State& state, Page& page);
  bool add_redactions(const annalctl::proof::ChainFile& chain, const State& state, Page& page);
  void say(const std::string& sentence);

  const SourceLog& log_;
  LogReader& reader_;
  std::string path_;
  Look seen_{};
  bool owed_ = true;              // there may be more than was looked at
  std::int64_t waits_from_ = -1;  // the position at which a redaction waited for its entry
  EntryTimes times_;
  ChainMark mark_;
  std::vector<ChainMark> marks_;  // of the page's records
  std::string said_;
};

}  // namespace exporter
