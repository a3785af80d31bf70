// SPDX-License-Identifier: BSD-2-Clause
#include "Clip.h"

#include <utility>

namespace {

Stream Describe(const std::shared_ptr<vix::IVideoParameters>& parameters, const ClipShape& shape) {
  parameters->SetScanMode(shape.scanMode);
  parameters->SetWidth(shape.width);
  parameters->SetHeight(shape.height);
  parameters->SetStoredWidth(shape.width);
  parameters->SetStoredHeight(shape.height);
  parameters->SetEditRate(kRate);
  return vix::CreateInfoContainer(vix::CreateVideoInfo(parameters, nullptr, {}, {}), nullptr);
}

}  // namespace

Stream DescribePictures(const ClipShape& shape) {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_UYVY);
  return Describe(parameters, shape);
}

Stream DescribeFrames(const ClipShape& shape) {
  return Describe(vix::CreateVideoParameters<vix::VCodecFamily::ProRes>(), shape);
}

int LumaOf(unsigned number) {
  return static_cast<int>(60 + 10 * (number % 12));
}

Container DrawPicture(const ClipShape& shape, unsigned number) {
  std::vector<std::uint8_t> bytes(std::size_t{2} * shape.width * shape.height, 128);
  for (std::size_t i = 1; i < bytes.size(); i += 2) {
    bytes[i] = static_cast<std::uint8_t>(LumaOf(number));
  }
  return WrapBytes(std::move(bytes), DescribePictures(shape), number);
}

Container WrapBytes(std::vector<std::uint8_t> bytes, const Stream& stream, unsigned number) {
  const auto owned = std::make_shared<std::vector<std::uint8_t>>(std::move(bytes));
  const auto block = vix::CreateMemoryBlock(owned->data(), owned->size(), [owned] {});
  const auto info = stream->GetInfo().front();
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, vix::CreateBuffer(nullptr, block),
                             {{number, number + 1, kRate}}, {}),
      nullptr);
}
