// What texts that repeat each other have in common.
#include <gtest/gtest.h>

#include <string>

#include "tools/annalctl/query/fold.h"

namespace {
using annalctl::folded;
}

TEST(Folded, LeavesOutNumbersAndTimes) {
  EXPECT_EQ(folded("Fan 2 failed at 10:15:03 on 2026-11-21 with 3.5 V"), "Fan # failed at # on # with # V");
  EXPECT_EQ(folded("block blk_38865049064139660 at 0x7f3a, 007"), "block blk_# at #, #");
  EXPECT_EQ(folded("temperature -40."), "temperature -#.");
}

TEST(Folded, LeavesOutAddresses) {
  EXPECT_EQ(folded("from 203.0.113.7 port 22"), "from # port #");
  EXPECT_EQ(folded("from fe80::1%eth0 and [2001:db8::ff]: bye"), "from #%eth# and [#]: bye");
  EXPECT_EQ(folded("from ::ffff:10.0.0.5 via 00:1b:44:11:3a:b7"), "from # via #");
}

TEST(Folded, LeavesOutHexadecimalWords) {
  EXPECT_EQ(folded("job 1b4e28ba-2fa1-11d2-883f-0016d3cca427 done"), "job # done");
  EXPECT_EQ(folded("commit deadbeef01 of e3b0c44298fc1c149afb"), "commit # of #");
  EXPECT_EQ(folded("the facade was added, feedbeef too"), "the facade was added, feedbeef too");
}

TEST(Folded, LeavesOutTheUserWhereItIsAWord) {
  EXPECT_EQ(folded("Failed password for root", "root"), "Failed password for @");
  EXPECT_EQ(folded("rooted: user=root root.", "root"), "rooted: user=@ @.");
  EXPECT_EQ(folded("chroot root_x", "root"), "chroot root_x");
  EXPECT_EQ(folded("--- begins ---", "---"), "--- begins ---");
  EXPECT_EQ(folded("user 7 left", "7"), "user @ left");
}

TEST(Folded, TakesAnyBytes) {
  EXPECT_EQ(folded(""), "");
  EXPECT_EQ(folded(std::string_view("\xFF\x00\xC3 9", 5)), std::string("\xFF\x00\xC3 #", 5));
  EXPECT_EQ(folded("9"), "#");
  EXPECT_EQ(folded("0x"), "#x");
  const std::string words(100'000, '-');
  EXPECT_EQ(folded(words).size(), words.size());
  std::string pairs;
  while (pairs.size() < 100'000) {
    pairs += "a-";
  }
  EXPECT_EQ(folded(pairs), pairs);
}
