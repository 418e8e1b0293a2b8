// What the instruments' tests start from: a private appliance whose memory and disk fail on request, and a clock that
// stands still, so that a call leaves the same every time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/appliance.h"

namespace annal::test {

// Whether a sanitizer watches, so that a walk takes a sample only.
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

// True when every failing position is to be tried, which takes hours. Else a test tries the first ones and a sample of
// those behind them, for minutes in all. Set ANNAL_TRUST=whole for it.
bool whole_walk();

// Where the random of a test begins: ANNAL_TRUST_SEED, or 1.
unsigned first_seed();

// From 1 to last: all of them, or the first few and then a sample that differs from name to name, because what lies at
// a like place in two functions is often the same code.
std::vector<int> positions(int last, int few, const std::string& name);

// How many descriptors this process has open.
int open_descriptors();

// Tells on standard error what the process was at when it crashes, or when this takes it longer than so many seconds:
// a test that is gone cannot.
void be_at(const std::string& place, unsigned seconds = 0);

// What a call has to give back, from the construction on.
class Ledger {
 public:
  Ledger();
  void expect_balance() const;

 private:
  std::size_t sqlite_memory_;
  std::size_t plain_memory_;
  int descriptors_;
};

// A command costs many times what a commit does: while none is run, popen fails.
void run_no_shell(bool none);

}  // namespace annal::test
