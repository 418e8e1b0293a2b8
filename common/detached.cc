// Starts a detached command through two children that share the caller's memory. The first child starts the command and
// exits; the caller waits only for that. Between creating a child and exec, only async-signal-safe calls are allowed,
// because the caller's other threads may hold any lock at that moment.
#include "common/detached.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>

#include "common/kept_errno.h"
#include "common/not_cancelled.h"

// For functions that run on a child's stack: the sanitizers know only the thread's own.
#define ANNAL_RUNS_ON_CHILD_STACK __attribute__((no_sanitize_address, no_sanitize_thread))

namespace annal {

namespace {

constexpr int kExecFailed = 1;

// One mapping with the stacks of both children, which run a few small functions each. The caller's own stack may be as
// small as the system allows, so it is not used. If the address space has no room for large stacks, small ones will do.
class ChildStacks {
 public:
  ChildStacks() noexcept {
    for (const std::size_t size : kSizes) {
      void* const memory =
          mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
      if (memory != MAP_FAILED) {
        memory_ = static_cast<char*>(memory);
        size_ = size;
        return;
      }
    }
  }
  ~ChildStacks() {
    if (memory_ != nullptr) {
      munmap(memory_, 2 * size_);
    }
  }
  ChildStacks(const ChildStacks&) = delete;
  ChildStacks& operator=(const ChildStacks&) = delete;

  // Stacks grow down on every machine this runs on. Null if there was no room.
  [[nodiscard]] void* first() const noexcept { return memory_ != nullptr ? memory_ + size_ : nullptr; }
  [[nodiscard]] void* second() const noexcept { return memory_ != nullptr ? memory_ + 2 * size_ : nullptr; }

 private:
  static constexpr std::size_t kSizes[] = {std::size_t{256} * 1024, std::size_t{32} * 1024};
  char* memory_ = nullptr;
  std::size_t size_ = 0;
};

using SignalSet = unsigned char[_NSIG / 8];

// Blocks every signal of this thread, including those that the C library reserves: a handler of the caller's must not
// run in a child that shares its memory.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() noexcept {
    SignalSet all;
    for (unsigned char& eight : all) {
      eight = 0xFF;
    }
    syscall(SYS_rt_sigprocmask, SIG_BLOCK, all, callers_, sizeof all);
  }
  ~AllSignalsBlocked() { restore(); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

  ANNAL_RUNS_ON_CHILD_STACK void restore() const noexcept {
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, callers_, nullptr, sizeof callers_);
  }

 private:
  SignalSet callers_;
};

struct Task {
  char* const* argv;
  const LaunchOptions* options;
  const ChildStacks* stacks;
  const AllSignalsBlocked* signals;
};

// Suspends the caller until the child exits or calls exec; nothing is copied. Without a stack, the child gets a copy of
// the caller's memory, stack included. _Fork makes that copy, because fork would run the caller's atfork handlers,
// which may do what a child must not.
pid_t create_child(int (*run)(void*), void* stack, Task& task) noexcept {
  if (stack != nullptr) {
    return clone(run, stack, CLONE_VM | CLONE_VFORK | SIGCHLD, &task);
  }
  const pid_t child = _Fork();
  if (child == 0) {
    run(&task);  // does not return
  }
  return child;
}

ANNAL_RUNS_ON_CHILD_STACK void redirect_streams_to_null(LaunchOptions::Streams streams) noexcept {
  if (streams == LaunchOptions::Streams::kShared) {
    const int null = open("/dev/null", O_RDWR);
    if (null < 0) {
      return;
    }
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (null > STDERR_FILENO) {
      close(null);
    }
    return;
  }
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
  close(STDERR_FILENO);
  // Each open takes the lowest free descriptor, so these become 0, 1 and 2.
  if (open("/dev/null", O_RDONLY) == STDIN_FILENO && open("/dev/null", O_WRONLY) == STDOUT_FILENO) {
    dup2(STDOUT_FILENO, STDERR_FILENO);
  }
}

ANNAL_RUNS_ON_CHILD_STACK void reset_callers_handlers() noexcept {
  for (int signal = 1; signal < _NSIG; ++signal) {
    struct sigaction action;
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN && action.sa_handler != SIG_DFL) {
      action.sa_handler = SIG_DFL;
      action.sa_flags = 0;
      sigaction(signal, &action, nullptr);
    }
  }
}

ANNAL_RUNS_ON_CHILD_STACK int run_command(void* argument) noexcept {
  const Task& task = *static_cast<Task*>(argument);
  reset_callers_handlers();
  if (task.options->session == LaunchOptions::Session::kOwn) {
    setsid();
  }
  redirect_streams_to_null(task.options->streams);
  task.signals->restore();
  if (task.options->script == LaunchOptions::Script::kRun) {
    execvp(task.argv[0], task.argv);
  } else {
    execv(task.argv[0], task.argv);
  }
  _exit(kExecFailed);
}

ANNAL_RUNS_ON_CHILD_STACK int start_command_and_exit(void* argument) noexcept {
  Task& task = *static_cast<Task*>(argument);
  if (task.options->first_child == LaunchOptions::FirstChild::kClosesStreams) {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
  }
  const pid_t command = create_child(run_command, task.stacks->second(), task);
  _exit(command < 0 ? task.options->status_without_command : 0);
}

void wait_for(pid_t child) noexcept {
  while (waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
  }
}

}  // namespace

bool run_detached(const ArgumentVector& arguments, const LaunchOptions& options) noexcept {
  const KeptErrno kept;  // the children share it
  if (!arguments.complete()) {
    return false;
  }
  const ChildStacks stacks;
  const NotCancelled not_cancelled;
  pid_t child = -1;
  {
    const AllSignalsBlocked signals;
    Task task{arguments.argv(), &options, &stacks, &signals};
    child = create_child(start_command_and_exit, stacks.first(), task);
  }
  if (child < 0) {
    return false;
  }
  wait_for(child);
  return true;
}

}  // namespace annal
