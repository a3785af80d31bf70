// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_ALPHATEST_H
#define TESTS_CODEC_ALPHATEST_H

/// @file
/// Alpha samples for the tests of their encoder and decoder.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bitstream/FrameHeader.h"

namespace prores::test {

inline constexpr std::size_t kMostSamples = 2048;  // of a slice of 8 macroblocks

/// A depth of coded alpha.
struct AlphaDepth {
  AlphaType type;
  int bits;
  int stepIn16Bits;

  int Opaque() const { return (1 << bits) - 1; }
};

inline constexpr AlphaDepth kAlphaDepths[]{{AlphaType::k8Bit, 8, 257}, {AlphaType::k16Bit, 16, 1}};

/// Returns the samples as the library has them.
inline std::vector<std::uint16_t> In16Bits(const std::vector<int>& samples,
                                           const AlphaDepth& depth) {
  std::vector<std::uint16_t> result;
  result.reserve(samples.size());
  for (const int sample : samples) {
    result.push_back(static_cast<std::uint16_t>(sample * depth.stepIn16Bits));
  }
  return result;
}

/// Packs digits 0 and 1 to bytes, the last one filled with zeros. Skips spaces.
inline std::vector<std::uint8_t> PackDigits(std::string_view digits) {
  std::vector<std::uint8_t> bytes;
  unsigned used = 0;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    if (used % 8 == 0) bytes.push_back(0);
    if (digit == '1') bytes.back() |= static_cast<std::uint8_t>(0x80u >> used % 8);
    ++used;
  }
  return bytes;
}

/// Returns the low `count` bits of `value` as digits.
inline std::string Digits(int value, int count) {
  std::string digits;
  for (int i = count - 1; i >= 0; --i) digits += (value >> i & 1) != 0 ? '1' : '0';
  return digits;
}

/// Alpha of one value, worked out bit by bit.
struct WorkedAlpha {
  const char* name;
  AlphaDepth depth;
  int value;
  std::string_view digits;  // of 256 samples
};

inline constexpr WorkedAlpha kWorkedAlpha[]{
    {"opaque, 8 bits", kAlphaDepths[0], 255, "1 00000000  0 0000 00011111111"},
    {"opaque, 16 bits", kAlphaDepths[1], 65535, "1 0000000000000000  0 0000 00011111111"},
    {"transparent, 8 bits", kAlphaDepths[0], 0, "0 0000  0 0000 00011111111"},
    {"transparent, 16 bits", kAlphaDepths[1], 0, "0 0000000  0 0000 00011111111"},
};

struct AlphaPattern {
  const char* name;
  std::vector<int> samples;  // as deep as asked for
};

/// Returns samples of many kinds: constant, edges, gradients, noise of all strengths.
inline std::vector<AlphaPattern> AlphaPatterns(const AlphaDepth& depth, std::size_t count) {
  std::mt19937 random(1);
  const int opaque = depth.Opaque();
  const auto made = [count](auto sampleAt) {
    std::vector<int> samples;
    for (std::size_t i = 0; i < count; ++i) samples.push_back(sampleAt(static_cast<int>(i)));
    return samples;
  };
  const auto below = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  return {
      {"opaque", made([=](int) { return opaque; })},
      {"transparent", made([](int) { return 0; })},
      {"half", made([=](int) { return opaque / 2; })},
      {"steps of one", made([=](int i) { return i & opaque; })},
      {"steep gradient", made([=](int i) { return 37 * i & opaque; })},
      {"soft edge",
       made([=](int i) { return std::clamp(opaque * (i % 128 - 50) / 20, 0, opaque); })},
      {"soft disc", made([=](int i) {
         const double radius = std::hypot(i % 128 - 64, i / 128 - 8);
         return static_cast<int>(opaque * std::clamp(4 - radius / 8, 0.0, 1.0));
       })},
      {"two values in turn", made([=](int i) { return i % 2 * (opaque / 2 + 1); })},
      {"noise", made([&](int) { return below(opaque + 1); })},
      {"faint noise", made([&](int) { return opaque - below(3); })},
      {"extremes at random", made([&](int) { return below(2) * opaque; })},
      {"specks", made([&](int) { return below(40) == 0 ? below(opaque + 1) : opaque; })},
  };
}

}  // namespace prores::test

#endif  // TESTS_CODEC_ALPHATEST_H
