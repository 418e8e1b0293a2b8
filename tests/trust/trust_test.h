// What the instruments' tests start from: a private appliance whose memory and disk fail on request, and a clock that
// stands still, so that a call leaves the same every time.
#pragma once

#include "tests/support/appliance.h"

namespace annal::test {

class TrustTest : public ApplianceTest {
 protected:
  static void SetUpTestSuite();
  void SetUp() override;
  void TearDown() override;
};

// True when every failing position is to be tried, which takes hours. Else a test tries the first ones and a sample of
// those behind them, for minutes in all. Set ANNAL_TRUST=whole for it.
bool whole_walk();

// From 1 to last: all of them, or the first few and then a sample that differs from name to name, because what lies at
// a like place in two functions is often the same code.
std::vector<int> positions(int last, int few, const std::string& name);

// How many descriptors this process has open.
int open_descriptors();

}  // namespace annal::test
