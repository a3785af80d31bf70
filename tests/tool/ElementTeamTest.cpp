// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "run/ElementTeam.h"

namespace vixprores {
namespace {

void ExpectShares(const ThreadShares& shares, unsigned elements, int threadsEach) {
  EXPECT_EQ(shares.elements, elements);
  EXPECT_EQ(shares.threadsEach, threadsEach);
}

TEST(ThreadShares, EveryThreadHasFramesOfItsOwn) {
  ExpectShares(ShareThreads(1, 100), 1, 1);
  ExpectShares(ShareThreads(3, 100), 3, 1);
  ExpectShares(ShareThreads(8, 8), 8, 1);
  ExpectShares(ShareThreads(8, std::nullopt), 8, 1);
}

TEST(ThreadShares, FewFramesAreShared) {
  ExpectShares(ShareThreads(8, 1), 1, 8);
  ExpectShares(ShareThreads(8, 3), 3, 2);
  ExpectShares(ShareThreads(5, 4), 4, 1);
}

TEST(ThreadShares, NoFramesNeedAnElementAllTheSame) {
  ExpectShares(ShareThreads(4, 0), 1, 4);
}

TEST(ThreadShares, AutomaticIsAtLeastOneThread) {
  const ThreadShares shares = ShareThreads(0, std::nullopt);
  EXPECT_GE(shares.elements, 1u);
  EXPECT_EQ(shares.threadsEach, 1);
}

}  // namespace
}  // namespace vixprores
