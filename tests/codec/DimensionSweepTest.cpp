// SPDX-License-Identifier: BSD-2-Clause
// Every size at the edges of what a frame can state, without memory for its pixels: a codec call
// refuses it before it allocates, or asks for no more memory than it may.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "Allocations.h"
#include "DecoderTestSession.h"
#include "EncoderTestSession.h"
#include "MemoryBounds.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceTable.h"

namespace prores {
namespace {

using test::allocations;
using test::FailingAllocations;

constexpr std::uint32_t kEdges[] = {0,     1,     2,     15,    16,    17,    31,    32,
                                    33,    127,   128,   129,   4095,  4096,  4097,  32767,
                                    32768, 65519, 65520, 65521, 65534, 65535, 65536, UINT32_MAX};
constexpr std::uint32_t kLargestSize = 65535;

/// Pixels that can be read, and take no memory: they are zero.
class ZeroPixels {
 public:
  ZeroPixels() {
    if (memory_ == MAP_FAILED) throw std::bad_alloc();
  }
  ~ZeroPixels() { munmap(memory_, kBytes); }
  ZeroPixels(const ZeroPixels&) = delete;
  ZeroPixels& operator=(const ZeroPixels&) = delete;

  /// Returns a picture whose rows all lie in the same memory; none of invalid size.
  PixelBufferRecord Picture(std::uint32_t format, std::uint32_t width, std::uint32_t height) const {
    return {memory_, static_cast<std::uint32_t>(kRowBytes), format, width, height};
  }

 private:
  static constexpr std::size_t kRowBytes = std::size_t{8} * (kLargestSize + 1);
  static constexpr std::size_t kBytes = kRowBytes * kLargestSize;
  void* memory_ =
      mmap(nullptr, kBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
};

template <typename Test>
void ForEachSize(Test test) {
  for (const std::uint32_t width : kEdges) {
    for (const std::uint32_t height : kEdges) {
      SCOPED_TRACE(testing::Message() << width << "x" << height);
      test(width, height);
    }
  }
}

/// Calls run() with one more allocation that succeeds each time, until all do or until it has asked
/// for more than `mostTried` bytes. Expects that it never asks for more than `most` bytes.
/// @return the result of the last call.
template <typename Run>
std::int32_t ExpectBounded(std::size_t most, std::size_t mostTried, Run run) {
  for (long survived = 0;; ++survived) {
    const std::size_t before = allocations.bytes;
    std::int32_t result = 0;
    bool failed = false;
    {
      const FailingAllocations failing(survived);
      result = run();
      failed = failing.HaveFailed();
    }
    const std::size_t asked = allocations.bytes - before;
    EXPECT_LE(asked, most);
    if (failed) {
      EXPECT_EQ(result, kWPROutOfMemory);
    }
    if (!failed || asked > mostTried) return result;
  }
}

bool IsSize(std::uint32_t size) {
  return size >= 2 && size <= kLargestSize;
}

TEST(DimensionSweep, BoundsTheFramesOfEverySizeOrRefusesIt) {
  for (const std::uint32_t type :
       {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422, kWPRCodecHQ, kWPRCodec4444, kWPRCodec4444XQ}) {
    ForEachSize([&](std::uint32_t width, std::uint32_t height) {
      constexpr std::uint32_t kUnset = 0xabcdef01;
      std::uint32_t most = kUnset, target = kUnset;
      const std::int32_t result = WPRGetCompressedFrameSize(type, width, height, &most, &target);
      if (!IsSize(width) || !IsSize(height)) {
        EXPECT_EQ(result, kWPRBadArgument);
      }
      if (result != kWPRSuccess) {
        EXPECT_EQ(most, kUnset);
        EXPECT_EQ(target, kUnset);
        return;
      }
      // Two bytes of the slice table and six of the header of each slice of eight macroblocks, and
      // two bytes of each block.
      const std::uint64_t columns = (width + 15) / 16, rows = (height + 15) / 16;
      EXPECT_GE(target, rows * (columns / 8) * 8 + columns * rows * 8 * 2);
      EXPECT_LE(target, most);
    });
  }
}

TEST(DimensionSweep, AnEncoderRefusesASizeOrAsksForWhatItMay) {
  constexpr std::size_t kMostTried = std::size_t{256} << 10;  // larger pictures are not encoded
  const ZeroPixels pixels;
  std::vector<std::uint8_t> frame(std::size_t{1} << 20);
  for (const std::uint32_t type : {kWPRCodecHQ, kWPRCodec4444XQ}) {
    const bool deep = type == kWPRCodec4444XQ;
    for (const std::uint32_t mode : test::kModes) {
      ForEachSize([&](std::uint32_t width, std::uint32_t height) {
        const PixelBufferRecord source =
            pixels.Picture(deep ? kWPRPixelFormatB64a : kWPRPixelFormat2vuy, width, height);
        const EncodeParamsRecord params{type, mode};
        const auto encoder = test::Open();
        if (deep) test::Set(encoder.get(), kWPRAlpha16);
        const std::size_t before = allocations.bytes;
        std::uint32_t bytes = 0;
        const std::int32_t result =
            ExpectBounded(test::MostEncoderBytes(width, height, deep, 1), kMostTried, [&] {
              return WPREncodeFrame(encoder.get(), &params, &source, frame.data(),
                                    static_cast<std::uint32_t>(frame.size()), &bytes);
            });
        const bool refused = result == kWPRBadArgument || result == kWPRUnsupported;
        EXPECT_EQ(result == kWPRBadArgument, !IsSize(width) || !IsSize(height));
        if (refused) {
          EXPECT_EQ(allocations.bytes, before);
        }
      });
    }
  }
}

/// Returns a frame of that size whose slices have no coefficients, or its start if it would have
/// more than `mostBytes` bytes.
std::vector<std::uint8_t> EmptyFrame(FrameHeader header, std::size_t mostBytes) {
  std::vector<std::uint8_t> frame(FrameHeaderBytes(header));
  const SliceLayout layout(header.width, 3);
  for (unsigned i = 0; i < PictureCount(header.interlaceMode); ++i) {
    const std::uint32_t rows = GeometryOf(header.height, header.interlaceMode, i).MacroblockRows();
    const std::size_t slices = std::size_t{rows} * layout.SlicesPerRow();
    const std::size_t table = frame.size() + PictureHeader::kWrittenBytes;
    PictureHeader picture;
    picture.sliceCount = static_cast<std::uint16_t>(slices);
    picture.pictureBytes = static_cast<std::uint32_t>(
        PictureHeader::kWrittenBytes + slices * (kSliceTableEntryBytes + SliceHeader::kLeastBytes));
    const std::size_t start = frame.size();
    frame.resize(std::min(mostBytes, start + picture.pictureBytes));
    if (frame.size() < table) break;
    WritePictureHeader(picture, frame.data() + start);
    for (std::size_t s = 0; s < slices && table + 2 * s + 2 <= frame.size(); ++s) {
      frame[table + 2 * s + 1] = SliceHeader::kLeastBytes;
      const std::size_t slice = table + 2 * slices + s * SliceHeader::kLeastBytes;
      if (slice < frame.size()) frame[slice] = SliceHeader::kLeastBytes << 3;
    }
  }
  WriteFrameHeader(header, static_cast<std::uint32_t>(frame.size()), frame.data());
  return frame;
}

template <typename Test>
void ForEachHeader(Test test) {
  for (const ChromaFormat chroma : {ChromaFormat::k422, ChromaFormat::k444}) {
    for (const InterlaceMode mode : {InterlaceMode::kProgressive, InterlaceMode::kTopFieldFirst}) {
      ForEachSize([&](std::uint32_t width, std::uint32_t height) {
        if (width > kLargestSize || height > kLargestSize) return;
        FrameHeader header;
        header.width = static_cast<std::uint16_t>(width);
        header.height = static_cast<std::uint16_t>(height);
        header.chromaFormat = chroma;
        header.interlaceMode = mode;
        if (chroma == ChromaFormat::k444) header.alphaType = AlphaType::k16Bit;
        test(header);
      });
    }
  }
}

TEST(DimensionSweep, ADecoderAllocatesNothingForHeadersOfAnySize) {
  constexpr std::size_t kHeaders = 36;  // of the frame and its first picture
  const ZeroPixels pixels;              // which a decoder must not write
  const auto decoder = decoding::Open(1);
  ForEachHeader([&](const FrameHeader& header) {
    PixelBufferRecord picture = pixels.Picture(kWPRPixelFormatB64a, header.width, header.height);
    const std::vector<std::uint8_t> frame = EmptyFrame(header, kHeaders);
    const std::size_t before = allocations.bytes;
    EXPECT_LT(WPRDecodeFrame(decoder.get(), frame.data(), static_cast<std::uint32_t>(frame.size()),
                             &picture, 0),
              0);
    EXPECT_EQ(allocations.bytes, before);
  });
}

TEST(DimensionSweep, ADecoderAsksForWhatItMay) {
  constexpr std::size_t kMostFrameBytes = std::size_t{2} << 20;
  constexpr std::size_t kMostPixels = std::size_t{1} << 17;
  std::vector<std::uint8_t> rows(kMostPixels * 8);
  ForEachHeader([&](const FrameHeader& header) {
    // Larger pictures differ in the number of strips only.
    if (std::size_t{header.width} * header.height > kMostPixels) return;
    const std::vector<std::uint8_t> frame = EmptyFrame(header, kMostFrameBytes);
    PixelBufferRecord picture{rows.data(), 8U * header.width, kWPRPixelFormatB64a, header.width,
                              header.height};
    const auto decoder = decoding::Open(1);
    const std::size_t most = test::MostDecoderBytes(header.width, header.height, 1);
    const std::int32_t result = ExpectBounded(most, SIZE_MAX, [&] {
      return WPRDecodeFrame(decoder.get(), frame.data(), static_cast<std::uint32_t>(frame.size()),
                            &picture, 0);
    });
    // All slices are damaged: they lack even their first coefficient.
    if (header.width == 0 || header.height == 0) {
      EXPECT_LT(result, 0);
    } else {
      EXPECT_GT(result, 0);
    }
  });
}

}  // namespace
}  // namespace prores
