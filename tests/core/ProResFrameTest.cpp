// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "vix/Error.h"
#include "vix/ProResFrame.h"

namespace vix {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kPrefixBytes = 8;
constexpr std::size_t kPictureBytes = 12;  // a header, and four bytes that stand for slices
constexpr std::uint8_t kProgressive = 0;
constexpr std::uint8_t kTopFirst = 1;

// Returns a picture that ends with the byte `mark`.
Bytes MakePicture(std::uint8_t mark) {
  return {8 << 3, 0, 0, 0, kPictureBytes, 0, 1, 3 << 4, 0, 0, 0, mark};
}

// Returns a frame of 720x576 without labels, with two pictures and a byte after them.
Bytes MakeFrame(std::uint8_t interlaceMode) {
  Bytes frame{0,   0,   0, 53,   'i',  'c',  'p', 'f', 0, 20, 0, 0, 't', 'e',
              's', 't', 2, 0xd0, 0x02, 0x40, 0,   0,   2, 2,  2, 0, 0,   0};
  frame[20] = static_cast<std::uint8_t>(0x80 | interlaceMode << 2);
  for (const std::uint8_t mark : {std::uint8_t{1}, std::uint8_t{2}}) {
    for (const std::uint8_t byte : MakePicture(mark)) frame.push_back(byte);
  }
  frame.push_back(99);
  return frame;
}

ProResFrameHeader Read(const Bytes& frame) {
  return ReadProResFrameHeader(frame.data(), frame.size());
}

ErrorCode FailureOf(auto call) {
  try {
    call();
  } catch (const VIXError& error) {
    return error.GetCode();
  }
  return ErrorCode{};
}

TEST(ProResFrame, HeaderIsRead) {
  const ProResFrameHeader header = Read(MakeFrame(kTopFirst));
  EXPECT_EQ(header.width, 720u);
  EXPECT_EQ(header.height, 576u);
  EXPECT_EQ(header.chroma, VideoChroma::C422);
  EXPECT_EQ(header.labels.fieldOrder, FieldOrder::TopFirst);
  EXPECT_EQ(header.labels.frameRate.numerator, 0);
  EXPECT_EQ(header.labels.pixelAspect.numerator, 0);
  EXPECT_EQ(Read(MakeFrame(kProgressive)).labels.fieldOrder, std::nullopt);
}

TEST(ProResFrame, HeaderIsReadWithoutPrefix) {
  Bytes frame = MakeFrame(kProgressive);
  frame.erase(frame.begin(), frame.begin() + kPrefixBytes);
  EXPECT_EQ(Read(frame).width, 720u);
}

TEST(ProResFrame, UnspecifiedColoursHaveOneCode) {
  Bytes frame = MakeFrame(kProgressive);
  frame[22] = 0;
  EXPECT_EQ(Read(frame).labels.primaries, 2);
}

TEST(ProResFrame, LabelsSurviveARoundTrip) {
  Bytes frame = MakeFrame(kTopFirst);
  const ProResLabels labels{9, 16, 10, {25, 1}, {64, 45}, FieldOrder::BottomFirst};
  LabelProResFrame(labels, frame.data(), frame.size());
  const ProResLabels read = Read(frame).labels;
  EXPECT_EQ(read.primaries, 9);
  EXPECT_EQ(read.transfer, 16);
  EXPECT_EQ(read.matrix, 10);
  EXPECT_EQ(read.frameRate, (EditRate{25, 1}));
  EXPECT_EQ(read.pixelAspect, (EditRate{64, 45}));
  EXPECT_EQ(read.fieldOrder, FieldOrder::BottomFirst);
}

TEST(ProResFrame, LabelsWithoutACodeAreUnknown) {
  Bytes frame = MakeFrame(kProgressive);
  LabelProResFrame({1, 1, 1, {12, 1}, {3, 1}}, frame.data(), frame.size());
  EXPECT_EQ(Read(frame).labels.frameRate.numerator, 0);
  EXPECT_EQ(Read(frame).labels.pixelAspect.numerator, 0);
}

TEST(ProResFrame, PicturesChangePlacesWithTheFieldOrder) {
  const Bytes original = MakeFrame(kTopFirst);
  const std::size_t firstMark = original.size() - 2 - kPictureBytes;
  Bytes frame = original;
  SetProResFieldOrder(FieldOrder::BottomFirst, frame.data(), frame.size());
  EXPECT_EQ(frame[firstMark], 2);
  EXPECT_EQ(frame[firstMark + kPictureBytes], 1);
  EXPECT_EQ(frame.back(), 99);
  SetProResFieldOrder(FieldOrder::TopFirst, frame.data(), frame.size());
  EXPECT_EQ(frame, original);
}

TEST(ProResFrame, FieldOrderOfOtherFramesIsKept) {
  for (const std::uint8_t mode : {kProgressive, kTopFirst}) {
    Bytes frame = MakeFrame(mode);
    SetProResFieldOrder(FieldOrder::TopFirst, frame.data(), frame.size());
    EXPECT_EQ(frame, MakeFrame(mode));
  }
}

TEST(ProResFrame, VersionIsLoweredInBothLayouts) {
  constexpr std::size_t kVersion = kPrefixBytes + 3;
  Bytes frame = MakeFrame(kProgressive);
  const Bytes original = frame;
  for (const std::size_t start : {std::size_t{0}, kPrefixBytes}) {
    frame[kVersion] = 1;
    EXPECT_EQ(ReadProResFrameHeader(frame.data() + start, frame.size() - start).version, 1u);
    LowerProResVersion(frame.data() + start, frame.size() - start);
    EXPECT_EQ(ReadProResFrameHeader(frame.data() + start, frame.size() - start).version, 0u);
    EXPECT_EQ(frame, original);
  }
  EXPECT_EQ(FailureOf([&] { LowerProResVersion(frame.data(), 20); }), ErrorCode::Truncated);
}

TEST(ProResFrame, InvalidFramesAreRejectedUnchanged) {
  Bytes frame = MakeFrame(kTopFirst);
  frame.resize(frame.size() - kPictureBytes);
  const Bytes before = frame;
  const ProResLabels labels{9, 9, 9, {25, 1}, {1, 1}, FieldOrder::BottomFirst};
  EXPECT_EQ(FailureOf([&] { LabelProResFrame(labels, frame.data(), frame.size()); }),
            ErrorCode::Damaged);
  EXPECT_EQ(frame, before);
  EXPECT_EQ(FailureOf([&] { ReadProResFrameHeader(frame.data(), 20); }), ErrorCode::Truncated);
  EXPECT_EQ(FailureOf([&] { LabelProResFrame(labels, frame.data() + kPrefixBytes, 40); }),
            ErrorCode::Unsupported);
}

}  // namespace
}  // namespace vix
