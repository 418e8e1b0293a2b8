// What it costs a caller to hand one event to the log centre, by how much memory the caller has: the library's way
// beside the plain one of two forks, taken in turn by one process of each size. Run it on a private appliance.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "Corix_annal.h"

namespace {

constexpr char kCommand[] = "/usr/local/sbin/evsh";
constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

struct Caller {
  std::size_t mebibytes;
  pid_t process = 0;
  int requests = -1;
  int answers = -1;
  std::vector<double> library{};
  std::vector<double> plain{};
};

struct Answer {
  double library;
  double plain;
};

[[noreturn]] void give_up(const char* why) {
  std::perror(why);
  _exit(EXIT_FAILURE);
}

EventRecord event() {
  EventRecord record{};
  record.event_timet = 1600000000;
  std::strcpy(record.event_user, "admin");
  std::strcpy(record.event_ip, "203.0.113.7");
  std::strcpy(record.event_comp, "localhost");
  std::strcpy(record.event_desc, "Failed to log in.");
  return record;
}

// The same command, started the way a program does it that knows nothing better.
void send_by_two_forks(const EventRecord& record) {
  const pid_t child = fork();
  if (child == 0) {
    close(0);
    close(1);
    close(2);
    const pid_t grandchild = fork();
    if (grandchild != 0) {
      _exit(grandchild < 0 ? 1 : 0);
    }
    open("/dev/null", O_RDONLY);
    open("/dev/null", O_WRONLY);
    dup2(1, 2);
    const std::string user = std::string("user=") + record.event_user;
    const std::string ip = std::string("ip=") + record.event_ip;
    const std::string computer = std::string("computer=") + record.event_comp;
    const std::string message = std::string("message=") + record.event_desc;
    execlp(kCommand, kCommand, "lumo.add_local_event_log", "level=1", "timestamp=1600000000", user.c_str(), ip.c_str(),
           computer.c_str(), message.c_str(), nullptr);
    _exit(1);
  }
  waitpid(child, nullptr, 0);
}

template <typename Work>
double microseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

[[noreturn]] void serve(std::size_t mebibytes, int requests, int answers) {
  // Written to, so that it is resident; the pages differ, so that the kernel cannot share them.
  std::vector<char> memory(mebibytes * kMebibyte);
  for (std::size_t i = 0; i < memory.size(); i += 4096) {
    memory[i] = static_cast<char>(i >> 12);
  }
  const EventRecord record = event();
  char request = 0;
  while (read(requests, &request, 1) == 1) {
    const Answer answer{microseconds([&] { SendEventToLumod(&record); }),
                        microseconds([&] { send_by_two_forks(record); })};
    if (write(answers, &answer, sizeof answer) != sizeof answer) {
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

Answer ask(const Caller& caller) {
  Answer answer{};
  if (write(caller.requests, "g", 1) != 1 || read(caller.answers, &answer, sizeof answer) != sizeof answer) {
    give_up("a caller has gone");
  }
  return answer;
}

double percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

}  // namespace

int main(int argc, char** argv) {
  const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 200;
  if (rounds < 1) {
    fmt::print(stderr, "usage: forwarding_bench [ROUNDS]\n");
    return EXIT_FAILURE;
  }
  std::filesystem::copy_file("/bin/true", kCommand, std::filesystem::copy_options::overwrite_existing);

  std::vector<Caller> callers{{.mebibytes = 8}, {.mebibytes = 256}, {.mebibytes = 1024}};
  for (Caller& caller : callers) {
    start(caller);
    ask(caller);  // the first of each is paid by start-up
  }
  for (long round = 0; round < rounds; ++round) {
    for (Caller& caller : callers) {
      const Answer answer = ask(caller);
      caller.library.push_back(answer.library);
      caller.plain.push_back(answer.plain);
    }
  }

  fmt::print("{} rounds, microseconds a call\n", rounds);
  fmt::print("{:>10} {:>12} {:>12} {:>12} {:>12} {:>16} {:>14}\n", "caller", "library p50", "library p99", "plain p50",
             "plain p99", "library/plain", "library/8 MiB");
  const double smallest = percentile(callers.front().library, 0.5);
  for (Caller& caller : callers) {
    const double library = percentile(caller.library, 0.5);
    const double plain = percentile(caller.plain, 0.5);
    fmt::print("{:>6} MiB {:>12.0f} {:>12.0f} {:>12.0f} {:>12.0f} {:>16.3f} {:>14.2f}\n", caller.mebibytes, library,
               percentile(caller.library, 0.99), plain, percentile(caller.plain, 0.99), library / plain,
               library / smallest);
    kill(caller.process, SIGKILL);
    waitpid(caller.process, nullptr, 0);
  }
  return EXIT_SUCCESS;
}
