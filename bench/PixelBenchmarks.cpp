// SPDX-License-Identifier: BSD-2-Clause
// Times the conversion of 1920x1080 pictures between pixel formats at each processor level. The
// pictures pass by in turn, so that none is in cache, as in a host. "GB/s" counts the bytes of both
// pictures.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "cpu/CpuLevel.h"
#include "pixels/FormatRows.h"

namespace vix {
namespace {

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;
constexpr std::size_t kPictures = 16;

/// Pictures that follow each other in memory.
struct Pictures {
  explicit Pictures(PixelFormat pixelFormat)
      : format(pixelFormat),
        pictureBytes(GetPixelPictureBytes(format, kWidth, kHeight)),
        bytes(kPictures * pictureBytes, 0x55) {}

  PixelPicture At(std::size_t number) {
    return MakePixelPicture(format, kWidth, kHeight,
                            bytes.data() + number % kPictures * pictureBytes);
  }

  PixelFormat format;
  std::size_t pictureBytes;
  std::vector<std::uint8_t> bytes;
};

template <typename Convert>
void Run(benchmark::State& state, PixelFormat from, PixelFormat to, Convert convert) {
  Pictures sources(from);
  Pictures targets(to);
  std::size_t number = 0;
  for (auto _ : state) {
    convert(sources.At(number), targets.At(number));
    benchmark::ClobberMemory();
    ++number;
  }
  const auto bytes = static_cast<double>(sources.pictureBytes + targets.pictureBytes);
  state.counters["GB/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * bytes / 1e9,
                                              benchmark::Counter::kIsRate);
}

struct Pair {
  const char* name;
  PixelFormat from;
  PixelFormat to;
};

constexpr Pair kPairs[] = {
    {"uyvy_to_yuy2", PixelFormat::UYVY, PixelFormat::YUY2},
    {"uyvy_to_v210", PixelFormat::UYVY, PixelFormat::V210},
    {"uyvy_to_i422", PixelFormat::UYVY, PixelFormat::I422},
    {"uyvy_to_nv16", PixelFormat::UYVY, PixelFormat::NV16},
    {"v210_to_uyvy", PixelFormat::V210, PixelFormat::UYVY},
    {"v210_to_i210", PixelFormat::V210, PixelFormat::I210},
    {"v210_to_i216", PixelFormat::V210, PixelFormat::I216},
    {"v210_to_p210", PixelFormat::V210, PixelFormat::P210},
    {"yuy2_to_v210", PixelFormat::YUY2, PixelFormat::V210},
    {"i422_to_uyvy", PixelFormat::I422, PixelFormat::UYVY},
    {"nv16_to_uyvy", PixelFormat::NV16, PixelFormat::UYVY},
    {"i210_to_v210", PixelFormat::I210, PixelFormat::V210},
    {"i216_to_v210", PixelFormat::I216, PixelFormat::V210},
    {"p210_to_v210", PixelFormat::P210, PixelFormat::V210},
};

void RegisterFor(prores::CpuLevel level) {
  for (const Pair& pair : kPairs) {
    const auto run = [=](benchmark::State& state) {
      const pixels::RowKernels kernels = pixels::RowKernelsFor(level);
      Run(state, pair.from, pair.to, [&](const PixelPicture& source, const PixelPicture& target) {
        pixels::ConvertPicture(kernels, source, target);
      });
    };
    benchmark::RegisterBenchmark((std::string(pair.name) + '/' + prores::NameOf(level)).c_str(),
                                 run)
        ->Unit(benchmark::kMillisecond);
  }
}

/// Upper bound by memory bandwidth.
void CopyV210(benchmark::State& state) {
  Run(state, PixelFormat::V210, PixelFormat::V210,
      [](const PixelPicture& source, const PixelPicture& target) {
        std::memcpy(target.planes[0].data, source.planes[0].data,
                    target.planes[0].stride * target.height);
      });
}

}  // namespace
}  // namespace vix

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("copy_v210", vix::CopyV210)->Unit(benchmark::kMillisecond);
  for (const prores::CpuLevel level : prores::kCpuLevels) {
    if (level <= prores::DetectCpuLevel()) vix::RegisterFor(level);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
