// SPDX-License-Identifier: BSD-2-Clause
// stage_times STREAM PICTURES [VARIANT [PASSES]]
//
// Prints the time of each stage of a frame as JSON: decodes the ProRes frames of a .mov to V210 in
// memory, encodes raw V210 frames of the same size as a variant (hq), and times the kernels inside,
// at every CPU level, on one thread. Every figure is the processor time of the best of PASSES (3)
// over all frames. PICTURES must not be decoded from ProRes: the encoder treats those differently.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bitstream/BigEndian.h"
#include "bitstream/FrameHeader.h"
#include "decode/Decoder.h"
#include "encode/Encoder.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/Variant.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

using nlohmann::json;
using Bytes = std::vector<std::uint8_t>;

enum Stage {
  kEntropyDecode,
  kInverse,
  kPack,
  kUnpack,
  kActivity,
  kForward,
  kSelect,
  kCount,
  kWrite,
  kStages
};
constexpr std::array<const char*, kStages> kStageNames{
    "entropy decoding", "inverse transform",  "packing",
    "unpacking",        "activity",           "forward transform",
    "selection",        "quantise and count", "quantise and write"};

struct NamedVariant {
  const char* name;
  std::uint32_t codecType;
};
constexpr NamedVariant kVariants[] = {
    {"proxy", kWPRCodecProxy}, {"lt", kWPRCodecLT}, {"422", kWPRCodec422}, {"hq", kWPRCodecHQ}};

// The kernels under test and their times. A kernel is a plain function, so these are global.
const Kernels* under = nullptr;
std::array<std::uint64_t, kStages> ticks;
std::uint64_t pairs;

class Timer {
 public:
  explicit Timer(Stage stage) : stage_(stage), start_(__builtin_ia32_rdtsc()) {}
  ~Timer() { ticks[stage_] += __builtin_ia32_rdtsc() - start_; }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

 private:
  Stage stage_;
  std::uint64_t start_;
};

/// Calls an entry of `under` and adds its time to that of a stage.
template <Stage kStage, auto kEntry, typename Function>
struct Timed;
template <Stage kStage, auto kEntry, typename Result, typename... Arguments>
struct Timed<kStage, kEntry, Result (*)(Arguments...)> {
  static Result Call(Arguments... arguments) {
    const Timer timer(kStage);
    return (under->*kEntry)(arguments...);
  }
};

void PackTimed(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  const Timer timer(kPack);
  under->PackerFor(kWPRPixelFormatV210)(line, width, row);
}

void UnpackTimed(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  const Timer timer(kUnpack);
  under->UnpackerFor(kWPRPixelFormatV210)(row, width, out);
}

Kernels TimedKernels(CpuLevel level) {
  Kernels kernels = KernelsFor(level);
  constexpr std::size_t kV210 = PlaceOfPixelFormat(kWPRPixelFormatV210);
  kernels.packRow[kV210] = PackTimed;
  kernels.unpackRow[kV210] = UnpackTimed;
#define TIME(stage, entry) \
  kernels.entry = Timed<stage, &Kernels::entry, decltype(kernels.entry)>::Call
  TIME(kEntropyDecode, decodeComponents);
  TIME(kInverse, inverseTransform);
  TIME(kActivity, measureActivity);
  TIME(kForward, forwardTransform);
  TIME(kSelect, selectCoefficients);
  TIME(kCount, countComponentBytes);
  TIME(kWrite, writeComponent);
#undef TIME
  return kernels;
}

void CountPairs(std::span<CodedComponent> components) {
  DecodeComponents(components);
  for (const CodedComponent& component : components) {
    const std::size_t end = std::size_t{component.blocks} * kBlockSamples;
    pairs += end - component.blocks -
             static_cast<std::uint64_t>(std::count(component.coefficients + component.blocks,
                                                   component.coefficients + end, 0));
  }
}

/// Finds the ProRes frames in the bytes of a file: each starts with its size and 'icpf'.
std::vector<std::span<const std::uint8_t>> FindFrames(std::span<const std::uint8_t> file) {
  std::vector<std::span<const std::uint8_t>> frames;
  constexpr std::array<std::uint8_t, 4> kIdentifier{'i', 'c', 'p', 'f'};
  for (std::size_t i = 0; i + 8 < file.size();) {
    const std::size_t size = ReadU32(file.data() + i);
    const bool found = std::equal(kIdentifier.begin(), kIdentifier.end(), file.data() + i + 4);
    if (found && size > 8 && size <= file.size() - i) {
      frames.push_back(file.subspan(i, size));
      i += size;
    } else {
      ++i;
    }
  }
  return frames;
}

struct Sequence {
  Bytes file;
  std::vector<std::span<const std::uint8_t>> frames;
  FrameHeader header;
  Bytes decoded;
  Bytes pictures;

  /// Rows of raw V210 frames are padded to 128 bytes.
  std::uint32_t RowBytes() const {
    return (PackedRowBytes(kWPRPixelFormatV210, header.width) + 127) / 128 * 128;
  }
  std::size_t PictureBytes() const { return std::size_t{RowBytes()} * header.height; }
  std::size_t PictureCount() const { return pictures.size() / PictureBytes(); }

  PixelBufferRecord Picture(std::uint8_t* pixels) const {
    return {pixels, RowBytes(), kWPRPixelFormatV210, header.width, header.height};
  }
};

/// Processor time of this thread.
double ProcessorMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Runs `work` over all frames `passes` times; returns the milliseconds per frame of the fastest
/// pass.
template <typename Work>
json TimePasses(int passes, std::size_t frames, const Work& work) {
  double best = std::numeric_limits<double>::max();
  json result;
  for (int pass = 0; pass < passes; ++pass) {
    ticks = {};
    const double start = ProcessorMilliseconds();
    const std::uint64_t firstTick = __builtin_ia32_rdtsc();
    for (std::size_t frame = 0; frame < frames; ++frame) work(frame);
    const double total = (ProcessorMilliseconds() - start);
    const auto allTicks = static_cast<double>(__builtin_ia32_rdtsc() - firstTick);
    if (total >= best) continue;
    best = total;
    double rest = total / static_cast<double>(frames);
    result = {{"total", rest}};
    for (std::size_t stage = 0; stage < kStages; ++stage) {
      if (ticks[stage] == 0) continue;
      const double time =
          static_cast<double>(ticks[stage]) / allTicks * total / static_cast<double>(frames);
      result[kStageNames[stage]] = time;
      rest -= time;
    }
    result["rest"] = rest;
  }
  return result;
}

json TimeLevel(CpuLevel level, Sequence& sequence, std::uint32_t codecType, int passes) {
  under = &KernelsFor(level);
  const Kernels timed = TimedKernels(level);
  Decoder decoder(1, timed);
  Encoder encoder(1, timed);
  const VariantProfile& profile = *FindVariant(codecType);
  Bytes coded(MaxFrameBytes(profile, sequence.header.width, sequence.header.height));
  const EncodeParamsRecord params{codecType,
                                  sequence.header.interlaceMode == InterlaceMode::kProgressive
                                      ? std::uint32_t{kWPRProgressive}
                                      : std::uint32_t{kWPRTopFieldFirst}};
  json result;
  result["decode"] = TimePasses(passes, sequence.frames.size(), [&](std::size_t frame) {
    const PixelBufferRecord picture = sequence.Picture(sequence.decoded.data());
    if (decoder.Decode(sequence.frames[frame], picture, false).status != Status::kSuccess) {
      std::exit(EXIT_FAILURE);
    }
  });
  std::uint64_t bytes = 0;
  result["encode"] = TimePasses(passes, sequence.PictureCount(), [&](std::size_t frame) {
    std::uint32_t size = 0;
    const PixelBufferRecord picture =
        sequence.Picture(sequence.pictures.data() + frame * sequence.PictureBytes());
    if (encoder.Encode(params, picture, coded, size) != Status::kSuccess) {
      std::exit(EXIT_FAILURE);
    }
    bytes += size;
  });
  result["encode"]["bytes"] =
      bytes / (static_cast<std::uint64_t>(passes) * sequence.PictureCount());
  return result;
}

/// Returns the core cycles per second, measured with a chain of additions of one cycle each.
double MeasureFrequency() {
  constexpr std::uint64_t kAdditions = 400'000'000;
  const double start = ProcessorMilliseconds();
  std::uint64_t sum = 0;
  for (std::uint64_t i = 0; i < kAdditions; ++i) {
    sum += i;
    __asm__ volatile("" : "+r"(sum));
  }
  return static_cast<double>(kAdditions) / (ProcessorMilliseconds() - start) * 1e3;
}

Bytes Read(const char* path) {
  std::ifstream input(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

int Main(const char* path, const char* picturePath, std::uint32_t codecType, int passes) {
  Sequence sequence;
  sequence.file = Read(path);
  sequence.pictures = Read(picturePath);
  sequence.frames = FindFrames(sequence.file);
  std::span<const std::uint8_t> pictures;
  if (sequence.frames.empty() ||
      ParseFrameHeader(sequence.frames.front(), sequence.header, pictures) != Status::kSuccess) {
    std::cerr << "stage_times: " << path << " holds no ProRes frames\n";
    return EXIT_FAILURE;
  }
  sequence.decoded.resize(sequence.PictureBytes());
  if (sequence.PictureCount() == 0) {
    std::cerr << "stage_times: " << picturePath << " holds no V210 picture of that size\n";
    return EXIT_FAILURE;
  }

  Kernels counting = KernelsFor(CpuLevel::kScalar);
  counting.decodeComponents = CountPairs;
  Decoder counter(1, counting);
  std::size_t bytes = 0;
  for (std::size_t frame = 0; frame < sequence.frames.size(); ++frame) {
    counter.Decode(sequence.frames[frame], sequence.Picture(sequence.decoded.data()), false);
    bytes += sequence.frames[frame].size();
  }

  const auto frames = static_cast<double>(sequence.frames.size());
  json report{{"stream", path},
              {"frames", sequence.frames.size()},
              {"width", sequence.header.width},
              {"height", sequence.header.height},
              {"bytes_per_frame", static_cast<double>(bytes) / frames},
              {"pairs_per_frame", static_cast<double>(pairs) / frames},
              {"cycles_per_second", MeasureFrequency()}};
  for (const CpuLevel level : kCpuLevels) {
    if (level > DetectCpuLevel()) break;
    report["levels"][NameOf(level)] = TimeLevel(level, sequence, codecType, passes);
  }
  std::cout << report.dump(2) << '\n';
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace prores

int main(int argc, char** argv) {
  const std::string_view name = argc > 3 ? argv[3] : "hq";
  const auto variant = std::ranges::find(prores::kVariants, name, &prores::NamedVariant::name);
  if (argc < 3 || argc > 5 || variant == std::end(prores::kVariants)) {
    std::cerr << "usage: stage_times STREAM.mov PICTURES.v210 [proxy|lt|422|hq [PASSES]]\n";
    return EXIT_FAILURE;
  }
  return prores::Main(argv[1], argv[2], variant->codecType, argc == 5 ? std::atoi(argv[4]) : 3);
}
