// SQLite opens a file by its name, also one that this process has just made. Between the two somebody who may write to
// the folder can put another file, or a link, in its place.
#pragma once

#include <string>

namespace annalctl {

// While this lives, SQLite takes a name for an open file, wherever the name leads, and for one with nothing beside it:
// a journal that is there is none of its own. One at a time, and only for a file that no other process uses.
class PinnedFile {
 public:
  // The path is absolute and free of links. The descriptor stays the caller's.
  PinnedFile(const std::string& path, int file);
  ~PinnedFile();
  PinnedFile(const PinnedFile&) = delete;
  PinnedFile& operator=(const PinnedFile&) = delete;
};

}  // namespace annalctl
