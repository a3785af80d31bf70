// SPDX-License-Identifier: BSD-2-Clause
// Picture and slice headers, slice partition, slice table, fields and scans.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "bitstream/BigEndian.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(BigEndian, ReadsWhatItWrites) {
  Bytes bytes(8);
  WriteU64(bytes.data(), 0x0102030405060708);
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(ReadU64(bytes.data()), 0x0102030405060708u);
  EXPECT_EQ(ReadU32(bytes.data() + 1), 0x02030405u);
  EXPECT_EQ(ReadU16(bytes.data() + 6), 0x0708u);
}

TEST(PictureHeader, ReadsBackWhatItWrites) {
  PictureHeader header;
  header.pictureBytes = 0x01020304;
  header.sliceCount = 0xFEDC;
  header.log2SliceWidth = 2;
  Bytes bytes(8);
  WritePictureHeader(header, bytes.data());
  EXPECT_EQ(bytes, (Bytes{0x40, 1, 2, 3, 4, 0xFE, 0xDC, 0x20}));

  header.pictureBytes = 8;
  WritePictureHeader(header, bytes.data());
  PictureHeader parsed;
  ASSERT_EQ(ParsePictureHeader(bytes, parsed), Status::kSuccess);
  EXPECT_EQ(parsed.headerBytes, 8);
  EXPECT_EQ(parsed.pictureBytes, 8u);
  EXPECT_EQ(parsed.sliceCount, 0xFEDC);
  EXPECT_EQ(parsed.log2SliceWidth, 2);
}

TEST(PictureHeader, RejectsInvalidFields) {
  const Bytes good{0x40, 0, 0, 0, 12, 0, 1, 0x30, 0, 0, 0, 0};
  struct Case {
    std::size_t offset;
    std::uint8_t value;
    Status status;
    const char* name;
  };
  const Case cases[] = {
      {0, 0x47, Status::kSuccess, "reserved bits"},
      {0, 0x38, Status::kBadHeader, "header of seven bytes"},
      {0, 0x68, Status::kBadHeader, "header longer than the picture"},
      {4, 7, Status::kBadHeader, "picture shorter than its header"},
      {4, 13, Status::kTruncated, "picture after the end"},
      {1, 0xFF, Status::kTruncated, "picture far after the end"},
      {7, 0x31, Status::kBadHeader, "slice height"},
      {7, 0xB0, Status::kBadHeader, "bits above the slice width"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes bytes = good;
    bytes[c.offset] = c.value;
    PictureHeader header;
    EXPECT_EQ(ParsePictureHeader(bytes, header), c.status);
  }
  PictureHeader header;
  EXPECT_EQ(ParsePictureHeader(std::span(good).first(7), header), Status::kTruncated);
}

TEST(SliceHeader, ReadsBackWhatItWrites) {
  const SliceHeader header{.quantizationIndex = 9, .componentBytes = {3, 2, 1}};
  Bytes slice(6 + 3 + 2 + 1);
  WriteSliceHeader(header, slice.data());
  EXPECT_EQ((Bytes{slice.begin(), slice.begin() + 6}), (Bytes{0x30, 9, 0, 3, 0, 2}));
  SliceHeader parsed;
  ASSERT_TRUE(ParseSliceHeader(slice, parsed));
  EXPECT_EQ(parsed.headerBytes, 6);
  EXPECT_EQ(parsed.quantizationIndex, 9);
  EXPECT_EQ(parsed.componentBytes, header.componentBytes);
}

TEST(SliceHeader, HasTheSizeOfCrWhereAlphaFollows) {
  const SliceHeader header{.headerBytes = SliceHeaderBytes(AlphaType::k8Bit),
                           .quantizationIndex = 9,
                           .componentBytes = {3, 2, 1}};
  Bytes slice(8 + 3 + 2 + 1 + 5);
  WriteSliceHeader(header, slice.data());
  EXPECT_EQ((Bytes{slice.begin(), slice.begin() + 8}), (Bytes{0x40, 9, 0, 3, 0, 2, 0, 1}));
  SliceHeader parsed;
  ASSERT_TRUE(ParseSliceHeader(slice, parsed));
  EXPECT_EQ(parsed.headerBytes, 8);
  EXPECT_EQ(parsed.componentBytes, header.componentBytes);
}

TEST(SliceHeader, ReadsTheSizeOfCrFromLongHeadersOnly) {
  Bytes slice{0x38, 9, 0, 3, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0, 0};
  SliceHeader parsed;
  ASSERT_TRUE(ParseSliceHeader(slice, parsed));
  EXPECT_EQ(parsed.componentBytes[2], 15 - 7 - 3 - 2);
  slice[0] = 0x40;
  ASSERT_TRUE(ParseSliceHeader(slice, parsed));
  EXPECT_EQ(parsed.componentBytes[2], 1);
}

TEST(SliceHeader, RejectsSizesThatDoNotFit) {
  const Bytes good{0x40, 9, 0, 1, 0, 1, 0, 1, 0xFF, 0xFF, 0xFF};
  SliceHeader header;
  ASSERT_TRUE(ParseSliceHeader(good, header));
  EXPECT_FALSE(ParseSliceHeader(std::span(good).first(5), header));
  EXPECT_FALSE(ParseSliceHeader(std::span(good).first(10), header));
  struct Case {
    std::size_t offset;
    std::uint8_t value;
  };
  for (const Case& c : {Case{0, 0x28}, Case{0, 0x60}, Case{2, 1}, Case{3, 3}, Case{5, 3},
                        Case{7, 2}, Case{6, 0xFF}}) {
    Bytes bytes = good;
    bytes[c.offset] = c.value;
    EXPECT_FALSE(ParseSliceHeader(bytes, header)) << c.offset << " " << int{c.value};
  }
}

TEST(QuantizerScale, FollowsTheIndexThenGrowsFourfold) {
  EXPECT_EQ(QuantizerScale(1), 1u);
  EXPECT_EQ(QuantizerScale(128), 128u);
  EXPECT_EQ(QuantizerScale(129), 132u);
  EXPECT_EQ(QuantizerScale(160), 256u);
  EXPECT_EQ(QuantizerScale(224), 512u);
}

TEST(QuantizerScale, HoldsIllegalIndicesWithinTheRange) {
  EXPECT_EQ(QuantizerScale(0), 1u);
  EXPECT_EQ(QuantizerScale(225), 512u);
  EXPECT_EQ(QuantizerScale(255), 512u);
}

std::vector<std::uint32_t> Widths(std::uint32_t width, unsigned log2SliceWidth) {
  const SliceLayout layout(width, log2SliceWidth);
  std::vector<std::uint32_t> widths;
  std::uint32_t next = 0;
  for (std::uint32_t i = 0; i < layout.SlicesPerRow(); ++i) {
    EXPECT_EQ(layout[i].firstMacroblock, next);
    next += layout[i].macroblocks;
    widths.push_back(layout[i].macroblocks);
  }
  EXPECT_EQ(next, layout.Macroblocks());
  return widths;
}

TEST(SliceLayout, CutsRowsIntoDescendingPowersOfTwo) {
  using Widths32 = std::vector<std::uint32_t>;
  EXPECT_EQ(Widths(1920, 3), Widths32(15, 8));
  EXPECT_EQ(Widths(1920, 2), Widths32(30, 4));
  EXPECT_EQ(Widths(1918, 0), Widths32(120, 1));
  EXPECT_EQ(Widths(720, 3), (Widths32{8, 8, 8, 8, 8, 4, 1}));
  EXPECT_EQ(Widths(719, 2), (Widths32{4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 1}));
  EXPECT_EQ(Widths(352, 3), (Widths32{8, 8, 4, 2}));
  EXPECT_EQ(Widths(352, 2), (Widths32{4, 4, 4, 4, 4, 2}));
  EXPECT_EQ(Widths(240, 3), (Widths32{8, 4, 2, 1}));
  EXPECT_EQ(Widths(240, 2), (Widths32{4, 4, 4, 2, 1}));
  EXPECT_EQ(Widths(50, 3), Widths32{4});
  EXPECT_EQ(Widths(50, 0), Widths32(4, 1));
  EXPECT_EQ(Widths(1, 3), Widths32{1});
  EXPECT_EQ(Widths(16, 1), Widths32{1});
  EXPECT_EQ(Widths(65535, 0).size(), 4096u);
}

/// A picture of two rows of two slices.
struct TwoRows {
  Bytes bytes{0x40, 0, 0, 0, 0, 0, 0, 0x30, 0, 6, 0, 7, 0, 8, 0, 9};
  TwoRows() { bytes.resize(16 + 6 + 7 + 8 + 9); }

  Status Locate(std::array<SliceRow, 2>& rows) const {
    PictureHeader header;
    header.headerBytes = 8;
    return LocateSliceRows(bytes, header, 2, rows);
  }
};

TEST(SliceTable, FindsEverySlice) {
  const TwoRows picture;
  std::array<SliceRow, 2> rows;
  ASSERT_EQ(picture.Locate(rows), Status::kSuccess);
  std::size_t offset = 16;
  std::size_t size = 6;
  for (SliceRow& row : rows) {
    for (int i = 0; i < 2; ++i, offset += size, ++size) {
      const auto slice = TakeSlice(row);
      EXPECT_EQ(slice.data(), picture.bytes.data() + offset);
      EXPECT_EQ(slice.size(), size);
    }
  }
}

TEST(SliceTable, AcceptsBytesAfterTheLastSlice) {
  TwoRows picture;
  picture.bytes.resize(picture.bytes.size() + 3);
  std::array<SliceRow, 2> rows;
  EXPECT_EQ(picture.Locate(rows), Status::kSuccess);
}

TEST(SliceTable, RejectsSlicesThatDoNotFitThePicture) {
  std::array<SliceRow, 2> rows;
  for (std::size_t size = 8; size < TwoRows().bytes.size(); ++size) {
    TwoRows picture;
    picture.bytes.resize(size);
    picture.bytes.shrink_to_fit();
    EXPECT_EQ(picture.Locate(rows), Status::kBadHeader) << size;
  }
}

TEST(SliceTable, RejectsSlicesWithoutRoomForTheirHeader) {
  for (const std::size_t entry : {9u, 11u, 13u, 15u}) {
    TwoRows picture;
    picture.bytes[entry] = 5;
    std::array<SliceRow, 2> rows;
    EXPECT_EQ(picture.Locate(rows), Status::kBadHeader);
  }
}

TEST(PictureGeometry, AssignsTheOddLineToTheTopField) {
  const auto expect = [](const PictureGeometry& g, std::uint32_t first, std::uint32_t step,
                         std::uint32_t lines) {
    EXPECT_EQ(g.firstLine, first);
    EXPECT_EQ(g.lineStep, step);
    EXPECT_EQ(g.lines, lines);
  };
  expect(GeometryOf(35, InterlaceMode::kProgressive, 0), 0, 1, 35);
  expect(GeometryOf(35, InterlaceMode::kTopFieldFirst, 0), 0, 2, 18);
  expect(GeometryOf(35, InterlaceMode::kTopFieldFirst, 1), 1, 2, 17);
  expect(GeometryOf(35, InterlaceMode::kBottomFieldFirst, 0), 1, 2, 17);
  expect(GeometryOf(35, InterlaceMode::kBottomFieldFirst, 1), 0, 2, 18);
  expect(GeometryOf(1, InterlaceMode::kTopFieldFirst, 1), 1, 2, 0);
}

TEST(PictureGeometry, UsesTheSliceCountWhereFieldsDifferInRows) {
  const auto rows = [](std::uint32_t height, InterlaceMode mode, unsigned index,
                       std::uint16_t count) {
    return CodedMacroblockRows(height, mode, index, 4, count);
  };
  EXPECT_EQ(rows(65, InterlaceMode::kTopFieldFirst, 0, 0), 3u);
  EXPECT_EQ(rows(65, InterlaceMode::kTopFieldFirst, 1, 8), 2u);
  EXPECT_EQ(rows(65, InterlaceMode::kTopFieldFirst, 1, 12), 3u);
  EXPECT_EQ(rows(65, InterlaceMode::kTopFieldFirst, 1, 99), 2u);
  EXPECT_EQ(rows(65, InterlaceMode::kBottomFieldFirst, 0, 12), 3u);
  EXPECT_EQ(rows(65, InterlaceMode::kBottomFieldFirst, 1, 8), 3u);
  EXPECT_EQ(rows(64, InterlaceMode::kTopFieldFirst, 1, 12), 2u);
  EXPECT_EQ(rows(65, InterlaceMode::kProgressive, 0, 12), 5u);
}

TEST(BlockOrder, ScansArePermutations) {
  for (const ScanTable* scan : {&kProgressiveScan, &kInterlacedScan}) {
    ScanTable sorted = *scan;
    std::ranges::sort(sorted);
    ScanTable identity;
    std::iota(identity.begin(), identity.end(), std::uint8_t{0});
    EXPECT_EQ(sorted, identity);
  }
}

TEST(BlockOrder, RunsAcrossForLumaAndDownForChroma) {
  const auto expect = [](BlockPosition position, std::uint32_t x, std::uint32_t y) {
    EXPECT_EQ(position.x, x);
    EXPECT_EQ(position.y, y);
  };
  expect(PositionOfBlock(0, 1), 8, 0);
  expect(PositionOfBlock(0, 2), 0, 8);
  expect(PositionOfBlock(0, 7), 24, 8);
  expect(PositionOfBlock(1, 1), 0, 8);
  expect(PositionOfBlock(2, 2), 8, 0);
  expect(PositionOfBlock(2, 7), 24, 8);
}

TEST(BlockOrder, CountsBlocksAndColumnsOfAMacroblock) {
  EXPECT_EQ(BlocksPerMacroblock(ChromaFormat::k422, 0), 4u);
  EXPECT_EQ(BlocksPerMacroblock(ChromaFormat::k422, 1), 2u);
  EXPECT_EQ(BlocksPerMacroblock(ChromaFormat::k444, 2), 4u);
  EXPECT_EQ(MacroblockColumns(ChromaFormat::k422, 1), 8u);
  EXPECT_EQ(MacroblockColumns(ChromaFormat::k444, 1), 16u);
}

}  // namespace
}  // namespace prores
