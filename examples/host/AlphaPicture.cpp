// SPDX-License-Identifier: BSD-2-Clause
#include "AlphaPicture.h"

#include <vix/vix.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 180;
constexpr std::size_t kPixelBytes = 8;
constexpr const char* kImplementation = "vix4444";

using Pixels = std::vector<std::uint8_t>;

std::shared_ptr<const vix::IVideoInfo> DescribePicture() {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_b64A);
  parameters->SetVideoProperty1(static_cast<std::int32_t>(vix::VideoChroma::C4444));
  parameters->SetVideoProperty4(1);  // RGB becomes YCbCr of BT.709
  parameters->SetScanMode(vix::ScanMode::Progressive);
  parameters->SetWidth(kWidth);
  parameters->SetHeight(kHeight);
  return vix::CreateVideoInfo(parameters, nullptr, {}, {});
}

// Returns a grey ramp that becomes opaque from top to bottom: A, R, G, B, high bytes first.
Pixels DrawPicture() {
  Pixels pixels;
  for (unsigned y = 0; y < kHeight; ++y) {
    for (unsigned x = 0; x < kWidth; ++x) {
      const unsigned alpha = y * 65535 / (kHeight - 1);
      const unsigned grey = x * 65535 / (kWidth - 1);
      for (const unsigned component : {alpha, grey, grey, grey}) {
        pixels.push_back(static_cast<std::uint8_t>(component >> 8));
        pixels.push_back(static_cast<std::uint8_t>(component & 255));
      }
    }
  }
  return pixels;
}

bool HasSameAlpha(const Pixels& pixels, const vix::IBuffer& picture) {
  if (picture.GetSize() != pixels.size()) return false;
  for (std::size_t i = 0; i < pixels.size(); i += kPixelBytes) {
    if (!std::equal(&pixels[i], &pixels[i] + 2, picture.GetData() + i)) return false;
  }
  return true;
}

}  // namespace

void CodeAlphaPicture() {
  const auto type = vix::GetLabel(vix::VCodecFamily::ProRes);
  if (!vix::GetFactory(vix::ElementFactoryType::VideoEncoder, kImplementation, type)) return;
  vix::ElementDriver encoder(vix::ElementFactoryType::VideoEncoder, kImplementation, type);
  const auto encoding = encoder.CreateConfig();
  encoding->SetFourCC("Variant", vix::MakeFourCC("ap4x"));
  encoder.Configure(encoding);
  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, kImplementation, type);
  const auto decoding = decoder.CreateConfig();
  decoding->SetFourCC("OutputFourCC", vix::kFourCC_b64A);
  decoder.Configure(decoding);

  const auto info = DescribePicture();
  decoder.Define(encoder.Define(vix::CreateInfoContainer(info, nullptr)));
  Pixels pixels = DrawPicture();
  const auto block = vix::CreateMemoryBlock(pixels.data(), pixels.size(), {});
  encoder.Push(vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, vix::CreateBuffer(nullptr, block),
                             {{0, 1, {25, 1}}}, {}),
      nullptr));
  decoder.Push(encoder.Pull());
  const auto picture = decoder.Pull()->GetVideoSamples(nullptr, nullptr).front()->GetBuffer();
  std::printf("alpha of a 4444 frame: %s\n",
              HasSameAlpha(pixels, *picture) ? "identical" : "different");
}
