// SPDX-License-Identifier: BSD-2-Clause
// Compares pictures of 4:4:4 with alpha, decoded through the C interface, with the reference model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "Decoder4444Session.h"
#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"

namespace {

using decoding::Decode;
using decoding::DecoderPtr;
using decoding::ExpectConverted;
using decoding::ForEachPixelKind;
using decoding::kAlpha;
using decoding::kBt709;
using decoding::kOpaque;
using decoding::NaturalWithAlpha;
using decoding::Open;
using decoding::U32;
using reference::Image;
using reference::Stream;
using reference::StreamSpec;

/// Lines of an image that a picture shows: line first + step * y in row y.
struct Lines {
  int count;
  int first = 0;
  int step = 1;
};

/// A sample of 12 bits that the model predicts, and the error that roundings may make.
struct Prediction {
  int sample;
  int tolerance;
};

/// Predicts a sample. Chroma of 4:2:2 lies at the even columns; it is interpolated between them.
Prediction Predict(const Image& image, int component, int x, int line) {
  const auto sample = [&](int column) {
    const int columns = component == 0 ? image.width : image.chromaWidth;
    return image.Sample(component, std::clamp(column, 0, columns - 1), line, 12);
  };
  if (component == 0 || image.chromaWidth == image.width) return {sample(x), 1};
  const int left = x / 2;
  if (x % 2 == 0) return {sample(left), 1};
  const int sum = 9 * (sample(left) + sample(left + 1)) - sample(left - 1) - sample(left + 2);
  return {std::clamp(static_cast<int>(std::floor(sum / 16.0 + 0.5)), 16, 4079), 2};
}

int AlphaOf(const Image& image, int x, int line, int alphaType) {
  if (image.alpha.empty()) return kOpaque;
  const int value = image.alpha[static_cast<std::size_t>(line * image.width + x)];
  return alphaType == 1 ? 257 * value : value;
}

void ExpectEqualWithinRounding(const PackedPicture& picture, const Image& image, int alphaType,
                               const Lines& lines) {
  int different = 0;
  for (int y = 0; y < lines.count; ++y) {
    const int line = lines.first + lines.step * y;
    for (int x = 0; x < image.width; ++x) {
      for (int c = 0; c < 3; ++c) {
        const Prediction expected = Predict(image, c, x, line);
        ASSERT_EQ(picture.Word(c, x, y) % 16, 0);
        ASSERT_NEAR(picture.Word(c, x, y) / 16, expected.sample, expected.tolerance)
            << "component " << c << ", " << x << ", " << y;
        if (picture.Word(c, x, y) / 16 != expected.sample) ++different;
      }
      ASSERT_EQ(picture.Word(kAlpha, x, y), AlphaOf(image, x, line, alphaType)) << x << ", " << y;
    }
  }
  EXPECT_LT(different, 3 * lines.count * image.width / 50 + 1);
}

/// Decodes a stream in both formats; those of the model have the matrix of BT.709.
void ExpectDecodesLikeTheReference(const StreamSpec& spec, unsigned seed = 1) {
  const Stream stream = MakeStream(spec, NaturalWithAlpha(seed));
  const DecoderPtr decoder = Open(2);
  PackedPicture coded(kWPRPixelFormatY416, U32(spec.width), U32(spec.height), 24);
  ASSERT_EQ(Decode(decoder.get(), stream.bytes, coded), kWPRSuccess);
  EXPECT_TRUE(coded.GuardsAreUntouched());
  ExpectEqualWithinRounding(coded, reference::Decode(stream.bytes), spec.alphaType, {spec.height});

  PackedPicture rgb(kWPRPixelFormatB64a, U32(spec.width), U32(spec.height), 24);
  ASSERT_EQ(Decode(decoder.get(), stream.bytes, rgb), kWPRSuccess);
  EXPECT_TRUE(rgb.GuardsAreUntouched());
  ExpectConverted(rgb, coded, kBt709, spec.width, spec.height);
}

struct Size {
  int width;
  int height;
};

class Decoder4444Sizes : public testing::TestWithParam<Size> {};

TEST_P(Decoder4444Sizes, DecodesEveryKindOfStream) {
  for (int interlaceMode = 0; interlaceMode < 3; ++interlaceMode) {
    SCOPED_TRACE(testing::Message() << "interlace mode " << interlaceMode);
    StreamSpec spec;
    spec.width = GetParam().width;
    spec.height = GetParam().height;
    spec.interlaceMode = interlaceMode;
    ForEachPixelKind(spec, [](const StreamSpec& each) { ExpectDecodesLikeTheReference(each); });
  }
}

INSTANTIATE_TEST_SUITE_P(Decoder, Decoder4444Sizes,
                         testing::Values(Size{1, 1}, Size{2, 2}, Size{3, 1}, Size{16, 16},
                                         Size{17, 19}, Size{18, 33}, Size{50, 34}, Size{130, 16},
                                         Size{16, 66}, Size{131, 35}),
                         [](const auto& size) {
                           return std::to_string(size.param.width) + "x" +
                                  std::to_string(size.param.height);
                         });

TEST(Decoder4444, DecodesEverySliceWidth) {
  StreamSpec spec;
  spec.width = 15 * 16 - 3;
  spec.height = 20;
  for (spec.log2SliceSize = 0; spec.log2SliceSize < 4; ++spec.log2SliceSize) {
    ForEachPixelKind(spec, [](const StreamSpec& each) { ExpectDecodesLikeTheReference(each); });
  }
}

TEST(Decoder4444, AppliesTransmittedMatricesAndQuantisers) {
  StreamSpec spec;
  spec.width = 64;
  spec.height = 40;
  spec.log2SliceSize = 1;
  spec.lumaMatrix.emplace();
  spec.chromaMatrix.emplace();
  for (int i = 0; i < 64; ++i) {
    (*spec.lumaMatrix)[static_cast<std::size_t>(i)] = 2 + (i % 8 + i / 8 * 5) % 62;
    (*spec.chromaMatrix)[static_cast<std::size_t>(i)] = 2 + (i % 8 * 7 + i / 8 * 2) % 62;
  }
  spec.quantizationIndex = [](int slice) { return slice * 37 % 256; };
  for (spec.interlaceMode = 0; spec.interlaceMode < 2; ++spec.interlaceMode) {
    ForEachPixelKind(spec, [](const StreamSpec& each) { ExpectDecodesLikeTheReference(each); });
  }
}

TEST(Decoder4444, SkipsExcessBytes) {
  StreamSpec spec;
  spec.width = 40;
  spec.height = 40;
  spec.interlaceMode = 1;
  spec.extraFrameHeaderBytes = 9;
  spec.extraPictureHeaderBytes = 23;
  spec.extraSliceHeaderBytes = 25;
  spec.trailingZeroBytes = 7;
  spec.picturePaddingBytes = 5;
  spec.framePaddingBytes = 33;
  ForEachPixelKind(spec, [](const StreamSpec& each) { ExpectDecodesLikeTheReference(each); });
  spec.height = 65;
  spec.equalFieldRows = true;
  ForEachPixelKind(spec, [](const StreamSpec& each) { ExpectDecodesLikeTheReference(each); });
}

TEST(Decoder4444, ClampsExtremePictures) {
  StreamSpec spec;
  spec.width = 64;
  spec.height = 32;
  spec.quantizationIndex = [](int) { return 1; };
  ForEachPixelKind(spec, [](const StreamSpec& each) {
    const auto source = [](int c, int x, int y) { return (x * 7 + y * 13 + c) % 3 ? 1023.0 : 0.0; };
    const Stream stream = MakeStream(each, source);
    PackedPicture picture(kWPRPixelFormatY416, 64, 32);
    ASSERT_EQ(Decode(Open(1).get(), stream.bytes, picture), kWPRSuccess);
    ExpectEqualWithinRounding(picture, reference::Decode(stream.bytes), each.alphaType, {32});
  });
}

TEST(Decoder4444, DecodesTheFirstFieldAlone) {
  struct Case {
    int interlaceMode, height, rows;
  };
  for (const Case& c : {Case{1, 64, 32}, Case{2, 35, 17}, Case{1, 35, 17}, Case{1, 35, 18},
                        Case{1, 33, 16}, Case{1, 33, 17}}) {
    SCOPED_TRACE(testing::Message() << c.interlaceMode << ", " << c.height << ", " << c.rows);
    StreamSpec spec;
    spec.width = 50;
    spec.height = c.height;
    spec.interlaceMode = c.interlaceMode;
    ForEachPixelKind(spec, [&c](const StreamSpec& each) {
      const Stream stream = MakeStream(each, NaturalWithAlpha(3));
      // The second field is not needed.
      const std::vector<std::uint8_t> half(
          stream.bytes.begin(),
          stream.bytes.begin() + static_cast<std::ptrdiff_t>(stream.pictures[1]));
      PackedPicture coded(kWPRPixelFormatY416, 50, U32(c.rows), 16);
      ASSERT_EQ(Decode(Open(2).get(), half, coded, 1), kWPRSuccess);
      EXPECT_TRUE(coded.GuardsAreUntouched());
      ExpectEqualWithinRounding(coded, reference::Decode(stream.bytes), each.alphaType,
                                {c.rows, c.interlaceMode - 1, 2});
      PackedPicture rgb(kWPRPixelFormatB64a, 50, U32(c.rows), 16);
      ASSERT_EQ(Decode(Open(2).get(), half, rgb, 1), kWPRSuccess);
      ExpectConverted(rgb, coded, kBt709, 50, c.rows);
    });
  }
}

TEST(Decoder4444, DecodesFramesOfAnyKindInAnyOrder) {
  const DecoderPtr used = Open(3);
  for (int round = 0; round < 2; ++round) {
    StreamSpec spec;
    for (const Size size : {Size{200, 40}, Size{16, 16}, Size{90, 70}}) {
      spec.width = size.width;
      spec.height = size.height;
      ForEachPixelKind(spec, [&used](const StreamSpec& each) {
        const Stream stream = MakeStream(each, NaturalWithAlpha(5));
        for (const std::uint32_t format : decoding::kFormats) {
          PackedPicture picture(format, U32(each.width), U32(each.height));
          PackedPicture expected = picture;
          ASSERT_EQ(Decode(used.get(), stream.bytes, picture), kWPRSuccess);
          ASSERT_EQ(Decode(Open(1).get(), stream.bytes, expected), kWPRSuccess);
          ASSERT_EQ(picture, expected);
        }
      });
    }
  }
}

}  // namespace
