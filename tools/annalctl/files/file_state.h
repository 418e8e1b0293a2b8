// Tells from outside whether a log has changed, so that one that has not need not be asked.
#pragma once

#include <array>
#include <cstdint>

namespace annalctl {

// Which file it is, and which tables are in it.
struct LogIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;  // 0: there is no file
  std::int64_t born = 0;    // in nanoseconds; 0 where the file system does not tell. An inode may be used again.
  std::uint32_t schema = 0;

  bool operator==(const LogIdentity&) const = default;
};

struct FileState {
  LogIdentity identity;
  std::uint32_t changes = 0;              // counted by SQLite; two within one tick of the clock differ here
  std::array<std::int64_t, 2> file{};     // size, time of the last change
  std::array<std::int64_t, 2> journal{};  // likewise: one is there while a change is being made, or was left by a crash
  std::array<std::int64_t, 2> write_ahead{};

  [[nodiscard]] bool there() const { return identity.inode != 0; }
  bool operator==(const FileState&) const = default;
};

// Opens no database. Not to be called while one is open: closing the file would give up the process's locks on it.
[[nodiscard]] FileState state_of(const char* path);

// Whether the entries may be other ones, with ids that start again, and not only more or fewer.
[[nodiscard]] bool may_be_another_log(const FileState& before, const FileState& now);

}  // namespace annalctl
