// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "encode/rate/CoarsenessSearch.h"

namespace prores {
namespace {

using Sizes = std::function<std::uint64_t(Coarseness coarseness)>;

constexpr Coarseness kStart = 5 * kOctave;

struct Outcome {
  Coarseness coarseness;
  unsigned steps;
};

/// Measures until the search settles.
Outcome Search(const Sizes& sizes, std::uint64_t budget, Coarseness first = kStart) {
  CoarsenessSearch search;
  Outcome outcome{first, 0};
  do {
    search.Add(outcome.coarseness, sizes(outcome.coarseness), budget);
    outcome.coarseness = search.Next();
    ++outcome.steps;
  } while (!search.IsSettled());
  return outcome;
}

std::uint64_t PowerLaw(Coarseness coarseness, double exponent) {
  return static_cast<std::uint64_t>(1e12 * std::exp2(-exponent * coarseness / kOctave));
}

TEST(FixedLog2, IsTheLogarithmRoundedDown) {
  for (const std::uint64_t value : {1ULL, 2ULL, 3ULL, 5ULL, 100ULL, 916'666ULL, 0xFFFFFFFFULL,
                                    0x123456789ABCDEFULL, 0xFFFFFFFFFFFFFFFFULL}) {
    const double exact = std::log2(static_cast<double>(value)) * 65536;
    EXPECT_NEAR(static_cast<double>(FixedLog2(value)), exact - 0.5, 0.51) << value;
  }
  EXPECT_EQ(FixedLog2(1), 0);
  EXPECT_EQ(FixedLog2(1ULL << 40), 40 << 16);
}

TEST(CoarsenessSearch, EndsJustBelowTheBudgetOfAPowerLawInAFewSteps) {
  for (const double exponent : {0.6, 1.0, 1.5, 2.1}) {
    const auto sizes = [exponent](Coarseness coarseness) { return PowerLaw(coarseness, exponent); };
    for (Coarseness wanted = kFinest; wanted <= kCoarsest; wanted += 111) {
      const std::uint64_t budget = sizes(wanted);
      const Outcome outcome = Search(sizes, budget);
      EXPECT_LE(sizes(outcome.coarseness), budget);
      EXPECT_GE(sizes(outcome.coarseness), budget - budget / 900);
      EXPECT_LE(outcome.steps, 6) << exponent << ", " << wanted;
    }
  }
}

TEST(CoarsenessSearch, SettlesAtTheEnds) {
  const auto sizes = [](Coarseness coarseness) { return PowerLaw(coarseness, 1.0); };
  EXPECT_EQ(Search(sizes, sizes(kFinest) * 100).coarseness, kFinest);
  EXPECT_EQ(Search(sizes, 1).coarseness, kCoarsest);
  EXPECT_EQ(Search([](Coarseness) { return 5; }, 4).coarseness, kCoarsest);
}

TEST(CoarsenessSearch, SettlesOnAFittingSizeForIrregularSizes) {
  for (Coarseness edge = kFinest + 1; edge <= kCoarsest; edge += 1009) {
    // Sizes jump, fall by single bytes, or rise again.
    const Sizes shapes[] = {
        [edge](Coarseness coarseness) { return coarseness < edge ? 1'000'000 : 10; },
        [edge](Coarseness coarseness) { return 100'000 + edge - coarseness; },
        [edge](Coarseness coarseness) {
          return coarseness < edge ? 120'000 : 100'000 + (coarseness % 7) * 1000 - 6000;
        },
    };
    for (const Sizes& sizes : shapes) {
      const Outcome outcome = Search(sizes, 100'000);
      EXPECT_LE(sizes(outcome.coarseness), 100'000) << edge;
      EXPECT_LE(outcome.steps, 24) << edge;
    }
  }
}

TEST(CoarsenessSearch, FindsTheFinestThatFitsWhereNoneComesCloseToTheBudget) {
  for (Coarseness edge = kFinest + 1; edge <= kCoarsest; edge += 499) {
    const Sizes jump = [edge](Coarseness coarseness) { return coarseness < edge ? 9000 : 10; };
    EXPECT_EQ(Search(jump, 5000).coarseness, edge);
  }
}

TEST(CoarsenessSearch, StartsOverWithTheSlopeItFound) {
  const auto sizes = [](Coarseness coarseness) { return PowerLaw(coarseness, 2.0); };
  CoarsenessSearch search;
  const std::uint64_t first = sizes(24'000);
  search.Add(kStart, sizes(kStart), first);
  search.Add(21'000, sizes(21'000), first);
  search.Restart(kFinest);
  const std::uint64_t second = sizes(30'000);
  search.Add(22'000, sizes(22'000), second);
  EXPECT_NEAR(search.Next(), 30'000, 20);
  EXPECT_FALSE(search.IsClose());
  search.Add(29'900, sizes(29'900), second);
  EXPECT_TRUE(search.IsClose());
  EXPECT_FALSE(search.IsSettled());
}

}  // namespace
}  // namespace prores
