// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SyntheticFrame.h"
#include "frames/FrameStructure.h"
#include "frames/StreamStatistics.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

FrameStatistics Measure(const Bytes& frame) {
  return MeasureFrame(ReadFrameStructure(frame), frame);
}

TEST(FrameStatistics, SumsUpSlices) {
  const Bytes frame = MakeFrame({2, 4, 6, 12});
  const FrameStatistics statistics = Measure(frame);
  EXPECT_EQ(statistics.fault, "");
  EXPECT_EQ(statistics.bytes, frame.size());
  EXPECT_EQ(statistics.slices, 4u);
  EXPECT_EQ(statistics.quantisers.GetMin(), 2);
  EXPECT_EQ(statistics.quantisers.GetMean(), 6);
  EXPECT_EQ(statistics.quantisers.GetMax(), 12);
  EXPECT_THAT(statistics.componentBytes, ElementsAre(12u, 8u, 4u));
  EXPECT_EQ(statistics.alphaBytes, 0u);
}

TEST(FrameStatistics, SeparatesAlphaFromColours) {
  constexpr std::size_t kAlphaBytes = 5;
  Bytes slice(prores::SliceHeader::kBytesWithCrSize + 6 + kAlphaBytes, 0x55);
  prores::WriteSliceHeader({prores::SliceHeader::kBytesWithCrSize, 4, {3, 2, 1}}, slice.data());
  prores::FrameHeader header = HeaderOf(16, 32);
  for (const auto type : {prores::AlphaType::k8Bit, prores::AlphaType::kNone}) {
    header.alphaType = type;
    const Bytes frame = MakeFrame(header, {MakePicture({slice, slice})});
    const bool hasAlpha = type != prores::AlphaType::kNone;
    // Without an alpha channel, bytes after Cr are bytes of the frame like all others.
    constexpr std::size_t kCrSizeBytes = 2;
    EXPECT_EQ(Measure(frame).colourBytes,
              frame.size() - (hasAlpha ? 2 * (kAlphaBytes + kCrSizeBytes) : 0));
    EXPECT_EQ(Measure(frame).alphaBytes, 2 * kAlphaBytes);
  }
}

TEST(FrameStatistics, ReportsATruncatedFrame) {
  Bytes frame = MakeFrame({2, 4, 6, 12});
  frame.resize(frame.size() - 5);
  EXPECT_THAT(Measure(frame).fault, HasSubstr("picture 1"));
  frame.resize(20);
  EXPECT_THAT(Measure(frame).fault, HasSubstr("frame header"));
}

TEST(FrameStatistics, ReportsAStatedSizeBeyondTheEnd) {
  Bytes frame = MakeFrame({2, 4, 6, 12});
  ++frame[2];  // frame_size, 256 more
  const std::string bytes = std::to_string(frame.size());
  EXPECT_EQ(Measure(frame).fault, "states " + std::to_string(frame.size() + 256) + " bytes, but " +
                                      bytes + " were found");
}

TEST(FrameStatistics, CountsSlicesWhoseHeaderDoesNotFit) {
  Bytes broken = MakeSlice(4);
  broken[2] = 0xFF;  // size of Y
  const Bytes frame = MakeFrame(HeaderOf(32, 32),
                                {MakePicture({MakeSlice(1), broken, MakeSlice(3), MakeSlice(5)})});
  const FrameStatistics statistics = Measure(frame);
  EXPECT_EQ(statistics.fault, "1 slice whose header does not fit its bytes");
  EXPECT_EQ(statistics.quantisers.GetCount(), 3);
  EXPECT_EQ(statistics.quantisers.GetMean(), 3);
}

TEST(FrameStatistics, ListsSlicesByPictureRowAndPlace) {
  prores::FrameHeader header = HeaderOf(32, 32);
  header.interlaceMode = prores::InterlaceMode::kTopFieldFirst;
  const Bytes frame = MakeFrame(header, {MakePicture({MakeSlice(1), MakeSlice(2)}),
                                         MakePicture({MakeSlice(3), MakeSlice(4)})});
  const auto slices = ListSlices(ReadFrameStructure(frame));
  ASSERT_EQ(slices.size(), 4u);
  EXPECT_EQ(slices[3].picture, 1u);
  EXPECT_EQ(slices[3].row, 0u);
  EXPECT_EQ(slices[3].index, 1u);
  EXPECT_EQ(slices[3].span.firstMacroblock, 1u);
  EXPECT_EQ(slices[3].header.quantizationIndex, 4);
  EXPECT_EQ(slices[3].offset, frame.size() - slices[3].bytes);
}

TEST(SliceGrid, AddsTheBytesOfFieldsAndAveragesTheirQuantisers) {
  prores::FrameHeader header = HeaderOf(24, 20);
  header.interlaceMode = prores::InterlaceMode::kTopFieldFirst;
  const Bytes frame = MakeFrame(header, {MakePicture({MakeSlice(1), MakeSlice(2)}),
                                         MakePicture({MakeSlice(4), MakeSlice(8)})});
  const SliceGrid grid = LayOutSlices(ReadFrameStructure(frame));
  EXPECT_EQ(grid.rows, 1u);
  EXPECT_EQ(grid.macroblocks, 2u);
  EXPECT_THAT(grid.quantisers, ElementsAre(2.5, 5));
  EXPECT_THAT(grid.bytes, ElementsAre(24, 24));
  EXPECT_DOUBLE_EQ(grid.lastMacroblockShare, 0.5);
  EXPECT_DOUBLE_EQ(grid.lastRowShare, 20.0 / 32);
}

TEST(SliceGrid, DividesWideSlicesOfOneFieldAmongTheColumnsOfTheOther) {
  prores::FrameHeader header = HeaderOf(32, 32);
  header.interlaceMode = prores::InterlaceMode::kTopFieldFirst;
  Bytes wide = MakePicture({MakeSlice(8)});
  wide[7] = 1 << 4;  // slices of two macroblocks
  const Bytes narrow = MakePicture({MakeSlice(2), MakeSlice(4)});
  for (const auto& pictures : {std::vector{wide, narrow}, std::vector{narrow, wide}}) {
    const SliceGrid grid = LayOutSlices(ReadFrameStructure(MakeFrame(header, pictures)));
    ASSERT_EQ(grid.Count(), 2u);
    EXPECT_THAT(grid.quantisers, ElementsAre(5, 6));
    EXPECT_THAT(grid.bytes, ElementsAre(18, 18));
    EXPECT_THAT(grid.FindCells(0, {0, 2}), ElementsAre(0u, 1u));
    EXPECT_THAT(grid.FindCells(0, {1, 1}), ElementsAre(1u));
    EXPECT_THAT(grid.FindCells(1, {0, 1}), testing::IsEmpty());
  }
}

TEST(SliceGrid, IsEmptyIfThereAreTooManySlicesToDraw) {
  const Bytes frame = MakeFrameOfManySlices();
  const FrameStructure structure = ReadFrameStructure(frame);
  EXPECT_EQ(structure.fault, "");
  ASSERT_GT(structure.pictures.at(0).slices.size(), kMostGridCells);
  EXPECT_EQ(LayOutSlices(structure).Count(), 0u);
}

TEST(SliceGrid, IsEmptyIfNoSliceCanBeLocated) {
  EXPECT_EQ(LayOutSlices(ReadFrameStructure(Bytes(10))).Count(), 0u);
}

FrameStatistics Sized(std::size_t bytes, double quantiser, std::string fault = {}) {
  FrameStatistics statistics;
  statistics.bytes = bytes;
  statistics.quantisers.Add(quantiser);
  statistics.fault = std::move(fault);
  return statistics;
}

TEST(NotableFrames, KeepsEachFrameOnceWithItsReasons) {
  const auto data = vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(nullptr, 0, {}));
  NotableFrames frames;
  frames.Add({0, {}, data}, Sized(50, 3));
  frames.Add({1, {}, data}, Sized(90, 3));
  frames.Add({2, {}, data}, Sized(40, 9));
  frames.Add({3, {}, data}, Sized(10, 99, "broken"));
  const auto list = frames.List();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].frame.number, 1);
  EXPECT_THAT(list[0].reasons, ElementsAre("largest"));
  EXPECT_EQ(list[1].frame.number, 2);
  EXPECT_THAT(list[1].reasons, ElementsAre("smallest", "coarsest"));
}

}  // namespace
}  // namespace vixprores
