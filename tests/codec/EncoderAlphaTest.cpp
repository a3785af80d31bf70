// SPDX-License-Identifier: BSD-2-Clause
// Alpha of whole frames, and the sizes of frames with alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "CodedSlices.h"
#include "DeepPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProResHost.h"

namespace prores {
namespace {

using test::Busy;
using test::Bytes;
using test::CodedSlice;
using test::Colours;
using test::DecodeDeep;
using test::DeepContent;
using test::DeepPicture;
using test::Describe;
using test::Encode;
using test::EncoderOwner;
using test::FrameSizes;
using test::Hash;
using test::kAlpha;
using test::kAlphaBits;
using test::kDeepCodecTypes;
using test::kDeepFormats;
using test::kModes;
using test::kOpaque;
using test::Open;
using test::Set;
using test::SizesOf;
using test::SlicesOf;
using test::WithAlpha;

// ---- Values ------------------------------------------------------------------------------------

constexpr std::uint32_t kWidth = 256;

/// A picture of all 16-bit values, 256 in a row.
DeepContent EveryValue() {
  return [](int, int x, int y) { return (static_cast<int>(kWidth) * y + x) & 0xFFFF; };
}

DeepContent AlphaNoise() {
  return [](int, int x, int y) { return static_cast<int>(Hash(7, kAlpha, x, y) & 0xFFFF); };
}

struct AlphaCase {
  const char* name;
  DeepContent alpha;
};

std::vector<AlphaCase> AlphaCases() {
  const auto disc = [](int, int x, int y) {
    const double radius = std::hypot(x - 70, y - 20);
    return static_cast<int>(kOpaque * std::clamp(4 - radius / 8, 0.0, 1.0));
  };
  return {{"opaque", [](int, int, int) { return kOpaque; }},
          {"transparent", [](int, int, int) { return 0; }},
          {"noise", AlphaNoise()},
          {"faint noise",
           [](int, int x, int y) { return kOpaque - static_cast<int>(Hash(8, kAlpha, x, y) % 3); }},
          {"gradient", [](int, int x, int y) { return (401 * x + 97 * y) & 0xFFFF; }},
          {"hard matte", [](int, int x, int y) { return (x / 20 + y / 9) % 2 * kOpaque; }},
          {"soft disc", disc}};
}

/// Expects alpha of 16 bits to return exactly, and of 8 bits as the nearest multiple of 257.
void ExpectAlphaReturns(const EncodeParamsRecord& params, const DeepPicture& picture) {
  const EncoderOwner encoder = Open(2);
  for (const std::int32_t bits : {kWPRAlpha8, kWPRAlpha16}) {
    Set(encoder.get(), bits);
    const DeepPicture decoded =
        DecodeDeep(Encode(encoder.get(), params, picture), kWPRPixelFormatY416, picture.Record());
    const int step = bits == kWPRAlpha8 ? 257 : 1;
    for (int y = 0; y < picture.Lines(); ++y) {
      for (int x = 0; x < picture.Columns(); ++x) {
        const int value = picture.Word(kAlpha, x, y);
        const int expected = static_cast<int>(std::lround(value / static_cast<double>(step)));
        ASSERT_EQ(decoded.Word(kAlpha, x, y), step * expected) << x << ", " << y;
      }
    }
  }
}

TEST(EncoderAlpha, KeepsEveryValue) {
  for (const std::uint32_t format : kDeepFormats) {
    const DeepPicture picture(format, kWidth, 256,
                              WithAlpha(Colours(test::Smooth()), EveryValue()));
    ExpectAlphaReturns({kWPRCodec4444, kWPRProgressive}, picture);
    // In 8 bits, values that fit are lossless.
    const auto fitting = [](int, int x, int y) { return 257 * ((x + 3 * y) % 256); };
    const DeepPicture of8Bits(format, kWidth, 16, WithAlpha(Colours(test::Smooth()), fitting));
    ExpectAlphaReturns({kWPRCodec4444XQ, kWPRTopFieldFirst}, of8Bits);
  }
}

TEST(EncoderAlpha, KeepsMattesGradientsAndNoise) {
  for (const AlphaCase& c : AlphaCases()) {
    SCOPED_TRACE(c.name);
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::uint32_t mode : kModes) {
        const DeepPicture picture(kWPRPixelFormatB64a, 139, 45,
                                  WithAlpha(Colours(Busy(1)), c.alpha), 6);
        ExpectAlphaReturns({codecType, mode}, picture);
      }
    }
  }
}

TEST(EncoderAlpha, MakesNoDifferenceToTheColours) {
  const EncoderOwner encoder = Open();
  for (const DeepContent& colours : {Colours(Busy(1)), Colours(test::Noise(1))}) {
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::uint32_t mode : kModes) {
        std::vector<CodedSlice> expected;
        for (const AlphaCase& c : AlphaCases()) {
          const DeepPicture picture(kWPRPixelFormatY416, 240, 66, WithAlpha(colours, c.alpha));
          for (const std::int32_t bits : kAlphaBits) {
            SCOPED_TRACE(std::string(c.name) + ", " + std::to_string(bits) + " bits");
            Set(encoder.get(), bits);
            const auto slices = SlicesOf(Encode(encoder.get(), {codecType, mode}, picture));
            if (expected.empty()) expected = slices;
            EXPECT_TRUE(std::ranges::equal(slices, expected, &CodedSlice::HasSameColours));
            EXPECT_TRUE(std::ranges::all_of(slices, [bits](const CodedSlice& slice) {
              return (slice.alphaBytes != 0) == (bits != kWPRAlphaNone);
            }));
          }
        }
      }
    }
  }
}

// ---- Sizes -------------------------------------------------------------------------------------

TEST(EncoderAlpha, ComesOnTopOfTheTarget) {
  const EncoderOwner encoder = Open();
  for (const AlphaCase& c : AlphaCases()) {
    const DeepPicture picture(kWPRPixelFormatY416, 400, 130,
                              WithAlpha(Colours(test::Noise(2)), c.alpha));
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::uint32_t mode : kModes) {
        SCOPED_TRACE(std::string(c.name) + Describe(codecType, mode, picture.Record()));
        Set(encoder.get(), kWPRAlphaNone);
        const std::size_t plain = Encode(encoder.get(), {codecType, mode}, picture).size();
        const std::uint32_t target = SizesOf(codecType, picture.Record()).target;
        EXPECT_LE(plain, target);
        EXPECT_GE(plain, target - target / 50);
        for (const std::int32_t bits : {kWPRAlpha8, kWPRAlpha16}) {
          Set(encoder.get(), bits);
          const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
          std::size_t added = 0;
          constexpr std::size_t kSizeOfCr = 2;  // in each slice header
          for (const CodedSlice& slice : SlicesOf(frame)) added += slice.alphaBytes + kSizeOfCr;
          EXPECT_EQ(frame.size(), plain + added);
        }
      }
    }
  }
}

/// Calls check(encoder, params, picture) for the pictures that need the most bytes.
template <typename Check>
void ForEachHardestPicture(Check check) {
  struct Size {
    std::uint32_t width, height;
  };
  const EncoderOwner encoder = Open();
  Set(encoder.get(), kWPRAlpha16);
  for (const Size size : {Size{2, 2}, Size{3, 3}, Size{2, 300}, Size{300, 2}, Size{16, 16},
                          Size{17, 19}, Size{127, 34}, Size{130, 66}, Size{250, 100}}) {
    for (const std::uint32_t format : kDeepFormats) {
      for (const DeepContent& colours : {Colours(test::BinaryNoise(1)), Colours(test::Noise(1))}) {
        const DeepPicture picture(format, size.width, size.height,
                                  WithAlpha(colours, AlphaNoise()));
        for (const std::uint32_t codecType : kDeepCodecTypes) {
          for (const std::uint32_t mode : kModes) {
            SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
            check(encoder.get(), EncodeParamsRecord{codecType, mode}, picture);
          }
        }
      }
    }
  }
}

TEST(EncoderAlpha, StaysWithinTheLargestSizeOnNoise) {
  ForEachHardestPicture(
      [](WPREncoderHandle encoder, const EncodeParamsRecord& params, const DeepPicture& picture) {
        // Encode() expects success in a destination of the largest size.
        const Bytes frame = Encode(encoder, params, picture);
        EXPECT_LE(frame.size(), SizesOf(params.codecType, picture.Record()).max);
        const DeepPicture decoded = DecodeDeep(frame, kWPRPixelFormatY416, picture.Record());
        EXPECT_EQ(LargestDifference(decoded, picture, kAlpha), 0);
      });
}

TEST(EncoderAlpha, FillsADestinationOfExactlyTheFrameAndNothingAroundIt) {
  ForEachHardestPicture(
      [](WPREncoderHandle encoder, const EncodeParamsRecord& params, const DeepPicture& picture) {
        const Bytes frame = Encode(encoder, params, picture);
        const PixelBufferRecord source = picture.Record();
        constexpr std::size_t kGuard = 32;
        for (const std::size_t missing : {std::size_t{0}, std::size_t{1}}) {
          Bytes buffer(kGuard + frame.size() + kGuard, 0xA5);
          const auto room = static_cast<std::uint32_t>(frame.size() - missing);
          std::uint32_t bytes = 77;
          EXPECT_EQ(WPREncodeFrame(encoder, &params, &source, buffer.data() + kGuard, room, &bytes),
                    missing == 0 ? kWPRSuccess : kWPRDestinationTooSmall);
          EXPECT_EQ(bytes, missing == 0 ? frame.size() : 77);
          const auto begin = buffer.begin() + kGuard;
          if (missing == 0) {
            EXPECT_TRUE(std::equal(frame.begin(), frame.end(), begin));
          }
          const auto isGuard = [](int byte) { return byte == 0xA5; };
          EXPECT_TRUE(std::all_of(buffer.begin(), begin, isGuard));
          EXPECT_TRUE(std::all_of(begin + room, buffer.end(), isGuard));
        }
      });
}

}  // namespace
}  // namespace prores
