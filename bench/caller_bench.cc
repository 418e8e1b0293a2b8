// Measures what it costs a caller to add one event and start every consumer, depending on the caller's memory. Compares
// the library with plain code: bare SQLite, popen and two forks for each of the two commands. One process of each size
// alternates between the two. Run it on a private appliance.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "bench/floor.h"
#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

constexpr char kLogCentre[] = "/usr/local/sbin/evsh";
constexpr char kRecorder[] = "/sbin/orcapro_log_tool";
constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

struct Caller {
  std::size_t mebibytes;
  pid_t process = 0;
  int requests = -1;
  int answers = -1;
  Pairs pairs{};
};

struct Times {
  double library;
  double plain;
};

// The record needs no normalising.
EventRecord event() {
  EventRecord record{};
  record.event_timet = 1600000000;
  for (char* field :
       {record.event_msgid, record.event_app_id, record.event_app_name, record.event_category_id, record.event_category,
        record.event_client_id, record.event_client_app, record.event_client_agent}) {
    std::strcpy(field, "---");
  }
  std::strcpy(record.event_user, "admin");
  std::strcpy(record.event_ip, "203.0.113.7");
  std::strcpy(record.event_comp, "localhost");
  std::strcpy(record.event_desc, "Failed to log in.");
  return record;
}

void notify(const EventRecord& record) {
  std::FILE* const command = popen("/usr/local/sbin/evsh -0 nc.send_message >/dev/null 2>&1", "w");
  if (command == nullptr) {
    give_up("popen");
  }
  std::fprintf(command, R"({"type":1,"level":1,"message":"%s"})", record.event_desc);
  pclose(command);
}

template <typename Run>
void by_two_forks(Run run) {
  const pid_t child = fork();
  if (child == 0) {
    const pid_t grandchild = fork();
    if (grandchild != 0) {
      _exit(grandchild < 0 ? 1 : 0);
    }
    close(0);
    close(1);
    close(2);
    open("/dev/null", O_RDONLY);
    open("/dev/null", O_WRONLY);
    dup2(1, 2);
    run();
    _exit(1);
  }
  waitpid(child, nullptr, 0);
}

void add_plainly(const EventRecord& record) {
  if (floor_event_add("/etc/logs/event.floor", &record) != 0) {
    give_up("the plain form could not add");
  }
  notify(record);
  by_two_forks([&record] {
    const std::string user = std::string("user=") + record.event_user;
    const std::string ip = std::string("ip=") + record.event_ip;
    const std::string computer = std::string("computer=") + record.event_comp;
    const std::string message = std::string("message=") + record.event_desc;
    execl(kLogCentre, kLogCentre, "lumo.add_local_event_log", "level=1", "timestamp=1600000000", user.c_str(),
          ip.c_str(), computer.c_str(), "application=---", "category=---", message.c_str(), "client_id=---",
          "client_app=---", "client_agent=---", nullptr);
  });
  struct stat installed {};
  if (stat(kRecorder, &installed) == 0) {
    by_two_forks([&record] {
      execl(kRecorder, kRecorder, "-t", "0", "-l", "1600000000", "-u", record.event_user, "-p", record.event_ip, "-m",
            record.event_comp, "-a", record.event_desc, nullptr);
    });
  }
}

void add_by_the_library(EventRecord record) {
  if (annal_event_add_msgid_ex3(&record) != ANNAL_OK) {
    give_up("the library could not add");
  }
}

[[noreturn]] void serve(std::size_t mebibytes, int requests, int answers) {
  // Writing makes the memory resident; the pages differ, so that the kernel cannot share them.
  std::vector<char> memory(mebibytes * kMebibyte);
  for (std::size_t i = 0; i < memory.size(); i += 4096) {
    memory[i] = static_cast<char>(i >> 12);
  }
  std::signal(SIGPIPE, SIG_IGN);  // the plain code would not survive a command that does not read
  const EventRecord record = event();
  char request = 0;
  for (int round = 0; read(requests, &request, 1) == 1; ++round) {
    Times times{};
    for (int turn = 0; turn < 2; ++turn) {
      if ((turn + round) % 2 == 0) {
        times.library = microseconds([&record] { add_by_the_library(record); });
      } else {
        times.plain = microseconds([&record] { add_plainly(record); });
      }
    }
    if (write(answers, &times, sizeof times) != sizeof times) {
      break;
    }
  }
  _exit(memory[memory.size() / 2] == 1 ? 1 : 0);
}

void start(Caller& caller) {
  int requests[2];
  int answers[2];
  if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) {
    give_up("no pipe");
  }
  caller.process = fork();
  if (caller.process == 0) {
    close(requests[1]);
    close(answers[0]);
    serve(caller.mebibytes, requests[0], answers[1]);
  }
  close(requests[0]);
  close(answers[1]);
  caller.requests = requests[1];
  caller.answers = answers[0];
}

Times ask(const Caller& caller) {
  Times times{};
  if (write(caller.requests, "g", 1) != 1 || read(caller.answers, &times, sizeof times) != sizeof times) {
    give_up("a caller has gone");
  }
  return times;
}

int run(int rounds) {
  const LogUnderTest& log = logs().front();
  make_log(log, 0, 100000, 1);
  for (const char* command : {kLogCentre, kRecorder}) {
    std::filesystem::copy_file("/bin/true", command, std::filesystem::copy_options::overwrite_existing);
  }
  std::vector<Caller> callers{{8}, {256}, {1024}};
  for (Caller& caller : callers) {
    start(caller);
    ask(caller);  // warm-up
  }
  for (int round = 0; round < rounds; ++round) {
    for (Caller& caller : callers) {
      const Times times = ask(caller);
      caller.pairs.ours.push_back(times.library);
      caller.pairs.theirs.push_back(times.plain);
    }
  }
  const bool same = contents(log, log.path) == contents(log, log.floor_path);
  for (Caller& caller : callers) {
    caller.pairs.same = same;
    print_line(fmt::format("event add, all consumers, caller of {} MiB", caller.mebibytes), caller.pairs);
    kill(caller.process, SIGKILL);
    waitpid(caller.process, nullptr, 0);
  }
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  const bool quick = argc > 1 && std::string_view(argv[1]) == "--quick";
  annal::bench::progress("the whole call");
  return annal::bench::run(quick ? 6 : 60);
}
