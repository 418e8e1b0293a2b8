// Measures what the library adds to a program: the run time of one that makes a single count, linked with the library
// or with SQLite alone, in alternation, and the sizes of the library's files. Run it on a private appliance.
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

std::string output_of(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::array<char, 4096> buffer{};
  std::string output;
  while (pipe != nullptr && std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
    output += buffer.data();
  }
  if (pipe == nullptr || pclose(pipe) != 0) {
    give_up(command);
  }
  return output;
}

long number_in(const std::string& text) {
  return std::strtol(text.c_str(), nullptr, 10);
}

// Relocations: the words that the loader writes before the program starts. Packed ones are counted individually.
void print_weight(const char* name, const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) {
    give_up(path);
  }
  const long relocations =
      number_in(output_of("readelf --relocs --wide " + path + " | grep -cE '^[0-9a-f]{8,} |^ *[0-9a-f]{16}$' || true"));
  fmt::print("| {:24} | {:>10} | {:>9} |\n", name, relocations, file.st_size / 1024);
}

int run(bool quick) {
  const Work work{[](int /*round*/, Answer& answer) { run_program(CARRY_WITH, answer); },
                  [](int /*round*/, Answer& answer) { run_program(CARRY_WITHOUT, answer); }};
  bool same = true;
  for (const int rows : quick ? std::vector{1000} : std::vector{1000, 10000, 100000}) {
    make_log(logs().front(), rows, 100000, 1);
    const Pairs pairs = alternate(work, {.seconds = quick ? 1.0 : 8.0, .most = 4000});
    same = print_line(fmt::format("a program that counts {} rows once", rows), pairs) && same;
  }

  fmt::print("\n| {:24} | relocations | file, KiB |\n|---|--:|--:|\n", "what is loaded");
  print_weight("libCorix_annal.so.2", CARRY_LIBRARY);
  print_weight("libCorix_Util.so.0", CARRY_UTIL);
  print_weight("libCorix_config.so.0", CARRY_CONFIG);
  const long with = number_in(output_of(CARRY_WITH " memory"));
  const long without = number_in(output_of(CARRY_WITHOUT " memory"));
  fmt::print(
      "\n| private dirty memory of    | KiB |\n|---|--:|\n| a program with the library  | {} |\n"
      "| one with SQLite alone       | {} |\n| the difference              | {} |\n",
      with, without, with - without);
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  annal::bench::progress("carrying the library");
  return annal::bench::run(argc > 1 && std::string_view(argv[1]) == "--quick");
}
