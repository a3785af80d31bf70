// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ReferenceCodec.h"
#include "WorkedExamples.h"
#include "bitstream/CoefficientDecoder.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Decodes from memory that ends with the last byte. Returns nothing for damaged data.
std::vector<int> Decoded(const Bytes& bytes, int blocks) {
  const Bytes exact(bytes.begin(), bytes.end());
  std::vector<std::int16_t> coefficients(static_cast<std::size_t>(64 * blocks));
  if (!DecodeCoefficients(exact, static_cast<std::uint32_t>(blocks), coefficients.data())) {
    return {};
  }
  return {coefficients.begin(), coefficients.end()};
}

std::vector<int> RandomCoefficients(std::mt19937& random, int blocks, int density, int magnitude) {
  std::vector<int> coefficients(static_cast<std::size_t>(64 * blocks));
  for (int& c : coefficients) {
    if (static_cast<int>(random() % 100) < density) {
      c = static_cast<int>(random() % static_cast<unsigned>(2 * magnitude + 1)) - magnitude;
    }
  }
  return coefficients;
}

TEST(CoefficientDecoder, DecodesTheWorkedComponents) {
  for (const WorkedComponent& example : kWorkedComponents) {
    SCOPED_TRACE(example.name);
    EXPECT_EQ(Decoded(example.bytes, example.blocks), CoefficientsOf(example));
  }
}

TEST(CoefficientDecoder, AgreesWithTheReferenceForAllDensitiesAndMagnitudes) {
  std::mt19937 random(1);
  for (int blocks = 2; blocks <= 32; blocks *= 2) {
    for (const int density : {0, 1, 10, 50, 100}) {
      for (const int magnitude : {1, 3, 20, 300, 8192}) {
        const auto coefficients = RandomCoefficients(random, blocks, density, magnitude);
        const Bytes bytes = reference::CodeComponent(coefficients, blocks);
        ASSERT_EQ(Decoded(bytes, blocks), coefficients)
            << blocks << " " << density << "% of +-" << magnitude;
      }
    }
  }
}

TEST(CoefficientDecoder, ReachesTheEndsOfTheRange) {
  std::vector<int> coefficients(128);
  coefficients[0] = 16384;
  coefficients[1] = -16384;
  coefficients[2] = 32767;    // after the initial state
  coefficients[3] = -32767;   // after a large level
  coefficients[127] = 16384;  // after a long run
  EXPECT_EQ(Decoded(reference::CodeComponent(coefficients, 2), 2), coefficients);
}

TEST(CoefficientDecoder, ReadsTheLongestRun) {
  std::vector<int> coefficients(64 * 32);
  coefficients.back() = -1;
  EXPECT_EQ(Decoded(reference::CodeComponent(coefficients, 32), 32), coefficients);
}

TEST(CoefficientDecoder, AcceptsAnyNumberOfTrailingZeros) {
  for (const WorkedComponent& example : kWorkedComponents) {
    for (const std::size_t zeros : {1u, 3u, 4u, 7u, 8u, 9u, 40u, 1000u}) {
      Bytes bytes = example.bytes;
      bytes.resize(bytes.size() + zeros);
      EXPECT_EQ(Decoded(bytes, example.blocks), CoefficientsOf(example))
          << example.name << " and " << zeros;
    }
  }
}

TEST(CoefficientDecoder, RejectsOnesAfterZeros) {
  for (const std::size_t zeros : {4u, 7u, 8u, 9u, 40u}) {
    Bytes bytes{0xD1, 0xC7, 0x1C};
    bytes.resize(bytes.size() + zeros);
    bytes.push_back(1);
    EXPECT_TRUE(Decoded(bytes, 4).empty()) << zeros;
  }
}

TEST(CoefficientDecoder, RejectsTruncatedDcs) {
  const Bytes bytes{0xD0, 0x43, 0x1D, 0x68};
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_TRUE(
        Decoded({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}, 4).empty())
        << size;
  }
}

TEST(CoefficientDecoder, RejectsATruncatedCodeword) {
  std::vector<int> coefficients(128);
  coefficients[2] = 300;
  const Bytes whole = reference::CodeComponent(coefficients, 2);
  ASSERT_FALSE(Decoded(whole, 2).empty());
  Bytes cut = whole;
  cut.pop_back();
  EXPECT_TRUE(Decoded(cut, 2).empty());
}

TEST(CoefficientDecoder, RejectsCoefficientsAfterTheLast) {
  const std::vector<int> coefficients(128, 1);
  Bytes bytes = reference::CodeComponent(coefficients, 2);
  ASSERT_FALSE(Decoded(bytes, 2).empty());
  bytes.push_back(0x80);
  EXPECT_TRUE(Decoded(bytes, 2).empty());
}

TEST(CoefficientDecoder, RejectsValuesOutsideSixteenBits) {
  std::vector<int> coefficients(128);
  coefficients[2] = 32768;
  EXPECT_TRUE(Decoded(reference::CodeComponent(coefficients, 2), 2).empty());
  coefficients[2] = 0;
  coefficients[0] = coefficients[1] = 32768;
  EXPECT_TRUE(Decoded(reference::CodeComponent(coefficients, 2), 2).empty());
  coefficients[0] = 30000;
  coefficients[1] = -33000;
  EXPECT_TRUE(Decoded(reference::CodeComponent(coefficients, 2), 2).empty());
  coefficients[0] = coefficients[1] = 0;
  coefficients[2] = 1 << 25;
  EXPECT_TRUE(Decoded(reference::CodeComponent(coefficients, 2), 2).empty());
}

TEST(CoefficientDecoder, SurvivesArbitraryBytes) {
  std::mt19937 random(2);
  int accepted = 0;
  for (int i = 0; i < 20000; ++i) {
    Bytes bytes(random() % 40);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    if (i % 2 == 0 && !bytes.empty()) bytes[random() % bytes.size()] = 0;
    if (!Decoded(bytes, 2 << i % 5).empty()) ++accepted;
  }
  EXPECT_GT(accepted, 100);
}

}  // namespace
}  // namespace prores
