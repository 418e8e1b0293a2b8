// Forwarding runs commands inside a caller's program. Whatever the program has done to its signals, descriptors,
// threads or limits, it must not notice.
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/support/few_processes.h"
#include "tests/support/forwarding.h"
#include "tests/support/from_library.h"
#include "tests/support/little_memory.h"

namespace {

std::atomic<bool> a_byte_a_write = false;
std::atomic<int> waits_to_interrupt = 0;
std::atomic<bool> writing_is_watched = false;
std::set<int> inheritable_while_writing;
std::atomic<int> copies_of_the_caller = 0;

}  // namespace

// Replaces the C library's: a pipe usually takes a write whole, but need not.
extern "C" ssize_t write(int descriptor, const void* data, size_t size) {
  if (writing_is_watched.exchange(false)) {
    inheritable_while_writing = annal::test::inheritable_descriptors();
  }
  return syscall(SYS_write, descriptor, data, a_byte_a_write ? std::min<size_t>(size, 1) : size);
}

// Counts the children that do not share this process's memory.
extern "C" pid_t _Fork() noexcept {
  ++copies_of_the_caller;
  return reinterpret_cast<pid_t (*)()>(annal::test::next_function("_Fork"))();
}

// The same for waitpid: a child has usually ended by then, so a signal seldom arrives during the wait.
extern "C" pid_t waitpid(pid_t process, int* status, int options) {
  if (waits_to_interrupt > 0) {
    --waits_to_interrupt;
    errno = EINTR;
    return -1;
  }
  return wait4(process, status, options, nullptr);
}

namespace annal::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kRecorderInstalled = "/sbin/orcapro_conn_log_tool";
constexpr const char* kRecorderTool = "/sbin/orcapro_log_tool";

constexpr const char* kNotification = R"({"type":1,"level":2,"message":"Fan 2 failed."})";

EventRecord warning() {
  EventRecord record{};
  record.event_type = 1;
  record.event_timet = 1705361400;
  std::strcpy(record.event_user, "admin");
  std::strcpy(record.event_ip, "10.0.0.5");
  std::strcpy(record.event_comp, "nas-1");
  std::strcpy(record.event_desc, "Fan 2 failed.");
  return record;
}

// An event before it is stored: its fields are not filled in yet.
const Row& log_centre_vector() {
  static const Row vector{kEvsh,
                          "lumo.add_local_event_log",
                          "level=2",
                          "timestamp=1705361400",
                          "user=admin",
                          "ip=10.0.0.5",
                          "computer=nas-1",
                          "message=Fan 2 failed."};
  return vector;
}

const Row& recorder_vector() {
  static const Row vector{kRecorderTool, "-t",       "1",  "-l",    "1705361400", "-u",           "admin",
                          "-p",          "10.0.0.5", "-m", "nas-1", "-a",         "Fan 2 failed."};
  return vector;
}

// ---- the forwarders ----

void notify() {
  EXPECT_EQ(annal_report_event(1, "Fan 2 failed."), ANNAL_OK);
}

// More than a pipe's capacity.
void notify_at_length() {
  EXPECT_EQ(annal_report_event(1, std::string(100000, 'x').c_str()), ANNAL_OK);
}

void send_to_log_centre() {
  const EventRecord record = warning();
  SendEventToLumod(&record);
}

void send_to_recorder() {
  const EventRecord record = warning();
  EXPECT_EQ(send_event_log_to_orca(&record, 1705361400), ANNAL_OK);
}

void submit() {
  EventRecord record = warning();
  EXPECT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
}

void send_to_all() {
  notify();
  send_to_log_centre();
  send_to_recorder();
}

struct Forwarder {
  const char* name;
  void (*run)();
  std::size_t commands;  // the number of commands it runs
};

constexpr Forwarder kForwarders[] = {
    {"NotificationCentre", notify, 1},
    {"LogCentre", send_to_log_centre, 1},
    {"Recorder", send_to_recorder, 1},
    {"Submission", submit, 3},
};

class Forwarding : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* path : {kEvsh, kRecorderInstalled, kRecorderTool}) {
      commands.install(path);
    }
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  }

  static std::string stored_events() { return value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"); }

  // The commands' arguments, sorted, because detached commands run in any order.
  static std::vector<Row> vectors(const std::vector<CommandRun>& runs) {
    std::vector<Row> found;
    for (const CommandRun& run : runs) {
      found.push_back(run.arguments);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  static std::vector<Row> all_vectors() {
    std::vector<Row> all{{kEvsh, "-0", "nc.send_message"}, log_centre_vector(), recorder_vector()};
    std::sort(all.begin(), all.end());
    return all;
  }

  // Expects exactly the three commands of send_to_all.
  static void expect_all_commands() {
    const auto runs = Commands::wait_for(3);
    EXPECT_EQ(vectors(runs), all_vectors());
    for (const CommandRun& run : runs) {
      EXPECT_EQ(run.input, run.arguments.at(1) == "-0" ? kNotification : "");
    }
  }
};

class ForwardingBy : public Forwarding, public testing::WithParamInterface<Forwarder> {
 protected:
  // Waits for the detached commands, which the next test would otherwise see.
  static void expect_runs(std::size_t times) {
    const std::size_t all = times * GetParam().commands;
    EXPECT_EQ(Commands::wait_for(all).size(), all);
  }
};
INSTANTIATE_TEST_SUITE_P(, ForwardingBy, testing::ValuesIn(kForwarders),
                         [](const testing::TestParamInfo<Forwarder>& forwarder) { return forwarder.param.name; });

class ForwardingWithoutStoringBy : public ForwardingBy {};

// The last one stores.
INSTANTIATE_TEST_SUITE_P(, ForwardingWithoutStoringBy,
                         testing::ValuesIn(std::begin(kForwarders), std::prev(std::end(kForwarders))),
                         [](const testing::TestParamInfo<Forwarder>& forwarder) { return forwarder.param.name; });

// ---- signals that the caller gets ----

sigset_t set_of(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) {
    sigaddset(&set, signal);
  }
  return set;
}

bool is_pending(int signal) {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

std::set<int> blocked_signals() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  std::set<int> found;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (sigismember(&mask, signal) == 1) {
      found.insert(signal);
    }
  }
  return found;
}

void block(std::initializer_list<int> signals) {
  const sigset_t set = set_of(signals);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &set, nullptr), 0);
}

void reset_sigpipe() {
  set_handler(SIGPIPE, SIG_DFL);
  const sigset_t set = set_of({SIGPIPE});
  ASSERT_EQ(pthread_sigmask(SIG_UNBLOCK, &set, nullptr), 0);
}

// Commands that do not read their input.
struct Command {
  const char* name;
  void (*prepare)();
};

constexpr Command kDeaf[] = {
    {"IsMissing", [] { std::filesystem::remove(kEvsh); }},
    {"EndsAtOnce", [] { install_script(kEvsh, "#!/bin/sh\nexit 0\n"); }},
    {"ClosesItsInput", [] { install_script(kEvsh, "#!/bin/sh\nexec <&-\nsleep 0.1\n"); }},
    {"NeverReads", [] { Commands::install(kEvsh, {.reads_input = false, .takes = 100ms}); }},
    {"ReadsSome", [] { install_script(kEvsh, "#!/bin/sh\nread -r line\nhead -c 10 >/dev/null\n"); }},
};

class ForwardingToACommandThat : public Forwarding, public testing::WithParamInterface<Command> {};
INSTANTIATE_TEST_SUITE_P(, ForwardingToACommandThat, testing::ValuesIn(kDeaf),
                         [](const testing::TestParamInfo<Command>& command) { return command.param.name; });

TEST_P(ForwardingToACommandThat, LeavesTheCallerAlive) {
  GetParam().prepare();
  survive([] {
    reset_sigpipe();
    notify();
    notify_at_length();
    submit();
    EXPECT_FALSE(is_pending(SIGPIPE));
    EXPECT_TRUE(blocked_signals().empty());
    expect_no_child_left();
  });
  EXPECT_EQ(stored_events(), "1");
}

// Only the caller's own signal is still pending.
TEST_P(ForwardingToACommandThat, LeavesTheCallersOwnSigpipePending) {
  GetParam().prepare();
  survive([] {
    reset_sigpipe();
    block({SIGPIPE, SIGUSR2});
    raise(SIGPIPE);
    notify_at_length();
    submit();
    EXPECT_TRUE(is_pending(SIGPIPE));
    EXPECT_EQ(blocked_signals(), (std::set<int>{SIGPIPE, SIGUSR2}));
    const sigset_t sigpipe = set_of({SIGPIPE});
    const timespec at_once{};
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &at_once), SIGPIPE);
    EXPECT_FALSE(is_pending(SIGPIPE));
  });
}

TEST_P(ForwardingToACommandThat, LeavesACallerThatBlocksSigpipeNone) {
  GetParam().prepare();
  survive([] {
    reset_sigpipe();
    block({SIGPIPE});
    notify_at_length();
    submit();
    EXPECT_FALSE(is_pending(SIGPIPE));
    EXPECT_EQ(blocked_signals(), (std::set<int>{SIGPIPE}));
  });
}

volatile sig_atomic_t handled = 0;

void count_signal(int /*signal*/) {
  handled = handled + 1;
}

TEST_P(ForwardingToACommandThat, KeepsSigpipeFromTheCallersHandler) {
  GetParam().prepare();
  survive([] {
    reset_sigpipe();
    set_handler(SIGPIPE, count_signal);
    notify_at_length();
    submit();
    EXPECT_EQ(handled, 0);
    raise(SIGPIPE);
    EXPECT_EQ(handled, 1);
  });
}

// Signals the caller while it writes the notification, and then reads it or not.
struct Sender {
  const char* name;
  const char* script;
};

constexpr Sender kSenders[] = {
    {"Reads", "#!/bin/sh\nsleep 0.05\nkill -PIPE \"$CALLER\"\nexec cat >/dev/null\n"},
    {"ClosesItsInput", "#!/bin/sh\nsleep 0.05\nkill -PIPE \"$CALLER\"\nexec <&-\n"},
};

class ForwardingToASenderOfSigpipeThat : public Forwarding, public testing::WithParamInterface<Sender> {
 protected:
  void SetUp() override {
    Forwarding::SetUp();
    install_script(kEvsh, GetParam().script);
  }
};
INSTANTIATE_TEST_SUITE_P(, ForwardingToASenderOfSigpipeThat, testing::ValuesIn(kSenders),
                         [](const testing::TestParamInfo<Sender>& sender) { return sender.param.name; });

TEST_P(ForwardingToASenderOfSigpipeThat, DeliversItOnceToTheCallersHandler) {
  survive([] {
    setenv("CALLER", std::to_string(getpid()).c_str(), 1);
    reset_sigpipe();
    set_handler(SIGPIPE, count_signal);
    notify_at_length();
    EXPECT_EQ(handled, 1);
    EXPECT_FALSE(is_pending(SIGPIPE));
  });
}

TEST_P(ForwardingToASenderOfSigpipeThat, LeavesItPendingForACallerThatBlocksIt) {
  survive([] {
    setenv("CALLER", std::to_string(getpid()).c_str(), 1);
    reset_sigpipe();
    block({SIGPIPE});
    notify_at_length();
    const sigset_t sigpipe = set_of({SIGPIPE});
    const timespec at_once{};
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &at_once), SIGPIPE);
    EXPECT_FALSE(is_pending(SIGPIPE));
  });
}

// Sent to the process, not to a thread; the kernel keeps these separate.
TEST_P(ForwardingToACommandThat, LeavesAProcessDirectedSigpipePending) {
  GetParam().prepare();
  survive([] {
    reset_sigpipe();
    block({SIGPIPE});
    kill(getpid(), SIGPIPE);
    notify_at_length();
    const sigset_t sigpipe = set_of({SIGPIPE});
    const timespec at_once{};
    EXPECT_EQ(sigtimedwait(&sigpipe, nullptr, &at_once), SIGPIPE);
    EXPECT_FALSE(is_pending(SIGPIPE));
  });
}

// Other signals are delivered while a notification is written.
TEST_F(Forwarding, DeliversOtherSignals) {
  install_script(kEvsh, "#!/bin/sh\nkill -USR1 \"$CALLER\"\nexec cat\n");
  survive([] {
    setenv("CALLER", std::to_string(getpid()).c_str(), 1);
    set_handler(SIGUSR1, count_signal, SA_RESTART);
    notify();
    EXPECT_EQ(handled, 1);
  });
}

TEST_P(ForwardingBy, KeepsTheCallersMask) {
  survive([] {
    GetParam().run();
    EXPECT_EQ(blocked_signals(), std::set<int>());
    block({SIGHUP, SIGUSR1, SIGRTMIN, SIGRTMAX});
    GetParam().run();
    EXPECT_EQ(blocked_signals(), (std::set<int>{SIGHUP, SIGUSR1, SIGRTMIN, SIGRTMAX}));
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    const std::set<int> every = blocked_signals();
    GetParam().run();
    EXPECT_EQ(blocked_signals(), every);
  });
  expect_runs(3);
}

// ---- children that the caller does not want, or hears of ----

struct ChildHandling {
  const char* name;
  void (*handler)(int);
  int flags;
};

const ChildHandling kChildHandlings[] = {
    {"IgnoresThem", SIG_IGN, 0},
    {"KeepsNoZombies", SIG_DFL, SA_NOCLDWAIT},
    {"KeepsNoZombiesAndCountsThem", count_signal, SA_NOCLDWAIT},
    {"CountsThem", count_signal, 0},
    {"CountsThemAndGoesOn", count_signal, SA_RESTART},
};

class ForwardingWithSigchldSet : public Forwarding, public testing::WithParamInterface<ChildHandling> {};
INSTANTIATE_TEST_SUITE_P(, ForwardingWithSigchldSet, testing::ValuesIn(kChildHandlings),
                         [](const testing::TestParamInfo<ChildHandling>& handling) { return handling.param.name; });

TEST_P(ForwardingWithSigchldSet, StoresAndForwardsTheEvent) {
  survive([] {
    set_handler(SIGCHLD, GetParam().handler, GetParam().flags);
    send_to_all();
    expect_no_child_left();
    expect_all_commands();
    Commands::reset();
    submit();
    expect_no_child_left();
    EXPECT_EQ(Commands::wait_for(3).size(), 3U);
    struct sigaction action {};
    sigaction(SIGCHLD, nullptr, &action);
    EXPECT_EQ(action.sa_handler, GetParam().handler);
  });
  EXPECT_EQ(stored_events(), "1");
}

TEST_P(ForwardingBy, LeavesTheCallersOtherChildrenAlone) {
  survive([] {
    const pid_t ended = fork();
    if (ended == 0) {
      _exit(7);
    }
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(ended), &info, WEXITED | WNOWAIT);
    GetParam().run();
    int status = 0;
    EXPECT_EQ(waitpid(ended, &status, WNOHANG), ended);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    expect_no_child_left();
  });
  expect_runs(1);
}

// A signal that interrupts every wait of this process.
class Storm {
 public:
  Storm() {
    set_handler(SIGALRM, count_signal);
    set_interval(1000);
  }
  ~Storm() { set_interval(0); }
  Storm(const Storm&) = delete;
  Storm& operator=(const Storm&) = delete;

 private:
  static void set_interval(suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
};

TEST_P(ForwardingBy, ContinuesAfterInterruptedWaits) {
  constexpr std::size_t kTimes = 20;
  survive([] {
    set_handler(SIGCHLD, count_signal);
    for (std::size_t i = 0; i < kTimes; ++i) {
      const Storm storm;
      GetParam().run();
    }
    EXPECT_GT(handled, static_cast<int>(kTimes));
    expect_no_child_left();
    EXPECT_EQ(Commands::wait_for(kTimes * GetParam().commands).size(), kTimes * GetParam().commands);
  });
}

TEST_F(Forwarding, WaitsForItsChildDespiteInterrupts) {
  survive([] {
    for (const auto send : {send_to_log_centre, send_to_recorder}) {
      waits_to_interrupt = 3;
      send();
      EXPECT_EQ(waits_to_interrupt, 0);
      waits_to_interrupt = 0;
      expect_no_child_left();
    }
  });
}

TEST_F(Forwarding, WaitsForItsCommandWhenInterrupted) {
  commands.install(kEvsh, {.takes = 200ms});
  survive([] {
    const auto started = steady_clock::now();
    {
      const Storm storm;
      notify();
    }
    EXPECT_GE(steady_clock::now() - started, 200ms);
    expect_no_child_left();
  });
}

void expect_the_long_message_in(const char* path) {
  std::ifstream file(path);
  const std::string input(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(input.size(), std::string_view(R"({"type":1,"level":2,"message":""})").size() + 100000);
  EXPECT_TRUE(input.ends_with("x\"}"));
}

// The command reads late, so the writer waits and is interrupted.
TEST_F(Forwarding, WritesAMessageWholeWhenInterrupted) {
  install_script(kEvsh, "#!/bin/sh\nsleep 0.1\nexec cat >/etc/logs/input\n");
  survive([] {
    const Storm storm;
    notify_at_length();
  });
  expect_the_long_message_in("/etc/logs/input");
}

TEST_F(Forwarding, WritesAMessageWholeWhenEachWriteTakesAByte) {
  install_script(kEvsh, "#!/bin/sh\nexec cat >/etc/logs/input\n");
  survive([] {
    a_byte_a_write = true;
    notify_at_length();
  });
  expect_the_long_message_in("/etc/logs/input");
}

// ---- handlers and the children that share the caller's memory ----

volatile pid_t handlers_home = 0;
volatile sig_atomic_t handled_at_home = 0;
volatile sig_atomic_t handled_elsewhere = 0;

void note_process(int /*signal*/) {
  if (getpid() == handlers_home) {
    handled_at_home = handled_at_home + 1;
  } else {
    handled_elsewhere = handled_elsewhere + 1;
  }
}

// Signals that a program without a handler ignores, so the commands survive them.
constexpr int kHarmless[] = {SIGURG, SIGWINCH, SIGCONT, SIGCHLD};

// Another process that sends them continuously to this process's group, and so to its children.
class GroupStorm {
 public:
  GroupStorm() : process_(fork()) {
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      set_handler(SIGALRM, SIG_DFL);
      alarm(60);
      const pid_t group = getpgrp();
      setpgid(0, 0);
      for (;;) {
        for (const int signal : kHarmless) {
          kill(-group, signal);
        }
        sched_yield();
      }
    }
  }
  ~GroupStorm() {
    kill(process_, SIGKILL);
    while (waitpid(process_, nullptr, 0) == -1 && errno == EINTR) {
    }
  }
  GroupStorm(const GroupStorm&) = delete;
  GroupStorm& operator=(const GroupStorm&) = delete;

 private:
  pid_t process_;
};

// Uses the system's own commands: an instrumented one does not survive the storm.
TEST_P(ForwardingBy, RunsNoHandlerOfTheCallersInAChild) {
  install_script(kEvsh, "#!/bin/sh\nif [ \"$1\" = -0 ]; then exec cat; fi\n");
  install_script(kRecorderTool, "#!/bin/sh\n");
  survive([] {
    setpgid(0, 0);
    handlers_home = getpid();
    for (const int signal : kHarmless) {
      set_handler(signal, note_process);
    }
    {
      const GroupStorm storm;
      for (int i = 0; i < 20; ++i) {
        GetParam().run();
      }
    }
    expect_no_child_left();
    EXPECT_GT(handled_at_home, 0);
    EXPECT_EQ(handled_elsewhere, 0);
  });
}

// ---- what the commands find ----

// The mask that a shell passes to a command: some shells clear it.
std::vector<int> mask_after_a_shell() {
  Commands::install("/usr/local/sbin/probe");
  Commands::reset();
  EXPECT_EQ(pclose(popen("/usr/local/sbin/probe </dev/null", "w")), 0);
  const auto runs = Commands::runs();
  EXPECT_EQ(runs.size(), 1U);
  Commands::reset();
  return runs.empty() ? std::vector<int>() : runs[0].blocked_signals;
}

void expect_mask_inherited(const Forwarder& forwarder, const std::vector<int>& mask) {
  const std::vector<int> behind_a_shell = mask_after_a_shell();
  forwarder.run();
  const auto runs = Commands::wait_for(forwarder.commands);
  EXPECT_EQ(runs.size(), forwarder.commands);
  for (const CommandRun& run : runs) {
    EXPECT_EQ(run.blocked_signals, run.arguments.at(1) == "-0" ? behind_a_shell : mask) << run.path;
  }
}

TEST_P(ForwardingBy, PassesTheCallersSignalMask) {
  survive([] {
    expect_mask_inherited(GetParam(), {});
    block({SIGUSR1});
    expect_mask_inherited(GetParam(), {SIGUSR1});
    block({SIGPIPE, SIGRTMIN});
    expect_mask_inherited(GetParam(), {SIGUSR1, SIGPIPE, SIGRTMIN});
  });
}

TEST_F(Forwarding, PassesTheCallersMaskThroughAShell) {
  if (geteuid() != 0 || !std::filesystem::exists("/bin/bash")) {
    GTEST_SKIP() << "only root can exchange the shell, and only for one that is there";
  }
  survive([] {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("/bin/bash", "/bin/sh", "none", MS_BIND, nullptr), 0);
    block({SIGUSR1});
    ASSERT_EQ(mask_after_a_shell(), std::vector<int>{SIGUSR1});
    expect_mask_inherited(kForwarders[0], {SIGUSR1});
  });
}

TEST_P(ForwardingBy, PassesTheSignalsThatTheCallerIgnores) {
  survive([] {
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
      (void)std::signal(signal, SIG_DFL);
    }
    set_handler(SIGHUP, SIG_IGN);
    set_handler(SIGUSR2, SIG_IGN);
    set_handler(SIGRTMIN, SIG_IGN);
    set_handler(SIGUSR1, count_signal);
    set_handler(SIGTERM, count_signal);
    GetParam().run();
    const auto runs = Commands::wait_for(GetParam().commands);
    EXPECT_EQ(runs.size(), GetParam().commands);
    for (const CommandRun& run : runs) {
      EXPECT_EQ(run.ignored_signals, (std::vector<int>{SIGHUP, SIGUSR2, SIGRTMIN})) << run.path;
    }
  });
}

// The children share the caller's memory; their signal changes must not affect the caller.
TEST_P(ForwardingBy, LeavesTheCallersHandlersInPlace) {
  survive([] {
    set_handler(SIGUSR1, count_signal, SA_RESTART);
    set_handler(SIGTERM, SIG_IGN);
    GetParam().run();
    raise(SIGUSR1);
    EXPECT_EQ(handled, 1);
    struct sigaction action {};
    sigaction(SIGTERM, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
  });
  expect_runs(1);
}

// ---- closed descriptors ----

class ForwardingWithClosedDescriptors : public Forwarding, public testing::WithParamInterface<unsigned> {
 protected:
  static void expect_redirected(const std::vector<CommandRun>& runs) {
    for (const CommandRun& run : runs) {
      Descriptors standard = standard_descriptors(run);
      if (run.arguments.at(1) == "-0") {
        EXPECT_TRUE(standard[0].starts_with("r pipe:")) << standard[0];
        EXPECT_EQ(standard[1], "w /dev/null");
        EXPECT_EQ(standard[2], "w /dev/null");
      } else if (run.arguments.at(0) == kEvsh) {
        EXPECT_EQ(standard, (Descriptors{{0, "r /dev/null"}, {1, "w /dev/null"}, {2, "w /dev/null"}}));
      } else {
        EXPECT_EQ(standard, (Descriptors{{0, "rw /dev/null"}, {1, "rw /dev/null"}, {2, "rw /dev/null"}}));
      }
      EXPECT_EQ(run.descriptors.size(), 3U + inherited_) << run.path;
    }
  }

 private:
  // Besides the three, the commands inherit these from whoever runs the tests.
  static inline const std::size_t inherited_ = inheritable_descriptors().size();
};

INSTANTIATE_TEST_SUITE_P(, ForwardingWithClosedDescriptors, testing::Range(0U, 8U),
                         [](const testing::TestParamInfo<unsigned>& which) {
                           std::string name = which.param == 0 ? "AllOpen" : "Without";
                           for (unsigned descriptor = 0; descriptor < 3; ++descriptor) {
                             name += (which.param >> descriptor & 1U) != 0 ? std::to_string(descriptor) : "";
                           }
                           return name;
                         });

TEST_P(ForwardingWithClosedDescriptors, ReachesEveryCommand) {
  survive([] {
    unsigned closed_afterwards = 0;
    {
      const ClosedDescriptors closed(GetParam());
      send_to_all();
      closed_afterwards = closed_now();
    }
    EXPECT_EQ(closed_afterwards, GetParam());
    expect_all_commands();
    expect_redirected(Commands::runs());
    expect_no_child_left();
  });
}

TEST_P(ForwardingWithClosedDescriptors, StoresTheEvent) {
  survive([] {
    {
      const ClosedDescriptors closed(GetParam());
      submit();
    }
    const auto runs = Commands::wait_for(3);
    EXPECT_EQ(runs.size(), 3U);
    EXPECT_EQ(runs[0].input, kNotification);
  });
  EXPECT_EQ(stored_events(), "1");
}

// Without "/dev/null" the recorder's tool writes to the caller's streams; the log centre's command has none.
TEST_F(Forwarding, RunsItsCommandsWithoutANullDevice) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can hide the devices";
  }
  survive([] {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(dup2(open("/etc/logs/held", O_RDONLY | O_CREAT, 0600), 0), 0);
    ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", MS_NOSUID, "mode=0755"), 0);
    send_to_recorder();
    auto runs = Commands::wait_for(1);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].arguments, recorder_vector());
    EXPECT_EQ(runs[0].descriptors[0], "r /etc/logs/held");
    EXPECT_TRUE(runs[0].descriptors.contains(1));
    Commands::reset();
    send_to_log_centre();
    runs = Commands::wait_for(1);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].arguments, log_centre_vector());
    EXPECT_FALSE(runs[0].descriptors.contains(0));
    EXPECT_FALSE(runs[0].descriptors.contains(2));
  });
}

// With a read-only one the log centre's command still has an input. The recorder's tool opens one for both.
TEST_F(Forwarding, RunsItsCommandsWithAReadOnlyNullDevice) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can put another device in its place";
  }
  survive([] {
    constexpr const char* kNothing = "/etc/logs/nothing";
    constexpr const char* kNull = "/dev/null";
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(close(open(kNothing, O_RDONLY | O_CREAT, 0600)), 0);
    ASSERT_EQ(mount(kNothing, kNull, "none", MS_BIND, nullptr), 0);
    ASSERT_EQ(mount("none", kNull, "none", MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV, nullptr), 0);
    send_to_log_centre();
    auto runs = Commands::wait_for(1);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].arguments, log_centre_vector());
    EXPECT_TRUE(runs[0].descriptors[0].starts_with("r ")) << runs[0].descriptors[0];
    EXPECT_FALSE(runs[0].descriptors.contains(2));
    Commands::reset();
    ASSERT_EQ(dup2(open("/etc/logs/held", O_RDONLY | O_CREAT, 0600), 0), 0);
    send_to_recorder();
    runs = Commands::wait_for(1);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].arguments, recorder_vector());
    EXPECT_EQ(runs[0].descriptors[0], "r /etc/logs/held");
  });
}

TEST_P(ForwardingBy, KeepsTheCallersDescriptors) {
  survive([] {
    const auto open_descriptors = [] {
      Descriptors found;
      for (int descriptor = 0; descriptor < 256; ++descriptor) {
        std::error_code none;
        const auto target = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
        if (!none) {
          found[descriptor] = target.string();
        }
      }
      return found;
    };
    const Descriptors before = open_descriptors();
    GetParam().run();
    EXPECT_EQ(open_descriptors(), before);
  });
  expect_runs(1);
}

// ---- threads ----

// If another thread's command inherited the pipe, the notification centre would not see the end of its input.
TEST_F(Forwarding, KeepsTheNotificationsPipeFromCommandsOfOtherThreads) {
  const std::set<int> before = inheritable_descriptors();
  writing_is_watched = true;
  EXPECT_EQ(annal_report_event(1, "Fan 2 failed."), ANNAL_OK);
  EXPECT_FALSE(writing_is_watched);
  EXPECT_EQ(inheritable_while_writing, before);
}

TEST_F(Forwarding, WorksInManyThreadsAtOnce) {
  constexpr std::size_t kThreads = 64;
  constexpr std::size_t kEvents = 3;
  std::atomic<bool> done = false;
  std::vector<std::thread> others;
  for (int i = 0; i < 2; ++i) {
    others.emplace_back([&] {
      while (!done) {
        for (std::size_t size = 16; size < 100000; size *= 3) {
          std::free(std::malloc(size));
        }
        EXPECT_EQ(std::getenv("HTTP_CLIENT_ID"), nullptr);
        std::this_thread::yield();
      }
    });
  }
  std::atomic<std::size_t> stored = 0;
  std::vector<std::thread> writers;
  for (std::size_t i = 0; i < kThreads; ++i) {
    writers.emplace_back([&stored, i] {
      for (std::size_t event = 0; event < kEvents; ++event) {
        EventRecord record = warning();
        std::snprintf(record.event_user, sizeof record.event_user, "user %zu.%zu", i, event);
        std::snprintf(record.event_desc, sizeof record.event_desc, "message %zu.%zu", i, event);
        stored += annal_event_add_msgid_ex3(&record) == ANNAL_OK ? 1U : 0U;
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  done = true;
  for (std::thread& other : others) {
    other.join();
  }
  constexpr std::size_t kAll = kThreads * kEvents;
  EXPECT_EQ(stored, kAll);
  EXPECT_EQ(value(kLog, "SELECT COUNT(DISTINCT event_user) FROM ANNAL_EVENT;"), std::to_string(kAll));
  expect_no_child_left();

  // Every command got every event exactly once.
  std::map<std::string, std::set<std::string>> messages;
  const auto runs = commands.wait_for(3 * kAll);
  EXPECT_EQ(runs.size(), 3 * kAll);
  for (const CommandRun& run : runs) {
    if (run.arguments.at(1) == "-0") {
      messages["notification"].insert(run.input);
    } else if (run.arguments.at(0) == kEvsh) {
      ASSERT_EQ(run.arguments.size(), 13U);
      EXPECT_EQ(run.arguments[4].substr(std::strlen("user=user ")),
                run.arguments[9].substr(std::strlen("message=message ")));
      messages["log centre"].insert(run.arguments[9]);
    } else {
      ASSERT_EQ(run.arguments.size(), 13U);
      EXPECT_EQ(run.arguments[6].substr(std::strlen("user ")), run.arguments[12].substr(std::strlen("message ")));
      messages["recorder"].insert(run.arguments[12]);
    }
  }
  EXPECT_EQ(messages["notification"].size(), kAll);
  EXPECT_EQ(messages["log centre"].size(), kAll);
  EXPECT_EQ(messages["recorder"].size(), kAll);
}

struct ThreadOf {
  const Forwarder* forwarder;
  std::atomic<bool> went_on = false;
};

// A cancelled thread ends only after the call, and leaves no zombie.
TEST_F(Forwarding, IsNotCutOffByACancelledThread) {
  survive([] {
    for (const Forwarder* forwarder : {&kForwarders[1], &kForwarders[2]}) {
      ThreadOf thread{forwarder};
      pthread_t id{};
      ASSERT_EQ(pthread_create(
                    &id, nullptr,
                    [](void* argument) -> void* {
                      auto& self = *static_cast<ThreadOf*>(argument);
                      pthread_cancel(pthread_self());
                      self.forwarder->run();
                      self.went_on = true;
                      pthread_testcancel();
                      return nullptr;
                    },
                    &thread),
                0);
      void* result = nullptr;
      pthread_join(id, &result);
      EXPECT_TRUE(thread.went_on);
      EXPECT_EQ(result, PTHREAD_CANCELED);
      expect_no_child_left();
    }
    EXPECT_EQ(Commands::wait_for(2).size(), 2U);
  });
}

TEST_F(Forwarding, KeepsACallersCancellationDisabled) {
  survive([] {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    send_to_log_centre();
    int before = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &before);
    EXPECT_EQ(before, PTHREAD_CANCEL_DISABLE);
    send_to_log_centre();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    EXPECT_EQ(before, PTHREAD_CANCEL_ENABLE);
  });
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
}

// ---- errno ----

void expect_errno_unchanged() {
  const EventRecord record = warning();
  for (const int number : {0, EDOM}) {
    errno = number;
    SendEventToLumod(&record);
    EXPECT_EQ(errno, number);
    EXPECT_EQ(send_event_log_to_orca(&record, 1), ANNAL_OK);
    EXPECT_EQ(errno, number);
  }
}

TEST_F(Forwarding, LeavesErrnoAlone) {
  expect_errno_unchanged();
  EXPECT_EQ(commands.wait_for(4).size(), 4U);
}

TEST_F(Forwarding, LeavesErrnoAloneIfWaitingFails) {
  survive([] {
    set_handler(SIGCHLD, SIG_IGN);
    expect_errno_unchanged();
  });
  EXPECT_EQ(commands.wait_for(4).size(), 4U);
}

TEST_F(Forwarding, LeavesErrnoAloneWithoutItsCommands) {
  std::filesystem::remove(kEvsh);
  std::filesystem::remove(kRecorderTool);
  expect_errno_unchanged();
}

TEST_F(Forwarding, LeavesErrnoAloneWithoutARecorder) {
  std::filesystem::remove(kRecorderInstalled);
  expect_errno_unchanged();
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
}

// ---- files without a header ----

TEST_F(Forwarding, LetsTheShellRunALogCentreScriptWithoutAHeader) {
  commands.install("/usr/local/sbin/reader");
  install_script(kEvsh, "exec /usr/local/sbin/reader \"$0\" \"$@\"\n");
  send_to_log_centre();
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  Row expected = log_centre_vector();
  expected.insert(expected.begin(), "/usr/local/sbin/reader");
  EXPECT_EQ(runs[0].arguments, expected);
  expect_no_child_left();
}

TEST_F(Forwarding, RunsNoRecorderScriptWithoutAHeader) {
  commands.install("/usr/local/sbin/reader");
  install_script(kRecorderTool, "exec /usr/local/sbin/reader \"$0\" \"$@\"\n");
  send_to_recorder();
  EXPECT_TRUE(commands.settled().empty());
  expect_no_child_left();
}

// ---- no room for another process ----

class ForwardingWithoutProcesses : public Forwarding {
 protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can become a user without other processes";
    }
    Forwarding::SetUp();
  }
};

TEST_F(ForwardingWithoutProcesses, SendsNothing) {
  survive([] {
    allow_processes(0);
    errno = EDOM;
    send_to_log_centre();
    send_to_recorder();
    EXPECT_EQ(errno, EDOM);
    notify();
    EXPECT_TRUE(blocked_signals().empty());
    expect_no_child_left();
  });
  EXPECT_TRUE(commands.settled().empty());
}

volatile int status_of_child = -1;

void note_status(int /*signal*/, siginfo_t* info, void* /*context*/) {
  status_of_child = info->si_status;
}

// Only the first child can be created. The log centre's reports it in its exit status.
TEST_F(ForwardingWithoutProcesses, SendsNothingIfTheSecondCannotBeCreated) {
  survive([] {
    allow_processes(1);
    struct sigaction action {};
    action.sa_sigaction = note_status;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGCHLD, &action, nullptr);
    send_to_log_centre();
    EXPECT_EQ(status_of_child, 1);
    send_to_recorder();
    EXPECT_EQ(status_of_child, 0);
    expect_no_child_left();
  });
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(ForwardingWithoutProcesses, NeedsTwoProcesses) {
  survive([] {
    allow_processes(2);
    send_to_log_centre();
    EXPECT_EQ(Commands::wait_for(1).size(), 1U);
  });
}

#if !defined(__SANITIZE_ADDRESS__)  // which has taken the whole address space for itself
TEST_F(Forwarding, SendsNothingWithoutMemory) {
  survive([] {
    const rlimit none{0, RLIM_INFINITY};
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    setrlimit(RLIMIT_AS, &none);
    errno = EDOM;
    send_to_log_centre();
    send_to_recorder();
    const int errno_afterwards = errno;
    notify();
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(errno_afterwards, EDOM);
    expect_no_child_left();
    EXPECT_TRUE(Commands::settled().empty());
    send_to_all();
    expect_all_commands();
  });
}
#endif

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which need address space of their own
class ForwardingWithALittleMemory : public Forwarding, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(, ForwardingWithALittleMemory, testing::ValuesIn(kLittleRooms));

// A warm-up for what only the first call allocates.
TEST_P(ForwardingWithALittleMemory, RunsTheDetachedCommands) {
  for (const char* path : {kEvsh, kRecorderTool}) {
    commands.install(path, {.takes = 50ms});
  }
  survive([] {
    send_to_log_centre();
    send_to_recorder();
    EXPECT_EQ(Commands::wait_for(2).size(), 2U);
    Commands::reset();
    copies_of_the_caller = 0;
    errno = EDOM;
    {
      const LittleMemory memory(GetParam());
      send_to_log_centre();
      send_to_recorder();
      EXPECT_EQ(errno, EDOM);
    }
    EXPECT_EQ(copies_of_the_caller, GetParam() == 0 ? 2 : 0);
    EXPECT_TRUE(blocked_signals().empty());
    expect_no_child_left();
    const auto runs = Commands::wait_for(2);
    EXPECT_EQ(vectors(runs), (std::vector<Row>{recorder_vector(), log_centre_vector()}));
    for (const CommandRun& run : runs) {
      EXPECT_EQ(standard_descriptors(run).size(), 3U);
      for (const auto& [descriptor, target] : standard_descriptors(run)) {
        EXPECT_TRUE(target.ends_with(" /dev/null")) << descriptor << ": " << target;
      }
    }
  });
}

TEST_P(ForwardingWithALittleMemory, RunsNoHandlerOfTheCallersInAChild) {
  survive([] {
    send_to_log_centre();
    EXPECT_EQ(Commands::wait_for(1).size(), 1U);
    Commands::reset();
    set_handler(SIGCHLD, count_signal);
    pthread_atfork([] { handled = 100; }, [] { handled = 100; }, [] { _exit(9); });
    {
      const LittleMemory memory(GetParam());
      send_to_log_centre();
    }
    EXPECT_EQ(handled, 1);
    expect_no_child_left();
    EXPECT_EQ(Commands::wait_for(1).size(), 1U);
  });
}

TEST_P(ForwardingWithALittleMemory, KeepsTheCallersClosedDescriptorsClosed) {
  survive([] {
    send_to_log_centre();
    send_to_recorder();
    EXPECT_EQ(Commands::wait_for(2).size(), 2U);
    Commands::reset();
    unsigned closed = 0;
    {
      const ClosedDescriptors standard(7);
      const LittleMemory memory(GetParam());
      send_to_log_centre();
      send_to_recorder();
      closed = closed_now();
    }
    EXPECT_EQ(closed, 7U);
    EXPECT_EQ(Commands::wait_for(2).size(), 2U);
    expect_no_child_left();
  });
}
#endif

// ---- small stacks ----

// Without storing the event: SQLite needs a larger stack.
TEST_P(ForwardingWithoutStoringBy, LeavesRoomOnASmallStack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  // Some processors ask for more.
  const auto size = std::max<std::size_t>(std::size_t{64} * 1024, static_cast<std::size_t>(PTHREAD_STACK_MIN));
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
  pthread_t thread{};
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void*) -> void* {
                  GetParam().run();
                  return nullptr;
                },
                nullptr),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(commands.wait_for(1).size(), 1U);
}

}  // namespace
}  // namespace annal::test
