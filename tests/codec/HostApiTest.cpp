// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "HostApiFromC.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"
#include "cpu/CpuLevel.h"
#include "parallel/WorkerPool.h"
#include "vix/Version.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Restores the initial settings of the process and of this thread.
class HostApi : public ::testing::Test {
 protected:
  ~HostApi() override {
    unsetenv(kThreadsVariable);
    unsetenv(kCpuLevelVariable);
    WPRSetDefaultThreads(0);
    WPRSetProcessorLevel(kWPRProcessorAutomatic);
    WPRSetDecodeObserver(nullptr, nullptr);
    WPRSetEncodeObserver(nullptr, nullptr);
  }
};

TEST_F(HostApi, ReturnsTheVersionOfItsHeader) {
  EXPECT_EQ(WPRHostVersion(), std::uint32_t{WPR_HOST_VERSION});
}

TEST_F(HostApi, ReturnsTheVersionOfTheProject) {
  EXPECT_EQ(WPRGetLibraryVersion(), VIX_VERSION_NUMBER);
}

TEST_F(HostApi, DefaultThreadsApplyToPoolsWithoutANumber) {
  EXPECT_EQ(WPRSetDefaultThreads(3), kWPRSuccess);
  EXPECT_EQ(WPRGetDefaultThreads(), 3);
  EXPECT_EQ(WorkerPool(0).StartWorkers(100), 3u);
  EXPECT_EQ(WorkerPool(2).StartWorkers(100), 2u);
  EXPECT_EQ(WPRSetDefaultThreads(0), kWPRSuccess);
  EXPECT_EQ(WPRGetDefaultThreads(),
            static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
}

TEST_F(HostApi, DefaultThreadsOutOfRangeAreRejected) {
  ASSERT_EQ(WPRSetDefaultThreads(5), kWPRSuccess);
  EXPECT_EQ(WPRSetDefaultThreads(-1), kWPRBadArgument);
  EXPECT_EQ(WPRSetDefaultThreads(4097), kWPRBadArgument);
  EXPECT_EQ(WPRGetDefaultThreads(), 5);
  EXPECT_EQ(WPRSetDefaultThreads(4096), kWPRSuccess);
}

TEST_F(HostApi, DefaultThreadsOfOneThreadDoNotAffectOthers) {
  WPRSetDefaultThreads(7);
  std::int32_t ofOther = 0;
  std::thread([&] {
    WPRSetDefaultThreads(9);
    ofOther = WPRGetDefaultThreads();
  }).join();
  EXPECT_EQ(ofOther, 9);
  EXPECT_EQ(WPRGetDefaultThreads(), 7);
}

TEST_F(HostApi, TheEnvironmentOverridesDefaultThreads) {
  WPRSetDefaultThreads(7);
  setenv(kThreadsVariable, "2", 1);
  EXPECT_EQ(WPRGetDefaultThreads(), 2);
  setenv(kThreadsVariable, "many", 1);
  EXPECT_EQ(WPRGetDefaultThreads(), 7);
}

TEST_F(HostApi, ProcessorLevelIsTheHighestUnlessItIsSet) {
  const std::int32_t highest = WPRGetHighestProcessorLevel();
  EXPECT_EQ(WPRGetProcessorLevel(), highest);
  for (std::int32_t level = kWPRProcessorScalar; level <= highest; ++level) {
    EXPECT_EQ(WPRSetProcessorLevel(level), kWPRSuccess);
    EXPECT_EQ(WPRGetProcessorLevel(), level);
  }
  WPRSetProcessorLevel(kWPRProcessorScalar);
  EXPECT_EQ(WPRSetProcessorLevel(kWPRProcessorAutomatic), kWPRSuccess);
  EXPECT_EQ(WPRGetProcessorLevel(), highest);
}

TEST_F(HostApi, ProcessorLevelThatIsUnknownOrMissingIsRejected) {
  ASSERT_EQ(WPRSetProcessorLevel(kWPRProcessorScalar), kWPRSuccess);
  EXPECT_EQ(WPRSetProcessorLevel(-1), kWPRBadArgument);
  EXPECT_EQ(WPRSetProcessorLevel(kWPRProcessorAvx512 + 1), kWPRBadArgument);
  for (std::int32_t level = WPRGetHighestProcessorLevel() + 1; level <= kWPRProcessorAvx512;
       ++level) {
    EXPECT_EQ(WPRSetProcessorLevel(level), kWPRUnsupported);
  }
  EXPECT_EQ(WPRGetProcessorLevel(), kWPRProcessorScalar);
}

TEST_F(HostApi, TheEnvironmentOverridesTheProcessorLevel) {
  setenv(kCpuLevelVariable, "scalar", 1);
  EXPECT_EQ(WPRGetProcessorLevel(), kWPRProcessorScalar);
  WPRSetProcessorLevel(kWPRProcessorScalar);
  setenv(kCpuLevelVariable, "avx512", 1);
  EXPECT_EQ(WPRGetProcessorLevel(), WPRGetHighestProcessorLevel());
  setenv(kCpuLevelVariable, "fastest", 1);
  EXPECT_EQ(WPRGetProcessorLevel(), kWPRProcessorScalar);
}

/// A frame of four rows with two slices each.
reference::Stream MakeFrame() {
  reference::StreamSpec spec;
  spec.width = 256;
  spec.height = 64;
  return MakeStream(spec, reference::NaturalSource(1));
}

/// A decoder on one thread, and a picture that fits MakeFrame().
class Decoding {
 public:
  ~Decoding() { WPRCloseDecoder(decoder_); }

  std::int32_t Decode(const Bytes& frame) {
    PixelBufferRecord record = picture_.Record();
    return WPRDecodeFrame(decoder_, frame.data(), static_cast<std::uint32_t>(frame.size()), &record,
                          0);
  }

 private:
  WPRDecoderHandle decoder_ = WPROpenDecoder(1, nullptr);
  PackedPicture picture_{kWPRPixelFormat2vuy, 256, 64};
};

void Append(void* context, const DecodeReportRecord* report) {
  static_cast<std::vector<DecodeReportRecord>*>(context)->push_back(*report);
}

TEST_F(HostApi, ObserverReceivesTheOutcomeOfEveryDecodeCall) {
  std::vector<DecodeReportRecord> reports;
  WPRSetDecodeObserver(Append, &reports);
  Decoding decoding;

  const reference::Stream stream = MakeFrame();
  Bytes frame = stream.bytes;
  EXPECT_EQ(decoding.Decode(frame), 0);
  frame[stream.slices[3].offset] = 0;  // bits of the slice header
  EXPECT_EQ(decoding.Decode(frame), 1);
  frame.resize(20);
  EXPECT_EQ(decoding.Decode(frame), kWPRTruncated);
  EXPECT_EQ(WPRDecodeFrame(nullptr, nullptr, 0, nullptr, 0), kWPRBadArgument);

  ASSERT_EQ(reports.size(), 4u);
  for (const DecodeReportRecord& report : reports) EXPECT_EQ(report.recordBytes, sizeof report);
  EXPECT_EQ(reports[0].result, 0);
  EXPECT_EQ(reports[0].damagedSlices, 0u);
  EXPECT_EQ(reports[0].slices, 8u);
  EXPECT_EQ(reports[1].result, 1);
  EXPECT_EQ(reports[1].damagedSlices, 1u);
  EXPECT_EQ(reports[1].slices, 8u);
  EXPECT_EQ(reports[2].result, kWPRTruncated);
  EXPECT_EQ(reports[2].slices, 0u);
  EXPECT_EQ(reports[3].result, kWPRBadArgument);
}

TEST_F(HostApi, ObserverIsReplacedAndRemoved) {
  std::vector<DecodeReportRecord> first, second;
  Decoding decoding;
  const Bytes frame = MakeFrame().bytes;
  WPRSetDecodeObserver(Append, &first);
  WPRSetDecodeObserver(Append, &second);
  decoding.Decode(frame);
  WPRSetDecodeObserver(nullptr, nullptr);
  decoding.Decode(frame);
  EXPECT_TRUE(first.empty());
  EXPECT_EQ(second.size(), 1u);
}

TEST_F(HostApi, ObserverSeesTheCallsOfItsOwnThreadOnly) {
  std::vector<DecodeReportRecord> reports;
  WPRSetDecodeObserver(Append, &reports);
  std::thread([] { Decoding().Decode(MakeFrame().bytes); }).join();
  EXPECT_TRUE(reports.empty());
}

TEST_F(HostApi, ObserverReceivesTheOutcomeOfEveryEncodeCall) {
  std::vector<EncodeReportRecord> reports;
  WPRSetEncodeObserver(
      [](void* context, const EncodeReportRecord* report) {
        static_cast<std::vector<EncodeReportRecord>*>(context)->push_back(*report);
      },
      &reports);
  PackedPicture picture(kWPRPixelFormat2vuy, 64, 32);
  const PixelBufferRecord source = picture.Record();
  const EncodeParamsRecord params{kWPRCodec422, kWPRProgressive};
  std::uint32_t maxBytes = 0, frameBytes = 0;
  ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodec422, 64, 32, &maxBytes, nullptr), kWPRSuccess);
  Bytes frame(maxBytes);
  const WPREncoderHandle encoder = WPROpenEncoder(1, nullptr);
  const auto encode = [&](std::uint32_t size) {
    return WPREncodeFrame(encoder, &params, &source, frame.data(), size, &frameBytes);
  };
  EXPECT_EQ(encode(maxBytes), kWPRSuccess);
  EXPECT_EQ(encode(10), kWPRDestinationTooSmall);
  WPRSetEncodeObserver(nullptr, nullptr);
  EXPECT_EQ(encode(maxBytes), kWPRSuccess);
  WPRCloseEncoder(encoder);

  ASSERT_EQ(reports.size(), 2u);
  for (const EncodeReportRecord& report : reports) EXPECT_EQ(report.recordBytes, sizeof report);
  EXPECT_EQ(reports[0].result, kWPRSuccess);
  EXPECT_EQ(reports[0].compressedBytes, frameBytes);
  EXPECT_EQ(reports[1].result, kWPRDestinationTooSmall);
  EXPECT_EQ(reports[1].compressedBytes, 0u);
}

TEST_F(HostApi, IsUsableFromC) {
  const Bytes frame = MakeFrame().bytes;
  PackedPicture picture(kWPRPixelFormat2vuy, 256, 64);
  const PixelBufferRecord record = picture.Record();
  EXPECT_EQ(DecodeFromC(frame.data(), static_cast<std::uint32_t>(frame.size()), &record), 8u);
}

}  // namespace
}  // namespace prores
