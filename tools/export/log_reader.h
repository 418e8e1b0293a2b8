// Reads a log in pages by its ids. Every page is one short transaction; between pages nothing is locked, however long a
// receiver takes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "tools/annalctl/base/sqlite.h"
#include "tools/export/page.h"
#include "tools/export/source_log.h"
#include "tools/export/state.h"

namespace exporter {

// The log could not be read, for now. The sentence says why.
class ReadTrouble : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Reading {
  bool there = false;    // whether there is such a log
  bool another = false;  // it is not the log of the state: nothing was read. Then its ids have begun again
  LogFile file{};
  std::int64_t highest = 0;  // the highest id that was ever given
  bool more = false;         // the page did not have room for all
};

class LogReader {
 public:
  explicit LogReader(const SourceLog& log);

  // Fills the page with what follows the state's position. Throws ReadTrouble.
  Reading read(const State& state, std::size_t most_records, Page& page);

  // Shows the entries with these ids in one transaction, with a null pointer for each that is not there. Before that
  // says whether it is the log of the state; if not, shows none. Throws ReadTrouble.
  enum class Whose { kNobodys, kOfTheState, kAnother };
  using Visitor = std::function<void(std::size_t place, const annalctl::SqliteStatement* row)>;
  Whose look_up(const State& state, std::span<const std::int64_t> ids, const Visitor& visit);

  // Whether this state is about the log that is there. Throws ReadTrouble.
  [[nodiscard]] bool is_log_of(const State& state);

  // Gives up the connection until the next read.
  void close();

  // Whether the log may have changed since the last read. Opens nothing.
  [[nodiscard]] bool may_have_changed() const;

 private:
  // What the file system says about the log's file, and about its write-ahead log.
  struct FileLook {
    std::uint64_t inode = 0;
    std::int64_t born = 0;
    std::array<std::int64_t, 4> sizes_and_times{};
    bool settled = true;  // no other change may have been made within the same tick of the clock
    bool operator==(const FileLook&) const = default;
  };
  [[nodiscard]] FileLook look() const;

  [[nodiscard]] bool open();
  // Within a transaction.
  struct Facts {
    LogFile file;
    std::int64_t highest = 0;
  };
  [[nodiscard]] std::optional<Facts> facts();
  [[nodiscard]] bool agrees(const State& state, const Facts& facts);
  void fill(const State& state, std::size_t most_records, Reading& reading, Page& page);
  [[noreturn]] void fail() const;

  const SourceLog& log_;
  std::unique_ptr<annalctl::SqliteDatabase> database_;
  FileLook opened_;
  FileLook seen_;
};

}  // namespace exporter
