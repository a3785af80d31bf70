// SPDX-License-Identifier: BSD-2-Clause
// Compares whole frames, decoded through the C interface, with the reference model.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"
#include "WorkedExamples.h"

namespace {

using decoding::Decode;
using decoding::DecoderPtr;
using decoding::Open;
using decoding::U32;
using reference::Stream;
using reference::StreamSpec;

constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210};

/// Compares rows of the picture with lines of the image: row y shows line first + step * y.
void ExpectEqualWithinRounding(const PackedPicture& picture, const reference::Image& image,
                               int rows, int first = 0, int step = 1) {
  int samples = 0;
  int different = 0;
  for (int c = 0; c < 3; ++c) {
    const int columns = c == 0 ? image.width : (image.width + 1) / 2;
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const int ours = picture.Sample(c, x, y);
        const int exact = image.Sample422(c, x, first + step * y, picture.Bits());
        ASSERT_NEAR(ours, exact, 1) << "component " << c << ", " << x << ", " << y;
        ++samples;
        if (ours != exact) ++different;
      }
    }
  }
  EXPECT_LT(different, samples / 100 + 1);
}

void ExpectDecodesLikeTheReference(const StreamSpec& spec, unsigned seed = 1) {
  const Stream stream = MakeStream(spec, reference::NaturalSource(seed));
  const reference::Image image = reference::Decode(stream.bytes);
  const DecoderPtr decoder = Open(1);
  for (const std::uint32_t format : kFormats) {
    PackedPicture picture(format, U32(spec.width), U32(spec.height), 48);
    ASSERT_EQ(Decode(decoder.get(), stream.bytes, picture), kWPRSuccess);
    EXPECT_TRUE(picture.GuardsAreUntouched());
    ExpectEqualWithinRounding(picture, image, spec.height);
  }
}

TEST(Decoder, DecodesTheWorkedFrames) {
  const DecoderPtr decoder = Open(1);
  for (const WorkedFrame& example : kWorkedFrames) {
    SCOPED_TRACE(example.name);
    PackedPicture picture(kWPRPixelFormatV210, U32(example.width), 16);
    ASSERT_EQ(Decode(decoder.get(), example.bytes, picture), kWPRSuccess);
    for (int x = 0; x < example.width; ++x) {
      EXPECT_NEAR(picture.Sample(0, x, 0), example.firstLine[static_cast<std::size_t>(x)], 1);
      EXPECT_EQ(picture.Sample(1, x / 2, 0), 512);
      EXPECT_EQ(picture.Sample(2, x / 2, 0), 512);
    }
    ExpectEqualWithinRounding(picture, reference::Decode(example.bytes), 16);
  }
}

struct Size {
  int width;
  int height;
};

class DecoderSizes : public testing::TestWithParam<Size> {};

TEST_P(DecoderSizes, DecodesEveryChromaFormatAndInterlaceMode) {
  for (const bool chroma444 : {false, true}) {
    for (int interlaceMode = 0; interlaceMode < 3; ++interlaceMode) {
      SCOPED_TRACE(testing::Message()
                   << (chroma444 ? "4:4:4" : "4:2:2") << ", interlace mode " << interlaceMode);
      StreamSpec spec;
      spec.width = GetParam().width;
      spec.height = GetParam().height;
      spec.chroma444 = chroma444;
      spec.interlaceMode = interlaceMode;
      ExpectDecodesLikeTheReference(spec);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Decoder, DecoderSizes,
                         testing::Values(Size{1, 1}, Size{2, 2}, Size{3, 1}, Size{16, 16},
                                         Size{17, 19}, Size{18, 33}, Size{50, 34}, Size{130, 16},
                                         Size{16, 130}, Size{131, 65}, Size{247, 95},
                                         Size{719, 61}),
                         [](const auto& size) {
                           return std::to_string(size.param.width) + "x" +
                                  std::to_string(size.param.height);
                         });

TEST(Decoder, DecodesEverySliceWidth) {
  for (int log2SliceSize = 0; log2SliceSize < 4; ++log2SliceSize) {
    StreamSpec spec;
    spec.width = 15 * 16 - 3;
    spec.height = 40;
    spec.log2SliceSize = log2SliceSize;
    for (const bool chroma444 : {false, true}) {
      spec.chroma444 = chroma444;
      ExpectDecodesLikeTheReference(spec);
    }
  }
}

TEST(Decoder, SkipsAlpha) {
  for (const int alphaType : {1, 2}) {
    for (const bool chroma444 : {false, true}) {
      StreamSpec spec;
      spec.width = 100;
      spec.height = 50;
      spec.alphaType = alphaType;
      spec.chroma444 = chroma444;
      spec.interlaceMode = alphaType;
      ExpectDecodesLikeTheReference(spec);
    }
  }
}

reference::Matrix Asymmetric(int horizontal, int vertical) {
  reference::Matrix matrix;
  for (int i = 0; i < 64; ++i) {
    matrix[static_cast<std::size_t>(i)] = 2 + (i % 8 * horizontal + i / 8 * vertical) % 62;
  }
  return matrix;
}

TEST(Decoder, AppliesTransmittedMatrices) {
  for (const int interlaceMode : {0, 1}) {
    StreamSpec spec;
    spec.width = 64;
    spec.height = 64;
    spec.interlaceMode = interlaceMode;
    spec.lumaMatrix = Asymmetric(1, 5);
    ExpectDecodesLikeTheReference(spec);
    spec.chromaMatrix = Asymmetric(7, 2);
    ExpectDecodesLikeTheReference(spec);
    spec.lumaMatrix.reset();
    ExpectDecodesLikeTheReference(spec);
  }
}

TEST(Decoder, FollowsTheQuantizerFromSliceToSlice) {
  StreamSpec spec;
  spec.width = 128;
  spec.height = 64;
  spec.log2SliceSize = 1;
  const std::vector<int> indices{1, 2, 8, 100, 128, 129, 160, 224, 255, 0, 32};
  spec.quantizationIndex = [&](int slice) {
    return indices[static_cast<std::size_t>(slice) % indices.size()];
  };
  ExpectDecodesLikeTheReference(spec);
}

TEST(Decoder, SkipsExcessBytes) {
  StreamSpec spec;
  spec.width = 40;
  spec.height = 40;
  spec.interlaceMode = 1;
  spec.extraFrameHeaderBytes = 9;
  spec.extraPictureHeaderBytes = 23;
  spec.picturePaddingBytes = 5;
  spec.framePaddingBytes = 33;
  for (const int sliceBytes : {1, 2, 25}) {
    for (const int zeros : {0, 1, 100}) {
      spec.extraSliceHeaderBytes = sliceBytes;
      spec.trailingZeroBytes = sliceBytes == 1 ? 0 : zeros;
      ExpectDecodesLikeTheReference(spec);
    }
  }
}

TEST(Decoder, AcceptsFieldsWithEquallyManyMacroblockRows) {
  for (const int interlaceMode : {1, 2}) {
    StreamSpec spec;
    spec.width = 64;
    spec.height = 65;
    spec.interlaceMode = interlaceMode;
    spec.equalFieldRows = true;
    ExpectDecodesLikeTheReference(spec);
  }
}

TEST(Decoder, ClampsExtremePictures) {
  for (const std::uint32_t format : kFormats) {
    StreamSpec spec;
    spec.width = 64;
    spec.height = 32;
    spec.quantizationIndex = [](int) { return 1; };
    const auto source = [](int c, int x, int y) { return (x * 7 + y * 13 + c) % 3 ? 1023.0 : 0.0; };
    const Stream stream = MakeStream(spec, source);
    PackedPicture picture(format, 64, 32);
    ASSERT_EQ(Decode(Open(1).get(), stream.bytes, picture), kWPRSuccess);
    ExpectEqualWithinRounding(picture, reference::Decode(stream.bytes), 32);
  }
}

TEST(Decoder, DecodesTheFirstFieldAlone) {
  struct Case {
    int interlaceMode;
    int height;
    int rows;
  };
  for (const Case& c : {Case{1, 64, 32}, Case{2, 64, 32}, Case{2, 35, 17}, Case{1, 35, 17},
                        Case{1, 35, 18}, Case{1, 33, 16}, Case{1, 33, 17}}) {
    SCOPED_TRACE(testing::Message() << c.interlaceMode << ", " << c.height << ", " << c.rows);
    StreamSpec spec;
    spec.width = 50;
    spec.height = c.height;
    spec.interlaceMode = c.interlaceMode;
    const Stream stream = MakeStream(spec, reference::NaturalSource(3));
    PackedPicture picture(kWPRPixelFormatV210, 50, U32(c.rows), 16);
    ASSERT_EQ(Decode(Open(2).get(), stream.bytes, picture, 1), kWPRSuccess);
    EXPECT_TRUE(picture.GuardsAreUntouched());
    ExpectEqualWithinRounding(picture, reference::Decode(stream.bytes), c.rows, c.interlaceMode - 1,
                              2);
    // The second field is not needed.
    const std::vector<std::uint8_t> half(
        stream.bytes.begin(),
        stream.bytes.begin() + static_cast<std::ptrdiff_t>(stream.pictures[1]));
    PackedPicture fromHalf(kWPRPixelFormatV210, 50, U32(c.rows), 16);
    ASSERT_EQ(Decode(Open(2).get(), half, fromHalf, 1), kWPRSuccess);
    EXPECT_EQ(fromHalf, picture);
  }
}

TEST(Decoder, DecodesTheWholeProgressiveFrameWithTheFieldFlag) {
  StreamSpec spec;
  spec.height = 40;
  const Stream stream = MakeStream(spec, reference::NaturalSource(3));
  PackedPicture whole(kWPRPixelFormatV210, 16, 40);
  PackedPicture flagged(kWPRPixelFormatV210, 16, 40);
  ASSERT_EQ(Decode(Open(1).get(), stream.bytes, whole, 0), kWPRSuccess);
  ASSERT_EQ(Decode(Open(1).get(), stream.bytes, flagged, 1), kWPRSuccess);
  EXPECT_EQ(whole, flagged);
}

TEST(Decoder, DecodesTheSamePictureWithEveryThreadCount) {
  StreamSpec spec;
  spec.width = 300;
  spec.height = 200;
  spec.interlaceMode = 2;
  Stream stream = MakeStream(spec, reference::NaturalSource(4));
  // Some damage, because concealment must not depend on threads either.
  for (const std::size_t slice : {0u, 7u, 8u, 20u, 21u, 22u, 23u}) {
    stream.bytes[stream.slices[slice].offset] = 0;
  }
  for (const std::uint32_t format : kFormats) {
    PackedPicture single(format, 300, 200);
    const std::int32_t result = Decode(Open(1).get(), stream.bytes, single);
    EXPECT_GT(result, 0);
    for (const int threads : {0, 2, 3, 5, 8}) {
      const DecoderPtr decoder = Open(threads);
      for (int repeat = 0; repeat < 3; ++repeat) {
        PackedPicture picture(format, 300, 200);
        ASSERT_EQ(Decode(decoder.get(), stream.bytes, picture), result);
        ASSERT_EQ(picture, single) << threads << " threads";
      }
    }
  }
}

TEST(Decoder, DecodesFramesOfAnyKindInAnyOrder) {
  std::vector<StreamSpec> specs(5);
  specs[0].width = specs[0].height = 200;
  specs[1].chroma444 = true;
  specs[2].width = 90;
  specs[2].height = 70;
  specs[2].interlaceMode = 1;
  specs[3].width = 400;
  specs[3].chroma444 = true;
  specs[4].alphaType = 1;
  const DecoderPtr decoder = Open(3);
  for (int round = 0; round < 2; ++round) {
    for (const StreamSpec& spec : specs) {
      const Stream stream = MakeStream(spec, reference::NaturalSource(5));
      for (const std::uint32_t format : kFormats) {
        PackedPicture picture(format, U32(spec.width), U32(spec.height));
        ASSERT_EQ(Decode(decoder.get(), stream.bytes, picture), kWPRSuccess);
        ExpectEqualWithinRounding(picture, reference::Decode(stream.bytes), spec.height);
      }
    }
  }
}

}  // namespace
