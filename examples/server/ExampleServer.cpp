// SPDX-License-Identifier: BSD-2-Clause
// What a media server does: it processes the frames of a stream on all processors, survives damaged
// frames and changes of the stream, and decodes into its own memory.
//
//   example_server [PLUGIN...]
#include <vix/ProResCodecHook.h>
#include <vix/vix.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "Clip.h"

namespace {

constexpr unsigned kFrames = 12;
constexpr ClipShape kProgressive{.width = 320, .height = 180};
constexpr ClipShape kLarger{.width = 640, .height = 360};
constexpr ClipShape kInterlaced{.width = 320, .height = 192, .scanMode = vix::ScanMode::Interlaced};

const vix::IVideoSample& SampleOf(const Container& container) {
  return *container->GetVideoSamples(nullptr, nullptr).front();
}

// --- Plug-ins ---

std::vector<std::shared_ptr<vix::IPlugin>> LoadAll(int count, char** paths) {
  std::vector<std::shared_ptr<vix::IPlugin>> plugins;
  for (int i = 0; i < count; ++i) plugins.push_back(vix::LoadPlugin(paths[i], "example_server"));
  if (!plugins.empty()) return plugins;

  vix::LoadedPlugins found = vix::LoadPlugins("example_server");
  for (const vix::PluginFailure& failure : found.failures) {
    std::fprintf(stderr, "%s\n", failure.reason.c_str());
  }
  return found.plugins;
}

// --- Pools ---

vix::ElementPoolOptions MakeOptions() {
  vix::ElementPoolOptions options;  // one element per processor, one thread per frame
  options.codecHook = std::make_shared<vix::ProResCodecHook>();
  return options;
}

// Processes frames in order. The pool is bounded: if it is full, a result is taken first.
void ProcessAll(vix::ElementPool& pool, const std::vector<Container>& frames,
                const std::function<void(vix::PoolFrame)>& take) {
  for (const Container& input : frames) {
    vix::PoolFrame frame;
    frame.input = input;
    while (!pool.TrySubmit(frame)) take(*pool.Receive());
  }
  pool.Flush();
  while (auto frame = pool.Receive()) take(std::move(*frame));
}

std::vector<Container> EncodeClip(const ClipShape& shape) {
  vix::ElementPool pool(vix::ElementFactoryType::VideoEncoder, "vix", "ProRes", MakeOptions());
  const auto config = pool.CreateConfig();
  config->SetProResCodecVariant("ProResCodecVariant", vix::ProResCodecVariant::HQ);
  pool.Configure(config);
  pool.Define(DescribePictures(shape));

  std::vector<Container> pictures;
  for (unsigned number = 0; number < kFrames; ++number) {
    pictures.push_back(DrawPicture(shape, number));
  }
  std::vector<Container> frames;
  ProcessAll(pool, pictures, [&](vix::PoolFrame frame) {
    if (frame.error) std::rethrow_exception(frame.error);
    frames.push_back(frame.output);
  });
  return frames;
}

// --- Damaged frames ---

// Repeats the picture before a frame that is lost. Other failures are no reason to continue.
class Playback {
 public:
  void Take(const vix::PoolFrame& frame) {
    if (!frame.error) {
      picture_ = frame.output;
      if (frame.report && frame.report->damagedSlices > 0) ++concealed_;
      return;
    }
    try {
      std::rethrow_exception(frame.error);
    } catch (const vix::VIXError& error) {
      switch (error.GetCode()) {
        case vix::ErrorCode::Truncated:
        case vix::ErrorCode::Damaged:
          std::printf("frame %u is repeated: %s\n", unsigned(frame.number), error.what());
          ++repeated_;
          break;
        default:
          throw;
      }
    }
  }

  unsigned GetRepeated() const { return repeated_; }
  unsigned GetConcealed() const { return concealed_; }

 private:
  Container picture_;
  unsigned repeated_ = 0;
  unsigned concealed_ = 0;
};

// Returns a frame that misses its end.
Container Truncate(const Container& frame) {
  const auto buffer = SampleOf(frame).GetBuffer();
  return WrapBytes({buffer->GetData(), buffer->GetData() + buffer->GetSize() / 2},
                   DescribeFrames(kProgressive), 0);
}

// Returns a frame whose last slice is damaged. Decoders conceal it from its neighbours.
Container DamageSlice(const Container& frame) {
  const auto buffer = SampleOf(frame).GetBuffer();
  std::vector<std::uint8_t> bytes(buffer->GetData(), buffer->GetData() + buffer->GetSize());
  std::fill(bytes.end() - 10, bytes.end(), 0xff);
  return WrapBytes(std::move(bytes), DescribeFrames(kProgressive), 0);
}

void PlayDamagedClip() {
  std::vector<Container> frames = EncodeClip(kProgressive);
  frames[4] = Truncate(frames[4]);
  frames[8] = DamageSlice(frames[8]);
  vix::ElementPool pool(vix::ElementFactoryType::VideoDecoder, "vix", "ProRes", MakeOptions());
  pool.Configure(pool.CreateConfig());
  pool.Define(DescribeFrames(kProgressive));
  Playback playback;
  ProcessAll(pool, frames, [&](const vix::PoolFrame& frame) { playback.Take(frame); });
  std::printf("%zu frames played, %u repeated, %u concealed\n", frames.size(),
              playback.GetRepeated(), playback.GetConcealed());
}

// --- Changes of the stream ---

void PlayChangingClip() {
  std::vector<Container> frames = EncodeClip(kProgressive);
  for (const Container& frame : EncodeClip(kLarger)) frames.push_back(frame);

  vix::ElementPoolOptions options = MakeOptions();
  options.inputChange = vix::InputChange::Redefine;
  vix::ElementPool pool(vix::ElementFactoryType::VideoDecoder, "vix", "ProRes", std::move(options));
  pool.Configure(pool.CreateConfig());
  pool.Define(DescribeFrames(kProgressive));
  std::uint32_t width = 0;
  ProcessAll(pool, frames, [&](const vix::PoolFrame& frame) {
    if (frame.error) std::rethrow_exception(frame.error);
    const auto parameters = SampleOf(frame.output).GetVideoParameters();
    if (parameters->GetWidth() == width) return;
    width = parameters->GetWidth();
    std::printf("frame %u begins pictures of %ux%u\n", unsigned(frame.number), width,
                parameters->GetHeight());
  });
}

const char* FieldOrderOf(const vix::IVideoSample& sample) {
  for (const auto& metadata : sample.GetMetadata()) {
    const auto order = std::dynamic_pointer_cast<const vix::IFieldOrder>(metadata);
    if (order && order->GetFieldOrder() == vix::FieldOrder::BottomFirst)
      return "bottom field first";
  }
  return "top field first";
}

// Decodes frames, fields, and frames again, and refuses a frame of another size.
void ChangeSettings() {
  const std::vector<Container> frames = EncodeClip(kInterlaced);
  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, "vix", "ProRes");
  const auto config = decoder.CreateConfig();
  decoder.Configure(config);
  decoder.Define(DescribeFrames(kInterlaced));
  for (const bool skipField : {false, true, false}) {
    config->SetBool("SkipField", skipField);
    decoder.Configure(config);  // applies from the next frame on
    decoder.Push(frames.front());
    const Container picture = decoder.Pull();
    const auto parameters = SampleOf(picture).GetVideoParameters();
    std::printf("%s of %u rows, %s\n",
                parameters->GetScanMode() == vix::ScanMode::Interlaced ? "frame" : "field",
                parameters->GetHeight(), FieldOrderOf(SampleOf(picture)));
  }
  try {
    decoder.Push(EncodeClip(kLarger).front());
  } catch (const vix::VIXError& error) {
    if (error.GetCode() != vix::ErrorCode::FormatChanged) throw;
    std::printf("refused: %s\n", error.what());
  }
}

// --- Memory and pixel formats ---

// Picture memory of the host, for example of a graphics card, whose rows are aligned to 512 bytes.
class PictureMemory {
 public:
  vix::FrameMemoryCallbacks GetCallbacks() {
    return {this,
            [](void* user, const vix::FrameMemoryRequest& request) {
              ++static_cast<PictureMemory*>(user)->pictures_;
              const std::uint32_t stride = (request.stride + 511) / 512 * 512;
              auto* const data =
                  static_cast<std::uint8_t*>(std::malloc(std::size_t{stride} * request.height));
              return vix::FrameMemory{data, stride};
            },
            [](void* user, std::uint8_t* data) {
              --static_cast<PictureMemory*>(user)->pictures_;
              std::free(data);
            }};
  }
  int GetPictures() const { return pictures_; }

 private:
  int pictures_ = 0;  // of one driver, whose thread makes all calls here
};

// Decodes one frame into memory of the host and converts it to planes of 8 bits.
void DecodeToPlanes(PictureMemory& memory) {
  vix::ElementDriver decoder(vix::ElementFactoryType::VideoDecoder, "vix", "ProRes");
  decoder.SetFrameMemory(memory.GetCallbacks());  // before Configure()
  decoder.Configure(decoder.CreateConfig());
  decoder.Define(DescribeFrames(kProgressive));
  decoder.Push(EncodeClip(kProgressive).at(7));
  const Container picture = decoder.Pull();

  const auto buffer = SampleOf(picture).GetBuffer();
  const auto [width, height, scanMode] = kProgressive;
  vix::ConstPixelPicture source =
      vix::MakePixelPicture(vix::PixelFormat::V210, width, height, buffer->GetData());
  source.planes[0].stride = buffer->GetSize() / height;
  std::vector<std::uint8_t> planes(
      vix::GetPixelPictureBytes(vix::PixelFormat::NV16, width, height));
  vix::ConvertPixels(source,
                     vix::MakePixelPicture(vix::PixelFormat::NV16, width, height, planes.data()));
  std::printf("luma %d, expected %d, %d pictures in memory of the host\n", planes[width / 2],
              LumaOf(7), memory.GetPictures());
}

}  // namespace

int main(int argc, char** argv) try {
  const auto plugins = LoadAll(argc - 1, argv + 1);
  if (plugins.empty()) throw std::runtime_error("no plug-in in " + vix::GetPluginFolder());
  PlayDamagedClip();
  PlayChangingClip();
  ChangeSettings();
  PictureMemory memory;
  DecodeToPlanes(memory);
  std::printf("%d pictures are left\n", memory.GetPictures());
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "example_server: %s\n", error.what());
  return 1;
}
