// SPDX-License-Identifier: BSD-2-Clause
// A host program outside the source tree. Loads the plug-in that is its argument, or without one
// those of the plug-in folder, and encodes and decodes a grey frame.
#include <ProRes/ProRes.h>
#include <vix/vix.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <vector>

namespace {

constexpr unsigned kWidth = 1920;
constexpr unsigned kHeight = 1080;
constexpr std::uint8_t kGrey = 0x80;

std::shared_ptr<const vix::ISampleContainer> Wrap(
    const std::shared_ptr<const vix::IVideoInfo>& info, std::vector<std::uint8_t>& pixels) {
  // Elements read the frame in place.
  const auto block = vix::CreateMemoryBlock(pixels.data(), pixels.size(), {});
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, vix::CreateBuffer(nullptr, block),
                             {{0, 1, {25, 1}}}, {}),
      nullptr);
}

vix::LoadedPlugins Load(const char* pluginPath) {
  if (pluginPath) return {{vix::LoadPlugin(pluginPath, "consumer")}, {}};
  auto found = vix::LoadPlugins("consumer");
  for (const auto& failure : found.failures) std::fprintf(stderr, "%s\n", failure.reason.c_str());
  if (!vix::GetFactory(vix::ElementFactoryType::VideoEncoder, "vix4444", "ProRes")) {
    throw std::runtime_error("the folder of plug-ins has none for 4444");
  }
  return found;
}

int Run(const char* pluginPath) {
  const auto plugins = Load(pluginPath);
  const auto type = vix::GetLabel(vix::VCodecFamily::ProRes);

  vix::ElementDriver encoder(vix::ElementFactoryType::VideoEncoder, "vix", type);
  const auto encoderConfig = encoder.CreateConfig();
  encoderConfig->SetProResCodecVariant("ProResCodecVariant", vix::ProResCodecVariant::HQ);
  encoder.Configure(encoderConfig);

  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_UYVY);
  parameters->SetScanMode(vix::ScanMode::Progressive);
  parameters->SetWidth(kWidth);
  parameters->SetHeight(kHeight);
  parameters->SetEditRate({25, 1});
  const std::shared_ptr<const vix::IVideoInfo> info =
      vix::CreateVideoInfo(parameters, nullptr, {}, {});

  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, "vix", type);
  const auto decoderConfig = decoder.CreateConfig();
  decoderConfig->SetFourCC("OutputFourCC", vix::kFourCC_UYVY);
  decoder.Configure(decoderConfig);
  decoder.Define(encoder.Define(vix::CreateInfoContainer(info, nullptr)));

  std::vector<std::uint8_t> pixels(
      vix::RawVideoUtils::GetFrameBytes(vix::kFourCC_UYVY, vix::VideoChroma::C422, kWidth, kHeight),
      kGrey);
  encoder.Push(Wrap(info, pixels));
  const auto encoded = encoder.Pull();
  const auto bytes = encoded->GetVideoSamples(nullptr, nullptr).front()->GetBuffer()->GetSize();
  decoder.Push(encoded);
  const auto picture = decoder.Pull()->GetVideoSamples(nullptr, nullptr).front()->GetBuffer();

  std::uint32_t maxBytes = 0;
  if (WPRGetCompressedFrameSize(kWPRCodecHQ, kWidth, kHeight, &maxBytes, nullptr) != kWPRSuccess)
    return 1;
  std::printf("%u bytes compressed (%u at most), %u decoded\n", bytes, maxBytes,
              picture->GetSize());
  const bool same = std::vector<std::uint8_t>(picture->GetData(),
                                              picture->GetData() + picture->GetSize()) == pixels;
  return same && bytes <= maxBytes ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) try {
  return Run(argc > 1 ? argv[1] : nullptr);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
