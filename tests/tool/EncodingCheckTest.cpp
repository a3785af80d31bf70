// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "ReferenceCodec.h"
#include "base/FramePool.h"
#include "check/EncodingCheck.h"
#include "check/PictureQuality.h"
#include "run/Elements.h"
#include "run/Host.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

class EncodingCheckTest : public testing::Test {
 protected:
  EncodingCheckTest() {
    SetUpMessages({});
    picture_.code = vix::kFourCC_V210;
    picture_.width = 64;
    picture_.height = 16;
    picture_.rate = {25, 1};
    StreamFormat encoded = picture_;
    encoded.code = vix::MakeFourCC("apcn");
    source_ = FramePool().MakeFrame(picture_.FrameBytes());
    std::ranges::fill_n(source_->GetData(), picture_.FrameBytes(), std::uint8_t{0});
    check_ = MakeEncodingCheck(picture_, encoded, {1, 1});
  }

  // Returns a frame of four slices, the first `damaged` of which are damaged.
  static std::shared_ptr<vix::IBuffer> MakeFrame(std::size_t damaged) {
    reference::StreamSpec spec;
    spec.width = 64;
    spec.log2SliceSize = 0;
    auto stream = MakeStream(spec, reference::NaturalSource(1));
    for (std::size_t i = 0; i < damaged; ++i) stream.bytes[stream.slices.at(i).offset] = 0;
    auto frame = FramePool().MakeFrame(static_cast<std::uint32_t>(stream.bytes.size()));
    std::ranges::copy(stream.bytes, frame->GetData());
    return frame;
  }

  Plugins plugins_ = LoadProResPlugins(std::nullopt);
  StreamFormat picture_;
  std::shared_ptr<vix::IBuffer> source_;
  std::unique_ptr<EncodingCheck> check_;
};

TEST_F(EncodingCheckTest, RejectsAFrameWhoseSlicesAreConcealedAndNotTheNextOne) {
  EXPECT_THAT([&] { check_->Measure(0, *source_, MakeFrame(2), 0); },
              ThrowsMessage<vix::VIXRuntimeError>(HasSubstr("has 2 damaged slices")));
  check_->Measure(0, *source_, MakeFrame(0), 1);
  check_->Add(1);
  EXPECT_EQ(check_->GetQuality().frames, 1);
}

TEST_F(EncodingCheckTest, FindsTheWorstFrame) {
  check_->Measure(0, *source_, MakeFrame(0), 7);
  check_->Add(7);
  EXPECT_EQ(check_->GetQuality().worstFrame, 7);
  EXPECT_LT(check_->GetQuality().worstPsnr, 40) << "the source is black, the frame is not";
}

// Encodes pictures of one RGB colour with alpha.
class RgbEncodingCheckTest : public testing::Test {
 protected:
  RgbEncodingCheckTest() {
    SetUpMessages({});
    picture_.code = vix::kFourCC_b64A;
    picture_.width = 32;
    picture_.height = 16;
    picture_.rate = {25, 1};
    picture_.is444 = true;
    picture_.alphaBits = 16;
  }

  std::shared_ptr<vix::IBuffer> Fill(const std::array<std::uint16_t, 4>& pixel) const {
    auto picture = FramePool().MakeFrame(picture_.FrameBytes());
    for (std::uint32_t i = 0; i < picture->GetSize() / 2; ++i) {
      picture->GetData()[2 * i] = static_cast<std::uint8_t>(pixel.at(i % 4) >> 8);
      picture->GetData()[2 * i + 1] = static_cast<std::uint8_t>(pixel.at(i % 4) & 0xFF);
    }
    return picture;
  }

  // Returns the quality of an encoded picture against another one.
  EncodingQuality Measure(const std::array<std::uint16_t, 4>& encoded,
                          const std::array<std::uint16_t, 4>& source) const {
    StreamFormat stream = picture_;
    stream.code = vix::MakeFourCC("ap4x");
    const auto info = vix::CreateInfoContainer(DescribeStream(picture_), nullptr);
    auto encoder =
        ProResElement::Encoder(*FindProResVariant(stream.code), picture_.alphaBits).Make(1);
    encoder.Define(info);
    encoder.Push(SampleMaker(picture_, stream.code).Make(Fill(encoded), 0));
    const auto frame = encoder.Pull()->GetVideoSamples(nullptr, nullptr).at(0)->GetBuffer();
    const auto check = MakeEncodingCheck(picture_, stream, {1, 1});
    check->Measure(0, *Fill(source), frame, 0);
    check->Add(0);
    return check->GetQuality();
  }

  Plugins plugins_ = LoadProResPlugins(std::nullopt);
  StreamFormat picture_;
};

TEST_F(RgbEncodingCheckTest, ComparesTheColoursThatTheEncoderMakesOfRgb) {
  for (const int matrix : {1, 6, 9}) {
    picture_.colour.matrix = matrix;
    for (const auto& pixel : {std::array<std::uint16_t, 4>{0xFFFF, 0, 0, 0},
                              {1, 0xFFFF, 0xFFFF, 0xFFFF},
                              {77, 0xFFFF, 0, 0},
                              {0, 0x1234, 0x89AB, 0xCDEF}}) {
      const EncodingQuality quality = Measure(pixel, pixel);
      EXPECT_GT(quality.psnr[EncodingQuality::kAll], 66) << matrix;  // errors of 2 code values
      EXPECT_TRUE(std::isinf(quality.alphaPsnr.value()));
    }
  }
}

TEST_F(RgbEncodingCheckTest, ReportsLostAlpha) {
  const EncodingQuality quality = Measure({1000, 0, 0, 0}, {1002, 0, 0, 0});
  EXPECT_TRUE(std::isinf(quality.psnr[EncodingQuality::kAll]));
  EXPECT_NEAR(quality.alphaPsnr.value(), ToPsnr(4, ComparedDepth::kAlphaBits), 1e-9);
}

}  // namespace
}  // namespace vixprores
