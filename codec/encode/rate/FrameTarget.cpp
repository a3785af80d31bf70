// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/FrameTarget.h"

#include <algorithm>
#include <array>
#include <limits>

#include "bitstream/AlphaCodes.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"
#include "encode/rate/QuantiserLadder.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

constexpr std::uint32_t kMinTargetBytesPerBlock = 2;
constexpr std::uint32_t kMaxBytesPerBlock = 32;

/// Target rates of the variants, published for one size and one frame rate.
struct PublishedRate {
  std::uint32_t width, height;
  std::uint32_t frames, seconds;                      ///< frames per second, as a fraction
  std::array<std::uint32_t, kVariantCount> megabits;  ///< per second
};

/// Sorted by size. A rate that holds for two frame rates is listed with the higher one.
constexpr PublishedRate kPublishedRates[] = {
    {720, 486, 24, 1, {10, 23, 34, 50, 75, 113}},
    {720, 486, 30000, 1001, {12, 29, 42, 63, 94, 141}},
    {720, 576, 25, 1, {12, 28, 41, 61, 92, 138}},
    {1280, 720, 24, 1, {18, 41, 59, 88, 132, 198}},
    {1280, 720, 25, 1, {19, 42, 61, 92, 138, 206}},
    {1280, 720, 30, 1, {23, 51, 73, 110, 165, 247}},
    {1280, 720, 50, 1, {38, 84, 122, 184, 275, 413}},
    {1280, 720, 60, 1, {45, 101, 147, 220, 330, 495}},
    {1440, 1080, 24, 1, {31, 70, 101, 151, 226, 339}},
    {1440, 1080, 25, 1, {32, 73, 105, 157, 236, 354}},
    {1440, 1080, 30000, 1001, {38, 87, 126, 189, 283, 424}},
    {1920, 1080, 24, 1, {36, 82, 117, 176, 264, 396}},
    {1920, 1080, 25, 1, {38, 85, 122, 184, 275, 413}},
    {1920, 1080, 30000, 1001, {45, 102, 147, 220, 330, 495}},
    {1920, 1080, 50, 1, {76, 170, 245, 367, 551, 826}},
    {1920, 1080, 60, 1, {91, 204, 293, 440, 660, 990}},
    {2048, 1080, 24, 1, {41, 93, 134, 201, 302, 453}},
    {2048, 1080, 25, 1, {43, 97, 140, 210, 315, 472}},
    {2048, 1080, 50, 1, {86, 194, 280, 419, 629, 943}},
    {3840, 2160, 24, 1, {145, 328, 471, 707, 1061, 1591}},
    {3840, 2160, 25, 1, {151, 342, 492, 737, 1106, 1659}},
    {3840, 2160, 30, 1, {182, 410, 589, 884, 1326, 1989}},
    {3840, 2160, 50, 1, {303, 684, 983, 1475, 2212, 3318}},
    {3840, 2160, 60, 1, {363, 821, 1178, 1768, 2652, 3977}},
    {4096, 2160, 24, 1, {155, 350, 503, 754, 1131, 1697}},
    {4096, 2160, 25, 1, {162, 365, 524, 786, 1179, 1769}},
    {4096, 2160, 30, 1, {194, 437, 629, 943, 1414, 2121}},
    {4096, 2160, 60, 1, {388, 875, 1257, 1886, 2828, 4242}},
};
constexpr std::size_t kPublishedSizes = 8;

/// One size of the table above, with the least bytes over its frame rates.
struct SizePoint {
  std::uint64_t macroblocks = 0;
  std::array<std::uint64_t, kVariantCount> bytes{};  ///< per frame
};

constexpr std::uint64_t CountMacroblocks(std::uint32_t width, std::uint32_t height) {
  return std::uint64_t{MacroblocksFor(width)} * MacroblocksFor(height);
}

constexpr std::array<SizePoint, kPublishedSizes> kSizePoints = [] {
  std::array<SizePoint, kPublishedSizes> points{};
  std::size_t count = 0;
  for (const PublishedRate& rate : kPublishedRates) {
    const std::uint64_t macroblocks = CountMacroblocks(rate.width, rate.height);
    if (count == 0 || points[count - 1].macroblocks != macroblocks) {
      points[count].macroblocks = macroblocks;
      points[count].bytes.fill(std::numeric_limits<std::uint64_t>::max());
      ++count;
    }
    for (std::size_t variant = 0; variant < kVariantCount; ++variant) {
      const std::uint64_t bits = rate.megabits[variant] * std::uint64_t{1'000'000};
      std::uint64_t& bytes = points[count - 1].bytes[variant];
      bytes = std::min(bytes, bits * rate.seconds / rate.frames / 8);
    }
  }
  return points;
}();
static_assert(kSizePoints.back().macroblocks == CountMacroblocks(4096, 2160));

/// Returns the bytes per frame, interpolated between the published sizes.
std::uint64_t InterpolateBytes(std::size_t variant, std::uint64_t macroblocks) {
  const auto next = std::ranges::lower_bound(kSizePoints, macroblocks, {}, &SizePoint::macroblocks);
  if (next == kSizePoints.begin() || next == kSizePoints.end()) {
    const SizePoint& nearest = next == kSizePoints.end() ? kSizePoints.back() : *next;
    return nearest.bytes[variant] * macroblocks / nearest.macroblocks;
  }
  const SizePoint& below = *(next - 1);
  const SizePoint& above = *next;
  return below.bytes[variant] + (above.bytes[variant] - below.bytes[variant]) *
                                    (macroblocks - below.macroblocks) /
                                    (above.macroblocks - below.macroblocks);
}

/// What bounds the size of a frame, each for the interlace mode that needs more.
struct FrameExtent {
  std::uint64_t overhead;
  std::uint64_t blocks;  ///< of all components
  std::uint64_t alpha;   ///< bytes that 16 bits of alpha may add
};

/// Returns the bytes that alpha may add to a row of slices.
std::uint64_t MostAlphaBytesPerRow(const SliceLayout& layout) {
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < layout.SlicesPerRow(); ++i) {
    bytes += SliceHeaderBytes(AlphaType::k16Bit) - SliceHeaderBytes(AlphaType::kNone) +
             MostAlphaBytes(AlphaType::k16Bit, layout[i].macroblocks);
  }
  return bytes;
}

FrameExtent LargestExtent(const VariantProfile& profile, std::uint32_t width,
                          std::uint32_t height) {
  FrameExtent extent{};
  for (const InterlaceMode mode : {InterlaceMode::kProgressive, InterlaceMode::kTopFieldFirst}) {
    extent.overhead = std::max(extent.overhead, LargestOverheadBytes(profile, width, height, mode));
    std::uint64_t rows = 0;
    for (unsigned picture = 0; picture < PictureCount(mode); ++picture) {
      rows += GeometryOf(height, mode, picture).MacroblockRows();
    }
    extent.blocks =
        std::max(extent.blocks, rows * MacroblocksFor(width) * BlocksPerMacroblock(profile.chroma));
    if (profile.chroma == ChromaFormat::k422) continue;
    extent.alpha =
        std::max(extent.alpha, rows * MostAlphaBytesPerRow(SliceLayout(width, kLog2SliceWidth)));
  }
  return extent;
}

}  // namespace

Status CheckFrameSize(const VariantProfile& profile, std::uint32_t width, std::uint32_t height) {
  constexpr std::uint32_t kMinPictureSize = 2;
  if (std::min(width, height) < kMinPictureSize || std::max(width, height) > kMaxPictureSize) {
    return Status::kBadArgument;
  }
  constexpr std::uint64_t kMaxBytes = std::numeric_limits<std::uint32_t>::max();
  return MaxFrameBytes(profile, width, height) > kMaxBytes ? Status::kUnsupported
                                                           : Status::kSuccess;
}

std::uint64_t OverheadBytes(const FrameHeader& header) {
  const SliceLayout layout(header.width, kLog2SliceWidth);
  std::uint64_t bytes = FrameHeaderBytes(header);
  for (unsigned picture = 0; picture < PictureCount(header.interlaceMode); ++picture) {
    const PictureGeometry geometry = GeometryOf(header.height, header.interlaceMode, picture);
    const std::uint64_t slices = std::uint64_t{geometry.MacroblockRows()} * layout.SlicesPerRow();
    bytes += PictureHeader::kWrittenBytes +
             slices * (kSliceTableEntryBytes + SliceHeaderBytes(header.alphaType));
  }
  return bytes;
}

std::uint64_t LargestOverheadBytes(const VariantProfile& profile, std::uint32_t width,
                                   std::uint32_t height, InterlaceMode mode) {
  return OverheadBytes(HeaderOf(profile, width, height, mode, {.luma = kMaxWeightFactor}));
}

std::uint64_t TargetFrameBytes(const VariantProfile& profile, std::uint32_t width,
                               std::uint32_t height) {
  const FrameExtent extent = LargestExtent(profile, width, height);
  return std::max(
      InterpolateBytes(static_cast<std::size_t>(profile.variant), CountMacroblocks(width, height)),
      extent.overhead + extent.blocks * kMinTargetBytesPerBlock);
}

std::uint64_t MaxFrameBytes(const VariantProfile& profile, std::uint32_t width,
                            std::uint32_t height) {
  const FrameExtent extent = LargestExtent(profile, width, height);
  return std::max(TargetFrameBytes(profile, width, height),
                  extent.overhead + extent.blocks * kMaxBytesPerBlock) +
         extent.alpha;
}

}  // namespace prores
