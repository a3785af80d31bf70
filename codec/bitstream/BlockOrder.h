// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_BLOCKORDER_H
#define CODEC_BITSTREAM_BLOCKORDER_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "bitstream/FrameHeader.h"
#include "bitstream/SliceLayout.h"

namespace prores {

/// Samples along each side of a block, and samples of a block.
inline constexpr std::uint32_t kBlockSize = 8;
inline constexpr std::uint32_t kBlockSamples = kBlockSize * kBlockSize;

/// The colour components in coded order.
inline constexpr unsigned kComponents = 3;

/// Most blocks of one component of a slice.
inline constexpr std::uint32_t kMaxSliceBlocks = kMaxSliceWidth * 4;

/// Whether a component (0 = Y, 1 = Cb, 2 = Cr) of a slice can have so many blocks.
constexpr bool IsBlockCount(std::size_t blocks, unsigned component) {
  return blocks >= (component == 0 ? 4 : 2) && blocks <= kMaxSliceBlocks &&
         std::has_single_bit(blocks);
}

/// Blocks of component `component` (0 = Y, 1 = Cb, 2 = Cr) in each macroblock.
constexpr std::uint32_t BlocksPerMacroblock(ChromaFormat format, unsigned component) {
  return component == 0 || format == ChromaFormat::k444 ? 4 : 2;
}

/// Blocks of all components in each macroblock.
constexpr std::uint32_t BlocksPerMacroblock(ChromaFormat format) {
  return BlocksPerMacroblock(format, 0) + 2 * BlocksPerMacroblock(format, 1);
}

/// Columns of component `component` in each macroblock; it always has 16 lines.
constexpr std::uint32_t MacroblockColumns(ChromaFormat format, unsigned component) {
  return BlocksPerMacroblock(format, component) * kBlockSize / 2;
}

/// Upper left sample of a block within the component of its slice.
struct BlockPosition {
  std::uint32_t x;
  std::uint32_t y;
};

/// Returns the position of block `block` of a component (RDD 36, block order within macroblocks).
/// The 2x2 luma blocks of a macroblock are ordered line by line; chroma blocks column by column,
/// one rule for the 1x2 blocks of 4:2:2 and the 2x2 blocks of 4:4:4.
constexpr BlockPosition PositionOfBlock(unsigned component, std::uint32_t block) {
  if (component == 0) {
    return {(block / 4 * 2 + block % 2) * kBlockSize, block / 2 % 2 * kBlockSize};
  }
  return {block / 2 * kBlockSize, block % 2 * kBlockSize};
}

/// Scan tables: raster index 8 * v + u of the coefficient at each scan position. Within a slice
/// component of N blocks, the coefficient at scan position s of block b has the coded position
/// s * N + b (RDD 36, scanning).
using ScanTable = std::array<std::uint8_t, kBlockSamples>;

// clang-format off
inline constexpr ScanTable kProgressiveScan{
     0,  1,  8,  9,  2,  3, 10, 11,
    16, 17, 24, 25, 18, 19, 26, 27,
     4,  5, 12, 20, 13,  6,  7, 14,
    21, 28, 29, 22, 15, 23, 30, 31,
    32, 33, 40, 48, 41, 34, 35, 42,
    49, 56, 57, 50, 43, 36, 37, 44,
    51, 58, 59, 52, 45, 38, 39, 46,
    53, 60, 61, 54, 47, 55, 62, 63,
};

inline constexpr ScanTable kInterlacedScan{
     0,  8,  1,  9, 16, 24, 17, 25,
     2, 10,  3, 11, 18, 26, 19, 27,
    32, 40, 33, 34, 41, 48, 56, 49,
    42, 35, 43, 50, 57, 58, 51, 59,
     4, 12,  5,  6, 13, 20, 28, 21,
    14,  7, 15, 22, 29, 36, 44, 37,
    30, 23, 31, 38, 45, 52, 60, 53,
    46, 39, 47, 54, 61, 62, 55, 63,
};
// clang-format on

/// The scan of a frame's pictures.
constexpr const ScanTable& ScanFor(InterlaceMode mode) {
  return mode == InterlaceMode::kProgressive ? kProgressiveScan : kInterlacedScan;
}

/// Scan position of each coefficient, in raster order.
using PositionTable = std::array<std::uint8_t, kBlockSamples>;

constexpr PositionTable PositionsIn(const ScanTable& scan) {
  PositionTable positions{};
  for (std::uint8_t i = 0; i < kBlockSamples; ++i) positions[scan[i]] = i;
  return positions;
}
inline constexpr PositionTable kProgressivePositions = PositionsIn(kProgressiveScan);
inline constexpr PositionTable kInterlacedPositions = PositionsIn(kInterlacedScan);

/// Returns the scan positions in a frame's pictures.
constexpr const PositionTable& PositionsFor(InterlaceMode mode) {
  return mode == InterlaceMode::kProgressive ? kProgressivePositions : kInterlacedPositions;
}

}  // namespace prores

#endif  // CODEC_BITSTREAM_BLOCKORDER_H
