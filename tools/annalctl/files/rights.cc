// Decides whose rights a log is used with, and assumes them.
#include "tools/annalctl/files/rights.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <set>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"
#include "tools/annalctl/files/writers.h"

namespace annalctl {

namespace {

constexpr gid_t kNoGroup = 65534;

std::optional<std::string> taken_from;

using Capabilities = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

bool get_or_set_capabilities(long call, Capabilities& capabilities) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  return syscall(call, &header, capabilities.data()) == 0;
}

// Whether the caller has more rights than its user: any capability counts, because most lead to the others.
bool is_privileged() {
  Capabilities capabilities{};
  return geteuid() == 0 || !get_or_set_capabilities(SYS_capget, capabilities) || capabilities[0].effective != 0 ||
         capabilities[1].effective != 0;
}

// Not thread-safe. The process has one thread when it assumes rights.
const struct passwd* known_user(uid_t user) {
  return getpwuid(user);  // NOLINT(concurrency-mt-unsafe)
}

const struct group* known_group(gid_t group) {
  return getgrgid(group);  // NOLINT(concurrency-mt-unsafe)
}

Rights rights_of(uid_t user, const std::string& path) {
  Rights rights{.user = user, .group = kNoGroup, .groups = {}, .name = fmt::to_string(user)};
  if (const struct passwd* const known = known_user(user)) {
    rights.name = known->pw_name;
    rights.group = known->pw_gid;
    int count = 0;
    static_cast<void>(getgrouplist(known->pw_name, rights.group, nullptr, &count));
    rights.groups.resize(static_cast<std::size_t>(count));
    if (getgrouplist(known->pw_name, rights.group, rights.groups.data(), &count) < 0) {
      count = 0;
    }
    rights.groups.resize(static_cast<std::size_t>(count));
    return rights;
  }
  // A user without a name is in no group, and most likely has the folder's. He does not get root's.
  struct stat status {};
  if (stat(folder_of(path).c_str(), &status) == 0 && status.st_uid == user && status.st_gid != 0) {
    rights.group = status.st_gid;
  }
  return rights;
}

std::string name_of_group(gid_t group) {
  const struct group* const known = known_group(group);
  return known != nullptr ? known->gr_name : fmt::to_string(group);
}

std::string own_name() {
  const struct passwd* const known = known_user(geteuid());
  return known != nullptr ? known->pw_name : fmt::format("user {}", geteuid());
}

// The command for one of these users.
std::string command_as(const Log& log, const std::set<uid_t>& users) {
  std::string switching = "sudo -u USER";
  if (!users.empty()) {
    const Rights rights = rights_of(*users.begin(), log.path);
    switching = known_user(rights.user) != nullptr
                    ? "sudo -u " + rights.name
                    : fmt::format("setpriv --reuid={} --regid={} --clear-groups", rights.user, rights.group);
  }
  return fmt::format("'{} annalctl {}{} …'", switching, log.name, log.options);
}

[[noreturn]] void refuse(const Log& log, const std::string& why) {
  throw RightsFailure(fmt::format("did not open {}: {}", log.path, why));
}

[[noreturn]] void cannot_take(const Rights& rights) {
  throw RightsFailure(
      fmt::format("cannot assume the rights of {}, who may write the log: {}", rights.name, system_message(errno)));
}

bool has_only(const Rights& rights) {
  uid_t user = 0;
  uid_t effective_user = 0;
  uid_t saved_user = 0;
  gid_t group = 0;
  gid_t effective_group = 0;
  gid_t saved_group = 0;
  if (getresuid(&user, &effective_user, &saved_user) != 0 || getresgid(&group, &effective_group, &saved_group) != 0) {
    return false;
  }
  Capabilities capabilities{};
  bool only = get_or_set_capabilities(SYS_capget, capabilities);
  for (const __user_cap_data_struct& part : capabilities) {
    only = only && part.effective == 0 && part.permitted == 0 && part.inheritable == 0;
  }
  for (const uid_t one : {user, effective_user, saved_user}) {
    only = only && one == rights.user;
  }
  for (const gid_t one : {group, effective_group, saved_group}) {
    only = only && one == rights.group;
  }
  return only && getgroups(0, nullptr) == static_cast<int>(rights.groups.size()) && setuid(0) != 0;
}

}  // namespace

std::optional<Rights> rights_needed_for(const Log& log) {
  const Writers writers = writers_of(log.path);
  if (writers.everybody) {
    refuse(log, fmt::format("every user may write to {}, and could have {}'s other files changed and deleted with a "
                            "journal beside the log (move the log into a folder that only its owner may write to, as "
                            "'mkdir -m 700 FOLDER' makes one)",
                            *writers.everybody, own_name()));
  }
  // Members of a group that shares a log trust each other, and a user without privileges risks only his own rights.
  if (!is_privileged()) {
    return {};
  }
  const bool several = writers.users.size() > 1;
  if (writers.group || several) {
    const std::string who = writers.group ? fmt::format("members of the group {} may write to {}",
                                                        name_of_group(writers.group->id), writers.group->place)
                                          : "several users may write it or a folder above it";
    refuse(log, fmt::format("{}, and could have any file deleted with a journal beside the log (run this as one of "
                            "them: {})",
                            who, command_as(log, writers.users)));
  }
  if (writers.users.empty()) {
    return {};
  }
  return rights_of(*writers.users.begin(), log.path);
}

void take_on(const Rights& rights) {
  // In this order: each step gives up the right to do the one before.
  Capabilities none{};
  if (setgroups(rights.groups.size(), rights.groups.data()) != 0 ||
      setresgid(rights.group, rights.group, rights.group) != 0 ||
      setresuid(rights.user, rights.user, rights.user) != 0 || !get_or_set_capabilities(SYS_capset, none)) {
    cannot_take(rights);
  }
  // A command that this process starts runs as that user, and must not type into the terminal. A session leader cannot
  // leave its terminal without ending everything that runs there.
  if (getsid(0) != getpid()) {
    const int terminal = open("/dev/tty", O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (terminal >= 0) {
      static_cast<void>(ioctl(terminal, TIOCNOTTY));
      close(terminal);
    }
  }
  // That user must not reach into what this process has open.
  if (prctl(PR_SET_DUMPABLE, 0) != 0) {
    cannot_take(rights);
  }
  if (!has_only(rights)) {
    errno = EPERM;
    cannot_take(rights);
  }
  taken_from = rights.name;
}

void take_rights_for(const Log& log) {
  if (const std::optional<Rights> rights = rights_needed_for(log)) {
    take_on(*rights);
  }
}

bool with_rights_for(const Log& log, const std::function<bool()>& work) {
  const std::optional<Rights> rights = rights_needed_for(log);
  if (!rights) {
    return work();
  }
  const pid_t child = fork();
  if (child == 0) {
    bool done = false;
    try {
      take_on(*rights);
      done = work();
    } catch (const WriteFailure& failure) {
      if (!failure.reader_gone()) {
        complain(failure.what());
      }
    } catch (const std::exception& failure) {
      complain(failure.what());
    }
    _exit(done ? kSuccess : kFailure);
  }
  int status = 0;
  pid_t ended = -1;
  do {
    ended = child < 0 ? -1 : waitpid(child, &status, 0);
  } while (ended < 0 && child > 0 && errno == EINTR);
  if (ended < 0) {
    throw RightsFailure(fmt::format("cannot assume the rights of {}: {}", rights->name, system_message(errno)));
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == kSuccess;
}

std::optional<std::string> rights_taken_from() {
  return taken_from;
}

}  // namespace annalctl
