// Enters a private appliance, and supervises a program on it. The supervisor stays outside the namespace as a child
// subreaper, so every process that the program leaves becomes its child and dies with it.
#include "appliance/namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>

namespace annal::appliance {

namespace {

namespace fs = std::filesystem;

// Holds the mount namespace's name, so that a copy of the variable outside the namespace has no effect.
constexpr const char* kMarkVariable = "CORIX_PRIVATE_APPLIANCE";

// Holds the supervisor's process id. If that is not this process's parent, the variable was inherited from another
// program.
constexpr const char* kSupervisorVariable = "CORIX_APPLIANCE_SUPERVISOR";

// How long killed processes may take to disappear.
constexpr std::chrono::seconds kExitTimeout{10};

std::string mount_namespace() {
  std::error_code ignored;
  return fs::read_symlink("/proc/self/ns/mnt", ignored).string();
}

std::string failure(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

bool write_text(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  return file.good();
}

}  // namespace

std::string unshare_mounts() {
  const uid_t uid = getuid();
  const gid_t gid = getgid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      return failure("this machine allows no mount namespace, with or without a user namespace");
    }
    // Maps the user to itself, so that permissions mean the same inside.
    const std::string user = std::to_string(uid) + " " + std::to_string(uid) + " 1";
    const std::string group = std::to_string(gid) + " " + std::to_string(gid) + " 1";
    if (!write_text("/proc/self/setgroups", "deny") || !write_text("/proc/self/uid_map", user) ||
        !write_text("/proc/self/gid_map", group)) {
      return failure("cannot map the user into a namespace");
    }
  }
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return failure("cannot keep mounts private (in a chroot, make its root a mount point first)");
  }
  return {};
}

namespace {

std::string mount_empty(const std::string& folder) {
  if (mount("tmpfs", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
    return failure("cannot mount an empty folder at " + folder);
  }
  return {};
}

// Replaces a folder by an empty one with links to all that the machine has there, except one subfolder of our own.
// Unlike a mount point, this subfolder can be removed and created again.
std::string replace_subfolder(const fs::path& subfolder) {
  const fs::path folder = subfolder.parent_path();
  const int original = open_tree(AT_FDCWD, folder.c_str(), OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE);
  if (original < 0) {
    return failure("cannot take a copy of the machine's own " + folder.string());
  }
  // The links lead to the machine's files, which root could write.
  mount_attr read_only{};
  read_only.attr_set = MOUNT_ATTR_RDONLY;
  std::string problem;
  if (mount_setattr(original, "", AT_EMPTY_PATH | AT_RECURSIVE, &read_only, sizeof read_only) != 0) {
    problem = failure("cannot keep the machine's own " + folder.string() + " from being written");
  }
  if (problem.empty()) {
    problem = mount_empty(folder);
  }
  const fs::path machines = folder / ".machine";
  if (problem.empty() && mkdir(machines.c_str(), 0755) == 0 && mkdir(subfolder.c_str(), 0755) == 0 &&
      move_mount(original, "", AT_FDCWD, machines.c_str(), MOVE_MOUNT_F_EMPTY_PATH) == 0) {
    for (const fs::directory_entry& entry : fs::directory_iterator(machines)) {
      const fs::path name = entry.path().filename();
      if (name != subfolder.filename()) {
        // Copies a link instead of linking to it: a relative link works only from its own folder.
        fs::create_symlink(entry.is_symlink() ? fs::read_symlink(entry.path()) : ".machine" / name, folder / name);
      }
    }
  } else if (problem.empty()) {
    problem = failure("cannot show the machine's own " + folder.string());
  }
  close(original);
  return problem;
}

}  // namespace

bool inside_private_appliance() {
  const char* mark = std::getenv(kMarkVariable);
  return mark != nullptr && mark == mount_namespace();
}

std::string enter_private_appliance() {
  std::error_code none;
  const fs::path current = fs::current_path(none);
  std::string problem = unshare_mounts();
  if (problem.empty()) {
    problem = replace_subfolder(kLogFolder);
  }
  for (const char* folder : kCommandFolders) {
    if (problem.empty()) {
      problem = mount_empty(folder);
    }
  }
  if (problem.empty() && setenv(kMarkVariable, mount_namespace().c_str(), 1) != 0) {
    problem = failure("cannot set the environment");
  }
  // The current folder is still the machine's own, under the new mounts.
  if (problem.empty() && (current.empty() || chdir(current.c_str()) != 0) && chdir("/") != 0) {
    problem = failure("cannot leave the current folder");
  }
  return problem;
}

namespace {

[[noreturn]] void exec_supervised(pid_t supervisor, const char* program, char** argv) {
  std::string problem = inside_private_appliance() ? "" : enter_private_appliance();
  // Must come last: a change of credentials would clear the death signal.
  if (problem.empty() && (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != supervisor ||
                          setenv(kSupervisorVariable, std::to_string(supervisor).c_str(), 1) != 0)) {
    problem = "cannot follow the supervisor";
  }
  if (problem.empty()) {
    execvp(program, argv);
    problem = failure(program);
  }
  std::fprintf(stderr, "Cannot run on a private appliance: %s\n", problem.c_str());
  _exit(kCannotRun);
}

}  // namespace

namespace {

// The kernel's list of this process's children.
std::string own_children_file() {
  return "/proc/self/task/" + std::to_string(getpid()) + "/children";
}

std::vector<pid_t> read_pids(const std::string& children) {
  std::ifstream file(children);
  return {std::istream_iterator<pid_t>(file), {}};
}

// Every orphaned descendant becomes the supervisor's child, so this repeats until there are none.
void kill_descendants() {
  const auto deadline = std::chrono::steady_clock::now() + kExitTimeout;
  for (pid_t ended = 0; ended != -1 && std::chrono::steady_clock::now() < deadline;) {
    ended = waitpid(-1, nullptr, WNOHANG);
    if (ended == 0) {
      for (const pid_t child : read_pids(own_children_file())) {
        kill(child, SIGKILL);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
}

// Tells a supervisor that its parent was killed; it then kills the program.
const int kParentDied = SIGRTMIN;

volatile std::sig_atomic_t g_child = 0;

extern "C" void forward_signal(int signal) {
  kill(g_child, signal == kParentDied ? SIGKILL : signal);
}

constexpr int kForwarded[] = {SIGHUP, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM};

// A terminal sends these to the program as well, so they are not forwarded.
constexpr int kSentByTerminal[] = {SIGINT, SIGQUIT};

// Blocks them until forward_signals_and_wait() is ready. Returns the previous mask.
sigset_t block_signals() {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  for (const int signal : kForwarded) {
    sigaddset(&blocked, signal);
  }
  for (const int signal : kSentByTerminal) {
    sigaddset(&blocked, signal);
  }
  sigaddset(&blocked, kParentDied);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  return before;
}

// Forwards this process's signals to the child, waits for it and returns its exit status.
int forward_signals_and_wait(pid_t child, const sigset_t& unblocked) {
  g_child = child;
  struct sigaction forwarding {};
  forwarding.sa_handler = forward_signal;
  sigemptyset(&forwarding.sa_mask);
  for (const int signal : kForwarded) {
    struct sigaction before {};
    // A signal that is ignored, as under nohup, stays ignored; the program has inherited that.
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      sigaction(signal, &forwarding, nullptr);
    }
  }
  sigaction(kParentDied, &forwarding, nullptr);
  for (const int signal : kSentByTerminal) {
    std::signal(signal, SIG_IGN);
  }
  sigprocmask(SIG_SETMASK, &unblocked, nullptr);
  int status = 0;
  for (pid_t ended = 0; ended != child;) {
    ended = waitpid(-1, &status, 0);
    if (ended == -1 && errno != EINTR) {
      return kCannotRun;
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int report_fork_failure() {
  std::fprintf(stderr, "Cannot run on a private appliance: %s\n", failure("cannot create a process").c_str());
  return kCannotRun;
}

// The supervisor's own code. It outlives the program and its own parent, and nothing outlives it.
int supervise(pid_t parent, const char* program, char** argv, const sigset_t& unblocked) {
  const pid_t supervisor = getpid();
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0 || prctl(PR_SET_PDEATHSIG, kParentDied) != 0 || getppid() != parent) {
    return report_fork_failure();
  }
  const pid_t program_process = fork();
  if (program_process < 0) {
    return report_fork_failure();
  }
  if (program_process == 0) {
    sigprocmask(SIG_SETMASK, &unblocked, nullptr);
    exec_supervised(supervisor, program, argv);
  }
  const int status = forward_signals_and_wait(program_process, unblocked);
  kill_descendants();
  return status;
}

}  // namespace

int run_supervised_on_private_appliance(const char* program, char** argv) {
  const sigset_t unblocked = block_signals();
  const pid_t parent = getpid();
  const pid_t supervisor = fork();
  if (supervisor < 0) {
    return report_fork_failure();
  }
  if (supervisor == 0) {
    _exit(supervise(parent, program, argv, unblocked));
  }
  return forward_signals_and_wait(supervisor, unblocked);
}

bool is_supervised() {
  const char* supervisor = std::getenv(kSupervisorVariable);
  return supervisor != nullptr && supervisor == std::to_string(getppid());
}

namespace {

std::string supervisors_children_file() {
  const std::string supervisor = std::to_string(getppid());
  return "/proc/" + supervisor + "/task/" + supervisor + "/children";
}

}  // namespace

std::vector<pid_t> strays() {
  std::vector<pid_t> found = read_pids(supervisors_children_file());
  std::erase(found, getpid());
  return found;
}

bool kill_strays() {
  if (access(supervisors_children_file().c_str(), R_OK) != 0) {
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + kExitTimeout;
  for (std::vector<pid_t> left = strays(); !left.empty(); left = strays()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    for (const pid_t process : left) {
      kill(process, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace annal::appliance
