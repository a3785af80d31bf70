// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "AlphaTest.h"
#include "GuardedMemory.h"
#include "ReferenceCodec.h"
#include "bitstream/AlphaDecoder.h"

namespace prores {
namespace {

using test::AlphaDepth;
using test::Digits;
using test::Guard;
using test::GuardedMemory;
using test::kAlphaDepths;
using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

/// Decodes between inaccessible pages. Returns nothing for truncated data.
std::optional<Samples> Decoded(const Bytes& bytes, const AlphaDepth& depth, std::size_t count,
                               Guard guard = Guard::kBehind) {
  const GuardedMemory<std::uint8_t> data(bytes.size(), guard);
  std::copy(bytes.begin(), bytes.end(), data.Values().begin());
  const GuardedMemory<std::uint16_t> samples(count, guard);
  if (!DecodeAlpha(data.Values(), depth.type, samples.Values())) return std::nullopt;
  return Samples(samples.Values().begin(), samples.Values().end());
}

std::optional<Samples> DecodedDigits(const std::string& digits, const AlphaDepth& depth,
                                     std::size_t count) {
  return Decoded(test::PackDigits(digits), depth, count);
}

std::optional<Samples> DecodedByReference(const Bytes& bytes, const AlphaDepth& depth,
                                          std::size_t count) {
  try {
    return test::In16Bits(reference::DecodeAlpha(bytes, depth.bits, static_cast<int>(count)),
                          depth);
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

Samples Expected(const std::vector<int>& samples, const AlphaDepth& depth) {
  return test::In16Bits(samples, depth);
}

TEST(AlphaDecoder, DecodesTheWorkedExamples) {
  for (const test::WorkedAlpha& example : test::kWorkedAlpha) {
    EXPECT_EQ(DecodedDigits(std::string(example.digits), example.depth, 256),
              Expected(std::vector<int>(256, example.value), example.depth))
        << example.name;
  }
}

TEST(AlphaDecoder, AddsEveryLongDifferenceModuloTheRange) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    std::string digits;
    std::vector<int> samples;
    int sample = depth.Opaque();
    for (int difference = 0; difference <= depth.Opaque(); ++difference) {
      digits += "1" + Digits(difference, depth.bits) + "1";
      sample = (sample + difference) & depth.Opaque();
      samples.push_back(sample);
    }
    EXPECT_EQ(DecodedDigits(digits, depth, samples.size()), Expected(samples, depth))
        << depth.bits << " bits";
  }
}

/// Returns the digits of differences with flags that no sample repeats.
std::string Unrepeated(std::initializer_list<std::string_view> differences) {
  std::string digits;
  for (const std::string_view difference : differences) digits.append(difference).append("1");
  return digits;
}

TEST(AlphaDecoder, AddsEveryShortDifferenceModuloTheRange) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    const int shortBits = depth.bits == 8 ? 4 : 7;
    for (int magnitude = 1; magnitude <= 1 << (shortBits - 1); ++magnitude) {
      const std::string up = "0" + Digits(2 * (magnitude - 1), shortBits);
      const std::string down = "0" + Digits(2 * (magnitude - 1) + 1, shortBits);
      ASSERT_EQ(DecodedDigits(Unrepeated({up, up, down}), depth, 3),
                Expected({magnitude - 1, 2 * magnitude - 1, magnitude - 1}, depth))
          << magnitude << " of " << depth.bits << " bits";
      ASSERT_EQ(DecodedDigits(Unrepeated({down, down}), depth, 2),
                Expected({depth.Opaque() - magnitude, depth.Opaque() - 2 * magnitude}, depth))
          << -magnitude << " of " << depth.bits << " bits";
    }
  }
}

/// Returns the digits of a transparent sample with a coded run, and of an opaque one after it.
std::string TransparentRun(const std::string& run, const AlphaDepth& depth) {
  const int shortBits = depth.bits == 8 ? 4 : 7;
  return "0" + Digits(0, shortBits) + run + "0" + Digits(1, shortBits);
}

TEST(AlphaDecoder, RepeatsASampleInBothFormsOfARun) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (int repeats = 0; repeats <= 2047; ++repeats) {
      std::vector<int> samples(static_cast<std::size_t>(repeats) + 2);
      samples.back() = depth.Opaque();
      const std::string longRun = TransparentRun("0 0000" + Digits(repeats, 11), depth);
      ASSERT_EQ(DecodedDigits(longRun, depth, samples.size()), Expected(samples, depth)) << repeats;
      if (repeats == 0 || repeats > 15) continue;
      const std::string shortRun = TransparentRun("0" + Digits(repeats, 4), depth);
      ASSERT_EQ(DecodedDigits(shortRun, depth, samples.size()), Expected(samples, depth))
          << repeats;
    }
  }
}

TEST(AlphaDecoder, CutsARunAtTheLastSample) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const char* run : {"0 0011", "0 1111", "0 0000 00000000011", "0 0000 11111111111"}) {
      for (const std::size_t count : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(DecodedDigits(TransparentRun(run, depth), depth, count),
                  Expected(std::vector<int>(count), depth))
            << run << " for " << count;
      }
    }
  }
}

TEST(AlphaDecoder, IgnoresDataAfterTheLastSample) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    const std::string last = "1" + Digits(-5, depth.bits);
    const Samples expected = Expected({depth.Opaque() - 5}, depth);
    for (const char* rest : {"", "1", "0 0011", "0", "0 0000 1", "1 1", "00000000 00000000"}) {
      EXPECT_EQ(DecodedDigits(last + rest, depth, 1), expected) << rest;
    }
    for (const std::uint8_t filler : Bytes{0x00, 0xFF, 0x55}) {
      Bytes bytes = test::PackDigits(last);
      bytes.resize(bytes.size() + 100, filler);
      EXPECT_EQ(Decoded(bytes, depth, 1), expected) << int{filler};
    }
  }
}

TEST(AlphaDecoder, DecodesAllFormsOfEveryPattern) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const std::size_t count : {1u, 2u, 256u, 512u, 1024u, 2048u}) {
      for (const auto& pattern : test::AlphaPatterns(depth, count)) {
        for (const auto forms : {reference::AlphaForms::kLong, reference::AlphaForms::kShort}) {
          const Bytes bytes = reference::CodeAlpha(pattern.samples, depth.bits, forms);
          ASSERT_EQ(Decoded(bytes, depth, count), Expected(pattern.samples, depth))
              << pattern.name << ", " << count << " of " << depth.bits << " bits";
        }
      }
    }
  }
}

TEST(AlphaDecoder, RefusesEveryTruncation) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const auto& pattern : test::AlphaPatterns(depth, 256)) {
      Bytes bytes =
          reference::CodeAlpha(pattern.samples, depth.bits, reference::AlphaForms::kShort);
      while (!bytes.empty()) {
        bytes.pop_back();
        ASSERT_FALSE(Decoded(bytes, depth, 256)) << pattern.name << " to " << bytes.size();
      }
    }
  }
}

TEST(AlphaDecoder, RefusesASymbolThatTheEndCuts) {
  const AlphaDepth& depth = kAlphaDepths[0];
  const Bytes run = test::PackDigits("0 0000  0 0000 11111111111");
  for (std::size_t bytes = 0; bytes < run.size(); ++bytes) {
    EXPECT_FALSE(Decoded({run.begin(), run.begin() + static_cast<std::ptrdiff_t>(bytes)}, depth, 5))
        << bytes;
  }
  EXPECT_TRUE(Decoded(run, depth, 5));
}

TEST(AlphaDecoder, AgreesWithTheReferenceForAnyData) {
  std::mt19937 random(1);
  int accepted = 0;
  int refused = 0;
  for (int i = 0; i < 6000; ++i) {
    const AlphaDepth& depth = kAlphaDepths[i % 2];
    Bytes bytes(random() % (i % 3 == 0 ? 3000 : 60));
    const unsigned zeros = random() % 4;  // of a byte's bits, at random: half, 3/4, 7/8, 15/16
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(random());
      for (unsigned z = 0; z < zeros; ++z) byte &= static_cast<std::uint8_t>(random());
      if (i % 5 == 0) byte = static_cast<std::uint8_t>(~byte);
    }
    const std::size_t count = 1 + random() % (i % 4 == 0 ? 30 : test::kMostSamples);
    const auto expected = DecodedByReference(bytes, depth, count);
    ++(expected ? accepted : refused);
    ASSERT_EQ(Decoded(bytes, depth, count, i % 7 == 0 ? Guard::kInFront : Guard::kBehind), expected)
        << i << ": " << bytes.size() << " bytes, " << count << " samples";
  }
  EXPECT_GT(accepted, 500);
  EXPECT_GT(refused, 500);
}

TEST(AlphaDecoder, SurvivesExtremeData) {
  for (const AlphaDepth& depth : kAlphaDepths) {
    for (const std::uint8_t byte : Bytes{0x00, 0xFF, 0x80, 0x01}) {
      for (const std::size_t size : {0u, 1u, 2u, 7u, 8u, 9u, 63u, 64u, 65535u}) {
        const Bytes bytes(size, byte);
        for (const std::size_t count : {1u, 2u, 16u, 2048u}) {
          ASSERT_EQ(Decoded(bytes, depth, count), DecodedByReference(bytes, depth, count))
              << size << " bytes of " << int{byte} << ", " << count << " samples";
        }
      }
    }
  }
}

}  // namespace
}  // namespace prores
