// How far a sink has got in a log. There is one file for each sink and log, and it is all that the program remembers.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace exporter {

// A row that was sent, by which its log is recognized later.
struct Anchor {
  std::int64_t id = 0;
  std::string digest;
};

// Which file a log is in.
struct LogFile {
  std::uint64_t inode = 0;
  std::int64_t born = 0;  // in nanoseconds since 1970; 0 where the file system does not tell. An inode is used again.

  [[nodiscard]] bool same_file(const LogFile& other) const { return inode == other.inode && born == other.born; }
};

// How much of the chain beside a log was passed on.
struct ChainMark {
  std::string chain{};         // its id; empty: none was seen
  std::uint64_t position = 0;  // the first record that was not looked at
  std::uint64_t head = 0;      // the number of the newest head that was sent
};

struct State {
  std::string appliance;  // the machine-id
  std::string sink;
  std::string log;
  std::int64_t generation = 1;
  std::int64_t position = 0;  // everything up to this id is done with
  std::int64_t highest = 0;   // the highest id that was ever seen in the log
  LogFile file{};
  std::vector<Anchor> anchors{};  // the oldest first, a few only: the newest may have been deleted from the log
  ChainMark seal{};

  // Since the file was created.
  std::int64_t sent = 0;     // entries that the receiver acknowledged
  std::int64_t missing = 0;  // entries that were deleted before they were sent
  std::int64_t refused = 0;  // entries that the receiver will never take

  std::int64_t saved = 0;  // when, in seconds since 1970

  void add_anchor(Anchor anchor);
};

// A file that cannot be used. The sentence says why, and what to do.
class StateFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

[[nodiscard]] std::string state_path(const std::string& folder, const std::string& sink, const std::string& log);

// Nothing if there is no file. Throws StateFailure for one that is damaged or of another appliance, sink or log.
[[nodiscard]] std::optional<State> load_state(const std::string& folder, const std::string& appliance,
                                              const std::string& sink, const std::string& log);

// On the disk when it returns. Throws StateFailure, and then the old state is still there.
void save_state(const std::string& folder, State& state);

// What other sinks know of the same log. Files that cannot be used are left out.
[[nodiscard]] std::vector<State> states_of_others(const std::string& folder, const State& own);

}  // namespace exporter
