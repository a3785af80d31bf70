// SPDX-License-Identifier: BSD-2-Clause
// A complete host program. It loads plug-ins, prints the registry, encodes pictures with the ProRes
// encoder, decodes them into its own memory, and prints the PSNR. If the plug-in of the second
// example is loaded, its element "Gain" processes the decoded pictures. If the plug-in for 4444 is
// loaded, a picture with alpha is coded, too.
//
//   example_host PLUGIN...
#include <vix/vix.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "AlphaPicture.h"
#include "TestPicture.h"

namespace {

constexpr unsigned kWidth = 640;
constexpr unsigned kHeight = 360;
constexpr unsigned kFrames = 5;
constexpr vix::EditRate kRate{25, 1};

using Container = std::shared_ptr<const vix::ISampleContainer>;

// --- Streams and samples ---

std::shared_ptr<const vix::IVideoInfo> DescribePictures() {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_UYVY);
  parameters->SetScanMode(vix::ScanMode::Progressive);
  parameters->SetWidth(kWidth);
  parameters->SetHeight(kHeight);
  parameters->SetEditRate(kRate);
  return vix::CreateVideoInfo(parameters, nullptr, {}, {});
}

// Wraps pixels that this program owns in a sample. Elements read them in place; the block calls its
// callback when the last element has released the sample.
Container WrapPicture(const std::shared_ptr<const vix::IVideoInfo>& info,
                      std::span<std::uint8_t> pixels, unsigned number) {
  const auto block =
      vix::CreateMemoryBlock(pixels.data(), pixels.size(), [] { /* the pixels may change now */ });
  const auto sample =
      vix::CreateVideoSample(info->GetVideoParameters(), info, vix::CreateBuffer(nullptr, block),
                             {{number, number + 1, kRate}}, {});
  return vix::CreateSampleContainer(sample, nullptr);
}

std::span<const std::uint8_t> BytesOf(const vix::ISampleContainer& container) {
  const auto buffer = container.GetVideoSamples(nullptr, nullptr).front()->GetBuffer();
  return {buffer->GetData(), buffer->GetSize()};
}

// --- Memory ---

// Memory of this program that the decoder writes pictures to. A real host would return memory of
// its display or network card.
class FrameMemory {
 public:
  FrameMemory() {
    vix::SetExtBufferCallbacks({[this](std::size_t bytes) {
                                  ++blocks_;
                                  return static_cast<std::uint8_t*>(std::malloc(bytes));
                                },
                                [](std::uint8_t* data, std::size_t) { std::free(data); }});
  }
  ~FrameMemory() { vix::SetExtBufferCallbacks({}); }
  FrameMemory(const FrameMemory&) = delete;
  FrameMemory& operator=(const FrameMemory&) = delete;

  unsigned GetBlocks() const { return blocks_; }

 private:
  std::atomic<unsigned> blocks_ = 0;  // elements may allocate on any thread
};

// --- Elements ---

vix::ElementDriver MakeEncoder() {
  vix::ElementDriver encoder(vix::ElementFactoryType::VideoEncoder, "vix",
                             vix::GetLabel(vix::VCodecFamily::ProRes));
  const auto config = encoder.CreateConfig();
  config->SetProResCodecVariant("ProResCodecVariant", vix::ProResCodecVariant::HQ);
  config->SetInt("NumThreads", 0);  // one per processor
  encoder.Configure(config);
  return encoder;
}

vix::ElementDriver MakeDecoder() {
  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, "vix",
                             vix::GetLabel(vix::VCodecFamily::ProRes));
  const auto config = decoder.CreateConfig();
  config->SetFourCC("OutputFourCC", vix::kFourCC_UYVY);
  config->SetString("Allocator", "ExtBufferAllocator");
  decoder.Configure(config);
  return decoder;
}

// Returns the element of the second example if its plug-in is loaded.
std::optional<vix::ElementDriver> MakeGain() {
  constexpr auto kType = vix::ElementFactoryType::VideoDecoder;
  if (!vix::GetFactory(kType, "example", "Gain")) return std::nullopt;
  vix::ElementDriver gain(kType, "example", "Gain");
  const auto config = gain.CreateConfig();
  config->SetInt("Percent", 50);
  gain.Configure(config);
  return gain;
}

Container Process(vix::ElementDriver& element, Container input) {
  element.Push(std::move(input));
  return element.Pull();
}

// --- Processing ---

void ShowRegistry() {
  for (const auto& entry : vix::GetRegistryEntries()) {
    std::printf("%s \"%s\" of \"%s\"\n",
                vix::GetLabel(entry->GetElementFactoryType("class")).c_str(),
                entry->GetString("type").c_str(), entry->GetString("implementation").c_str());
    const auto schema = entry->GetParametersCollectionPrototype("init_config");
    for (const auto& parameter : schema->GetDescriptions()) {
      std::printf("    %s (%s), default %s\n", parameter.name.c_str(), parameter.type.c_str(),
                  parameter.defaultValue.value_or("none").c_str());
    }
  }
}

void CodePictures() {
  const FrameMemory memory;
  const auto info = DescribePictures();
  auto encoder = MakeEncoder();
  auto decoder = MakeDecoder();
  auto gain = MakeGain();
  // The output description of each element is the input description of the next one.
  const auto encoded = encoder.Define(vix::CreateInfoContainer(info, nullptr));
  const auto decoded = decoder.Define(encoded);
  if (gain) gain->Define(decoded);

  std::vector<std::uint8_t> pixels(vix::RawVideoUtils::GetFrameBytes(
      vix::kFourCC_UYVY, vix::VideoChroma::C422, kWidth, kHeight));
  for (unsigned number = 0; number < kFrames; ++number) {
    DrawPicture(pixels, kWidth, number);
    const auto frame = Process(encoder, WrapPicture(info, pixels, number));
    const auto picture = Process(decoder, frame);
    std::printf("frame %u: %zu bytes, luma PSNR %.2f dB", number, BytesOf(*frame).size(),
                LumaPsnr(pixels, BytesOf(*picture)));
    if (gain) {
      std::printf(", mean luma %.1f, after the gain %.1f", MeanLuma(BytesOf(*picture)),
                  MeanLuma(BytesOf(*Process(*gain, picture))));
    }
    std::printf("\n");
  }
  std::printf("%u blocks of memory came from this program\n", memory.GetBlocks());
}

int Run(std::span<char*> paths) {
  // Failures are reported as exceptions, so this log only prints warnings.
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([](vix::LogLevel level, const std::string& line) {
        if (level == vix::LogLevel::Warning) std::fprintf(stderr, "%s\n", line.c_str());
      }));
  // The elements of a plug-in are in the registry while these objects exist.
  std::vector<std::shared_ptr<vix::IPlugin>> plugins;
  for (const char* path : paths) plugins.push_back(vix::LoadPlugin(path, "example_host"));
  ShowRegistry();
  CodePictures();
  CodeAlphaPicture();
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2) {
    std::fprintf(stderr, "usage: example_host PLUGIN...\n");
    return 2;
  }
  return Run(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
} catch (const std::exception& error) {
  std::fprintf(stderr, "example_host: %s\n", error.what());
  return 1;
}
