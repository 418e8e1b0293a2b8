// Replaces a command of the device: records how it was run, then behaves as its configuration file says.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "tests/support/recordings.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The inherited descriptors; read them before opening others.
json open_descriptors() {
  json descriptors = json::object();
  DIR* folder = opendir("/proc/self/fd");
  if (folder == nullptr) {
    return descriptors;
  }
  while (const dirent* entry = readdir(folder)) {
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || std::stoi(name) == dirfd(folder)) {
      continue;
    }
    const int flags = fcntl(std::stoi(name), F_GETFL);
    const int access = flags & O_ACCMODE;
    const std::string mode = access == O_RDONLY ? "r" : (access == O_WRONLY ? "w" : "rw");
    std::error_code ignored;
    descriptors[name] = mode + " " + fs::read_symlink("/proc/self/fd/" + name, ignored).string();
  }
  closedir(folder);
  return descriptors;
}

std::string all_of_standard_input() {
  std::string text;
  char buffer[4096];
  for (ssize_t got = read(0, buffer, sizeof buffer); got > 0; got = read(0, buffer, sizeof buffer)) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

json environment() {
  json variables = json::object();
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos) {
      variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
  }
  return variables;
}

json blocked_signals() {
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  json signals = json::array();
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (sigismember(&blocked, signal) == 1) {
      signals.push_back(signal);
    }
  }
  return signals;
}

json ignored_signals() {
  json signals = json::array();
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
      signals.push_back(signal);
    }
  }
  return signals;
}

// Renames the finished file, so that a reader never finds a partial recording. Names sort by time.
void save(const json& recording) {
  std::timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  char name[64];
  std::snprintf(name, sizeof name, "%012lld.%09ld.%d", static_cast<long long>(now.tv_sec), now.tv_nsec, getpid());
  const fs::path file = fs::path(annal::test::kRecordings) / name;
  std::ofstream(file) << recording.dump(1, ' ', false, json::error_handler_t::replace);
  fs::rename(file, file.string() + annal::test::kRecordingSuffix);
}

}  // namespace

int main(int argc, char** argv) {
  const json descriptors = open_descriptors();
  const int parent = getppid();
  std::error_code ignored;
  const std::string path = fs::read_symlink("/proc/self/exe", ignored).string();
  json behaviour;
  std::ifstream(path + annal::test::kBehaviourSuffix) >> behaviour;
  save({{"path", path},
        {"arguments", std::vector<std::string>(argv, argv + argc)},
        {"input", behaviour.at("reads_input").get<bool>() ? all_of_standard_input() : ""},
        {"descriptors", descriptors},
        {"environment", environment()},
        {"process", getpid()},
        {"parent", parent},
        {"group", getpgrp()},
        {"session", getsid(0)},
        {"blocked_signals", blocked_signals()},
        {"ignored_signals", ignored_signals()}});
  std::this_thread::sleep_for(std::chrono::milliseconds(behaviour.at("takes").get<int>()));
  return behaviour.at("exit_status").get<int>();
}
