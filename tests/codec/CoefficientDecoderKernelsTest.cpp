// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"
#include "ReferenceCodec.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/Codewords.h"
#include "bitstream/CoefficientDecoder.h"
#include "encode/BitWriter.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;
using test::Guard;
using test::GuardedMemory;

constexpr std::uint32_t kBlockCounts[] = {2, 4, 8, 16, 32};
constexpr std::size_t kMaxBytes = 1 << 15;
constexpr std::size_t kMaxCoefficients = kMaxSliceBlocks * kBlockSamples + kCoefficientSlack;

struct Coded {
  Bytes data;
  std::uint32_t blocks;
};

/// Memory of one component, for use at either end of its pages.
struct Place {
  GuardedMemory<std::uint8_t> dataInFront{kMaxBytes, Guard::kInFront};
  GuardedMemory<std::uint8_t> dataBehind{kMaxBytes, Guard::kBehind};
  GuardedMemory<std::int16_t> coefficientsInFront{kMaxCoefficients, Guard::kInFront};
  GuardedMemory<std::int16_t> coefficientsBehind{kMaxCoefficients, Guard::kBehind};

  CodedComponent Take(const Coded& coded, Guard guard) const {
    const bool inFront = guard == Guard::kInFront;
    const std::size_t count = coded.blocks * kBlockSamples + kCoefficientSlack;
    const auto data = inFront ? dataInFront.Values().first(coded.data.size())
                              : dataBehind.Values().last(coded.data.size());
    const auto coefficients = inFront ? coefficientsInFront.Values().first(count)
                                      : coefficientsBehind.Values().last(count);
    std::ranges::copy(coded.data, data.begin());
    std::ranges::fill(coefficients, std::int16_t{0});
    return {.data = data, .blocks = coded.blocks, .coefficients = coefficients.data()};
  }
};

/// Compares each form with the plain one, at the edges of accessible memory.
class CoefficientDecoderKernels : public test::CpuLevelTest {
 protected:
  void ExpectSame(const std::vector<Coded>& queue) {
    while (places_.size() < queue.size()) places_.push_back(std::make_unique<Place>());
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      std::vector<CodedComponent> components;
      for (std::size_t i = 0; i < queue.size(); ++i) {
        components.push_back(places_[i]->Take(queue[i], guard));
      }
      KernelsFor(GetParam()).decodeComponents(components);
      for (std::size_t i = 0; i < queue.size(); ++i) {
        ASSERT_NO_FATAL_FAILURE(ExpectPlainResult(queue[i], components[i])) << "component " << i;
      }
    }
  }
  void ExpectSame(const Bytes& data, std::uint32_t blocks) { ExpectSame({{data, blocks}}); }

  int Intact() const { return intact_; }
  int Damaged() const { return damaged_; }

 private:
  void ExpectPlainResult(const Coded& coded, const CodedComponent& component) {
    std::vector<std::int16_t> expected(coded.blocks * kBlockSamples);
    const std::uint32_t positions = DecodeCoefficients(coded.data, coded.blocks, expected.data());
    ASSERT_EQ(component.intact, positions != 0);
    ++(component.intact ? intact_ : damaged_);
    if (!component.intact) return;
    ASSERT_EQ(component.positions, positions);
    ASSERT_TRUE(std::ranges::equal(expected, std::span(component.coefficients, expected.size())));
  }

  std::vector<std::unique_ptr<Place>> places_;
  int intact_ = 0;
  int damaged_ = 0;
};

/// Returns coefficients with `density` in 100 nonzero values of all orders of magnitude.
std::vector<int> RandomCoefficients(std::mt19937& random, std::uint32_t blocks, unsigned density,
                                    unsigned largest) {
  std::vector<int> coefficients(blocks * kBlockSamples);
  for (int& coefficient : coefficients) {
    if (random() % 100 >= density) continue;
    const auto limit = std::max(1u, largest >> random() % 16);
    const auto magnitude = static_cast<int>(random() % limit) + 1;
    coefficient = random() % 2 == 0 ? magnitude : -magnitude;
  }
  return coefficients;
}

Coded Encode(const std::vector<int>& coefficients) {
  const auto blocks = static_cast<std::uint32_t>(coefficients.size() / kBlockSamples);
  return {reference::CodeComponent(coefficients, static_cast<int>(blocks)), blocks};
}

Coded RandomComponent(std::mt19937& random) {
  const std::uint32_t blocks = kBlockCounts[random() % 5];
  const auto density = static_cast<unsigned>(random() % 2 == 0 ? random() % 101 : random() % 8);
  return Encode(RandomCoefficients(random, blocks, density, 1u << random() % 14));
}

TEST_P(CoefficientDecoderKernels, DecodeAllDensitiesAndMagnitudes) {
  std::mt19937 random(1);
  for (const std::uint32_t blocks : kBlockCounts) {
    for (const unsigned density : {0u, 1u, 3u, 10u, 30u, 60u, 100u}) {
      for (const unsigned magnitude : {1u, 2u, 6u, 30u, 200u, 1500u, 8192u, 16383u}) {
        const Coded coded = Encode(RandomCoefficients(random, blocks, density, magnitude));
        ASSERT_NO_FATAL_FAILURE(ExpectSame({coded}))
            << blocks << ' ' << density << "% " << magnitude;
      }
    }
  }
  EXPECT_EQ(Damaged(), 0);
}

TEST_P(CoefficientDecoderKernels, DecodeQueuesOfAnyLength) {
  std::mt19937 random(2);
  for (const std::size_t length : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 11u, 45u, 90u}) {
    for (int i = 0; i < 3; ++i) {
      std::vector<Coded> queue(length);
      std::ranges::generate(queue, [&] { return RandomComponent(random); });
      ASSERT_NO_FATAL_FAILURE(ExpectSame(queue)) << length;
    }
  }
  EXPECT_EQ(Damaged(), 0);
}

TEST_P(CoefficientDecoderKernels, DecodeEveryRunAfterEveryClassOfRuns) {
  for (const std::size_t before : {0u, 2u, 4u, 5u, 9u, 15u, 40u, 200u}) {
    for (std::size_t run = 0; run < 300; ++run) {
      std::vector<int> coefficients(32 * kBlockSamples);
      const std::size_t first = 32 + before;
      const std::size_t third = first + run + 1 + before + 1;
      coefficients[first] = 1 + static_cast<int>(run % 12);
      coefficients[first + run + 1] = -1;
      coefficients[third] = -2;
      coefficients[third + run + 1] = 3;
      ASSERT_NO_FATAL_FAILURE(ExpectSame({Encode(coefficients)})) << before << ' ' << run;
    }
  }
  EXPECT_EQ(Damaged(), 0);
}

TEST_P(CoefficientDecoderKernels, DecodeEveryLevelAfterEveryClassOfLevels) {
  for (const int before : {1, 2, 3, 4, 5, 9, 130, 32767}) {
    for (int level = 1; level <= 32767; level += level < 300 ? 1 : level / 3) {
      std::vector<int> coefficients(4 * kBlockSamples);
      coefficients[4] = before;
      coefficients[5] = -level;
      coefficients[9] = -before;
      coefficients[10 + static_cast<std::size_t>(level % 200)] = level;
      ASSERT_NO_FATAL_FAILURE(ExpectSame({Encode(coefficients)})) << before << ' ' << level;
    }
  }
  EXPECT_EQ(Damaged(), 0);
}

TEST_P(CoefficientDecoderKernels, DecodeDcsThatJump) {
  std::mt19937 random(3);
  for (const std::uint32_t blocks : kBlockCounts) {
    for (const int largest : {0, 1, 3, 10, 60, 200, 1000, 16384, 32767}) {
      std::vector<int> coefficients(blocks * kBlockSamples);
      for (std::size_t i = 0; i < blocks; ++i) {
        coefficients[i] =
            static_cast<int>(random() % static_cast<unsigned>(2 * largest + 1)) - largest;
        if (largest == 32767) coefficients[i] = i % 2 == 0 ? largest : -largest;
      }
      ASSERT_NO_FATAL_FAILURE(ExpectSame({Encode(coefficients)})) << blocks << ' ' << largest;
    }
  }
  EXPECT_EQ(Damaged(), 0);
}

TEST_P(CoefficientDecoderKernels, AgreeOnDataTruncatedAnywhere) {
  std::mt19937 random(4);
  for (int i = 0; i < 12; ++i) {
    Coded coded = RandomComponent(random);
    coded.data.resize(std::min<std::size_t>(coded.data.size(), 700));
    for (; !coded.data.empty(); coded.data.pop_back()) {
      ASSERT_NO_FATAL_FAILURE(ExpectSame({coded})) << i << ' ' << coded.data.size();
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame({coded}));
  }
  EXPECT_GT(Intact(), 100);
  EXPECT_GT(Damaged(), 100);
}

TEST_P(CoefficientDecoderKernels, AgreeOnDataTruncatedBetweenBits) {
  std::mt19937 random(5);
  for (int i = 0; i < 3; ++i) {
    Coded coded = Encode(RandomCoefficients(random, 4, 30, 300));
    while (!coded.data.empty()) {
      for (unsigned bits = 8; bits > 0; --bits) {
        coded.data.back() &= static_cast<std::uint8_t>(0xff << (8 - bits));
        ASSERT_NO_FATAL_FAILURE(ExpectSame({coded})) << coded.data.size() << ' ' << bits;
      }
      coded.data.pop_back();
    }
  }
  EXPECT_GT(Intact(), 100);
  EXPECT_GT(Damaged(), 100);
}

TEST_P(CoefficientDecoderKernels, AgreeOnBytesAfterTheLastCodeword) {
  std::mt19937 random(6);
  for (int i = 0; i < 40; ++i) {
    const Coded coded = RandomComponent(random);
    for (const std::size_t zeros : {1u, 2u, 5u, 7u, 8u, 9u, 15u, 16u, 100u}) {
      Coded longer = coded;
      longer.data.resize(longer.data.size() + zeros);
      ASSERT_NO_FATAL_FAILURE(ExpectSame({longer})) << zeros;
      longer.data.push_back(static_cast<std::uint8_t>(1 << random() % 8));
      ASSERT_NO_FATAL_FAILURE(ExpectSame({longer})) << zeros;
    }
  }
  EXPECT_GE(Intact(), 40 * 9);
  EXPECT_GT(Damaged(), 40 * 7);
}

TEST_P(CoefficientDecoderKernels, AgreeOnFlippedBits) {
  std::mt19937 random(7);
  for (int i = 0; i < 400; ++i) {
    std::vector<Coded> queue(7);
    for (Coded& coded : queue) {
      coded = RandomComponent(random);
      for (auto flips = random() % 3; flips > 0; --flips) {
        coded.data[random() % coded.data.size()] ^= static_cast<std::uint8_t>(1 << random() % 8);
      }
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame(queue)) << i;
  }
  EXPECT_GT(Intact(), 1000);
  EXPECT_GT(Damaged(), 200);
}

TEST_P(CoefficientDecoderKernels, AgreeOnArbitraryBytes) {
  std::mt19937 random(8);
  for (int i = 0; i < 4000; ++i) {
    std::vector<Coded> queue(5);
    for (Coded& coded : queue) {
      coded.blocks = kBlockCounts[random() % 5];
      coded.data.resize(random() % (random() % 8 == 0 ? 600 : 60));
      // The more bits are zero, the longer the codewords.
      const auto mask = random() % 2 == 0 ? 0xff : random();
      for (auto& byte : coded.data)
        byte = static_cast<std::uint8_t>(random() & random() >> 8 & mask);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame(queue)) << i;
  }
  EXPECT_GT(Intact(), 1000);
  EXPECT_GT(Damaged(), 1000);
}

/// Writes runs and levels of 1 whether or not they fit a component.
Bytes CodeRuns(std::uint32_t blocks, const std::vector<std::uint32_t>& runs) {
  Bytes bytes(1000);
  BitWriter writer(bytes);
  const auto put = [&](CodeId code, std::uint32_t value) {
    const Codeword word = CodewordOf(kCodes[code], value);
    writer.Put(word.bits, word.length);
  };
  put(kFirstDcCode, 0);
  std::uint32_t difference = kInitialDcDifference;
  for (std::uint32_t i = 1; i < blocks; ++i) {
    put(CodeAfter(kDcCodes, difference), 0);
    difference = 0;
  }
  std::uint32_t previous = kInitialRun;
  std::uint32_t symbol = kInitialLevelSymbol;
  for (const std::uint32_t run : runs) {
    put(CodeAfter(kRunCodes, previous), run);
    put(CodeAfter(kLevelCodes, symbol), 0);
    writer.Put(0, 1);
    previous = run;
    symbol = 0;
  }
  EXPECT_TRUE(writer.Finish());
  bytes.resize(static_cast<std::size_t>(writer.Position() - bytes.data()));
  return bytes;
}

TEST_P(CoefficientDecoderKernels, StayInTheirMemoryWhateverTheRuns) {
  for (const std::uint32_t run : {0u, 3u, 27u, 28u, 29u, 59u, 61u, 63u, 64u, 200u, 2000u, 70000u}) {
    for (std::uint32_t start = 1; start < 80; ++start) {
      std::vector<std::uint32_t> runs{4 * (kBlockSamples - 1) - start};
      runs.insert(runs.end(), 30, run);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(CodeRuns(4, runs), 4)) << run << ' ' << start;
    }
  }
  EXPECT_GT(Damaged(), 1000);
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, CoefficientDecoderKernels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

}  // namespace
}  // namespace prores
