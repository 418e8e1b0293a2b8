// Measures what the message catalog costs every process that loads the library: the run time of a program that calls it
// once, linked with the library as shipped, with its relocations unpacked, or without the catalog, in alternation.
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

struct Variant {
  const char* name;
  const char* program;
  const char* library;
  std::vector<double> microseconds{};
  std::vector<long> faults{};
};

Variant variants[] = {
    {"without the catalog", LOAD_PROBE_WITHOUT, LOAD_LIBRARY_WITHOUT},
    {"relocations unpacked", LOAD_PROBE_PLAIN, LOAD_LIBRARY_PLAIN},
    {"as shipped", LOAD_PROBE_SHIPPED, LOAD_LIBRARY_SHIPPED},
    {"as shipped, A002 copied", LOAD_PROBE_COPYING, LOAD_LIBRARY_SHIPPED},
};

[[noreturn]] void give_up(const char* why) {
  std::perror(why);
  _exit(EXIT_FAILURE);
}

void run_once(Variant& variant) {
  char* const argv[] = {const_cast<char*>(variant.program), nullptr};
  rusage usage{};
  int status = 0;
  pid_t child = 0;
  const auto begun = std::chrono::steady_clock::now();
  if (posix_spawn(&child, variant.program, nullptr, nullptr, argv, environ) != 0 ||
      wait4(child, &status, 0, &usage) != child || status != 0) {
    give_up(variant.program);
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begun;
  variant.microseconds.push_back(taken.count());
  variant.faults.push_back(usage.ru_minflt);
}

template <typename Value>
Value quantile(std::vector<Value>& values, double share) {
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * share);
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

long kibibytes(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 ? static_cast<long>(status.st_size / 1024) : -1;
}

}  // namespace

int main(int argc, char** argv) {
  const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 2000;
  for (long round = -20; round < rounds; ++round) {
    for (Variant& variant : variants) {
      run_once(variant);
      if (round < 0) {  // warm-up: reads the files into memory
        variant.microseconds.clear();
        variant.faults.clear();
      }
    }
  }
  fmt::print("{} processes each\n\n{:24} {:>10} {:>10} {:>10} {:>12} {:>9}\n", rounds, "library", "fastest", "median",
             "95%", "page faults", "file");
  for (Variant& variant : variants) {
    fmt::print("{:24} {:>7.0f} us {:>7.0f} us {:>7.0f} us {:>12} {:>5} KiB\n", variant.name,
               quantile(variant.microseconds, 0), quantile(variant.microseconds, 0.5),
               quantile(variant.microseconds, 0.95), quantile(variant.faults, 0.5), kibibytes(variant.library));
  }
  return EXIT_SUCCESS;
}
