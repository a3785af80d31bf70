// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <span>
#include <type_traits>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "frames/FrameHeaders.h"

namespace vixprores {
namespace {

// Read-only frames cannot be passed.
static_assert(!std::is_invocable_v<decltype(StampFrameHeader), const StreamFormat&,
                                   std::span<const std::uint8_t>>);
static_assert(
    !std::is_invocable_v<decltype(StampFrameHeader), const StreamFormat&, const vix::IBuffer&>);

/// Returns a frame header followed by 20 bytes of a picture.
std::vector<std::uint8_t> MakeStub(const prores::FrameHeader& header) {
  std::vector<std::uint8_t> frame(FrameHeaderBytes(header) + 20, 0xa5);
  WriteFrameHeader(header, static_cast<std::uint32_t>(frame.size()), frame.data());
  return frame;
}

prores::FrameHeader Stamp(const StreamFormat& format, std::vector<std::uint8_t>& frame) {
  StampFrameHeader(format, frame);
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  EXPECT_EQ(ParseFrameHeader(frame, header, pictures), prores::Status::kSuccess);
  return header;
}

StreamFormat Format() {
  StreamFormat format;
  format.width = 720;
  format.height = 576;
  format.rate = {25, 1};
  format.sampleAspect = {16, 15};
  format.colour = {5, 1, 6, ColourRange::Limited};
  return format;
}

prores::FrameHeader Header() {
  prores::FrameHeader header;
  header.width = 720;
  header.height = 576;
  return header;
}

TEST(FrameStamp, WritesColourRateAndAspectAndNothingElse) {
  const std::vector<std::uint8_t> plain = MakeStub(Header());
  std::vector<std::uint8_t> frame = plain;
  const prores::FrameHeader stamped = Stamp(Format(), frame);
  EXPECT_EQ(stamped.colorPrimaries, 5);
  EXPECT_EQ(stamped.transferCharacteristic, 1);
  EXPECT_EQ(stamped.matrixCoefficients, 6);
  EXPECT_EQ(stamped.frameRate, 3);
  EXPECT_EQ(stamped.aspectRatio, 2);
  for (std::size_t i = 0; i < frame.size(); ++i) {
    if (i < 21 || i > 24) {
      EXPECT_EQ(frame[i], plain[i]) << i;
    }
  }
}

TEST(FrameStamp, KeepsMatrices) {
  prores::FrameHeader header = Header();
  header.lumaMatrix[63] = 9;
  std::vector<std::uint8_t> frame = MakeStub(header);
  EXPECT_EQ(Stamp(Format(), frame).lumaMatrix, header.lumaMatrix);
}

TEST(FrameStamp, LeavesValuesWithoutACodeUnknown) {
  StreamFormat format = Format();
  format.rate = {15, 1};
  format.sampleAspect = {59, 54};
  std::vector<std::uint8_t> frame = MakeStub(Header());
  EXPECT_EQ(Stamp(format, frame).frameRate, 0);
  EXPECT_EQ(Stamp(format, frame).aspectRatio, 0);
}

TEST(FrameStamp, AcceptsSquarePixelsAndUnreducedRates) {
  StreamFormat format = Format();
  format.rate = {60000, 2002};
  format.sampleAspect = {1, 1};
  std::vector<std::uint8_t> frame = MakeStub(Header());
  EXPECT_EQ(Stamp(format, frame).frameRate, 4);
  EXPECT_EQ(Stamp(format, frame).aspectRatio, 1);
}

TEST(FrameStamp, LeavesOtherBytesUnchanged) {
  std::vector<std::uint8_t> bytes(200, 0xa5);
  StampFrameHeader(Format(), bytes);
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(200, 0xa5));
}

}  // namespace
}  // namespace vixprores
