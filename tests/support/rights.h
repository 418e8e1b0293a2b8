// A file's mode, owner and group.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ios>
#include <ostream>
#include <vector>

namespace annal::test {

struct Rights {
  mode_t mode;
  uid_t owner = geteuid();
  gid_t group = getegid();
  bool operator==(const Rights&) const = default;
};

inline void PrintTo(const Rights& rights, std::ostream* out) {
  *out << std::oct << rights.mode << std::dec << ' ' << rights.owner << ':' << rights.group;
}

inline Rights rights_of(const char* path) {
  struct stat file {};
  EXPECT_EQ(stat(path, &file), 0) << path;
  return {file.st_mode & 07777U, file.st_uid, file.st_gid};
}

inline void give_rights(const char* path, const Rights& rights) {
  ASSERT_EQ(chown(path, rights.owner, rights.group), 0) << path;
  ASSERT_EQ(chmod(path, rights.mode), 0) << path;
}

// Rights of logs that the usual umask would change. Only root can change a file's owner.
inline std::vector<Rights> unusual_rights() {
  std::vector<Rights> rights{{0600}, {0640}, {0660}, {0666}, {0606}};
  if (geteuid() == 0) {
    rights.insert(rights.end(), {{0600, 1234, 5678}, {0640, 0, 5678}, {0664, 1234, 0}});
  }
  return rights;
}

}  // namespace annal::test
