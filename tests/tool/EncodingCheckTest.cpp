// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ReferenceCodec.h"
#include "base/FramePool.h"
#include "check/VideoComparison.h"
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

}  // namespace
}  // namespace vixprores
