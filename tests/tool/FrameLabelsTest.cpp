// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "SyntheticFrame.h"
#include "bitstream/BigEndian.h"
#include "frames/FrameLabels.h"

namespace vixprores {
namespace {

constexpr std::uint16_t kFrameWidth = 64;
constexpr std::uint16_t kFrameHeight = 32;

Bytes MakeFrameOf(prores::InterlaceMode mode) {
  prores::FrameHeader header = HeaderOf(kFrameWidth, kFrameHeight);
  header.interlaceMode = mode;
  const Bytes top = MakePicture({MakeSlice(1), MakeSlice(1), MakeSlice(1), MakeSlice(1)});
  const Bytes bottom = MakePicture({MakeSlice(2), MakeSlice(2), MakeSlice(2), MakeSlice(2)});
  if (mode == prores::InterlaceMode::kProgressive) return MakeFrame(header, {top});
  return MakeFrame(header, {top, bottom});
}

StreamFormat InterlacedStream() {
  StreamFormat stream;
  stream.width = kFrameWidth;
  stream.height = kFrameHeight;
  stream.fieldOrder = FieldOrder::TopFirst;
  return stream;
}

// Returns the bytes of the frame with another field order; empty = its pictures were not found.
Bytes Exchange(FieldOrder order, Bytes frame) {
  const auto header = ParseHeader(frame);
  if (!header) throw std::runtime_error("invalid header");
  const auto memory = std::make_shared<Bytes>(std::move(frame));
  const FramePool pool;
  const auto exchanged = SetFieldOrder(
      order,
      vix::CreateBuffer(nullptr,
                        vix::CreateMemoryBlock(memory->data(), memory->size(), [memory] {})),
      *header, pool);
  if (!exchanged) return {};
  return {exchanged->GetData(), exchanged->GetData() + exchanged->GetSize()};
}

TEST(FrameLabels, ChangeTheirBytesAlone) {
  const Bytes before = MakeFrameOf(prores::InterlaceMode::kTopFieldFirst);
  FrameLabels labels;
  labels.primaries = 9;
  labels.transfer = 16;
  labels.matrix = 10;
  labels.sampleAspect = Rational{1, 1};
  Bytes after = before;
  WriteLabels(labels, labels.Correct(InterlacedStream()), after);
  const auto header = ParseHeader(after);
  ASSERT_TRUE(header.has_value());
  EXPECT_EQ(after[22], 9);
  EXPECT_EQ(after[23], 16);
  EXPECT_EQ(after[24], 10);
  EXPECT_EQ(after[21] >> 4, 1);
  EXPECT_EQ(after[21] & 15, before[21] & 15);
  after[22] = before[22];
  after[23] = before[23];
  after[24] = before[24];
  after[21] = before[21];
  EXPECT_EQ(after, before);
}

TEST(FrameLabels, AreKeptIfTheyAreNotSet) {
  const Bytes before = MakeFrameOf(prores::InterlaceMode::kTopFieldFirst);
  Bytes after = before;
  EXPECT_FALSE(FrameLabels().ChangeHeaders());
  WriteLabels({}, InterlacedStream(), after);
  EXPECT_EQ(after, before);
}

TEST(FrameLabels, LeaveProgressiveStreamsProgressive) {
  FrameLabels labels;
  labels.fields = FieldOrder::BottomFirst;
  StreamFormat stream = InterlacedStream();
  EXPECT_EQ(labels.Correct(stream).fieldOrder, FieldOrder::BottomFirst);
  stream.fieldOrder = FieldOrder::Progressive;
  EXPECT_EQ(labels.Correct(stream).fieldOrder, FieldOrder::Progressive);
}

TEST(SetFieldOrder, ExchangesThePictures) {
  const Bytes top = MakeFrameOf(prores::InterlaceMode::kTopFieldFirst);
  const Bytes bottom = Exchange(FieldOrder::BottomFirst, top);
  ASSERT_EQ(bottom.size(), top.size());
  const auto header = ParseHeader(bottom);
  ASSERT_TRUE(header.has_value());
  EXPECT_EQ(header->interlaceMode, prores::InterlaceMode::kBottomFieldFirst);
  // Both pictures have the same size.
  const auto before = std::span(top).subspan(header->headerBytes);
  const auto after = std::span(bottom).subspan(header->headerBytes);
  const std::size_t half = before.size() / 2;
  EXPECT_TRUE(std::ranges::equal(before.first(half), after.last(half)));
  EXPECT_TRUE(std::ranges::equal(before.last(half), after.first(half)));
  EXPECT_EQ(Exchange(FieldOrder::TopFirst, bottom), top);
}

TEST(SetFieldOrder, KeepsBytesAfterThePictures) {
  Bytes frame = MakeFrameOf(prores::InterlaceMode::kTopFieldFirst);
  frame.insert(frame.end(), {1, 2, 3});
  prores::WriteU32(frame.data(), static_cast<std::uint32_t>(frame.size()));
  const Bytes exchanged = Exchange(FieldOrder::BottomFirst, frame);
  ASSERT_EQ(exchanged.size(), frame.size());
  EXPECT_EQ(Bytes(exchanged.end() - 3, exchanged.end()), (Bytes{1, 2, 3}));
}

TEST(SetFieldOrder, LeavesOtherFramesAsTheyAre) {
  for (const auto mode :
       {prores::InterlaceMode::kProgressive, prores::InterlaceMode::kBottomFieldFirst}) {
    const Bytes frame = MakeFrameOf(mode);
    EXPECT_EQ(Exchange(FieldOrder::BottomFirst, frame), frame);
  }
}

TEST(SetFieldOrder, FindsNoPicturesInATruncatedFrame) {
  Bytes frame = MakeFrameOf(prores::InterlaceMode::kTopFieldFirst);
  frame.resize(frame.size() - 1);
  EXPECT_EQ(Exchange(FieldOrder::BottomFirst, frame), Bytes());
}

}  // namespace
}  // namespace vixprores
