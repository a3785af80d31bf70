// SPDX-License-Identifier: BSD-2-Clause
// The whole life of a handle with threads, while any of its allocations or threads fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>

#include "Allocations.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "NoNewThreads.h"
#include "ProRes/ProResHost.h"

namespace prores::test {
namespace {

constexpr int kThreads = 4;
constexpr EncodeParamsRecord kParams{kWPRCodec4444XQ, kWPRTopFieldFirst};
constexpr EncodeSettingsRecord kEncodeSettings{sizeof kEncodeSettings, kWPRAlpha16, 1};
constexpr DecodeSettingsRecord kDecodeSettings{sizeof kDecodeSettings, kWPRAlpha16, 1};

std::optional<NoNewThreads> noNewThreads;

/// A picture of 4:4:4 with alpha and slices for all threads, and its frame.
struct Clip {
  DeepPicture picture{kWPRPixelFormatB64a, 160, 144, Colours(Busy(1))};
  Bytes frame;
  Bytes decoded;

  Clip() {
    const EncoderOwner encoder = Open();
    WPRSetEncodeSettings(encoder.get(), &kEncodeSettings);
    frame = Encode(encoder.get(), kParams, picture);
    decoded = DecodeDeep(frame, kWPRPixelFormatB64a, picture.Record()).Bytes();
  }
};

void ExpectSuccessOrNoMemory(std::int32_t result) {
  EXPECT_TRUE(result == kWPRSuccess || result == kWPROutOfMemory) << result;
}

/// Opens an encoder, encodes twice and closes it, while allocations after the first `survived` ones
/// fail. Returns true if one has failed.
bool LiveAsEncoder(const Clip& clip, long survived) {
  const PixelBufferRecord source = clip.picture.Record();
  Bytes frame(SizesOf(kParams.codecType, source).max);
  std::uint32_t bytes = 0;
  const FailingAllocations failing(survived);
  WPREncoderHandle const encoder = WPROpenEncoder(kThreads, nullptr);
  for (int number = 0; number < 2 && encoder != nullptr; ++number) {
    EXPECT_EQ(WPRSetEncodeSettings(encoder, &kEncodeSettings), kWPRSuccess);
    const std::int32_t result = WPREncodeFrame(encoder, &kParams, &source, frame.data(),
                                               static_cast<std::uint32_t>(frame.size()), &bytes);
    ExpectSuccessOrNoMemory(result);
    if (result == kWPRSuccess) {
      EXPECT_EQ(bytes, clip.frame.size());
      EXPECT_TRUE(std::equal(clip.frame.begin(), clip.frame.end(), frame.begin()));
    }
  }
  WPRCloseEncoder(encoder);
  return failing.HaveFailed();
}

bool LiveAsDecoder(const Clip& clip, long survived) {
  DeepPicture picture(kWPRPixelFormatB64a, 160, 144);
  const Bytes untouched = picture.Bytes();
  PixelBufferRecord destination = picture.MutableRecord();
  const FailingAllocations failing(survived);
  WPRDecoderHandle const decoder = WPROpenDecoder(kThreads, nullptr);
  for (int number = 0; number < 2 && decoder != nullptr; ++number) {
    EXPECT_EQ(WPRSetDecodeSettings(decoder, &kDecodeSettings), kWPRSuccess);
    const std::int32_t result = WPRDecodeFrame(
        decoder, clip.frame.data(), static_cast<std::uint32_t>(clip.frame.size()), &destination, 0);
    ExpectSuccessOrNoMemory(result);
    EXPECT_TRUE(picture.Bytes() == (result == kWPRSuccess ? clip.decoded : untouched));
  }
  WPRCloseDecoder(decoder);
  return failing.HaveFailed();
}

class AllocationSweep : public testing::TestWithParam<bool (*)(const Clip&, long)> {
 protected:
  /// Lets each allocation of a life be the first one that fails.
  void Sweep() {
    long survived = 0;
    for (; GetParam()(clip_, survived); ++survived) noNewThreads.reset();
    EXPECT_GT(survived, 10);
  }

 private:
  Clip clip_;
};

INSTANTIATE_TEST_SUITE_P(Of, AllocationSweep, testing::Values(&LiveAsEncoder, &LiveAsDecoder),
                         [](const auto& life) { return life.index == 0 ? "Encoder" : "Decoder"; });

TEST_P(AllocationSweep, EveryAllocationMayFail) {
  Sweep();
}

// A thread needs an allocation: every thread is once the first that cannot be started.
TEST_P(AllocationSweep, EveryThreadMayFailToStart) {
  allocations.onFailure = [] {
    if (!noNewThreads) noNewThreads.emplace();
  };
  Sweep();
  allocations.onFailure = nullptr;
  noNewThreads.reset();
}

}  // namespace
}  // namespace prores::test
