// SPDX-License-Identifier: BSD-2-Clause
// Generous bounds that detect a gross loss. Benchmarks measure the quality itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <vector>

#include "CodedSlices.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProRes.h"

namespace prores {
namespace {

using test::Content;
using test::Decode;
using test::Describe;
using test::Encode;
using test::EncoderOwner;
using test::HeaderOf;
using test::kCodecTypes;
using test::kModes;
using test::Open;
using test::SizesOf;
using test::SourcePicture;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kWidth = 512;
constexpr std::uint32_t kHeight = 448;

/// Detail with grain, whose amplitude falls with frequency as in photographs. Luma has `contrast`
/// times the amplitude of chroma.
Content Photograph(double contrast, unsigned seed) {
  const Content grain = test::Noise(seed);
  return [contrast, grain](int component, int x, int y) {
    // Waves of many directions, each half as long as the previous one.
    const double column = component == 0 ? x : 2 * x;
    double sum = 0;
    for (int octave = 1; octave <= 7; ++octave) {
      const double length = 512.0 / (1 << octave);
      const double turn = octave * 2.4 + component;
      const double along = column * std::cos(turn) + y * std::sin(turn);
      sum += std::cos(2 * std::numbers::pi * along / length + octave) *
             std::sin(column / 300 + octave * y / 700.0) / octave;
    }
    const double amplitude = component == 0 ? 110 * contrast : 60;
    return std::clamp(
        static_cast<int>(512 + amplitude * sum + (grain(component, x, y) - 512) / 60.0), 4, 1019);
  };
}

/// Returns the quantiser scales of the slices of a frame, in units of weight 4.
std::vector<unsigned> ScalesOf(const Bytes& frame) {
  const unsigned weight = HeaderOf(frame).lumaMatrix[0];
  std::vector<unsigned> scales;
  for (const test::CodedSlice& slice : test::SlicesOf(frame)) {
    scales.push_back(QuantizerScale(slice.quantizationIndex) * weight / 4);
  }
  return scales;
}

TEST(EncoderQuality, KeepsSizeAndPictureOfEveryVariant) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, Photograph(1, 1));
  struct Bound {
    std::uint32_t codecType;
    double luma, chroma;
  };
  for (const Bound& bound : {Bound{kWPRCodecProxy, 38, 41}, Bound{kWPRCodecLT, 42, 44},
                             Bound{kWPRCodec422, 45, 46}, Bound{kWPRCodecHQ, 48, 48}}) {
    for (const std::uint32_t mode : kModes) {
      SCOPED_TRACE(Describe(bound.codecType, mode, picture.Record()));
      const Bytes frame = Encode(encoder.get(), {bound.codecType, mode}, picture);
      const std::uint32_t target = SizesOf(bound.codecType, picture.Record()).target;
      EXPECT_LE(frame.size(), target);
      EXPECT_GE(frame.size(), target - target / 50);
      const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
      EXPECT_GT(Psnr(picture, decoded, 0), bound.luma);
      EXPECT_GT(Psnr(picture, decoded, 1), bound.chroma);
      EXPECT_GT(Psnr(picture, decoded, 2), bound.chroma);
    }
  }
}

TEST(EncoderQuality, VariesLittleBetweenFramesThatDifferInGrain) {
  const EncoderOwner encoder = Open();
  std::map<std::uint32_t, std::vector<double>> psnr;  // by variant
  for (unsigned seed = 1; seed <= 3; ++seed) {
    const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, Photograph(2, seed));
    for (const std::uint32_t codecType : kCodecTypes) {
      const Bytes frame = Encode(encoder.get(), {codecType, kWPRProgressive}, picture);
      const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
      psnr[codecType].push_back(Psnr(picture, decoded, 0));
    }
  }
  for (const auto& [codecType, values] : psnr) {
    EXPECT_LT(*std::ranges::max_element(values) - *std::ranges::min_element(values), 0.3)
        << codecType;
  }
}

/// Returns the loss of luma from the first to the tenth generation, in decibels.
double LossOfGenerations(const EncodeParamsRecord& params, std::uint32_t format) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(format, kWidth, kHeight, Photograph(1.5, 3));
  SourcePicture copy = picture;
  double first = 0;
  for (int generation = 1; generation <= 10; ++generation) {
    copy = Decode(Encode(encoder.get(), params, copy), format, picture.Record());
    if (generation == 1) first = Psnr(picture, copy, 0);
  }
  return first - Psnr(picture, copy, 0);
}

TEST(EncoderQuality, LosesLittleOverTenGenerations) {
  EXPECT_LT(LossOfGenerations({kWPRCodecHQ, kWPRProgressive}, kWPRPixelFormatV210), 0.3);
  EXPECT_LT(LossOfGenerations({kWPRCodecHQ, kWPRTopFieldFirst}, kWPRPixelFormatV210), 0.3);
  EXPECT_LT(LossOfGenerations({kWPRCodec422, kWPRProgressive}, kWPRPixelFormatV210), 0.3);
  // Rounding samples to eight bits between generations costs more than the coding.
  EXPECT_LT(LossOfGenerations({kWPRCodecHQ, kWPRProgressive}, kWPRPixelFormat2vuy), 3);
}

/// Returns the largest loss of a component from the picture's first generation to the tenth.
double LossOfDeepGenerations(const EncodeParamsRecord& params, std::uint32_t format,
                             double contrast) {
  const EncoderOwner encoder = Open();
  const test::DeepPicture picture(format, kWidth / 2, kHeight / 4,
                                  test::Colours(Photograph(contrast, 3)));
  test::DeepPicture copy = picture;
  double first[3] = {};
  for (int generation = 1; generation <= 10; ++generation) {
    copy = test::DecodeDeep(Encode(encoder.get(), params, copy), format, picture.Record());
    for (int c = 0; generation == 1 && c < 3; ++c) first[c] = Psnr(picture, copy, c);
  }
  double most = 0;
  for (int c = 0; c < 3; ++c) most = std::max(most, first[c] - Psnr(picture, copy, c));
  return most;
}

TEST(EncoderQuality, LosesLittleOf12BitsOverTenGenerations) {
  for (const std::uint32_t codecType : test::kDeepCodecTypes) {
    for (const std::uint32_t format : test::kDeepFormats) {
      for (const std::uint32_t mode : kModes) {
        // The finest quantiser codes pictures of low contrast.
        for (const double contrast : {1.5, 0.1}) {
          EXPECT_LT(LossOfDeepGenerations({codecType, mode}, format, contrast), 0.3)
              << codecType << ", mode " << mode << ", format " << format << ", " << contrast;
        }
      }
    }
  }
}

TEST(EncoderQuality, KeepsTheQuantisersOfACopy) {
  const EncoderOwner encoder = Open();
  const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
  const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, Photograph(1.5, 4));
  const Bytes first = Encode(encoder.get(), params, picture);
  const SourcePicture copy = Decode(first, kWPRPixelFormatV210, picture.Record());
  const Bytes second = Encode(encoder.get(), params, copy);
  EXPECT_LE(second.size(), first.size() + first.size() / 500);
  const std::vector<unsigned> before = ScalesOf(first), after = ScalesOf(second);
  ASSERT_EQ(before.size(), after.size());
  std::size_t kept = 0;
  for (std::size_t i = 0; i < before.size(); ++i) kept += before[i] == after[i] ? 1U : 0U;
  EXPECT_GT(kept, before.size() * 9 / 10);
}

TEST(EncoderQuality, QuantisesQuietSlicesMoreFinely) {
  const EncoderOwner encoder = Open();
  const Content busy = test::Noise(5);
  const Content quiet = Photograph(0.1, 5);
  const auto content = [&](int component, int x, int y) {
    return (y < 224 ? busy : quiet)(component, x, y);
  };
  const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, content);
  const std::vector<unsigned> scales =
      ScalesOf(Encode(encoder.get(), {kWPRCodecLT, kWPRProgressive}, picture));
  const auto middle = scales.begin() + static_cast<std::ptrdiff_t>(scales.size() / 2);
  EXPECT_LT(*std::max_element(middle, scales.end()), *std::min_element(scales.begin(), middle));
  // Less than an octave, so that both look the same.
  EXPECT_LT(*std::ranges::max_element(scales), 2 * *std::ranges::min_element(scales));
}

TEST(EncoderQuality, LowersTheWeightsOfChromaOnlyWhereItHasHardlyAnyBytes) {
  const EncoderOwner encoder = Open();
  const Content noise = test::Noise(6);
  const auto detailInLuma = [&](int component, int x, int y) {
    return component == 0 ? noise(0, x, y) : 512 + noise(component, x / 32, y / 32) / 16;
  };
  const EncodeParamsRecord params{kWPRCodecLT, kWPRProgressive};
  const FrameHeader hard = HeaderOf(Encode(
      encoder.get(), params, SourcePicture(kWPRPixelFormatV210, kWidth, kHeight, detailInLuma)));
  EXPECT_EQ(4 * hard.chromaMatrix[0], 3 * hard.lumaMatrix[0]);
  for (const Content& content : {Photograph(1, 6), noise}) {
    const FrameHeader header = HeaderOf(Encode(
        encoder.get(), params, SourcePicture(kWPRPixelFormatV210, kWidth, kHeight, content)));
    EXPECT_EQ(header.chromaMatrix, header.lumaMatrix);
  }
}

TEST(EncoderQuality, MultipliesTheWeightsWhereNoQuantiserIsCoarseEnough) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, test::BinaryNoise(7));
  const FrameHeader proxy =
      HeaderOf(Encode(encoder.get(), {kWPRCodecProxy, kWPRProgressive}, picture));
  EXPECT_GE(proxy.lumaMatrix[0], 8);
  EXPECT_LE(*std::ranges::max_element(proxy.chromaMatrix), 63);
  const FrameHeader hq = HeaderOf(Encode(encoder.get(), {kWPRCodecHQ, kWPRProgressive}, picture));
  EXPECT_EQ(hq.lumaMatrix, kDefaultQuantMatrix);
}

}  // namespace
}  // namespace prores
