// Walks a path from the root and notes every user who can change what it leads to.
#include "tools/annalctl/files/writers.h"

#include <endian.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <vector>

namespace annalctl {

namespace {

namespace fs = std::filesystem;

// Shown by the kernel for users and groups without a number in a user namespace.
constexpr std::uint32_t kNobody = 65534;

bool has_a_number_for_nobody(const char* map) {
  std::ifstream lines(map);
  std::uint64_t inside = 0;
  std::uint64_t outside = 0;
  std::uint64_t count = 0;
  bool any = false;
  while (lines >> inside >> outside >> count) {
    any = true;
    if (inside <= kNobody && kNobody - inside < count) {
      return true;
    }
  }
  return !any;  // Without a readable map, the user "nobody" is a user like any other.
}

// A POSIX access control list in the form of its extended attribute.
struct AclEntry {
  std::uint16_t tag;
  std::uint16_t permissions;
  std::uint32_t id;
};

enum AclTag : std::uint16_t {
  kAclUser = 0x02,
  kAclOwningGroup = 0x04,
  kAclGroup = 0x08,
  kAclMask = 0x10,
};

constexpr unsigned kAclWrite = 0x02;

std::vector<AclEntry> acl_of(const std::string& path) {
  constexpr std::size_t kVersion = 4;  // bytes in front of the entries
  constexpr std::size_t kMost = 65536;
  std::vector<char> bytes(kMost);
  const ssize_t size = lgetxattr(path.c_str(), "system.posix_acl_access", bytes.data(), bytes.size());
  std::vector<AclEntry> entries;
  for (std::size_t place = kVersion; size > 0 && place + sizeof(AclEntry) <= static_cast<std::size_t>(size);
       place += sizeof(AclEntry)) {
    AclEntry entry{};
    std::memcpy(&entry, bytes.data() + place, sizeof entry);
    // Little-endian on every processor.
    entries.push_back({le16toh(entry.tag), le16toh(entry.permissions), le32toh(entry.id)});
  }
  return entries;
}

// The one user of a private group: it has the user's name, is that user's primary group, and no other user's. If a
// directory cannot list its users, only the name tells such a group from one with unseen members.
std::optional<uid_t> only_member_of(gid_t group) {
  // NOLINTBEGIN(concurrency-mt-unsafe): the program has no threads yet
  const struct group* const known = getgrgid(group);
  if (known == nullptr) {
    return {};
  }
  const std::string name = known->gr_name;
  for (char** member = known->gr_mem; *member != nullptr; ++member) {
    if (name != *member) {
      return {};
    }
  }
  std::optional<uid_t> only;
  setpwent();
  while (const struct passwd* const user = getpwent()) {
    if (user->pw_gid != group) {
      continue;
    }
    if (name != user->pw_name) {
      only.reset();
      break;
    }
    only = user->pw_uid;
  }
  endpwent();
  // NOLINTEND(concurrency-mt-unsafe)
  return only;
}

class Walk {
 public:
  Writers run(const std::string& path) {
    constexpr int kMostLinks = 40;  // the kernel's own limit
    put_ahead(path);
    for (int links = 0; !ahead_.empty() && links <= kMostLinks;) {
      const std::string name = ahead_.front();
      ahead_.pop_front();
      if (name == "..") {
        enter(folder_.parent_path());  // The links in it have been followed.
      } else if (!name.empty() && name != ".") {
        const fs::path next = folder_ / name;
        struct stat status {};
        const bool there = lstat(next.c_str(), &status) == 0;
        leave_folder_for(there ? &status : nullptr);
        if (there && S_ISLNK(status.st_mode)) {
          ++links;
          std::error_code unreadable;
          put_ahead(fs::read_symlink(next, unreadable));
        } else if (there && S_ISDIR(status.st_mode)) {
          enter(next);
        } else {
          look_at_log(next);
          break;
        }
      }
    }
    return std::move(writers_);
  }

 private:
  void put_ahead(const fs::path& path) {
    if (path.is_absolute()) {
      enter("/");
    }
    const fs::path names = path.relative_path();
    ahead_.insert(ahead_.begin(), names.begin(), names.end());
  }

  void enter(const fs::path& folder) {
    folder_ = folder;
    struct stat status {};
    sticky_ = false;
    if (lstat(folder.c_str(), &status) == 0) {
      add_user(status.st_uid);
      sticky_ = (status.st_mode & S_ISVTX) != 0;
      if (!sticky_) {
        add_those_whom_the_mode_lets(folder, status);
      }
    }
  }

  // In a sticky folder only the owners of the folder and of the entry can replace it. But every user can create what is
  // missing, such as a journal beside a log.
  void leave_folder_for(const struct stat* next) {
    if (!sticky_) {
      return;
    }
    struct stat status {};
    if (next != nullptr && (S_ISLNK(next->st_mode) || S_ISDIR(next->st_mode))) {
      add_user(next->st_uid);
    } else if (lstat(folder_.c_str(), &status) == 0) {
      add_those_whom_the_mode_lets(folder_, status);
    }
  }

  // A journal that root creates gets the log's owner and mode: a user who may write the log can forge what a rollback
  // does, even in root's folder.
  void look_at_log(const fs::path& path) {
    for (const char* beside : {"", "-journal", "-wal", "-shm"}) {
      const std::string file = path.string() + beside;
      struct stat status {};
      if (lstat(file.c_str(), &status) == 0 && !S_ISLNK(status.st_mode)) {
        add_user(status.st_uid);
        add_those_whom_the_mode_lets(file, status);
      }
    }
  }

  void add_those_whom_the_mode_lets(const fs::path& path, const struct stat& status) {
    const std::vector<AclEntry> acl = acl_of(path.string());
    unsigned mask = ~0U;
    for (const AclEntry& entry : acl) {
      mask = entry.tag == kAclMask ? entry.permissions : mask;
    }
    for (const AclEntry& entry : acl) {
      if ((entry.permissions & mask & kAclWrite) == 0) {
        continue;
      }
      if (entry.tag == kAclUser) {
        add_user(entry.id);
      } else if (entry.tag == kAclGroup || entry.tag == kAclOwningGroup) {
        add_group(entry.tag == kAclGroup ? entry.id : status.st_gid, path);
      }
    }
    // With a list, these bits of the mode are its mask.
    if (acl.empty() && (status.st_mode & S_IWGRP) != 0) {
      add_group(status.st_gid, path);
    }
    if ((status.st_mode & S_IWOTH) != 0 && !writers_.everybody) {
      writers_.everybody = path.string();
    }
  }

  void add_user(uid_t user) {
    if (user != 0 && user != geteuid() && (user != kNobody || users_have_nobody_)) {
      writers_.users.insert(user);
    }
  }

  void add_group(gid_t group, const fs::path& path) {
    if (group == 0 || (group == kNobody && !groups_have_nobody_)) {
      return;
    }
    if (const std::optional<uid_t> user = only_member_of(group)) {
      add_user(*user);
    } else if (!writers_.group) {
      writers_.group = Writers::Group{group, path.string()};
    }
  }

  const bool users_have_nobody_ = has_a_number_for_nobody("/proc/self/uid_map");
  const bool groups_have_nobody_ = has_a_number_for_nobody("/proc/self/gid_map");
  Writers writers_;
  std::deque<std::string> ahead_;
  fs::path folder_;
  bool sticky_ = false;
};

}  // namespace

Writers writers_of(const std::string& path) {
  return Walk().run(path);
}

}  // namespace annalctl
