// Joining filters with WHERE and AND.
#include "common/joiner.h"

#include <gtest/gtest.h>

namespace annal {
namespace {

constexpr Clause kOrdinary{"WHERE a", " AND a", Following::kTakesAnd};
constexpr Clause kUncounted{"WHERE b", " AND b", Following::kUnaffected};

TEST(Joiner, PutsWhereOnlyBeforeTheFirstFilter) {
  Joiner joiner;
  EXPECT_STREQ(joiner.next(kOrdinary), "WHERE a");
  EXPECT_STREQ(joiner.next(kOrdinary), " AND a");
  EXPECT_STREQ(joiner.next(kUncounted), " AND b");
  EXPECT_STREQ(joiner.next(kOrdinary), " AND a");
}

TEST(Joiner, PutsWhereAgainAfterAFilterThatDoesNotCount) {
  Joiner joiner;
  EXPECT_STREQ(joiner.next(kUncounted), "WHERE b");
  EXPECT_STREQ(joiner.next(kOrdinary), "WHERE a");
  EXPECT_STREQ(joiner.next(kOrdinary), " AND a");
}

}  // namespace
}  // namespace annal
