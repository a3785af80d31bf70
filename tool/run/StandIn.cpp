// SPDX-License-Identifier: BSD-2-Clause
#include "run/StandIn.h"

#include <array>
#include <utility>

#include "base/FramePool.h"
#include "run/ElementStream.h"

namespace vixprores {
namespace {

// The middle of the range in each component, in bytes that are repeated.
constexpr std::array<std::uint8_t, 4> kGreyUyvy{0x80, 0x80, 0x80, 0x80};
constexpr std::array<std::uint8_t, 4> kGreyV210{0x00, 0x02, 0x08, 0x20};

}  // namespace

std::shared_ptr<const vix::IVideoSample> StandIn::MakeGrey() const {
  auto picture = FramePool().MakeFrame(format_.FrameBytes());
  const auto& grey = format_.code == vix::kFourCC_V210 ? kGreyV210 : kGreyUyvy;
  for (std::uint32_t i = 0; i < picture->GetSize(); ++i) picture->GetData()[i] = grey[i % 4];
  ClearRowPadding(format_, picture->GetData());
  const auto info = DescribeStream(format_);
  return writer_.Pack(
      vix::CreateVideoSample(info->GetVideoParameters(), info, std::move(picture), {}, {}));
}

std::shared_ptr<const vix::IVideoSample> StandIn::Make(std::int64_t number) {
  if (!last_) last_ = MakeGrey();
  const std::int64_t begin = format_.start + number;
  return vix::CreateVideoSample(last_->GetVideoParameters(), last_->GetVideoInfo(),
                                last_->GetBuffer(), {{begin, begin + 1, format_.rate}}, {});
}

}  // namespace vixprores
