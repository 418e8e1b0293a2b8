// Keeps the position in a log between two runs: the id and the time of the last entry, because an id alone could belong
// to another entry of a recreated log.
#include "tools/annalctl/query/position.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

std::string time_expression(const Log& log) {
  return log.time == nullptr ? fmt::format("CAST({} AS TEXT)", log.date)
                             : fmt::format("{} || ' ' || {}", log.date, log.time);
}

// An id is never given twice.
std::int64_t highest_id_ever(Reader& reader, const Log& log) {
  SqliteStatement statement =
      reader.prepare(fmt::format("SELECT seq FROM main.sqlite_sequence WHERE name = '{}' COLLATE NOCASE", log.table));
  return reader.next(statement) ? statement.integer(0) : 0;
}

// A file that is written beside another one, and replaces it once it is on the disk.
class Successor {
 public:
  explicit Successor(const std::string& file) : file_(file), name_(file + ".XXXXXX") {
    descriptor_ = mkostemp(name_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
      fail();
    }
  }
  ~Successor() {
    if (descriptor_ >= 0) {
      close(descriptor_);
      unlink(name_.c_str());
    }
  }
  Successor(const Successor&) = delete;
  Successor& operator=(const Successor&) = delete;

  void write(const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
      const ssize_t put = ::write(descriptor_, text.data() + done, text.size() - done);
      if (put < 0 && errno != EINTR) {
        fail();
      }
      done += static_cast<std::size_t>(std::max<ssize_t>(put, 0));
    }
    if (fsync(descriptor_) != 0) {
      fail();
    }
  }

  void take_place() {
    if (rename(name_.c_str(), file_.c_str()) != 0) {
      fail();
    }
    close(descriptor_);
    descriptor_ = -1;
    // The name must reach the disk, too. A file system whose folders cannot be opened does not need this.
    const std::string folder = folder_of(whole_path(file_));
    const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened >= 0) {
      static_cast<void>(fsync(opened));
      close(opened);
    }
  }

 private:
  [[noreturn]] void fail() const {
    throw CursorFailure(fmt::format("cannot write the cursor {}: {} (the next run will show the same again)", file_,
                                    system_message(errno)));
  }

  std::string file_;
  std::string name_;
  int descriptor_ = -1;
};

}  // namespace

Position position_of(Reader& reader, const Log& log, std::int64_t id) {
  const Reader::Turn turn(reader);
  SqliteStatement statement =
      reader.prepare(fmt::format("SELECT {} FROM {} WHERE rowid = ?", time_expression(log), reader.table()));
  statement.bind(1, id);
  return reader.next(statement) ? Position{id, statement.text(0)} : Position{id, {}};
}

std::int64_t last_id_read(Reader& reader, const Log& log, const Position& position) {
  if (position.id == 0) {
    return 0;
  }
  const Reader::Turn turn(reader);
  if (highest_id_ever(reader, log) < position.id) {
    return 0;
  }
  SqliteStatement statement =
      reader.prepare(fmt::format("SELECT {} FROM {} WHERE rowid = ?", time_expression(log), reader.table()));
  statement.bind(1, position.id);
  const bool there = reader.next(statement);
  return there && !position.time.empty() && statement.text(0) != position.time ? 0 : position.id;
}

Positions read_cursor(const std::string& file) {
  std::ifstream stream(file);
  if (!stream) {
    if (errno == ENOENT) {
      return {};
    }
    throw Refusal(fmt::format("the cursor {} cannot be read: {}", file, system_message(errno)));
  }
  try {
    Positions positions;
    const Json all = Json::parse(stream);
    for (const auto& [name, json] : all.items()) {
      positions[name] = {json.at("id").get<std::int64_t>(), json.at("time").get<std::string>()};
    }
    return positions;
  } catch (const Json::exception&) {
    throw Refusal(fmt::format("{} is not a cursor of annalctl (name another file, or delete it to begin again)", file));
  }
}

void write_cursor(const std::string& file, const Positions& positions) {
  Json json = Json::object();
  for (const auto& [name, position] : positions) {
    json[name] = {{"id", position.id}, {"time", position.time}};
  }
  Successor successor(file);
  successor.write(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
  successor.take_place();
}

}  // namespace annalctl
