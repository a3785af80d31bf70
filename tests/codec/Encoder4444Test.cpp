// SPDX-License-Identifier: BSD-2-Clause
// Frames of the 4444 types; EncoderAlphaTest.cpp tests their alpha, EncoderRgbTest.cpp their RGB.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "CodedSlices.h"
#include "DeepPicture.h"
#include "EncoderTestSession.h"
#include "GuardedMemory.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"

namespace prores {
namespace {

using test::Busy;
using test::Bytes;
using test::Colours;
using test::DecodeDeep;
using test::DeepPicture;
using test::Describe;
using test::Encode;
using test::EncoderOwner;
using test::FlatColour;
using test::kAlphaBits;
using test::kDeepCodecTypes;
using test::kDeepFormats;
using test::kModes;
using test::Open;
using test::Set;
using test::WithAlpha;

/// Alpha with smooth and random parts.
test::DeepContent MixedAlpha() {
  return [](int, int x, int y) {
    return y % 3 == 0 ? static_cast<int>(test::Hash(9, 3, x, y) & 0xFFFF) : 300 * x % 65536;
  };
}

// ---- Round trips -------------------------------------------------------------------------------

struct Size {
  std::uint32_t width;
  std::uint32_t height;
};

/// Signal-to-noise ratio in decibels that busy pictures of every size keep, about 1 dB below the
/// least one measured. RGB loses more: the inverse matrix amplifies errors of chroma.
constexpr struct {
  std::uint32_t codecType, format;
  double floor;
} kFloors[] = {{kWPRCodec4444, kWPRPixelFormatY416, 46.5},
               {kWPRCodec4444, kWPRPixelFormatB64a, 44},
               {kWPRCodec4444XQ, kWPRPixelFormatY416, 54},
               {kWPRCodec4444XQ, kWPRPixelFormatB64a, 50.5}};

class Encoder4444RoundTrip : public testing::TestWithParam<Size> {};

TEST_P(Encoder4444RoundTrip, KeepsThePictureInEveryTypeModeAndFormat) {
  const auto [width, height] = GetParam();
  const EncoderOwner encoder = Open();
  for (const auto [codecType, format, floor] : kFloors) {
    const DeepPicture picture(format, width, height, Colours(Busy(2)), 5);
    for (const std::uint32_t mode : kModes) {
      SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
      const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
      const DeepPicture decoded = DecodeDeep(frame, format, picture.Record());
      for (int component = 0; component < 3; ++component) {
        EXPECT_GT(Psnr(picture, decoded, component), floor);
      }
      EXPECT_EQ(LargestDifference(picture, decoded, test::kAlpha), 0);
    }
  }
}

/// Expects the independent model to decode the same picture as the decoder, and the same alpha.
void ExpectTheReferenceAgrees(const Bytes& frame, const DeepPicture& decoded, int alphaStep) {
  const reference::Image image = reference::Decode(frame);
  for (int y = 0; y < decoded.Lines(); ++y) {
    for (int x = 0; x < decoded.Columns(); ++x) {
      for (int component = 0; component < 3; ++component) {
        ASSERT_NEAR(decoded.Sample(component, x, y), image.Sample(component, x, y, 12), 1);
      }
      const auto place = static_cast<std::size_t>(y * decoded.Columns() + x);
      const int alpha = image.alpha.empty() ? test::kOpaque : image.alpha[place] * alphaStep;
      ASSERT_EQ(decoded.Word(test::kAlpha, x, y), alpha);
    }
  }
}

TEST_P(Encoder4444RoundTrip, WritesStreamsThatTheReferenceDecodesTheSame) {
  const auto [width, height] = GetParam();
  const EncoderOwner encoder = Open();
  const DeepPicture picture(kWPRPixelFormatY416, width, height,
                            WithAlpha(Colours(Busy(3)), MixedAlpha()));
  for (const std::uint32_t mode : kModes) {
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::int32_t bits : kAlphaBits) {
        SCOPED_TRACE(Describe(codecType, mode, picture.Record()) + " alpha " +
                     std::to_string(bits));
        Set(encoder.get(), bits);
        const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
        ExpectTheReferenceAgrees(frame, DecodeDeep(frame, kWPRPixelFormatY416, picture.Record()),
                                 bits == kWPRAlpha8 ? 257 : 1);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Encoder4444RoundTrip,
                         testing::Values(Size{2, 2}, Size{3, 3}, Size{2, 40}, Size{40, 2},
                                         Size{18, 16}, Size{50, 34}, Size{17, 19}, Size{65, 66},
                                         Size{130, 80}),
                         [](const testing::TestParamInfo<Size>& size) {
                           return std::to_string(size.param.width) + "x" +
                                  std::to_string(size.param.height);
                         });

// ---- Flat pictures -----------------------------------------------------------------------------

/// Levels of 12 bits that a stream can represent.
constexpr int kLowest = 16, kHighest = 4079;

/// Expects a flat picture to return at the nearest levels within the range.
void ExpectFlatPictureReturns(WPREncoderHandle encoder, const EncodeParamsRecord& params,
                              const int (&levels)[3]) {
  const DeepPicture picture(kWPRPixelFormatY416, 2, 4, FlatColour(levels[0], levels[1], levels[2]));
  const DeepPicture decoded =
      DecodeDeep(Encode(encoder, params, picture), kWPRPixelFormatY416, picture.Record());
  for (int component = 0; component < 3; ++component) {
    const int expected = std::clamp(levels[component], kLowest, kHighest);
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 2; ++x) ASSERT_EQ(decoded.Word(component, x, y), 16 * expected);
    }
  }
}

TEST(Encoder4444, ReproducesFlatPicturesOfEveryLevelExactly) {
  const EncoderOwner encoder = Open();
  for (const std::uint32_t codecType : kDeepCodecTypes) {
    for (int level = 0; level < 4096; ++level) {
      // Every component has every level once.
      const int levels[] = {level, level * 5 % 4096, level * 1365 % 4096};
      ExpectFlatPictureReturns(encoder.get(), {codecType, kWPRProgressive}, levels);
      if (level % 16 == 0) {
        ExpectFlatPictureReturns(encoder.get(), {codecType, kWPRTopFieldFirst}, levels);
      }
    }
  }
}

TEST(Encoder4444, RoundsColoursTo12Bits) {
  const EncoderOwner encoder = Open();
  for (const int word : {1000, 1007, 1008, 1009, 32000, 32767, 60000}) {
    const auto content = [word](int, int, int) { return word; };
    const DeepPicture picture(kWPRPixelFormatY416, 2, 2, content);
    const DeepPicture decoded =
        DecodeDeep(Encode(encoder.get(), {kWPRCodec4444XQ, kWPRProgressive}, picture),
                   kWPRPixelFormatY416, picture.Record());
    for (int component = 0; component < 3; ++component) {
      EXPECT_EQ(decoded.Sample(component, 0, 0), (word + 8) / 16) << word;
    }
  }
}

// ---- Headers and arguments ---------------------------------------------------------------------

TEST(Encoder4444, WritesTheSettingsToTheFrameHeader) {
  const EncoderOwner encoder = Open();
  for (const std::uint32_t format : kDeepFormats) {
    const DeepPicture picture(format, 34, 40, Colours(Busy(1)));
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      for (const std::int32_t bits : kAlphaBits) {
        for (const std::uint32_t matrix : {0U, 1U, 2U, 5U, 6U, 9U, 10U, 255U}) {
          Set(encoder.get(), bits, matrix);
          const Bytes frame = Encode(encoder.get(), {codecType, kWPRTopFieldFirst}, picture);
          const FrameHeader header = test::HeaderOf(frame);
          EXPECT_EQ(header.version, 1);
          EXPECT_EQ(header.chromaFormat, ChromaFormat::k444);
          EXPECT_EQ(header.interlaceMode, InterlaceMode::kTopFieldFirst);
          EXPECT_EQ(static_cast<int>(header.alphaType), bits / 8);
          // RGB is labelled with the matrix that it was converted with.
          const bool known = matrix == 1 || matrix == 5 || matrix == 6 || matrix == 9;
          const bool labelled = format == kWPRPixelFormatY416 || known;
          const unsigned used = matrix == 10 ? 9 : 1;  // for want of another one
          EXPECT_EQ(header.matrixCoefficients, labelled ? matrix : used);
        }
      }
    }
  }
}

TEST(Encoder4444, WritesNoAlphaAndNoMatrixUnlessTheyAreSet) {
  const DeepPicture picture(kWPRPixelFormatY416, 34, 40, Colours(Busy(1)));
  const FrameHeader header =
      test::HeaderOf(Encode(Open().get(), {kWPRCodec4444, kWPRProgressive}, picture));
  EXPECT_EQ(header.alphaType, AlphaType::kNone);
  EXPECT_EQ(header.matrixCoefficients, test::kUnspecifiedMatrix);
}

TEST(Encoder4444, WritesNoAlphaOfTypesWithoutIt) {
  const EncoderOwner encoder = Open();
  const test::SourcePicture picture(kWPRPixelFormatV210, 34, 40, Busy(1));
  const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
  const Bytes plain = Encode(encoder.get(), params, picture);
  Set(encoder.get(), kWPRAlpha16);
  EXPECT_EQ(Encode(encoder.get(), params, picture), plain);
}

TEST(Encoder4444, RefusesFormatsOfAnotherChromaFormat) {
  const EncoderOwner encoder = Open();
  const auto encode = [&](std::uint32_t codecType, const test::PictureMemory& picture) {
    const EncodeParamsRecord params{codecType, kWPRProgressive};
    const PixelBufferRecord source = picture.Record();
    Bytes frame(100'000);
    std::uint32_t bytes = 0;
    return WPREncodeFrame(encoder.get(), &params, &source, frame.data(),
                          static_cast<std::uint32_t>(frame.size()), &bytes);
  };
  for (const std::uint32_t format : kDeepFormats) {
    const DeepPicture deep(format, 34, 40, Colours(Busy(1)));
    for (const std::uint32_t codecType : test::kCodecTypes) {
      EXPECT_EQ(encode(codecType, deep), kWPRBadArgument);
    }
    EXPECT_EQ(encode(kWPRCodec4444, deep), kWPRSuccess);
  }
  for (const std::uint32_t format : test::kFormats) {
    const test::SourcePicture picture(format, 34, 40, Busy(1));
    for (const std::uint32_t codecType : kDeepCodecTypes) {
      EXPECT_EQ(encode(codecType, picture), kWPRBadArgument);
    }
    EXPECT_EQ(encode(kWPRCodecHQ, picture), kWPRSuccess);
  }
}

TEST(Encoder4444, KeepsItsSettingsWhereNewOnesAreRefused) {
  const EncoderOwner encoder = Open();
  Set(encoder.get(), kWPRAlpha16, 9);
  const EncodeSettingsRecord good{sizeof good, kWPRAlpha8, 6};
  const auto refused = [&](auto change) {
    EncodeSettingsRecord settings = good;
    change(settings);
    return WPRSetEncodeSettings(encoder.get(), &settings) == kWPRBadArgument;
  };
  using Record = EncodeSettingsRecord;
  EXPECT_EQ(WPRSetEncodeSettings(nullptr, &good), kWPRBadArgument);
  EXPECT_EQ(WPRSetEncodeSettings(encoder.get(), nullptr), kWPRBadArgument);
  EXPECT_TRUE(refused([](Record& r) { r.recordBytes = sizeof r - 1; }));
  EXPECT_TRUE(refused([](Record& r) { r.recordBytes = 0; }));
  for (const std::int32_t bits : {-1, 1, 2, 10, 17, 0x7FFFFFFF}) {
    EXPECT_TRUE(refused([bits](Record& r) { r.alphaBits = bits; })) << bits;
  }
  for (const std::uint32_t matrix : {256U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(refused([matrix](Record& r) { r.matrixCoefficients = matrix; })) << matrix;
  }
  const DeepPicture picture(kWPRPixelFormatY416, 34, 40, Colours(Busy(1)));
  const auto header = [&] {
    return test::HeaderOf(Encode(encoder.get(), {kWPRCodec4444, kWPRProgressive}, picture));
  };
  EXPECT_EQ(header().alphaType, AlphaType::k16Bit);
  EXPECT_EQ(header().matrixCoefficients, 9);
  EXPECT_FALSE(refused([](Record& r) { r.recordBytes = sizeof r + 8; }));  // of a newer caller
  EXPECT_EQ(header().alphaType, AlphaType::k8Bit);
  EXPECT_EQ(header().matrixCoefficients, 6);
}

// ---- Determinism -------------------------------------------------------------------------------

TEST(Encoder4444, IgnoresTheBytesBetweenRows) {
  const EncoderOwner encoder = Open();
  Set(encoder.get(), kWPRAlpha16);
  for (const std::uint32_t format : kDeepFormats) {
    const DeepPicture tight(format, 67, 40, Colours(Busy(4)));
    const DeepPicture padded(format, 67, 40, Colours(Busy(4)), 29);
    EXPECT_EQ(Encode(encoder.get(), {kWPRCodec4444, kWPRProgressive}, tight),
              Encode(encoder.get(), {kWPRCodec4444, kWPRProgressive}, padded));
  }
}

TEST(Encoder4444, ReadsNothingOutsideTheRows) {
  const EncoderOwner encoder = Open();
  Set(encoder.get(), kWPRAlpha16);
  for (const std::uint32_t width : {2U, 3U, 17U, 67U, 131U}) {
    for (const std::uint32_t format : kDeepFormats) {
      const DeepPicture picture(format, width, 20, Colours(Busy(4)));
      const EncodeParamsRecord params{kWPRCodec4444, kWPRTopFieldFirst};
      const Bytes expected = Encode(encoder.get(), params, picture);
      for (const test::Guard guard : {test::Guard::kInFront, test::Guard::kBehind}) {
        const test::GuardedMemory<std::uint8_t> memory(picture.Bytes().size(), guard);
        std::ranges::copy(picture.Bytes(), memory.Values().begin());
        PixelBufferRecord source = picture.Record();
        source.baseAddress = memory.Values().data();
        Bytes frame(expected.size());
        std::uint32_t bytes = 0;
        ASSERT_EQ(WPREncodeFrame(encoder.get(), &params, &source, frame.data(),
                                 static_cast<std::uint32_t>(frame.size()), &bytes),
                  kWPRSuccess);
        EXPECT_EQ(frame, expected);
      }
    }
  }
}

TEST(Encoder4444, WritesTheSameBytesWhateverItEncodedBefore) {
  const EncoderOwner used = Open(3);
  for (const Size size : {Size{130, 66}, Size{16, 16}, Size{300, 34}, Size{17, 190}, Size{2, 2}}) {
    for (const std::uint32_t mode : kModes) {
      // Frames of 4:2:2 share the memory of the handle.
      const test::SourcePicture other(kWPRPixelFormatV210, size.width, size.height, Busy(6));
      ASSERT_FALSE(Encode(used.get(), {kWPRCodecHQ, mode}, other).empty());
      for (const std::uint32_t format : kDeepFormats) {
        const DeepPicture picture(format, size.width, size.height,
                                  WithAlpha(Colours(Busy(6)), MixedAlpha()));
        for (const std::int32_t bits : kAlphaBits) {
          const EncodeParamsRecord params{kWPRCodec4444XQ, mode};
          const EncoderOwner fresh = Open(1);
          Set(used.get(), bits);
          Set(fresh.get(), bits);
          ASSERT_EQ(Encode(used.get(), params, picture), Encode(fresh.get(), params, picture))
              << Describe(kWPRCodec4444XQ, mode, picture.Record()) << " alpha " << bits;
        }
      }
    }
  }
}

}  // namespace
}  // namespace prores
