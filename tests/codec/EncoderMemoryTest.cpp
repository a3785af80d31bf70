// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "EncoderTestPicture.h"
#include "ProRes/ProRes.h"

namespace {

/// What the allocations of this program do, from every thread.
struct {
  std::atomic<long> count{0};
  std::atomic<std::size_t> bytes{0};
  std::atomic<long> untilFailure{std::numeric_limits<long>::max()};
} allocations;

void* Allocate(std::size_t bytes, std::size_t alignment) {
  allocations.count.fetch_add(1);
  allocations.bytes.fetch_add(bytes);
  if (allocations.untilFailure.fetch_sub(1) <= 0) throw std::bad_alloc();
  const std::size_t whole = (bytes + alignment) / alignment * alignment;
  if (void* const memory = std::aligned_alloc(alignment, whole)) return memory;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t bytes) {
  return Allocate(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}

namespace prores {
namespace {

using test::Busy;
using test::SourcePicture;

class EncoderMemory : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(encoder_, nullptr);
    ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 1920, 1080, &maxBytes_, nullptr), kWPRSuccess);
    frame_.resize(maxBytes_);
  }
  void TearDown() override { WPRCloseEncoder(encoder_); }

  int Encode(const SourcePicture& picture) {
    const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
    const PixelBufferRecord source = picture.Record();
    return WPREncodeFrame(encoder_, &params, &source, frame_.data(), maxBytes_, &bytes_);
  }

  WPREncoderHandle encoder_ = WPROpenEncoder(2, nullptr);
  std::vector<std::uint8_t> frame_;
  std::uint32_t maxBytes_ = 0;
  std::uint32_t bytes_ = 0;
};

TEST_F(EncoderMemory, IsTakenOnTheFirstFrameOnlyAndStaysBelowThreePackedFrames) {
  const SourcePicture picture(kWPRPixelFormat2vuy, 1920, 1080, Busy(1));
  const std::size_t before = allocations.bytes;
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  EXPECT_LT(allocations.bytes - before, 3 * picture.Bytes().size());

  const SourcePicture smaller(kWPRPixelFormatV210, 640, 300, Busy(1));
  const long count = allocations.count;
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  ASSERT_EQ(Encode(smaller), kWPRSuccess);
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  EXPECT_EQ(allocations.count, count);
}

TEST_F(EncoderMemory, MayRunOutAnywhereAndTheEncoderStaysUsable) {
  const SourcePicture small(kWPRPixelFormatV210, 64, 48, Busy(1));
  const SourcePicture large(kWPRPixelFormatV210, 300, 200, Busy(1));
  for (const bool hasEncoded : {false, true}) {
    int failures = 0;
    for (long survived = 0; failures == survived; ++survived) {
      WPRCloseEncoder(encoder_);
      encoder_ = WPROpenEncoder(1, nullptr);
      if (hasEncoded) {
        ASSERT_EQ(Encode(small), kWPRSuccess);
      }
      allocations.untilFailure = survived;
      const int result = Encode(large);
      allocations.untilFailure = std::numeric_limits<long>::max();
      if (result != kWPRSuccess) {
        EXPECT_EQ(result, kWPROutOfMemory);
        ++failures;
      }
      ASSERT_EQ(Encode(small), kWPRSuccess);
      ASSERT_EQ(Encode(large), kWPRSuccess);
    }
    EXPECT_GT(failures, 3);
  }
}

TEST_F(EncoderMemory, MayBeMissingForTheEncoderItself) {
  allocations.untilFailure = 0;
  WPREncoderHandle const none = WPROpenEncoder(1, nullptr);
  allocations.untilFailure = std::numeric_limits<long>::max();
  EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace prores
