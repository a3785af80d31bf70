// SPDX-License-Identifier: BSD-2-Clause
// RGB of whole frames; RgbConversionTest.cpp tests the conversion alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "DeepPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProResHost.h"

namespace prores {
namespace {

using test::Bytes;
using test::DecodeDeep;
using test::DeepPicture;
using test::Encode;
using test::EncoderOwner;
using test::Hash;
using test::kAlpha;
using test::kDeepCodecTypes;
using test::kModes;
using test::kOpaque;
using test::Open;
using test::Set;

constexpr std::uint32_t kMatrices[] = {1, 6, 9};  // BT.709, BT.601, BT.2020

/// Returns the picture after encoding and decoding as RGB.
DeepPicture Coded(const DeepPicture& picture, const EncodeParamsRecord& params,
                  std::uint32_t matrix) {
  const EncoderOwner encoder = Open();
  Set(encoder.get(), kWPRAlphaNone, matrix);
  return DecodeDeep(Encode(encoder.get(), params, picture), kWPRPixelFormatB64a, picture.Record());
}

TEST(EncoderRgb, KeepsGreysNeutral) {
  // Every 16-bit value in steps of 13, as neighbours and at random.
  const auto inOrder = [](int component, int x, int y) {
    return component == kAlpha ? kOpaque : 13 * (72 * y + x) & 0xFFFF;
  };
  const auto atRandom = [](int component, int x, int y) {
    return component == kAlpha ? kOpaque : static_cast<int>(Hash(1, 0, x, y) & 0xFFFF);
  };
  for (const test::DeepContent& content :
       {test::DeepContent(inOrder), test::DeepContent(atRandom)}) {
    const DeepPicture picture(kWPRPixelFormatB64a, 72, 71, content);
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::uint32_t mode : kModes) {
        for (const std::uint32_t matrix : kMatrices) {
          const DeepPicture decoded = Coded(picture, {codecType, mode}, matrix);
          for (int y = 0; y < picture.Lines(); ++y) {
            for (int x = 0; x < picture.Columns(); ++x) {
              ASSERT_EQ(decoded.Word(0, x, y), decoded.Word(1, x, y)) << x << ", " << y;
              ASSERT_EQ(decoded.Word(2, x, y), decoded.Word(1, x, y)) << x << ", " << y;
            }
          }
        }
      }
    }
  }
}

TEST(EncoderRgb, KeepsFlatColoursWithinTheRoundingOfYCbCr) {
  // Half a code of luma is 9.4 of RGB; those of chroma make up to 16.3 more in blue of BT.709.
  constexpr int kMostOfGrey = 10, kMostOfColour = 30;
  for (const std::uint32_t matrix : kMatrices) {
    for (int value = 0; value < 65536; value += 251) {
      const int words[] = {value, value * 7 % 65536, value * 29 % 65536};
      for (const bool grey : {true, false}) {
        const auto content = [&](int component, int, int) {
          return component == kAlpha ? kOpaque : words[grey ? 0 : component];
        };
        const DeepPicture picture(kWPRPixelFormatB64a, 2, 2, content);
        const DeepPicture decoded = Coded(picture, {kWPRCodec4444XQ, kWPRProgressive}, matrix);
        for (int component = 0; component < 3; ++component) {
          ASSERT_LE(LargestDifference(picture, decoded, component),
                    grey ? kMostOfGrey : kMostOfColour)
              << value << ", component " << component;
        }
      }
    }
  }
}

/// Returns a random number from -amplitude to amplitude.
int Grain(int amplitude, int component, int x, int y) {
  return static_cast<int>(Hash(1, component, x, y) % (2U * static_cast<unsigned>(amplitude) + 1)) -
         amplitude;
}

/// Waves, edges and grain of 12 bits, most of it in all components alike, as in photographs.
int PhotographInRgb(int component, int x, int y) {
  if (component == kAlpha) return kOpaque;
  const double shared = 700 * std::sin(0.021 * x + 0.013 * y) +
                        350 * std::cos(0.11 * x - 0.07 * y) +
                        ((x / 60 + y / 45) % 2 == 0 ? 300 : -300) + Grain(6, kAlpha, x, y);
  const double own =
      200 * std::sin(0.03 * x - 0.017 * y + 2 * component) + Grain(2, component, x, y);
  const int sample = std::clamp(static_cast<int>(2048 + shared + own), 0, 4095);
  return sample << 4 | sample >> 8;
}

TEST(EncoderRgb, KeepsPhotographsOf12BitsOnAverage) {
  // Measured: 1.43 to 1.47, with the finest quantiser in most slices.
  constexpr double kMostOnAverage = 1.5;
  const DeepPicture picture(kWPRPixelFormatB64a, 240, 160, PhotographInRgb);
  for (const std::uint32_t matrix : kMatrices) {
    for (const std::uint32_t mode : kModes) {
      const DeepPicture decoded = Coded(picture, {kWPRCodec4444XQ, mode}, matrix);
      double sum = 0;
      for (int component = 0; component < 3; ++component) {
        for (int y = 0; y < picture.Lines(); ++y) {
          for (int x = 0; x < picture.Columns(); ++x) {
            sum += std::abs(picture.Word(component, x, y) - decoded.Word(component, x, y)) / 16.0;
          }
        }
      }
      EXPECT_LT(sum / (3.0 * picture.Lines() * picture.Columns()), kMostOnAverage) << matrix;
    }
  }
}

TEST(EncoderRgb, IsConvertedBackWithTheMatrixOfTheHeader) {
  // With a wrong matrix, saturated colours would miss by thousands.
  const auto content = [](int component, int x, int) {
    return component == kAlpha ? kOpaque : (x / 16 >> component) % 2 * 50000;
  };
  const DeepPicture picture(kWPRPixelFormatB64a, 128, 16, content);
  for (const std::uint32_t matrix : {0U, 1U, 2U, 5U, 6U, 9U, 10U, 200U}) {
    const DeepPicture decoded = Coded(picture, {kWPRCodec4444XQ, kWPRProgressive}, matrix);
    for (int component = 0; component < 3; ++component) {
      EXPECT_LT(LargestDifference(picture, decoded, component), 100) << matrix;
    }
  }
}

}  // namespace
}  // namespace prores
