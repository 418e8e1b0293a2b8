// Tells from outside whether a log has changed, so that an unchanged one need not be read.
#pragma once

#include <array>
#include <cstdint>

namespace annalctl {

// Which file it is, and which tables are in it.
struct LogIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;  // 0: there is no file
  std::int64_t born = 0;    // in nanoseconds; 0 if the file system does not tell. An inode may be reused.
  std::uint32_t schema = 0;

  bool operator==(const LogIdentity&) const = default;
};

struct FileState {
  LogIdentity identity;
  std::uint32_t changes = 0;              // counted by SQLite; tells two changes within one tick of the clock apart
  std::array<std::int64_t, 2> file{};     // size, time of the last change
  std::array<std::int64_t, 2> journal{};  // likewise: exists during a change, or after a crash
  std::array<std::int64_t, 2> write_ahead{};

  [[nodiscard]] bool there() const { return identity.inode != 0; }
  bool operator==(const FileState&) const = default;
};

// Opens no database. Do not call it while one is open: closing the file drops the process's locks on it.
[[nodiscard]] FileState state_of(const char* path);

// Whether the entries may be different ones, with ids that start again, and not only more or fewer.
[[nodiscard]] bool may_be_another_log(const FileState& before, const FileState& now);

}  // namespace annalctl
