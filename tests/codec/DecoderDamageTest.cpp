// SPDX-License-Identifier: BSD-2-Clause
// Truncated, damaged and malicious frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using decoding::Decode;
using decoding::DecoderPtr;
using decoding::Open;
using decoding::U32;
using reference::SliceInfo;
using reference::Stream;
using reference::StreamSpec;

Bytes Prefix(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

constexpr int kSmallWidth = 19;
constexpr int kSmallHeight = 18;

/// Returns small frames of every kind.
std::vector<StreamSpec> SmallFrames() {
  std::vector<StreamSpec> specs(7);
  for (StreamSpec& spec : specs) {
    spec.width = kSmallWidth;
    spec.height = kSmallHeight;
    spec.log2SliceSize = 0;
    spec.quantizationIndex = [](int) { return 120; };
  }
  specs[1].interlaceMode = 1;
  specs[2].chroma444 = true;
  specs[2].alphaType = 1;
  specs[2].lumaMatrix.emplace().fill(9);
  specs[2].chromaMatrix.emplace().fill(7);
  specs[3].interlaceMode = 2;
  specs[3].chroma444 = true;
  specs[4].extraSliceHeaderBytes = 3;
  specs[4].extraPictureHeaderBytes = 2;
  specs[4].extraFrameHeaderBytes = 1;
  specs[5].interlaceMode = 1;
  specs[5].chroma444 = true;
  specs[5].alphaType = 2;
  specs[6].alphaType = 2;
  return specs;
}

TEST(DecoderDamage, RejectsEveryPrefixAndKeepsThePicture) {
  const DecoderPtr decoder = Open(2);
  for (const StreamSpec& spec : SmallFrames()) {
    const Stream stream = MakeStream(spec, reference::NaturalSource(1));
    for (std::size_t size = 0; size < stream.bytes.size(); ++size) {
      for (const std::uint32_t format : decoding::kFormats) {
        PackedPicture picture(format, kSmallWidth, kSmallHeight, 4);
        ASSERT_EQ(Decode(decoder.get(), Prefix(stream.bytes, size), picture), kWPRTruncated)
            << size;
        ASSERT_TRUE(picture.IsUntouched());
      }
    }
  }
}

TEST(DecoderDamage, SurvivesBitFlips) {
  const DecoderPtr decoder = Open(1);
  const DecoderPtr threaded = Open(3);
  int refused = 0;
  int concealed = 0;
  for (const StreamSpec& spec : SmallFrames()) {
    const Stream stream = MakeStream(spec, reference::NaturalSource(2));
    // Every bit before the first slice, then one bit of each byte.
    const std::size_t headerBits = 8 * stream.slices.front().offset;
    for (std::size_t bit = 0; bit < 8 * stream.bytes.size(); bit += bit < headerBits ? 1 : 9) {
      Bytes bytes = stream.bytes;
      bytes[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
      for (const std::uint32_t format : decoding::kFormats) {
        PackedPicture picture(format, kSmallWidth, kSmallHeight, 16);
        const std::int32_t result = Decode(decoder.get(), bytes, picture);
        ASSERT_TRUE(picture.GuardsAreUntouched()) << bit;
        ASSERT_EQ(result < 0, picture.IsUntouched()) << bit;
        if (result < 0) ++refused;
        if (result > 0) ++concealed;
        if (bit % 7 == 0) {
          PackedPicture again(format, kSmallWidth, kSmallHeight, 16);
          ASSERT_EQ(Decode(threaded.get(), bytes, again), result) << bit;
          ASSERT_EQ(again, picture) << bit;
        }
      }
    }
  }
  EXPECT_GT(refused, 100);
  EXPECT_GT(concealed, 100);
}

TEST(DecoderDamage, SurvivesRandomBytesInSlices) {
  const DecoderPtr decoder = Open(1);
  std::mt19937 random(3);
  for (const StreamSpec& spec : SmallFrames()) {
    const Stream stream = MakeStream(spec, reference::NaturalSource(3));
    for (int i = 0; i < 200; ++i) {
      Bytes bytes = stream.bytes;
      for (int n = 0; n < 3; ++n) {
        const std::size_t first = stream.slices.front().offset;
        bytes[first + random() % (bytes.size() - first)] = static_cast<std::uint8_t>(random());
      }
      for (const std::uint32_t format : decoding::kFormats) {
        PackedPicture picture(format, kSmallWidth, kSmallHeight, 4);
        const std::int32_t result = Decode(decoder.get(), bytes, picture);
        ASSERT_LE(result, static_cast<std::int32_t>(stream.slices.size()));
        ASSERT_TRUE(picture.GuardsAreUntouched());
      }
    }
  }
}

TEST(DecoderDamage, RejectsAMissingSecondField) {
  StreamSpec spec;
  spec.interlaceMode = 1;
  spec.height = 32;
  const Stream stream = MakeStream(spec, reference::NaturalSource(1));
  PackedPicture picture(kWPRPixelFormat2vuy, 16, 32);
  EXPECT_EQ(Decode(Open(1).get(), Prefix(stream.bytes, stream.pictures[1]), picture),
            kWPRTruncated);
  EXPECT_TRUE(picture.IsUntouched());
}

TEST(DecoderDamage, RejectsInconsistentSliceTables) {
  StreamSpec spec;
  spec.width = 32;
  spec.height = 32;
  spec.interlaceMode = 1;
  spec.log2SliceSize = 0;
  const Stream stream = MakeStream(spec, reference::NaturalSource(1));
  for (const std::size_t start : stream.pictures) {
    for (const std::size_t entry : {8u, 10u}) {
      for (const int size : {0, 5, 0xFFFF}) {
        Bytes bytes = stream.bytes;
        bytes[start + entry] = static_cast<std::uint8_t>(size >> 8);
        bytes[start + entry + 1] = static_cast<std::uint8_t>(size);
        PackedPicture picture(kWPRPixelFormat2vuy, 32, 32);
        EXPECT_EQ(Decode(Open(1).get(), bytes, picture), kWPRBadHeader);
        EXPECT_TRUE(picture.IsUntouched());
      }
    }
  }
}

/// A frame of 4 macroblock rows of 4 slices of two macroblocks.
struct SlicedFrame {
  static constexpr int kWidth = 128;
  static constexpr int kHeight = 64;

  Stream stream;
  PackedPicture intact{kWPRPixelFormat2vuy, kWidth, kHeight};
  PackedPicture damaged{kWPRPixelFormat2vuy, kWidth, kHeight};

  explicit SlicedFrame(int interlaceMode = 0) {
    StreamSpec spec;
    spec.width = kWidth;
    spec.height = kHeight;
    spec.log2SliceSize = 1;
    spec.interlaceMode = interlaceMode;
    stream = MakeStream(spec, reference::NaturalSource(6));
    EXPECT_EQ(Decode(Open(1).get(), stream.bytes, intact), kWPRSuccess);
  }

  const SliceInfo& Slice(int picture, int row, int index) const {
    return *std::ranges::find_if(stream.slices, [=](const SliceInfo& s) {
      return s.picture == picture && s.row == row && s.firstMacroblock == 2 * index;
    });
  }

  void Break(int row, int index, int picture = 0) {
    stream.bytes[Slice(picture, row, index).offset] = 0;  // no room for the header
  }

  std::int32_t DecodeDamaged() { return Decode(Open(1).get(), stream.bytes, damaged); }

  /// Expects the columns [from, to) of a row to equal those of the intact picture.
  void ExpectIntact(int y, int from = 0, int to = kWidth) const {
    for (int x = from; x < to; ++x) {
      ASSERT_EQ(damaged.Sample(0, x, y), intact.Sample(0, x, y)) << x << ", " << y;
      for (int c = 1; c < 3; ++c) {
        ASSERT_EQ(damaged.Sample(c, x / 2, y), intact.Sample(c, x / 2, y)) << x << ", " << y;
      }
    }
  }

  /// Expects the columns [from, to) of a row to equal column `source` of the intact picture.
  void ExpectRepeated(int y, int from, int to, int source) const {
    for (int x = from; x < to; ++x) {
      ASSERT_EQ(damaged.Sample(0, x, y), intact.Sample(0, source, y)) << x << ", " << y;
      for (int c = 1; c < 3; ++c) {
        ASSERT_EQ(damaged.Sample(c, x / 2, y), intact.Sample(c, source / 2, y)) << x << ", " << y;
      }
    }
  }

  /// Expects a row to equal row `source` of the intact picture.
  void ExpectCopied(int y, int source) const {
    EXPECT_TRUE(std::equal(damaged.Row(U32(static_cast<std::size_t>(y))),
                           damaged.Row(U32(static_cast<std::size_t>(y))) + damaged.PixelBytes(),
                           intact.Row(U32(static_cast<std::size_t>(source)))))
        << y;
  }
};

TEST(Concealment, FillsAHoleFromTheSliceToItsLeft) {
  SlicedFrame frame;
  frame.Break(1, 1);
  frame.Break(1, 2);
  EXPECT_EQ(frame.DecodeDamaged(), 2);
  for (int y = 0; y < 64; ++y) {
    const bool holed = y / 16 == 1;
    frame.ExpectIntact(y, 0, holed ? 32 : 128);
    if (!holed) continue;
    frame.ExpectRepeated(y, 32, 96, 31);
    frame.ExpectIntact(y, 96);
  }
}

TEST(Concealment, FillsAHoleAtTheLeftEndFromTheRight) {
  SlicedFrame frame;
  frame.Break(2, 0);
  frame.Break(2, 1);
  frame.Break(2, 3);
  EXPECT_EQ(frame.DecodeDamaged(), 3);
  for (int y = 32; y < 48; ++y) {
    frame.ExpectRepeated(y, 0, 64, 64);
    frame.ExpectIntact(y, 64, 96);
    frame.ExpectRepeated(y, 96, 128, 95);
  }
}

TEST(Concealment, FillsALostRowFromTheNearestRow) {
  SlicedFrame frame;
  for (int i = 0; i < 4; ++i) {
    frame.Break(0, i);
    frame.Break(2, i);
  }
  EXPECT_EQ(frame.DecodeDamaged(), 8);
  for (int y = 0; y < 16; ++y) frame.ExpectCopied(y, 16);
  for (int y = 16; y < 32; ++y) frame.ExpectIntact(y);
  for (int y = 32; y < 48; ++y) frame.ExpectCopied(y, 31);
  for (int y = 48; y < 64; ++y) frame.ExpectIntact(y);
}

TEST(Concealment, FillsALostFieldFromTheOther) {
  SlicedFrame frame(1);
  for (int row = 0; row < 2; ++row) {
    for (int i = 0; i < 4; ++i) frame.Break(row, i, 1);
  }
  EXPECT_EQ(frame.DecodeDamaged(), 8);
  for (int y = 0; y < 64; y += 2) frame.ExpectIntact(y);
  for (int y = 1; y < 32; y += 2) frame.ExpectCopied(y, 30);
  for (int y = 33; y < 64; y += 2) frame.ExpectCopied(y, 62);
}

TEST(Concealment, PrefersRowsOfTheSameField) {
  SlicedFrame frame(2);  // the first picture has the odd lines
  for (int i = 0; i < 4; ++i) frame.Break(0, i, 0);
  EXPECT_EQ(frame.DecodeDamaged(), 4);
  for (int y = 1; y < 32; y += 2) frame.ExpectCopied(y, 33);
  for (int y = 33; y < 64; y += 2) frame.ExpectIntact(y);
  for (int y = 0; y < 64; y += 2) frame.ExpectIntact(y);
}

TEST(Concealment, ShowsMidGreyWhereNoSliceIsIntact) {
  for (const bool chroma444 : {false, true}) {
    for (const std::uint32_t format : {kWPRPixelFormat2vuy, kWPRPixelFormatV210}) {
      StreamSpec spec;
      spec.width = 40;
      spec.height = 40;
      spec.chroma444 = chroma444;
      Stream stream = MakeStream(spec, reference::NaturalSource(6));
      for (const SliceInfo& slice : stream.slices) stream.bytes[slice.offset] = 0;
      PackedPicture picture(format, 40, 40);
      EXPECT_EQ(Decode(Open(1).get(), stream.bytes, picture),
                static_cast<std::int32_t>(stream.slices.size()));
      const int grey = 1 << (picture.Bits() - 1);
      for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) ASSERT_EQ(picture.Sample(0, x, y), grey);
        for (int x = 0; x < 20; ++x) ASSERT_EQ(picture.Sample(1, x, y), grey);
        for (int x = 0; x < 20; ++x) ASSERT_EQ(picture.Sample(2, x, y), grey);
      }
    }
  }
}

TEST(Concealment, CountsEachKindOfSliceDamageOnce) {
  SlicedFrame frame;
  Bytes& bytes = frame.stream.bytes;
  const std::size_t header = frame.Slice(0, 0, 1).offset;
  bytes[header + 2] = 0xFF;  // sizes larger than the slice
  const std::size_t entropy = frame.Slice(0, 1, 1).offset;
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(entropy + 6), 5, std::uint8_t{0});
  const std::size_t empty = frame.Slice(0, 2, 1).offset;
  bytes[empty + 2] = bytes[empty + 3] = 0;  // a component without bytes
  EXPECT_EQ(frame.DecodeDamaged(), 3);
}

}  // namespace
