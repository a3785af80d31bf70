// SPDX-License-Identifier: BSD-2-Clause
// Frames that cannot be decoded: the code, the text, and the frames after them.
#include <gtest/gtest.h>

#include <algorithm>

#include "Drivers.h"
#include "Errors.h"
#include "ProRes/ProRes.h"
#include "Streams.h"
#include "vix/ProResCodecHook.h"

namespace vix::test {
namespace {

constexpr std::size_t kPrefixBytes = 8;
constexpr std::size_t kVersionOffset = 11;
constexpr std::size_t kFlagsOffset = 20;

using Bytes = std::vector<std::uint8_t>;

/// Returns the offset of the header of the first picture.
std::size_t PictureOffset(const Bytes& frame) {
  return kPrefixBytes + frame.at(8) * 256u + frame.at(9);
}

class DriverErrors : public Drivers {
 protected:
  DriverErrors() {
    decoder.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
    Configure(decoder);
    decoder.Define(DescribeProRes(kSmall));
  }
  VIXError Refuse(const Bytes& bytes) {
    return ErrorOf([&] { decoder.Push(Wrap(bytes, DescribeProRes(kSmall))); });
  }

  const Bytes frame = EncodeDirectly(kSmall, 1, ProResCodecVariant::HQ);
};

TEST_F(DriverErrors, ReportTruncatedFrames) {
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{1}, std::size_t{7}, std::size_t{8}, std::size_t{9},
        std::size_t{20}, std::size_t{27}, PictureOffset(frame), PictureOffset(frame) + 3,
        frame.size() / 2, frame.size() - 1}) {
    SCOPED_TRACE(length);
    EXPECT_THAT(Refuse(Bytes(frame.begin(), frame.begin() + std::ptrdiff_t(length))),
                IsError(ErrorCode::Truncated, Parts{decoder.GetName(), std::to_string(length)}));
    ExpectDecodes();
  }
}

TEST_F(DriverErrors, ReportBytesThatAreNoFrameAsDamaged) {
  for (const std::uint8_t byte : {std::uint8_t{0}, std::uint8_t{7}}) {
    EXPECT_THAT(Refuse(Bytes(5000, byte)),
                IsError(ErrorCode::Damaged, Parts{"5000 bytes", "header"}));
    ExpectDecodes();
  }
}

TEST_F(DriverErrors, ReportFramesWithoutMemory) {
  const auto info = DescribeProRes(kSmall)->GetInfo().front();
  for (const auto& buffer : {std::shared_ptr<IBuffer>(), CreateBuffer(nullptr, nullptr)}) {
    const auto sample = CreateVideoSample(info->GetVideoParameters(), info, buffer, {}, {});
    EXPECT_THAT(ErrorOf([&] { decoder.Push(CreateSampleContainer(sample, nullptr)); }),
                IsError(ErrorCode::Truncated, Parts{"0 bytes"}));
  }
  ExpectDecodes();
}

TEST_F(DriverErrors, ReportDamagedFrameHeaders) {
  const auto damage = [&](std::size_t offset, std::uint8_t value) {
    Bytes bytes = frame;
    bytes.at(offset) = value;
    return bytes;
  };
  EXPECT_THAT(Refuse(damage(8, 0xff)), IsError(ErrorCode::Truncated, Parts{"header"}));
  EXPECT_THAT(Refuse(damage(9, 2)), IsError(ErrorCode::Damaged, Parts{"header"}));
  EXPECT_THAT(Refuse(damage(kFlagsOffset, 0x40)), IsError(ErrorCode::Damaged, Parts{"header"}));
  EXPECT_THAT(Refuse(damage(kFlagsOffset, 0x8c)), IsError(ErrorCode::Damaged, Parts{"header"}));
  EXPECT_THAT(Refuse(Bytes(1000, 0x5a)), IsError(ErrorCode::Truncated, Parts{"1000 bytes"}));
  EXPECT_THAT(Refuse(Bytes(1000)), IsError(ErrorCode::Damaged, Parts{"1000 bytes"}));
  ExpectDecodes();
}

TEST_F(DriverErrors, ReportVersionsOfTheBitstreamThatAreNotSupported) {
  Bytes bytes = frame;
  for (const std::uint8_t version : Bytes{1, 2, 255}) {
    bytes.at(kVersionOffset) = version;
    EXPECT_THAT(Refuse(bytes), IsError(ErrorCode::Unsupported, Parts{"version"}));
    ExpectDecodes();
  }
}

TEST_F(DriverErrors, CarryTheCodecsResultAndTheElementsText) {
  Bytes bytes = frame;
  bytes.at(PictureOffset(frame)) = 0xff;
  const VIXError damaged = Refuse(bytes);
  EXPECT_THAT(damaged,
              IsError(ErrorCode::Damaged, Parts{decoder.GetName(),
                                                "[Failed to decode frame] [ value1 (0) is not == "
                                                "value2 (-5) ]"}));
  EXPECT_EQ(damaged.GetCodecResult(), kWPRBadHeader);
  ASSERT_TRUE(decoder.GetCodecReport());
  EXPECT_EQ(decoder.GetCodecReport()->result, kWPRBadHeader);

  bytes = frame;
  bytes.resize(frame.size() - 1);
  EXPECT_EQ(Refuse(bytes).GetCodecResult(), kWPRTruncated);
  bytes.resize(9);
  EXPECT_EQ(Refuse(bytes).GetCodecResult(), std::nullopt) << "the codec library was not called";
  EXPECT_EQ(decoder.GetCodecReport(), std::nullopt);
}

TEST_F(DriverErrors, HaveACodeWithoutAHookToo) {
  decoder.SetCodecHook(nullptr, 0);
  Bytes bytes = frame;
  bytes.resize(frame.size() - 1);
  const VIXError truncated = Refuse(bytes);
  EXPECT_THAT(truncated, IsError(ErrorCode::Truncated,
                                 Parts{std::to_string(bytes.size()), std::to_string(frame.size()),
                                       "Failed to decode frame"}));
  EXPECT_EQ(truncated.GetCodecResult(), std::nullopt);
  bytes = frame;
  bytes.at(PictureOffset(frame)) = 0xff;
  EXPECT_THAT(Refuse(bytes), IsError(ErrorCode::Damaged, Parts{"Failed to decode frame"}));
  ExpectDecodes();
}

TEST_F(DriverErrors, AreNotCausedByDamagedSlices) {
  Bytes bytes = frame;
  std::fill(bytes.end() - 40, bytes.end(), 0xff);
  EXPECT_TRUE(Process(decoder, Wrap(bytes, DescribeProRes(kSmall))));
  ASSERT_TRUE(decoder.GetCodecReport());
  EXPECT_GT(decoder.GetCodecReport()->damagedSlices, 0u);
  EXPECT_GE(decoder.GetCodecReport()->slices, decoder.GetCodecReport()->damagedSlices);
  ExpectDecodes();
  EXPECT_EQ(decoder.GetCodecReport()->damagedSlices, 0u);
}

/// Returns a frame without its prefix.
Bytes Bare(const Shape& shape, unsigned number) {
  Bytes bytes = EncodeDirectly(shape, number, ProResCodecVariant::Standard);
  bytes.erase(bytes.begin(), bytes.begin() + kPrefixBytes);
  return bytes;
}

TEST_F(DriverErrors, AreNotCausedByProgressiveFramesWithoutPrefix) {
  ExpectPicture(Process(decoder, Wrap(Bare(kSmall, 3), DescribeProRes(kSmall), 3)), kSmall, 3, {});
  ExpectDecodes();
}

TEST_F(DriverErrors, ReportFieldsWithoutPrefix) {
  decoder.Define(DescribeProRes(kInterlaced));
  for (const bool skipField : {false, true}) {
    Configure(decoder, SetSkipField(skipField));
    for (int field = 0; field < 3; ++field) {
      EXPECT_THAT(
          Refuse(Bare(kInterlaced, 3)),
          IsError(ErrorCode::Unsupported, Parts{"without frame prefix", "join two fields"}));
      ExpectDecodes(kInterlaced, {.skipField = skipField});
    }
  }
}

TEST_F(DriverErrors, ReportMissingMemory) {
  SetExtBufferCallbacks({[](std::size_t) { return nullptr; }, [](std::uint8_t*, std::size_t) {}});
  Configure(decoder, [](auto& config) { config.SetString("Allocator", "ExtBufferAllocator"); });
  SetExtBufferCallbacks({});
  const std::string bytes = std::to_string(DrawPicture(kSmall, 1).size());
  EXPECT_THAT(Refuse(frame), IsError(ErrorCode::OutOfMemory, Parts{decoder.GetName(), bytes}));
  Configure(decoder);
  ExpectDecodes();
}

TEST_F(DriverErrors, OfAnEncoderCarryTheCodecsResult) {
  encoder.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 1)), kSmall, 1, ProResCodecVariant::Standard);
  ASSERT_TRUE(encoder.GetCodecReport());
  EXPECT_EQ(encoder.GetCodecReport()->result, kWPRSuccess);
}

TEST_F(DriverErrors, LeaveNoTraceOfTheHookOnTheThread) {
  const int usual = WPRGetDefaultThreads();
  ASSERT_EQ(WPRSetDefaultThreads(usual + 3), kWPRSuccess);
  ExpectDecodes();
  EXPECT_EQ(WPRGetDefaultThreads(), usual + 3);
  Refuse(Bytes(100));
  EXPECT_EQ(WPRGetDefaultThreads(), usual + 3);
  WPRSetDefaultThreads(0);
}

}  // namespace
}  // namespace vix::test
