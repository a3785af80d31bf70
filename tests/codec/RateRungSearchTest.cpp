// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "bitstream/SliceHeader.h"
#include "rate/RungSearch.h"

namespace prores {
namespace {

using Sizes = std::function<std::uint64_t(unsigned rung)>;

struct Outcome {
  unsigned rung;
  unsigned steps;
};

/// Goes on until the search settles.
Outcome Search(const Sizes& sizes, std::uint64_t budget, unsigned first) {
  RungSearch search;
  Outcome outcome{first, 0};
  do {
    search.Add(outcome.rung, sizes(outcome.rung), budget);
    outcome.rung = search.Next();
    ++outcome.steps;
  } while (!search.IsSettled());
  return outcome;
}

std::uint64_t PowerLaw(unsigned rung, double exponent) {
  const double scale = QuantizerScale(QuantisationIndex(rung)) * (rung == 0 ? 0.9 : 1.0);
  return static_cast<std::uint64_t>(1e12 * std::pow(scale, -exponent));
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

TEST(RungSearch, FindsTheFinestRungOfAPowerLawInAFewSteps) {
  for (const double exponent : {0.6, 1.0, 1.5, 2.1}) {
    const auto sizes = [exponent](unsigned rung) { return PowerLaw(rung, exponent); };
    for (unsigned wanted = 0; wanted <= kCoarsestRung; ++wanted) {
      const Outcome outcome = Search(sizes, sizes(wanted), 24);
      EXPECT_NEAR(outcome.rung, wanted, 1) << exponent;
      EXPECT_LE(sizes(outcome.rung), sizes(wanted));
      EXPECT_LE(outcome.steps, 6) << exponent << ", rung " << wanted;
    }
  }
}

TEST(RungSearch, SettlesAtTheEndsOfTheLadder) {
  const auto sizes = [](unsigned rung) { return PowerLaw(rung, 1.0); };
  EXPECT_EQ(Search(sizes, sizes(0) * 100, 24).rung, 0);
  EXPECT_EQ(Search(sizes, 1, 24).rung, kCoarsestRung);
  EXPECT_EQ(Search([](unsigned) { return 5; }, 4, 24).rung, kCoarsestRung);
}

TEST(RungSearch, SettlesOnARungThatFitsHoweverSizesBehave) {
  for (unsigned edge = 1; edge <= kCoarsestRung; ++edge) {
    // Sizes jump at a rung, or fall by single bytes.
    const Sizes shapes[] = {
        [edge](unsigned rung) { return rung < edge ? 1'000'000 : 10; },
        [edge](unsigned rung) { return 5000 + edge - rung; },
        [edge](unsigned rung) { return rung < edge ? 5001 : 5000 - (rung == 224 ? 4990 : 0); },
    };
    for (const Sizes& sizes : shapes) {
      const Outcome outcome = Search(sizes, 5000, 24);
      EXPECT_LE(sizes(outcome.rung), 5000) << edge;
      EXPECT_LE(outcome.steps, 16) << edge;
    }
  }
}

TEST(RungSearch, StartsOverWithTheSlopeItFound) {
  const auto sizes = [](unsigned rung) { return PowerLaw(rung, 2.0); };
  RungSearch search;
  search.Add(24, sizes(24), sizes(60));
  search.Add(40, sizes(40), sizes(60));
  search.Restart();
  EXPECT_FALSE(search.IsSettled() && search.Next() == 40);
  search.Add(50, sizes(50), sizes(100));
  EXPECT_NEAR(search.Next(), 100, 1);
  EXPECT_FALSE(search.IsClose());
  search.Add(98, sizes(98), sizes(100));
  EXPECT_TRUE(search.IsClose());
}

}  // namespace
}  // namespace prores
