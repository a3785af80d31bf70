// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "AlphaTest.h"
#include "GuardedMemory.h"
#include "ReferenceCodec.h"
#include "bitstream/AlphaCodes.h"
#include "bitstream/AlphaDecoder.h"
#include "encode/AlphaEncoder.h"

namespace prores {
namespace {

using test::AlphaDepth;
using test::GuardedMemory;
using test::kAlphaDepths;
using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

std::uint32_t MacroblocksHolding(std::size_t samples) {
  return static_cast<std::uint32_t>((samples + 255) / 256);
}

/// Codes between inaccessible pages, into just the bytes that the encoder may need.
Bytes CodedFrom16Bits(const Samples& samples, const AlphaDepth& depth) {
  const GuardedMemory<std::uint16_t> source(samples.size());
  std::copy(samples.begin(), samples.end(), source.Values().begin());
  const GuardedMemory<std::uint8_t> bytes(
      MostAlphaBytes(depth.type, MacroblocksHolding(samples.size())));
  std::ranges::fill(bytes.Values(), std::uint8_t{0xAA});
  const std::size_t size = EncodeAlpha(source.Values(), depth.type, bytes.Values());
  EXPECT_LE(size, bytes.Values().size());
  const auto unused = bytes.Values().subspan(std::min(size, bytes.Values().size()));
  EXPECT_TRUE(std::ranges::all_of(unused, [](int byte) { return byte == 0xAA; }));
  return Bytes(bytes.Values().begin(), unused.begin());
}

Bytes Coded(const std::vector<int>& samples, const AlphaDepth& depth) {
  return CodedFrom16Bits(test::In16Bits(samples, depth), depth);
}

/// Expects the bytes of the reference for samples as deep as coded, and that they decode.
void ExpectSmallestCoding(const std::vector<int>& samples, const AlphaDepth& depth) {
  const Bytes bytes = Coded(samples, depth);
  ASSERT_EQ(bytes, reference::CodeAlpha(samples, depth.bits, reference::AlphaForms::kShort));
  ASSERT_EQ(reference::DecodeAlpha(bytes, depth.bits, static_cast<int>(samples.size())), samples);
  Samples decoded(samples.size());
  ASSERT_TRUE(DecodeAlpha(bytes, depth.type, decoded));
  ASSERT_EQ(decoded, test::In16Bits(samples, depth));
}

TEST(AlphaEncoder, CodesTheWorkedExamples) {
  for (const test::WorkedAlpha& example : test::kWorkedAlpha) {
    EXPECT_EQ(Coded(std::vector<int>(256, example.value), example.depth),
              test::PackDigits(example.digits))
        << example.name;
  }
}

TEST(AlphaEncoder, OmitsTheFlagOfARunAfterTheLastSample) {
  EXPECT_EQ(Coded({254, 253, 252}, kAlphaDepths[0]),
            test::PackDigits("0 0001 1  0 0001 1  0 0001"));
  EXPECT_EQ(Coded({0}, kAlphaDepths[1]).size(), 1u);  // 8 bits: a flag would need another byte
}

TEST(AlphaEncoder, CodesEveryDifferenceOf8BitsInItsSmallestForm) {
  for (int first = 0; first < 256; ++first) {
    std::vector<int> samples;
    for (int second = 0; second < 256; ++second) samples.insert(samples.end(), {first, second});
    ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(samples, kAlphaDepths[0])) << first;
  }
}

TEST(AlphaEncoder, CodesDifferencesOf16BitsInTheirSmallestForm) {
  std::vector<int> differences{-32768, 32767, -32767, 16384, -255, 255, 256, -256};
  for (int difference = -70; difference <= 70; ++difference) differences.push_back(difference);
  for (const int first : {0, 1, 63, 64, 65, 255, 256, 32767, 32768, 65470, 65471, 65534, 65535}) {
    for (const int difference : differences) {
      const int second = (first + difference) & 0xFFFF;
      ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding({first, second, first}, kAlphaDepths[1]))
          << first << " " << second;
    }
  }
}

TEST(AlphaEncoder, CodesRunsInTheirSmallestForm) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (std::size_t repeats = 0; repeats <= 2047; ++repeats) {
      std::vector<int> samples(repeats + 1, 5);
      ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(samples, depth)) << repeats << " at the end";
      samples.push_back(9);
      ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(samples, depth)) << repeats;
      samples.insert(samples.begin(), 77);  // changes the alignment of the run
      ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(samples, depth)) << repeats << " after a sample";
    }
  }
}

TEST(AlphaEncoder, DividesRunsThatAreTooLongToCode) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const std::size_t count : {2049u, 2050u, 4096u, 5000u}) {
      ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(std::vector<int>(count, 3), depth)) << count;
    }
  }
}

TEST(AlphaEncoder, CodesEveryPatternInItsSmallestForm) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const std::size_t count : {1u, 2u, 3u, 4u, 5u, 8u, 256u, 512u, 1024u, 2048u}) {
      for (const auto& pattern : test::AlphaPatterns(depth, count)) {
        ASSERT_NO_FATAL_FAILURE(ExpectSmallestCoding(pattern.samples, depth))
            << pattern.name << ", " << count << " of " << depth.bits << " bits";
      }
    }
  }
}

TEST(AlphaEncoder, CodesTheNearestOpacityIn8Bits) {
  Samples samples;
  for (int sample = 0; sample <= 0xFFFF; ++sample) {
    samples.push_back(static_cast<std::uint16_t>(sample));
  }
  Samples decoded(samples.size());
  const Bytes bytes = CodedFrom16Bits(samples, kAlphaDepths[0]);
  ASSERT_TRUE(DecodeAlpha(bytes, AlphaType::k8Bit, decoded));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    ASSERT_EQ(decoded[i] % 257, 0) << samples[i];
    ASSERT_LE(std::abs(decoded[i] - samples[i]), 128) << samples[i];
  }
}

TEST(AlphaEncoder, CodesSamplesOfTheSameOpacityIn8BitsAsOneRun) {
  std::mt19937 random(1);
  Samples samples(2048);
  std::vector<int> opacities;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const int opacity = i < 700 ? 255 : i < 1500 ? 100 : 0;
    const int deviation = i % 50 < 30 ? 0 : static_cast<int>(random() % 257) - 128;
    samples[i] = static_cast<std::uint16_t>(std::clamp(257 * opacity + deviation, 0, 0xFFFF));
    opacities.push_back(opacity);
  }
  EXPECT_EQ(CodedFrom16Bits(samples, kAlphaDepths[0]),
            reference::CodeAlpha(opacities, 8, reference::AlphaForms::kShort));
}

TEST(AlphaEncoder, NeedsMostAlphaBytesForTheLargestDifferences) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (std::uint32_t macroblocks = 1; macroblocks <= 8; ++macroblocks) {
      std::vector<int> samples;
      for (std::size_t i = 0; i < 256 * macroblocks; ++i) {
        samples.push_back(i % 2 == 0 ? depth.Opaque() / 2 : depth.Opaque());
      }
      EXPECT_EQ(Coded(samples, depth).size(), MostAlphaBytes(depth.type, macroblocks));
    }
  }
}

TEST(AlphaEncoder, NeedsNoBytesWithoutAlpha) {
  EXPECT_EQ(MostAlphaBytes(AlphaType::kNone, 8), 0u);
}

}  // namespace
}  // namespace prores
