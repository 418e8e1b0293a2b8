// SQLite opens a file by name, even one that this process has just created. In between, a user who may write to the
// folder can put another file or a link in its place.
#pragma once

#include <string>

namespace annalctl {

// While it exists, SQLite gets an open file for a name, wherever the name leads, and sees nothing beside it: a journal
// there would not be its own. One at a time, and only for a file that no other process uses.
class PinnedFile {
 public:
  // The path is absolute and free of links. The caller keeps the descriptor.
  PinnedFile(const std::string& path, int file);
  ~PinnedFile();
  PinnedFile(const PinnedFile&) = delete;
  PinnedFile& operator=(const PinnedFile&) = delete;
};

}  // namespace annalctl
