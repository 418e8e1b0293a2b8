#include "tests/trust/trust_test.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>

#include "tests/trust/faulty_memory.h"
#include "tests/trust/shim_vfs.h"

namespace annal::test {

void TrustTest::SetUpTestSuite() {
  static const bool installed = [] {
    SqliteMemory::install();
    Disk::install();
    return true;
  }();
  (void)installed;
}

void TrustTest::SetUp() {
  ApplianceTest::SetUp();
  constexpr std::time_t kOneInTheAfternoon = 1768478400;  // local time; the disk's clock stands at the same moment
  Clock::stop_at(kOneInTheAfternoon);
  Disk::count();
  SqliteMemory::countdown().count_only();
  PlainMemory::countdown().count_only();
}

void TrustTest::TearDown() {
  PlainMemory::watch(false);
  SqliteMemory::countdown().count_only();
  Disk::count();
  ApplianceTest::TearDown();
}

bool whole_walk() {
  const char* walk = std::getenv("ANNAL_TRUST");
  return walk != nullptr && std::strcmp(walk, "whole") == 0;
}

std::vector<int> positions(int last, int few, const std::string& name) {
  std::vector<int> chosen;
  const int all_up_to = whole_walk() ? last : std::min(last, few);
  for (int position = 1; position <= all_up_to; ++position) {
    chosen.push_back(position);
  }
  const int stride = std::max(1, (last - all_up_to) / few);
  const int shift = static_cast<int>(std::hash<std::string>{}(name) % static_cast<unsigned>(stride));
  for (int position = all_up_to + 1 + shift; position <= last; position += stride) {
    chosen.push_back(position);
  }
  return chosen;
}

int open_descriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace annal::test
