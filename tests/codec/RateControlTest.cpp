// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

#include "encode/rate/RateControl.h"

namespace prores {
namespace {

/// Slices whose size is a given function of slice and scale. Counts how often one is measured.
class FakeSlices {
 public:
  using Size = std::function<unsigned(std::uint32_t slice, unsigned scale)>;
  /// @param chromaPart chroma has 1 / chromaPart of the bytes
  explicit FakeSlices(Size size, unsigned chromaPart = 3)
      : size_(std::move(size)), chromaPart_(chromaPart) {}

  void Measure(const FrameQuantiser& frame, std::span<const std::uint32_t> slices,
               std::span<SliceChoice> choices) {
    for (const std::uint32_t slice : slices) Update(frame, slice, choices[slice]);
  }

  void MeasureAll(const FrameQuantiser& frame, std::span<SliceChoice> choices) {
    for (std::uint32_t slice = 0; slice < choices.size(); ++slice) {
      Update(frame, slice, choices[slice]);
    }
  }

  static SliceQuantiser QuantiserOf(const FrameQuantiser& frame, std::uint32_t slice) {
    return QuantiserAt(frame, {.finerBy = static_cast<std::int16_t>(slice * 37 % 2000),
                               .dither = DitherAt(slice % 15, slice / 15),
                               .grid = {}});
  }

  /// Split over the components, so that each of them counts.
  SliceSize SizeOf(std::uint32_t slice, const SliceQuantiser& quantiser) const {
    const unsigned whole = size_(slice, ScaleOf(quantiser.rung));
    const unsigned bytes = quantiser.isHalved ? whole * 5 / 4 : whole;
    const unsigned chroma = bytes / chromaPart_;
    return {static_cast<std::uint16_t>(bytes - chroma),
            static_cast<std::uint16_t>(chroma - chroma / 3),
            static_cast<std::uint16_t>(chroma / 3)};
  }

  std::uint64_t Total(std::size_t slices, Coarseness coarseness) const {
    std::uint64_t total = 0;
    for (std::uint32_t slice = 0; slice < slices; ++slice) {
      total += SizeOf(slice, QuantiserOf({.coarseness = coarseness}, slice)).Payload();
    }
    return total;
  }

  std::size_t Measured() const { return measured_; }

 private:
  void Update(const FrameQuantiser& frame, std::uint32_t slice, SliceChoice& choice) {
    const SliceQuantiser wanted = QuantiserOf(frame, slice);
    if (choice.quantiser == wanted) return;
    ++measured_;
    choice = {wanted, SizeOf(slice, wanted)};
  }

  Size size_;
  unsigned chromaPart_;
  std::size_t measured_ = 0;
};

/// Returns a frame of that many slices, in strips of 15, or in one strip if 15 does not divide
/// them.
SliceGrid Grid(std::size_t slices) {
  const std::uint32_t perStrip = slices % 15 == 0 ? 15 : 1;
  return {static_cast<std::uint32_t>(slices) / perStrip, perStrip};
}

/// Runs the rate control of a frame to its end.
std::span<const SliceChoice> Choose(RateControl& control, FakeSlices& slices, const SliceGrid& grid,
                                    const PayloadBudget& budget, Coarseness finest = kFinest) {
  control.Start(grid, budget, finest);
  const std::set strips(control.SampleStrips().begin(), control.SampleStrips().end());
  while (control.IsEstimating()) {
    const std::span<const std::uint32_t> sample = control.Sample();
    // Slices of a sample are measured side by side.
    EXPECT_EQ(std::set(sample.begin(), sample.end()).size(), sample.size());
    for (const std::uint32_t slice : sample) {
      EXPECT_TRUE(strips.contains(slice / grid.slicesPerStrip));
    }
    slices.Measure(control.Quantiser(), sample, control.Measured());
    control.JudgeSample();
  }
  while (!control.IsSettled()) {
    slices.MeasureAll(control.Quantiser(), control.Measured());
    control.JudgeFrame();
  }
  return control.Chosen();
}

PayloadBudget Budget(std::uint64_t bytes) {
  return {.ownWeights = bytes, .otherWeights = bytes};
}

/// Sizes about inverse to the scale, which differ threefold between slices.
unsigned NaturalSize(std::uint32_t slice, unsigned scale) {
  return 20 + (4000 + slice * 7919 % 8000) / (scale + 1);
}

std::uint64_t TotalOf(std::span<const SliceChoice> choices) {
  std::uint64_t total = 0;
  for (const SliceChoice& choice : choices) total += choice.size.Payload();
  return total;
}

TEST(RateControl, EndsJustBelowTheBudget) {
  RateControl control;
  for (const std::size_t slices : {150U, 157U, 211U, 1020U}) {
    for (const Coarseness coarseness : {9000, 16000, 25000, 33000, 41000}) {
      FakeSlices fake(NaturalSize);
      const std::uint64_t budget = fake.Total(slices, coarseness);
      const auto choices = Choose(control, fake, Grid(slices), Budget(budget));
      ASSERT_EQ(choices.size(), slices);
      EXPECT_LE(TotalOf(choices), budget);
      EXPECT_GE(TotalOf(choices), budget - budget / 500) << slices << " slices, " << coarseness;
    }
  }
}

TEST(RateControl, ChoosesQuantisersOfOneFrameWithTheirSizes) {
  RateControl control;
  for (const std::size_t slices : {1U, 2U, 7U, 31U, 45U, 1020U}) {
    FakeSlices fake(NaturalSize);
    const auto choices = Choose(control, fake, Grid(slices), Budget(fake.Total(slices, 20'000)));
    EXPECT_LE(TotalOf(choices), fake.Total(slices, 20'000));
    const auto isOf = [&](Coarseness coarseness) {
      for (std::uint32_t slice = 0; slice < slices; ++slice) {
        if (choices[slice].quantiser !=
            FakeSlices::QuantiserOf({.coarseness = coarseness}, slice)) {
          return false;
        }
      }
      return true;
    };
    bool found = false;
    for (Coarseness c = 19'000; c < 21'000 && !found; ++c) found = isOf(c);
    EXPECT_TRUE(found) << slices;
    for (std::uint32_t slice = 0; slice < slices; ++slice) {
      EXPECT_EQ(choices[slice].size.Payload(),
                NaturalSize(slice, ScaleOf(choices[slice].quantiser.rung)));
    }
  }
}

TEST(RateControl, StaysAtTheFinestWhereEverythingFits) {
  RateControl control;
  FakeSlices fake(NaturalSize);
  const auto choices = Choose(control, fake, Grid(100), Budget(fake.Total(100, kFinest) * 2));
  EXPECT_TRUE(
      std::ranges::all_of(choices, [](const SliceChoice& c) { return c.quantiser.rung == 0; }));
}

TEST(RateControl, HalvesStepsWhereBytesAreLeft) {
  RateControl control;
  FakeSlices fake(NaturalSize);
  const auto isHalved = [](const SliceChoice& choice) { return choice.quantiser.isHalved; };
  const std::uint64_t whole = fake.Total(150, kFinest);
  const std::uint64_t halved = fake.Total(150, kFinestHalved);
  ASSERT_EQ(halved, fake.Total(150, kFinestHalved - 1));
  const auto all = Choose(control, fake, Grid(150), Budget(halved), kFinestHalved);
  EXPECT_TRUE(std::ranges::all_of(all, isHalved));

  const auto mixed = Choose(control, fake, Grid(150), Budget((whole + halved) / 2), kFinestHalved);
  const auto count = std::ranges::count_if(mixed, isHalved);
  EXPECT_GT(count, 150 * 2 / 5);
  EXPECT_LT(count, 150 * 3 / 5);
  EXPECT_LE(TotalOf(mixed), (whole + halved) / 2);

  const auto none = Choose(control, fake, Grid(150), Budget(whole - 1), kFinestHalved);
  EXPECT_TRUE(std::ranges::none_of(none, isHalved));
}

TEST(RateControl, StaysAtTheCoarsestWhereNothingFits) {
  RateControl control;
  FakeSlices fake(NaturalSize);
  const auto choices = Choose(control, fake, Grid(100), Budget(fake.Total(100, kCoarsest) - 1));
  EXPECT_TRUE(std::ranges::all_of(
      choices, [](const SliceChoice& c) { return c.quantiser.rung == kCoarsestRung; }));
  EXPECT_EQ(TotalOf(choices), fake.Total(100, kCoarsest));
}

TEST(RateControl, KeepsTheBudgetWhereTheSampleMisleads) {
  // One slice has nearly all bytes, so no sample of the others represents the whole.
  for (std::uint32_t heavy = 0; heavy < 300; heavy += 7) {
    FakeSlices fake([heavy](std::uint32_t slice, unsigned scale) {
      return slice == heavy ? 60'000 / (scale + 1) : 3U;
    });
    RateControl control;
    const std::uint64_t budget = fake.Total(300, 18'000);
    const auto choices = Choose(control, fake, Grid(300), Budget(budget));
    EXPECT_LE(TotalOf(choices), budget);
    EXPECT_GE(TotalOf(choices), budget * 9 / 10);
  }
}

TEST(RateControl, KeepsTheBudgetWhereAFinerQuantiserIsSmaller) {
  FakeSlices fake([](std::uint32_t slice, unsigned scale) {
    return 100 + 20'000 / (scale + 1) + (slice + scale) * 37 % 11 * 9;
  });
  RateControl control;
  for (std::uint64_t budget = 20'000; budget < 100'000; budget += 977) {
    EXPECT_LE(TotalOf(Choose(control, fake, Grid(64), Budget(budget))), budget);
  }
}

TEST(RateControl, LowersTheWeightsOfChromaWhereLumaIsHardAndChromaHasFewBytes) {
  RateControl control;
  const auto quarters = [&](unsigned chromaPart, Coarseness coarseness) {
    FakeSlices fake(NaturalSize, chromaPart);
    const std::uint64_t budget = fake.Total(1020, coarseness);
    return Choose(control, fake, Grid(1020), Budget(budget)).front().quantiser.chromaQuarters;
  };
  constexpr Coarseness kHard = 8 * kOctave, kEasy = 4 * kOctave;
  EXPECT_EQ(quarters(3, kHard), kQuarters);
  EXPECT_EQ(quarters(12, kHard), kLowerChroma);
  EXPECT_EQ(quarters(12, kEasy), kQuarters);
}

TEST(RateControl, StaysWithinTheBudgetOfTheChosenWeights) {
  RateControl control;
  FakeSlices hard(NaturalSize, 12);
  const std::uint64_t own = hard.Total(1020, 8 * kOctave);
  const auto choices = Choose(control, hard, Grid(1020), {own, own - 500});
  EXPECT_EQ(choices.front().quantiser.chromaQuarters, kLowerChroma);
  EXPECT_LE(TotalOf(choices), own - 500);

  FakeSlices noise([](std::uint32_t, unsigned scale) { return 20 + 900'000 / (scale + 1); });
  const std::uint64_t coarse = noise.Total(1020, 12 * kOctave);
  EXPECT_LE(TotalOf(Choose(control, noise, Grid(1020), {coarse, coarse - 500})), coarse - 500);
}

TEST(RateControl, MeasuresTheWholeFrameOnlyAFewTimes) {
  constexpr std::size_t kSlices = 1020;
  RateControl control;
  for (Coarseness coarseness = 9000; coarseness < 40'000; coarseness += 777) {
    FakeSlices fake(NaturalSize);
    Choose(control, fake, Grid(kSlices), Budget(fake.Total(kSlices, coarseness)));
    EXPECT_LE(fake.Measured(), 3 * kSlices) << coarseness;
  }
}

TEST(RateControl, DoesNotDependOnPreviousFrames) {
  FakeSlices fake(NaturalSize);
  RateControl used;
  Choose(used, fake, Grid(1020), Budget(100'000));
  Choose(used, fake, Grid(9), Budget(100));
  for (const std::size_t slices : {50U, 200U}) {
    RateControl fresh;
    const auto expected = Choose(fresh, fake, Grid(slices), Budget(150 * slices));
    const auto choices = Choose(used, fake, Grid(slices), Budget(150 * slices));
    ASSERT_EQ(choices.size(), expected.size());
    for (std::size_t i = 0; i < slices; ++i) {
      EXPECT_EQ(choices[i].quantiser, expected[i].quantiser);
    }
  }
}

}  // namespace
}  // namespace prores
