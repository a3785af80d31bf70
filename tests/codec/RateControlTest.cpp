// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

#include "rate/QuantiserLadder.h"
#include "rate/RateControl.h"

namespace prores {
namespace {

/// Slices whose size is a given function of slice and rung; counts how often one is asked for.
class FakeMeter : public SliceMeter {
 public:
  using Size = std::function<unsigned(std::uint32_t slice, unsigned rung)>;
  explicit FakeMeter(Size size) : size_(std::move(size)) {}

  void Measure(unsigned rung, std::span<const std::uint32_t> slices,
               std::span<SliceSize> sizes) override {
    // The slices are measured side by side.
    EXPECT_EQ(std::set(slices.begin(), slices.end()).size(), slices.size());
    for (const std::uint32_t slice : slices) sizes[slice] = SizeOf(slice, rung);
    measured_ += slices.size();
  }

  void MeasureAll(unsigned rung, std::span<SliceSize> sizes) override {
    for (std::uint32_t slice = 0; slice < sizes.size(); ++slice) sizes[slice] = SizeOf(slice, rung);
    measured_ += sizes.size();
  }

  /// Split over the components, so that each of them counts.
  SliceSize SizeOf(std::uint32_t slice, unsigned rung) const {
    const unsigned bytes = size_(slice, rung);
    const unsigned chroma = bytes / 4;
    return {static_cast<std::uint16_t>(bytes - chroma - chroma / 2),
            static_cast<std::uint16_t>(chroma), static_cast<std::uint16_t>(chroma / 2)};
  }

  std::uint64_t Total(std::size_t slices, unsigned rung) const {
    std::uint64_t total = 0;
    for (std::uint32_t slice = 0; slice < slices; ++slice) total += size_(slice, rung);
    return total;
  }

  std::size_t measured() const { return measured_; }

 private:
  Size size_;
  std::size_t measured_ = 0;
};

/// A frame of so many slices, in strips of 15 or of one where 15 do not divide them.
SliceGrid Grid(std::size_t slices) {
  const std::uint32_t perStrip = slices % 15 == 0 ? 15 : 1;
  return {static_cast<std::uint32_t>(slices) / perStrip, perStrip};
}

/// About inverse to the scale, differing threefold from slice to slice.
unsigned NaturalSize(std::uint32_t slice, unsigned rung) {
  return 20 + (4000 + slice * 7919 % 8000) / (QuantizerScale(QuantisationIndex(rung)) + 1);
}

std::uint64_t TotalOf(std::span<const SliceChoice> choices) {
  std::uint64_t total = 0;
  for (const SliceChoice& choice : choices) total += choice.size.Payload();
  return total;
}

TEST(RateControl, FillsTheBudgetFromTwoNeighbouringRungs) {
  RateControl control;
  for (const std::size_t slices : {1U, 2U, 7U, 31U, 45U, 150U, 157U, 211U, 1020U}) {
    for (const unsigned rung : {3U, 10U, 40U, 129U, 200U}) {
      FakeMeter meter(NaturalSize);
      const std::uint64_t budget = meter.Total(slices, rung) + slices;
      const auto choices = control.Choose(meter, Grid(slices), budget);
      ASSERT_EQ(choices.size(), slices);

      std::set<unsigned> rungs;
      unsigned largestStep = 0;
      for (std::uint32_t slice = 0; slice < slices; ++slice) {
        const SliceChoice& choice = choices[slice];
        rungs.insert(choice.rung);
        EXPECT_EQ(choice.size.Payload(), NaturalSize(slice, choice.rung));
        largestStep = std::max(
            largestStep, NaturalSize(slice, choice.rung - 1U) - NaturalSize(slice, choice.rung));
      }
      EXPECT_LE(*rungs.rbegin() - *rungs.begin(), 1U);
      EXPECT_LE(TotalOf(choices), budget);
      EXPECT_GT(TotalOf(choices) + largestStep, budget) << slices << " slices, rung " << rung;
    }
  }
}

TEST(RateControl, StaysOnTheFinestRungWhereEverythingFits) {
  RateControl control;
  FakeMeter meter(NaturalSize);
  const auto choices = control.Choose(meter, Grid(100), meter.Total(100, 0));
  EXPECT_TRUE(std::ranges::all_of(choices, [](const SliceChoice& c) { return c.rung == 0; }));
}

TEST(RateControl, StaysOnTheCoarsestRungWhereNothingFits) {
  RateControl control;
  FakeMeter meter(NaturalSize);
  const auto choices = control.Choose(meter, Grid(100), meter.Total(100, kCoarsestRung) - 1);
  EXPECT_TRUE(
      std::ranges::all_of(choices, [](const SliceChoice& c) { return c.rung == kCoarsestRung; }));
  EXPECT_EQ(TotalOf(choices), meter.Total(100, kCoarsestRung));
}

TEST(RateControl, KeepsTheBudgetWhereTheSampleMisleads) {
  // One slice holds nearly all bytes, so that no sample of others tells the size of the whole.
  for (std::uint32_t heavy = 0; heavy < 300; heavy += 7) {
    FakeMeter meter([heavy](std::uint32_t slice, unsigned rung) {
      return slice == heavy ? 60'000 / (rung + 1) : 3U;
    });
    RateControl control;
    const std::uint64_t budget = meter.Total(300, 17);
    const auto choices = control.Choose(meter, Grid(300), budget);
    EXPECT_EQ(TotalOf(choices), budget);
    EXPECT_EQ(choices[heavy].rung, 17);
  }
}

TEST(RateControl, KeepsTheBudgetWhereAFinerRungIsSmaller) {
  FakeMeter meter([](std::uint32_t slice, unsigned rung) {
    return 100 + 20'000 / (rung + 1) + (slice + rung) * 37 % 11 * 9;
  });
  RateControl control;
  for (std::uint64_t budget = meter.Total(64, 200); budget < meter.Total(64, 20); budget += 977) {
    EXPECT_LE(TotalOf(control.Choose(meter, Grid(64), budget)), budget);
  }
}

TEST(RateControl, MeasuresTheWholeFrameOnlyAFewTimes) {
  constexpr std::size_t kSlices = 1020;
  RateControl control;
  for (const unsigned rung : {3U, 40U, 200U}) {
    const auto measured = [&](std::uint64_t budget) {
      FakeMeter meter(NaturalSize);
      control.Choose(meter, Grid(kSlices), budget);
      return meter.measured();
    };
    const FakeMeter meter(NaturalSize);
    const std::uint64_t least = meter.Total(kSlices, rung);
    EXPECT_LE(measured((least + meter.Total(kSlices, rung - 1)) / 2), 3 * kSlices) << rung;
    // A rung that just fits takes longest: all slices take it one by one.
    EXPECT_LE(measured(least + 1), 7 * kSlices / 2) << rung;
  }
}

TEST(RateControl, RemembersNothingOfTheFramesBefore) {
  FakeMeter meter(NaturalSize);
  RateControl used;
  used.Choose(meter, Grid(1020), 100'000);
  used.Choose(meter, Grid(9), 100);
  for (const std::size_t slices : {50U, 200U}) {
    RateControl fresh;
    const auto expected = fresh.Choose(meter, Grid(slices), 150 * slices);
    const auto choices = used.Choose(meter, Grid(slices), 150 * slices);
    ASSERT_EQ(choices.size(), expected.size());
    for (std::size_t i = 0; i < slices; ++i) EXPECT_EQ(choices[i].rung, expected[i].rung);
  }
}

}  // namespace
}  // namespace prores
