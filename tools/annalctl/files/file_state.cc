// Reads the few bytes that change with every write to a log.
#include "tools/annalctl/files/file_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace annalctl {

namespace {

// SQLite's file format has both as numbers of four bytes, the most significant first.
constexpr std::size_t kChangesAt = 24;
constexpr std::size_t kSchemaAt = 40;
constexpr std::size_t kHeaderSize = 100;

using Header = std::array<unsigned char, kHeaderSize>;

std::uint32_t number_at(const Header& header, std::size_t place) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number = number << 8U | header.at(place + i);
  }
  return number;
}

std::int64_t nanoseconds(const struct statx_timestamp& time) {
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

struct statx status_of(int folder, const char* path, int flags) {
  struct statx status {};
  if (statx(folder, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    return {};
  }
  return status;
}

std::array<std::int64_t, 2> size_and_time(const struct statx& status) {
  return {static_cast<std::int64_t>(status.stx_size), nanoseconds(status.stx_mtime)};
}

}  // namespace

FileState state_of(const char* path) {
  FileState state;
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    return state;
  }
  const struct statx status = status_of(file, "", AT_EMPTY_PATH);
  Header header{};
  const bool has_header = pread(file, header.data(), header.size(), 0) == static_cast<ssize_t>(header.size());
  close(file);
  state.identity.device = std::uint64_t{status.stx_dev_major} << 32U | status.stx_dev_minor;
  state.identity.inode = status.stx_ino;
  state.identity.born = (status.stx_mask & STATX_BTIME) != 0 ? nanoseconds(status.stx_btime) : 0;
  if (has_header) {
    state.identity.schema = number_at(header, kSchemaAt);
    state.changes = number_at(header, kChangesAt);
  }
  state.file = size_and_time(status);
  state.journal = size_and_time(status_of(AT_FDCWD, (std::string(path) + "-journal").c_str(), 0));
  state.write_ahead = size_and_time(status_of(AT_FDCWD, (std::string(path) + "-wal").c_str(), 0));
  return state;
}

bool may_be_another_log(const FileState& before, const FileState& now) {
  return before.identity != now.identity || now.changes < before.changes;
}

}  // namespace annalctl
