// The fixture of the trust tests: a private appliance whose memory and disk fail on request, and a stopped clock, so
// that repeated calls leave the same content.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/appliance.h"

namespace annal::test {

// With a sanitizer, walks take only a sample.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

class TrustTest : public ApplianceTest {
 protected:
  static void SetUpTestSuite();
  void SetUp() override;
  void TearDown() override;
};

// True if ANNAL_TRUST=whole: tests then try every failing position, which takes hours. Otherwise they try the first
// ones and a sample of the rest, in minutes.
bool whole_walk();

// The first random seed of a test: ANNAL_TRUST_SEED, or 1.
unsigned first_seed();

// Positions from 1 to last: all of them, or the first few and then a sample. The sample depends on the name, because
// equal positions in two functions often are the same code.
std::vector<int> positions(int last, int few, const std::string& name);

// The number of this process's open descriptors.
int open_descriptors();

// Sets the text to print on standard error if the process crashes or takes longer than the given seconds; the test
// itself cannot report that.
void set_crash_note(const std::string& place, unsigned seconds = 0);

// Checks that calls release all memory and descriptors acquired since its construction.
class Ledger {
 public:
  Ledger();
  void expect_balance() const;

 private:
  std::size_t sqlite_memory_;
  std::size_t plain_memory_;
  int descriptors_;
};

// Makes popen fail, because a command costs many times as much as a commit, or work again.
void block_popen(bool blocked);

}  // namespace annal::test
