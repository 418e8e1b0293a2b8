// Installs command recorders and reads their recordings.
#include "tests/support/commands.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "appliance/namespace.h"
#include "tests/support/recordings.h"

namespace annal::test {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

CommandRun read_run(const fs::path& path) {
  std::ifstream file(path);
  const auto json = nlohmann::json::parse(file);
  CommandRun run;
  run.path = json.at("path");
  run.arguments = json.at("arguments").get<std::vector<std::string>>();
  run.input = json.at("input");
  for (const auto& [descriptor, target] : json.at("descriptors").items()) {
    run.descriptors[std::stoi(descriptor)] = target;
  }
  run.environment = json.at("environment").get<std::map<std::string, std::string>>();
  run.process = json.at("process");
  run.parent = json.at("parent");
  run.group = json.at("group");
  run.session = json.at("session");
  run.blocked_signals = json.at("blocked_signals").get<std::vector<int>>();
  run.ignored_signals = json.at("ignored_signals").get<std::vector<int>>();
  return run;
}

}  // namespace

void Commands::install(const std::string& path, const Behaviour& behaviour) {
  fs::copy_file(COMMAND_RECORDER, path, fs::copy_options::overwrite_existing);
  std::ofstream(path + kBehaviourSuffix) << nlohmann::json{{"exit_status", behaviour.exit_status},
                                                           {"reads_input", behaviour.reads_input},
                                                           {"takes", behaviour.takes.count()}};
}

std::vector<CommandRun> Commands::runs() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(kRecordings)) {
    if (entry.path().extension() == kRecordingSuffix) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<CommandRun> runs;
  std::transform(files.begin(), files.end(), std::back_inserter(runs), read_run);
  return runs;
}

std::vector<CommandRun> Commands::wait_for(std::size_t count) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::vector<CommandRun> found = runs();
  while (found.size() < count && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(2));
    found = runs();
  }
  return found;
}

std::vector<CommandRun> Commands::settled() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::this_thread::sleep_for(milliseconds(150));
  while (!appliance::strays().empty() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(2));
  }
  return runs();
}

void Commands::reset() {
  fs::remove_all(kRecordings);
  fs::create_directory(kRecordings);
}

}  // namespace annal::test
