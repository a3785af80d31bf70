// SPDX-License-Identifier: BSD-2-Clause
// A host that loads the plug-in, encodes and decodes 100 frames, releases everything, and checks
// that the plug-in is unloaded.
#include <dlfcn.h>
#include <vix/vix.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

namespace {

constexpr int kFrames = 100;
constexpr unsigned kWidth = 176;
constexpr unsigned kHeight = 144;

std::shared_ptr<const vix::IInfoContainer> DescribeInput() {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_V210);
  parameters->SetScanMode(vix::ScanMode::Progressive);
  parameters->SetWidth(kWidth);
  parameters->SetHeight(kHeight);
  parameters->SetStoredWidth(kWidth);
  parameters->SetStoredHeight(kHeight);
  parameters->SetEditRate({25, 1});
  return vix::CreateInfoContainer(
      vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {}), nullptr);
}

std::shared_ptr<const vix::ISampleContainer> MakeFrame(const vix::IInfoContainer& input,
                                                       int frame) {
  const auto info = input.GetInfo().front();
  const auto buffer = vix::CreateBuffer(nullptr, nullptr);
  buffer->Allocate(vix::RawVideoUtils::GetFrameBytes(vix::kFourCC_V210, vix::VideoChroma::C422,
                                                     kWidth, kHeight));
  for (unsigned i = 0; i < buffer->GetSize(); ++i) {
    // Keeps the 10-bit samples within 0x100 to 0x2ff.
    buffer->GetData()[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 0x20 : i * 7 + unsigned(frame));
  }
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, buffer,
                             {vix::TimeLimits{frame, frame + 1, {25, 1}}}, {}),
      nullptr);
}

void EncodeAndDecode() {
  const auto type = vix::GetLabel(vix::VCodecFamily::ProRes);
  vix::ElementDriver encoder(vix::ElementFactoryType::VideoEncoder, "vix", type);
  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, "vix", type);
  encoder.Configure(encoder.CreateConfig());
  decoder.Configure(decoder.CreateConfig());
  const auto input = DescribeInput();
  decoder.Define(encoder.Define(input));
  for (int frame = 0; frame < kFrames; ++frame) {
    encoder.Push(MakeFrame(*input, frame));
    decoder.Push(encoder.Pull());
    if (!decoder.Pull()) throw vix::VIXRuntimeError("no picture for a pushed frame");
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) return 2;
  {
    const auto plugin = vix::LoadPlugin(argv[1], "host lifetime test");
    EncodeAndDecode();
  }
  if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD)) {
    std::fprintf(stderr, "%s is still loaded\n", argv[1]);
    return 1;
  }
  std::printf("%d frames encoded and decoded, plug-in unloaded\n", kFrames);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
