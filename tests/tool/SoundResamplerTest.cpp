// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "base/Errors.h"
#include "media/sound/SoundResampler.h"

extern "C" {
#include <libavutil/cpu.h>
}

namespace vixprores {
namespace {

// A tone of 1 kHz with a peak of 1.
std::vector<double> MakeTone(std::int64_t first, int count, int rate) {
  std::vector<double> samples(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    samples[static_cast<std::size_t>(i)] =
        std::sin(2 * std::numbers::pi * 1000 * static_cast<double>(first + i) / rate);
  }
  return samples;
}

// Returns the samples made of a tone from `first` on that comes in blocks of `step`.
std::vector<double> Resample(int from, int to, std::int64_t first, int count, int step,
                             std::int64_t& begin) {
  SoundResampler resampler(from, to, 1);
  std::vector<double> result;
  bool isFirst = true;
  const auto take = [&](const std::vector<SoundBlock>& blocks) {
    for (const SoundBlock& block : blocks) {
      if (std::exchange(isFirst, false)) begin = block.first;
      EXPECT_EQ(block.first, begin + static_cast<std::int64_t>(result.size()));
      result.insert(result.end(), block.samples.begin(), block.samples.end());
    }
  };
  for (int done = 0; done < count; done += step) {
    const int length = std::min(step, count - done);
    take(resampler.Convert({first + done, from, 1, MakeTone(first + done, length, from)}));
  }
  take(resampler.Finish());
  return result;
}

TEST(SoundResampler, KeepsTimeLengthAndLevel) {
  for (const auto& [from, to] :
       {std::pair{44100, 48000}, {48000, 44100}, {96000, 48000}, {32000, 48000}, {47952, 48000}}) {
    std::int64_t begin = -1;
    const std::vector<double> result = Resample(from, to, 0, from, 1000, begin);
    EXPECT_EQ(begin, 0);
    EXPECT_EQ(result.size(), static_cast<std::size_t>(to));
    const std::vector<double> wanted = MakeTone(0, to, to);
    double largest = 0;
    for (std::size_t i = 500; i + 500 < result.size(); ++i) {
      largest = std::max(largest, std::abs(result[i] - wanted[i]));
    }
    EXPECT_LT(largest, 1e-5) << from << " to " << to;
  }
}

TEST(SoundResampler, KeepsTheLastSamplesAndShortStretches) {
  for (const auto& [from, to] : {std::pair{48000, 44100}, {44100, 48000}, {96000, 8000}}) {
    for (int count = 1; count < 400; ++count) {
      std::int64_t begin = 0;
      const auto size = static_cast<std::int64_t>(Resample(from, to, 0, count, 100, begin).size());
      EXPECT_EQ(size, (std::int64_t{count} * to + from - 1) / from) << count;
    }
  }
}

TEST(SoundResampler, RejectsRatesThatDifferTooMuch) {
  std::int64_t begin = 0;
  EXPECT_THROW(Resample(1, 48000, 0, 10, 10, begin), Failure);
  EXPECT_THROW(Resample(0, 48000, 0, 10, 10, begin), Failure);
  EXPECT_THROW(Resample(100'000'000, 48000, 0, 10, 10, begin), Failure);
  EXPECT_NO_THROW(Resample(768000, 12000, 0, 10, 10, begin));
}

TEST(SoundResampler, DoesNotDependOnTheBlocks) {
  std::int64_t begin = 0;
  EXPECT_EQ(Resample(44100, 48000, 0, 20000, 1024, begin),
            Resample(44100, 48000, 0, 20000, 777, begin));
}

TEST(SoundResampler, GivesEqualSamplesAtEqualPositions) {
  std::int64_t begin = 0;
  const std::vector<double> whole = Resample(44100, 48000, 0, 30000, 1024, begin);
  const std::vector<double> part = Resample(44100, 48000, 10001, 19999, 1024, begin);
  EXPECT_EQ(begin, (10001 * 160 + 146) / 147);
  const auto offset = static_cast<std::size_t>(begin);
  EXPECT_TRUE(std::equal(part.begin() + 500, part.end() - 500,
                         whole.begin() + static_cast<std::ptrdiff_t>(offset) + 500));
}

TEST(SoundResampler, StartsAgainAfterAGap) {
  SoundResampler resampler(44100, 48000, 1);
  std::vector<SoundBlock> blocks = resampler.Convert({0, 44100, 1, MakeTone(0, 4410, 44100)});
  for (SoundBlock& block : resampler.Convert({44100, 44100, 1, MakeTone(0, 4410, 44100)})) {
    blocks.push_back(std::move(block));
  }
  for (SoundBlock& block : resampler.Finish()) blocks.push_back(std::move(block));
  std::int64_t end = 0;
  for (const SoundBlock& block : blocks) {
    if (block.first == end) {
      end += block.Count();
    } else {
      EXPECT_EQ(end, 4800);
      EXPECT_EQ(block.first, 48000);
      end = block.first + block.Count();
    }
  }
  EXPECT_EQ(end, 52800);
}

TEST(SoundResampler, GivesTheSameOnEveryProcessor) {
  std::int64_t begin = 0;
  const std::vector<double> usual = Resample(44100, 48000, 0, 44100, 1024, begin);
  av_force_cpu_flags(0);
  const std::vector<double> plain = Resample(44100, 48000, 0, 44100, 1024, begin);
  av_force_cpu_flags(-1);
  EXPECT_EQ(usual, plain);
}

TEST(SoundResampler, KeepsPeaksAboveFullScale) {
  SoundResampler resampler(44100, 48000, 1);
  std::vector<double> samples = MakeTone(0, 4410, 44100);
  for (double& sample : samples) sample *= 4;
  double largest = 0;
  for (const SoundBlock& block : resampler.Convert({0, 44100, 1, samples})) {
    for (const double sample : block.samples) largest = std::max(largest, std::abs(sample));
  }
  EXPECT_NEAR(largest, 4, 0.01);
}

}  // namespace
}  // namespace vixprores
