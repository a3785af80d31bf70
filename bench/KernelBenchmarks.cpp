// SPDX-License-Identifier: BSD-2-Clause
// Times each kernel at each CPU level on the strips of a 1920x1080 frame, in cache as in the codec.
// The counter "ms/frame" is the time for the 68 strips of such a frame.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Kernels.h"
#include "bitstream/AlphaCodes.h"
#include "bitstream/AlphaDecoder.h"
#include "cpu/AlignedVector.h"
#include "encode/AlphaEncoder.h"
#include "encode/CoefficientEncoder.h"
#include "pixel/PixelFormat.h"
#include "pixel/SampleDepth.h"

namespace prores {
namespace {

constexpr std::uint32_t kWidth = 1920;
constexpr double kStripsPerFrame = 1080.0 / kMacroblockSize;
constexpr std::uint32_t kSlices = kWidth / (kMacroblockSize * kMaxSliceWidth);
constexpr std::uint32_t kQuantizerScale = 4;

QuantMatrix FlatMatrix() {
  QuantMatrix matrix;
  matrix.fill(4);
  return matrix;
}

std::uint32_t BlocksOf(unsigned component) {
  return kMaxSliceWidth * BlocksPerMacroblock(ChromaFormat::k422, component);
}

/// A strip of components with the statistics of natural pictures: Laplacian coefficients whose
/// spread falls with the scan position.
class Strip {
 public:
  /// @param spread spread of the first AC coefficients, in levels; 6.5 gives about the bits of HQ.
  explicit Strip(double spread) {
    std::mt19937 random(1);
    for (std::uint32_t i = 0; i < kSlices * kComponents; ++i) {
      const std::uint32_t blocks = BlocksOf(i % kComponents);
      levels_.push_back(MakeLevels(blocks, i % kComponents == 0 ? spread : spread / 3, random));
      data_.emplace_back(CountCoefficientBytes(levels_.back()));
      if (!WriteCoefficients(levels_.back(), data_.back())) std::abort();
      bits_ += 8.0 * static_cast<double>(data_.back().size());
    }
    coefficients_.resize(levels_.size() * (kMaxSliceBlocks * kBlockSamples + kCoefficientSlack));
  }

  std::vector<CodedComponent> Components() {
    std::vector<CodedComponent> components;
    std::int16_t* next = coefficients_.data();
    for (std::size_t i = 0; i < data_.size(); ++i) {
      const std::uint32_t blocks = BlocksOf(static_cast<unsigned>(i % kComponents));
      components.push_back({.data = data_[i], .blocks = blocks, .coefficients = next});
      next += blocks * kBlockSamples + kCoefficientSlack;
    }
    return components;
  }

  void Clear() { std::fill(coefficients_.begin(), coefficients_.end(), std::int16_t{0}); }
  double Bits() const { return bits_; }

 private:
  static std::vector<std::int16_t> MakeLevels(std::uint32_t blocks, double spread,
                                              std::mt19937& random) {
    std::vector<std::int16_t> levels(std::size_t{blocks} * kBlockSamples);
    std::exponential_distribution<double> exponential;
    std::bernoulli_distribution negative;
    for (std::size_t i = 0; i < levels.size(); ++i) {
      const double position = static_cast<double>(i / blocks);
      const double scale = i < blocks ? 40 : spread * std::exp(-position / 18);
      const double magnitude = std::min(std::floor(exponential(random) * scale), 4000.0);
      levels[i] = static_cast<std::int16_t>(negative(random) ? -magnitude : magnitude);
    }
    return levels;
  }

  std::vector<std::vector<std::int16_t>> levels_;
  std::vector<std::vector<std::uint8_t>> data_;
  AlignedVector<std::int16_t> coefficients_;
  double bits_ = 0;
};

/// Random planar samples of a strip: luma, Cb, Cr and alpha.
struct Planes {
  Planes() {
    std::mt19937 random(2);
    for (auto& plane : samples) {
      plane.resize(std::size_t{kWidth + 64} * kMacroblockSize);
      for (auto& sample : plane) sample = static_cast<std::uint16_t>(4 + random() % 1000);
    }
  }
  PlanarRow Row(std::size_t y) {
    const auto line = [&](unsigned c) { return samples[c].data() + y * kWidth; };
    return {line(0), line(1), line(2), line(3)};
  }
  std::array<AlignedVector<std::uint16_t>, kComponents + 1> samples;
};

void ReportFrameTime(benchmark::State& state) {
  const double frames = static_cast<double>(state.iterations()) / kStripsPerFrame;
  state.counters["ms/frame"] =
      benchmark::Counter(frames / 1e3, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void DecodeEntropy(benchmark::State& state, const Kernels& kernels, double spread) {
  Strip strip(spread);
  auto components = strip.Components();
  for (auto _ : state) {
    strip.Clear();
    kernels.decodeComponents(components);
  }
  ReportFrameTime(state);
  state.counters["Mbit/frame"] = strip.Bits() * kStripsPerFrame / 1e6;
}

void Inverse(benchmark::State& state, const Kernels& kernels, double spread,
             const SampleDepth& depth) {
  Strip strip(spread);
  auto components = strip.Components();
  kernels.decodeComponents(components);
  Planes planes;
  const InversePlan plan = MakeInversePlan(FlatMatrix(), kProgressiveScan, depth);
  for (auto _ : state) {
    for (std::size_t i = 0; i < components.size(); ++i) {
      const auto c = static_cast<unsigned>(i % kComponents);
      const CodedComponent& component = components[i];
      const std::size_t column =
          i / kComponents * kMaxSliceWidth * MacroblockColumns(ChromaFormat::k422, c);
      kernels.inverseTransform(component.coefficients, component.blocks, component.positions, plan,
                               kQuantizerScale, c, {planes.samples[c].data() + column, kWidth});
    }
  }
  ReportFrameTime(state);
}

void Pack(benchmark::State& state, const Kernels& kernels, std::uint32_t format) {
  Planes planes;
  std::vector<std::uint8_t> row(PackedRowBytes(format, kWidth) * kMacroblockSize);
  for (auto _ : state) {
    for (std::size_t y = 0; y < kMacroblockSize; ++y) {
      const PlanarRow line = planes.Row(y);
      kernels.PackerFor(format)({line.luma, line.cb, line.cr, line.alpha}, kWidth,
                                row.data() + y * PackedRowBytes(format, kWidth));
    }
    benchmark::DoNotOptimize(row.data());
    benchmark::ClobberMemory();
  }
  ReportFrameTime(state);
}

void Unpack(benchmark::State& state, const Kernels& kernels, std::uint32_t format) {
  Planes planes;
  const std::vector<std::uint8_t> row(PackedRowBytes(format, kWidth) * kMacroblockSize, 0x55);
  for (auto _ : state) {
    for (std::size_t y = 0; y < kMacroblockSize; ++y) {
      kernels.UnpackerFor(format)(row.data() + y * PackedRowBytes(format, kWidth), kWidth,
                                  planes.Row(y));
    }
    benchmark::ClobberMemory();
  }
  ReportFrameTime(state);
}

/// @param entry rgbToYCbCr or yCbCrToRgb.
void ConvertRgb(benchmark::State& state, const Kernels& kernels,
                decltype(&Kernels::rgbToYCbCr) entry) {
  Planes planes;
  for (auto _ : state) {
    for (std::size_t y = 0; y < kMacroblockSize; ++y) {
      (kernels.*entry)(RgbMatrixOf(1), kWidth, planes.Row(y));
    }
    benchmark::ClobberMemory();
  }
  ReportFrameTime(state);
}

void DoubleBothChroma(benchmark::State& state, const Kernels& kernels) {
  Planes half, planes;
  for (auto _ : state) {
    for (std::size_t y = 0; y < kMacroblockSize; ++y) {
      for (unsigned c = 1; c < kComponents; ++c) {
        kernels.doubleChroma(half.samples[c].data() + y * kWidth + kChromaMargin, kWidth, k12Bits,
                             planes.samples[c].data() + y * kWidth);
      }
    }
    benchmark::ClobberMemory();
  }
  ReportFrameTime(state);
}

void Forward(benchmark::State& state, const Kernels& kernels) {
  const Planes planes;
  const ForwardPlan plan =
      MakeForwardPlan(kDefaultQuantMatrix, kProgressivePositions, k10Bits.bits);
  AlignedVector<std::int16_t> coefficients(kMaxSliceBlocks * kBlockSamples);
  for (auto _ : state) {
    for (std::uint32_t slice = 0; slice < kSlices; ++slice) {
      for (unsigned c = 0; c < kComponents; ++c) {
        const std::size_t column =
            slice * kMaxSliceWidth * MacroblockColumns(ChromaFormat::k422, c);
        kernels.forwardTransform(planes.samples[c].data() + column, kWidth, BlocksOf(c), c, plan,
                                 coefficients.data());
      }
    }
    benchmark::ClobberMemory();
  }
  ReportFrameTime(state);
}

/// Upper bound by memory bandwidth: copies each V210 frame to the next, so that none is in cache.
void CopyFrames(benchmark::State& state) {
  constexpr std::size_t kFrames = 16;
  const std::size_t frameBytes = std::size_t{PackedRowBytes(kWPRPixelFormatV210, kWidth)} * 1080;
  std::vector<std::uint8_t> frames(kFrames * frameBytes, 1);
  std::size_t frame = 0;
  for (auto _ : state) {
    const std::size_t next = (frame + 1) % kFrames;
    std::memcpy(&frames[next * frameBytes], &frames[frame * frameBytes], frameBytes);
    frame = next;
    benchmark::ClobberMemory();
  }
}

/// Alpha samples of a strip, slice after slice, and their coded form.
class AlphaStrip {
 public:
  /// @param sampleAt returns the sample at a column of the strip.
  AlphaStrip(AlphaType type, std::uint16_t (*sampleAt)(std::uint32_t column)) : type_(type) {
    for (std::uint32_t i = 0; i < samples_.size(); ++i) {
      const std::uint32_t slice = i / kSliceSamples;
      samples_[i] = sampleAt(slice * kSliceColumns + i % kSliceColumns);
    }
    Encode();
  }

  void Encode() {
    for (std::uint32_t slice = 0; slice < kSlices; ++slice) {
      sizes_[slice] = EncodeAlpha(SamplesOf(slice), type_, BytesOf(slice));
    }
  }

  bool Decode() {
    bool complete = true;
    for (std::uint32_t slice = 0; slice < kSlices; ++slice) {
      complete &= DecodeAlpha(BytesOf(slice).first(sizes_[slice]), type_, SamplesOf(slice));
    }
    return complete;
  }

 private:
  static constexpr std::uint32_t kSliceColumns = kMaxSliceWidth * kMacroblockSize;
  static constexpr std::uint32_t kSliceSamples = kSliceColumns * kMacroblockSize;

  std::span<std::uint16_t> SamplesOf(std::uint32_t slice) {
    return std::span(samples_).subspan(slice * kSliceSamples, kSliceSamples);
  }
  std::span<std::uint8_t> BytesOf(std::uint32_t slice) {
    const std::size_t most = MostAlphaBytes(type_, kMaxSliceWidth);
    return std::span(bytes_).subspan(slice * most, most);
  }

  AlphaType type_;
  std::vector<std::uint16_t> samples_ = std::vector<std::uint16_t>(kSlices * kSliceSamples);
  std::vector<std::uint8_t> bytes_ =
      std::vector<std::uint8_t>(kSlices * MostAlphaBytes(type_, kMaxSliceWidth));
  std::array<std::size_t, kSlices> sizes_{};
};

void RegisterAlpha() {
  struct Load {
    const char* name;
    std::uint16_t (*sampleAt)(std::uint32_t column);
  };
  const auto opaque = [](std::uint32_t) { return std::uint16_t{0xFFFF}; };
  // Ten edges of 13 columns.
  const auto softEdges = [](std::uint32_t column) {
    return static_cast<std::uint16_t>(std::min(column % 192 * 5000, 0xFFFFu));
  };
  const auto noise = [](std::uint32_t) {
    static std::mt19937 random(3);
    return static_cast<std::uint16_t>(random());
  };
  for (const Load& load :
       {Load{"opaque", opaque}, Load{"soft_edges", softEdges}, Load{"noise", noise}}) {
    for (const AlphaType type : {AlphaType::k8Bit, AlphaType::k16Bit}) {
      const std::string name = std::string(type == AlphaType::k8Bit ? "8" : "16") + "/" + load.name;
      benchmark::RegisterBenchmark(("encode_alpha" + name).c_str(), [=](benchmark::State& state) {
        AlphaStrip strip(type, load.sampleAt);
        for (auto _ : state) strip.Encode();
        ReportFrameTime(state);
      })->Unit(benchmark::kMicrosecond);
      benchmark::RegisterBenchmark(("decode_alpha" + name).c_str(), [=](benchmark::State& state) {
        AlphaStrip strip(type, load.sampleAt);
        for (auto _ : state) {
          if (!strip.Decode()) state.SkipWithError("truncated");
        }
        ReportFrameTime(state);
      })->Unit(benchmark::kMicrosecond);
    }
  }
}

void RegisterFor(const Kernels& kernels) {
  const auto add = [&](const std::string& name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(
        (name + "/" + NameOf(kernels.level)).c_str(),
        [=, &kernels](benchmark::State& state) { function(state, kernels, arguments...); })
        ->Unit(benchmark::kMicrosecond);
  };
  struct Load {
    const char* name;
    double spread;
  };
  for (const Load& load : {Load{"fine", 6.5}, Load{"coarse", 1.5}}) {
    add(std::string("entropy_decode_") + load.name, DecodeEntropy, load.spread);
    add(std::string("inverse_transform_") + load.name, Inverse, load.spread, k10Bits);
  }
  add("pack_v210", Pack, std::uint32_t{kWPRPixelFormatV210});
  add("pack_2vuy", Pack, std::uint32_t{kWPRPixelFormat2vuy});
  add("unpack_v210", Unpack, std::uint32_t{kWPRPixelFormatV210});
  add("unpack_2vuy", Unpack, std::uint32_t{kWPRPixelFormat2vuy});
  for (const auto& [name, format] :
       {std::pair{"y416", kWPRPixelFormatY416}, {"b64a", kWPRPixelFormatB64a}}) {
    add(std::string("pack_") + name, Pack, std::uint32_t{format});
    add(std::string("unpack_") + name, Unpack, std::uint32_t{format});
  }
  add("rgb_to_ycbcr", ConvertRgb, &Kernels::rgbToYCbCr);
  add("ycbcr_to_rgb", ConvertRgb, &Kernels::yCbCrToRgb);
  add("double_chroma", DoubleBothChroma);
  add("forward_transform", Forward);
}

}  // namespace
}  // namespace prores

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("copy_v210_frame", prores::CopyFrames)
      ->Unit(benchmark::kMillisecond);
  prores::RegisterAlpha();
  for (const prores::CpuLevel level : prores::kCpuLevels) {
    if (level <= prores::DetectCpuLevel()) prores::RegisterFor(prores::KernelsFor(level));
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
