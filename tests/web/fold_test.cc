// What repeats have in common.
#include <gtest/gtest.h>

#include "tools/annalctl/query/fold.h"

using annalctl::folded;

TEST(Fold, LeavesOutNumbersAddressesTimesAndTheUser) {
  EXPECT_EQ(folded("Failed password for root from 10.0.0.5 port 22 ssh2", "root"),
            "Failed password for @ from # port # ssh#");
  EXPECT_EQ(folded("at 10:15:03 on 2026-11-21 from fe80::1"), "at # on # from #");
  EXPECT_EQ(folded("rooted", "root"), "rooted");
}

TEST(Fold, KeepsWhatTellsEntriesApart) {
  EXPECT_NE(folded("Fan failed"), folded("Disk failed"));
  EXPECT_EQ(folded(""), "");
  EXPECT_EQ(folded("\xff\xfe"), "\xff\xfe");
}
