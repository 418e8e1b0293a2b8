// Counts the instructions of the library's calls.
#include "bench/instructions.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

// What callgrind is told to count: nothing but what happens in here.
extern "C" [[gnu::noinline]] void measured_call(const annal::bench::Side& side, annal::bench::Answer& answer) {
  side(1, answer);
}

namespace annal::bench {

namespace fs = std::filesystem;

void count_call(const Side& side) {
  Answer answer;
  measured_call(side, answer);
}

// Callgrind numbers its files by the calls.
std::vector<double> counted_by(const std::string& command) {
  const fs::path folder = "/etc/logs/callgrind";
  fs::remove_all(folder);
  fs::create_directory(folder);
  const std::string whole = fmt::format(
      "valgrind --tool=callgrind --callgrind-out-file={}/out --toggle-collect=measured_call "
      "--dump-after=measured_call {} >/dev/null 2>&1",
      folder.string(), command);
  if (std::system(whole.c_str()) != 0) {
    give_up("callgrind failed: " + whole);
  }
  std::map<int, double> counts;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    std::ifstream file(entry.path());
    const std::string extension = entry.path().extension();
    for (std::string line; extension.size() > 1 && std::getline(file, line);) {
      if (line.starts_with("totals: ")) {
        counts[std::stoi(extension.substr(1))] = std::stod(line.substr(8));
      }
    }
  }
  std::vector<double> in_order;
  for (const auto& [part, count] : counts) {
    in_order.push_back(count);
  }
  return in_order;
}

}  // namespace annal::bench
