// SPDX-License-Identifier: BSD-2-Clause
// Damaged colours and damaged alpha in pictures of 4:4:4 with alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Decoder4444Session.h"
#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"

namespace {

using decoding::Decode;
using decoding::DecoderPtr;
using decoding::kAlpha;
using decoding::kOpaque;
using decoding::Open;
using decoding::U32;
using reference::SliceInfo;
using reference::Stream;
using reference::StreamSpec;

constexpr int kWidth = 128, kHeight = 64;
constexpr int kSliceColumns = 32;
constexpr std::uint32_t kDeepFormats[] = {kWPRPixelFormatY416, kWPRPixelFormatB64a};

/// Big-endian number in a stream.
struct Field {
  Stream& stream;
  std::size_t offset;
  int bytes;

  std::size_t Value() const {
    std::size_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      value = value << 8 | stream.bytes[offset + static_cast<std::size_t>(i)];
    }
    return value;
  }
  void Decrease(std::size_t by) const {
    const std::size_t value = Value() - by;
    for (int i = 0; i < bytes; ++i) {
      stream.bytes[offset + static_cast<std::size_t>(i)] =
          static_cast<std::uint8_t>(value >> (8 * (bytes - 1 - i)));
    }
  }
};

/// A frame of 16 slices of two macroblocks, 4 in a row.
class AlphaFrame {
 public:
  /// @param interlaceMode of a frame in fields, 2 rows belong to each.
  AlphaFrame(int alphaType, bool chroma444, int interlaceMode = 0) {
    StreamSpec spec;
    spec.width = kWidth;
    spec.height = kHeight;
    spec.log2SliceSize = 1;
    spec.alphaType = alphaType;
    spec.chroma444 = chroma444;
    spec.interlaceMode = interlaceMode;
    spec.extraSliceHeaderBytes = 2;
    stream_ = MakeStream(spec, decoding::NaturalWithAlpha(6));
    intact_ = stream_;
  }

  const std::vector<std::uint8_t>& Bytes() const { return stream_.bytes; }
  const std::vector<std::uint8_t>& IntactBytes() const { return intact_.bytes; }
  const SliceInfo& Slice(std::size_t index) const { return stream_.slices[index]; }

  /// Loses everything of a slice.
  void BreakHeader(std::size_t index) { stream_.bytes[Slice(index).offset] = 0; }
  /// Loses the colours of a slice, whose first codeword becomes too long.
  void BreakColours(std::size_t index) { Clear(ColoursOf(index), 5); }
  /// Alpha of zeros takes more bytes than any other; so it ends too early.
  void BreakAlpha(std::size_t index) { Clear(AlphaOf(index), AlphaBytes(index)); }
  /// Makes a slice of a progressive frame end after its colours.
  void RemoveAlpha(std::size_t index) {
    const std::size_t bytes = AlphaBytes(index);
    const auto begin = stream_.bytes.begin() + static_cast<std::ptrdiff_t>(AlphaOf(index));
    const std::size_t picture = stream_.pictures[0];
    stream_.bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(bytes));
    Field{stream_, 0, 4}.Decrease(bytes);
    Field{stream_, picture + 1, 4}.Decrease(bytes);
    Field{stream_, picture + 8 + 2 * index, 2}.Decrease(bytes);
    for (std::size_t i = index + 1; i < stream_.slices.size(); ++i) {
      stream_.slices[i].offset -= bytes;
    }
  }

 private:
  std::size_t ColoursOf(std::size_t index) const {
    const std::size_t slice = Slice(index).offset;
    return slice + (stream_.bytes[slice] >> 3);
  }
  std::size_t AlphaOf(std::size_t index) {
    std::size_t alpha = ColoursOf(index);
    for (const std::size_t size : {2U, 4U, 6U}) {
      alpha += Field{stream_, Slice(index).offset + size, 2}.Value();
    }
    return alpha;
  }
  std::size_t AlphaBytes(std::size_t index) {
    return Slice(index).offset + Slice(index).bytes - AlphaOf(index);
  }
  void Clear(std::size_t offset, std::size_t bytes) {
    std::fill_n(stream_.bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes,
                std::uint8_t{0});
  }

  Stream stream_, intact_;
};

PackedPicture Decoded(const std::vector<std::uint8_t>& frame, std::uint32_t format,
                      std::int32_t expected) {
  PackedPicture picture(format, kWidth, kHeight, 8);
  EXPECT_EQ(Decode(Open(2).get(), frame, picture), expected);
  EXPECT_TRUE(picture.GuardsAreUntouched());
  return picture;
}

/// Slice of a pixel in a progressive frame.
std::size_t SliceAt(int x, int y) {
  return static_cast<std::size_t>(y / 16 * (kWidth / kSliceColumns) + x / kSliceColumns);
}

/// Expects equal alpha, except in the slices that must be opaque.
template <typename IsOpaque>
void ExpectAlpha(const PackedPicture& picture, const PackedPicture& intact, IsOpaque isOpaque) {
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int expected = isOpaque(SliceAt(x, y)) ? kOpaque : intact.Word(kAlpha, x, y);
      ASSERT_EQ(picture.Word(kAlpha, x, y), expected) << x << ", " << y;
    }
  }
}

void ExpectSameColours(const PackedPicture& picture, const PackedPicture& expected) {
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int c = 0; c < 3; ++c) ASSERT_EQ(picture.Word(c, x, y), expected.Word(c, x, y));
    }
  }
}

/// Calls check(alphaType, chroma444, format) for all.
template <typename Check>
void ForEachKind(Check check) {
  for (const int alphaType : {1, 2}) {
    for (const bool chroma444 : {false, true}) {
      for (const std::uint32_t format : kDeepFormats) {
        SCOPED_TRACE(testing::Message() << "alpha type " << alphaType << ", 4:4:4 " << chroma444
                                        << ", format " << format);
        check(alphaType, chroma444, format);
      }
    }
  }
}

TEST(AlphaDamage, IsCountedMakesTheSliceOpaqueAndKeepsItsColours) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444);
    frame.BreakAlpha(5);
    frame.BreakAlpha(15);
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 2);
    ExpectSameColours(damaged, intact);
    ExpectAlpha(damaged, intact, [](std::size_t slice) { return slice == 5 || slice == 15; });
  });
}

TEST(AlphaDamage, IsIgnoredWhereAlphaIsNotDecoded) {
  for (const int alphaType : {1, 2}) {
    for (const bool chroma444 : {false, true}) {
      AlphaFrame frame(alphaType, chroma444);
      for (std::size_t slice = 0; slice < 16; ++slice) frame.BreakAlpha(slice);
      for (const std::uint32_t format : {kWPRPixelFormat2vuy, kWPRPixelFormatV210}) {
        EXPECT_EQ(Decoded(frame.Bytes(), format, 0), Decoded(frame.IntactBytes(), format, 0));
      }
      for (const std::uint32_t format : kDeepFormats) {
        const DecoderPtr decoder = Open(1);
        decoding::Set(decoder.get(), kWPRAlphaNone);
        PackedPicture picture(format, kWidth, kHeight);
        EXPECT_EQ(Decode(decoder.get(), frame.Bytes(), picture), kWPRSuccess);
        ExpectAlpha(picture, picture, [](std::size_t) { return true; });
      }
    }
  }
}

TEST(AlphaDamage, IsNotWhereAlphaIsMissing) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444);
    const auto isMissing = [](std::size_t slice) { return slice % 3 == 0; };
    for (std::size_t slice = 0; slice < 16; ++slice) {
      if (isMissing(slice)) frame.RemoveAlpha(slice);
    }
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture decoded = Decoded(frame.Bytes(), format, 0);
    ExpectSameColours(decoded, intact);
    ExpectAlpha(decoded, intact, isMissing);
  });
}

TEST(ColourDamage, KeepsIntactAlphaAndConcealsAsInFramesWithoutAlpha) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444), withoutAlpha(0, chroma444);
    for (const std::size_t slice : {0U, 5U, 6U, 11U}) {
      frame.BreakColours(slice);
      withoutAlpha.BreakColours(slice);
    }
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 4);
    ExpectSameColours(damaged, Decoded(withoutAlpha.Bytes(), format, 4));
    ExpectAlpha(damaged, intact, [](std::size_t) { return false; });
    if (!chroma444) return;
    // The column left of the hole is repeated.
    for (int y = 16; y < 32; ++y) {
      for (int x = 32; x < 96; ++x) {
        for (int c = 0; c < 3; ++c) ASSERT_EQ(damaged.Word(c, x, y), intact.Word(c, 31, y));
      }
    }
  });
}

TEST(ColourDamage, MakesSlicesWithoutHeaderOpaqueAndCountsEachOnce) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444), withoutAlpha(0, chroma444);
    for (const std::size_t slice : {1U, 2U, 9U}) {
      frame.BreakHeader(slice);
      withoutAlpha.BreakHeader(slice);
    }
    frame.BreakColours(12);
    frame.BreakAlpha(12);
    withoutAlpha.BreakColours(12);
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 4);
    ExpectSameColours(damaged, Decoded(withoutAlpha.Bytes(), format, 4));
    ExpectAlpha(damaged, intact, [](std::size_t slice) {
      return slice == 1 || slice == 2 || slice == 9 || slice == 12;
    });
  });
}

TEST(ColourDamage, FillsALostRowButKeepsItsAlpha) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444);
    for (std::size_t slice = 4; slice < 8; ++slice) frame.BreakColours(slice);
    for (std::size_t slice = 12; slice < 16; ++slice) frame.BreakHeader(slice);
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 8);
    ExpectAlpha(damaged, intact, [](std::size_t slice) { return slice >= 12; });
    for (int y = 0; y < kHeight; ++y) {
      const int source = y / 16 % 2 == 1 ? y / 16 * 16 - 1 : y;
      for (int x = 0; x < kWidth; ++x) {
        for (int c = 0; c < 3; ++c) ASSERT_EQ(damaged.Word(c, x, y), intact.Word(c, x, source));
      }
    }
  });
}

TEST(ColourDamage, FillsALostFieldButKeepsItsAlpha) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444, 1);
    for (std::size_t slice = 8; slice < 16; ++slice) frame.BreakColours(slice);
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 8);
    ExpectAlpha(damaged, intact, [](std::size_t) { return false; });
    for (int y = 0; y < kHeight; ++y) {
      const int source = y % 2 == 0 ? y : y < 32 ? 30 : 62;
      for (int x = 0; x < kWidth; ++x) {
        for (int c = 0; c < 3; ++c) ASSERT_EQ(damaged.Word(c, x, y), intact.Word(c, x, source));
      }
    }
  });
}

TEST(ColourDamage, ShowsMidGreyBehindIntactAlpha) {
  ForEachKind([](int alphaType, bool chroma444, std::uint32_t format) {
    AlphaFrame frame(alphaType, chroma444);
    for (std::size_t slice = 0; slice < 16; ++slice) frame.BreakColours(slice);
    const PackedPicture intact = Decoded(frame.IntactBytes(), format, 0);
    const PackedPicture damaged = Decoded(frame.Bytes(), format, 16);
    ExpectAlpha(damaged, intact, [](std::size_t) { return false; });
    // Mid grey has the luma code 2048.
    const int grey = format == kWPRPixelFormatY416 ? 2048 * 16 : (2048 - 256) * 65535 / 3504;
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(damaged.Word(c, 60, 30), grey, 1);
  });
}

}  // namespace
