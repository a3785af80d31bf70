// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"
#include "run/DecoderWatch.h"

namespace vixprores {
namespace {

class DecoderWatchTest : public testing::Test {
 protected:
  DecoderWatchTest() {
    reference::StreamSpec spec;
    spec.width = 64;
    spec.log2SliceSize = 0;
    stream_ = MakeStream(spec, reference::NaturalSource(1));
  }
  ~DecoderWatchTest() override { WPRCloseDecoder(decoder_); }

  std::int32_t Decode() {
    PixelBufferRecord picture{pixels_.data(), 128, kWPRPixelFormat2vuy, 64, 16};
    return WPRDecodeFrame(decoder_, stream_.bytes.data(),
                          static_cast<std::uint32_t>(stream_.bytes.size()), &picture, 0);
  }

  void Damage(std::size_t slice) { stream_.bytes[stream_.slices.at(slice).offset] = 0; }

  reference::Stream stream_;
  std::vector<std::uint8_t> pixels_ = std::vector<std::uint8_t>(128 * 16);
  WPRDecoderHandle decoder_ = WPROpenDecoder(1, nullptr);
};

TEST_F(DecoderWatchTest, TellsHowManySlicesTheLibraryFoundDamaged) {
  EXPECT_EQ(Decode(), 0);
  EXPECT_EQ(TakeDecoderAnswer(), 0);
  Damage(1);
  Damage(3);
  EXPECT_EQ(Decode(), 2);
  EXPECT_EQ(TakeDecoderAnswer(), 2);
  EXPECT_EQ(TakeDecoderAnswer(), 0);
}

TEST_F(DecoderWatchTest, DecodesThePictureAsTheLibraryDoes) {
  ASSERT_EQ(Decode(), 0);
  EXPECT_NE(pixels_, std::vector<std::uint8_t>(pixels_.size()));
}

TEST_F(DecoderWatchTest, TellsWhyAFrameWasRefused) {
  stream_.bytes.resize(40);
  EXPECT_EQ(Decode(), kWPRTruncated);
  EXPECT_EQ(TakeDecoderAnswer(), kWPRTruncated);
}

TEST_F(DecoderWatchTest, KeepsThreadsApart) {
  Damage(0);
  std::thread([this] { EXPECT_EQ(Decode(), 1); }).join();
  EXPECT_EQ(TakeDecoderAnswer(), 0);
}

}  // namespace
}  // namespace vixprores
