// The trust tests' fixture: installs the faulty memory and disk, stops the clock, and checks for leaks.
#include "tests/trust/harness/trust_test.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>

#include "tests/support/from_library.h"
#include "tests/trust/harness/faulty_memory.h"
#include "tests/trust/harness/shim_vfs.h"

namespace annal::test {

namespace {

bool popen_blocked = false;

char at_work[256];

void report_and_abort(int signal) {
  char what[] = "crashed at: ";
  char what_else[] = "hung at: ";
  char* const beginning = signal == SIGALRM ? what_else : what;
  const iovec message[] = {{beginning, std::strlen(beginning)}, {at_work, strnlen(at_work, sizeof at_work)}};
  [[maybe_unused]] const ssize_t told = writev(STDERR_FILENO, message, 2);
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  sigaction(signal, &usual, nullptr);
  raise(signal);
}

}  // namespace

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
  constexpr std::time_t kOneInTheAfternoon = 1768478400;  // local time; the disk's clock shows the same
  Clock::stop_at(kOneInTheAfternoon);
  Disk::count();
  SqliteMemory::countdown().count_only();
  PlainMemory::countdown().count_only();
}

void TrustTest::TearDown() {
  alarm(0);
  block_popen(false);
  PlainMemory::watch(false);
  SqliteMemory::countdown().count_only();
  Disk::count();
  ApplianceTest::TearDown();
}

bool whole_walk() {
  const char* walk = std::getenv("ANNAL_TRUST");
  return walk != nullptr && std::strcmp(walk, "whole") == 0;
}

unsigned first_seed() {
  const char* seed = std::getenv("ANNAL_TRUST_SEED");
  return seed != nullptr ? static_cast<unsigned>(std::strtoul(seed, nullptr, 10)) : 1;
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

void set_crash_note(const std::string& place, unsigned seconds) {
  static const bool watched = [] {
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGALRM}) {
      struct sigaction action {};
      action.sa_handler = &report_and_abort;
      sigaction(signal, &action, nullptr);
    }
    return true;
  }();
  (void)watched;
  std::snprintf(at_work, sizeof at_work, "%s\n", place.c_str());
  alarm(seconds);
}

Ledger::Ledger()
    : sqlite_memory_(SqliteMemory::outstanding()),
      plain_memory_(PlainMemory::outstanding()),
      descriptors_(open_descriptors()) {}

void Ledger::expect_balance() const {
  EXPECT_EQ(SqliteMemory::outstanding(), sqlite_memory_) << "memory of SQLite's is lost";
  EXPECT_EQ(PlainMemory::outstanding(), plain_memory_) << "memory is lost";
  EXPECT_EQ(SqliteTrace::open_connections(), 0U);
  EXPECT_EQ(SqliteTrace::live_statements(), 0U);
  EXPECT_EQ(SqliteTrace::live_texts(), 0U);
  EXPECT_EQ(Disk::open_files(), 0);
  EXPECT_EQ(open_descriptors(), descriptors_);
}

void block_popen(bool blocked) {
  popen_blocked = blocked;
}

}  // namespace annal::test

extern "C" std::FILE* popen(const char* command, const char* mode) {
  using Popen = std::FILE*(const char*, const char*);
  static auto* const real = reinterpret_cast<Popen*>(annal::test::next_function("popen"));
  return annal::test::popen_blocked ? nullptr : real(command, mode);
}
