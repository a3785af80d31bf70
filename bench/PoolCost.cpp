// SPDX-License-Identifier: BSD-2-Clause
// Measures what a pool of elements costs beyond the elements: processor time of the process for the
// same frames through one element and through pools, and how the time on the clock falls.
//
//   pool_cost PLUGIN [FRAMES [RUNS]]
#include <vix/ProResCodecHook.h>
#include <vix/vix.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr unsigned kWidth = 1920;
constexpr unsigned kHeight = 1080;
constexpr unsigned kPictures = 8;  // drawn; frames repeat them

using Container = std::shared_ptr<const vix::ISampleContainer>;
using Frames = std::vector<Container>;
using Stream = std::shared_ptr<const vix::IInfoContainer>;

/// Time of one run, in seconds for all frames.
struct Cost {
  double processor = 0;
  double clock = 0;
};

double ProcessorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

Cost Measure(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const double before = ProcessorSeconds();
  work();
  return {ProcessorSeconds() - before,
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()};
}

Stream DescribePictures() {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  parameters->SetFourCC(vix::kFourCC_V210);
  parameters->SetScanMode(vix::ScanMode::Progressive);
  parameters->SetWidth(kWidth);
  parameters->SetHeight(kHeight);
  parameters->SetEditRate({25, 1});
  return vix::CreateInfoContainer(vix::CreateVideoInfo(parameters, nullptr, {}, {}), nullptr);
}

/// Draws waves with noise, which take about the target size.
Container DrawPicture(const vix::IInfoContainer& stream, unsigned number) {
  const auto info = stream.GetInfo().front();
  const auto buffer = vix::CreateBuffer(nullptr, nullptr);
  buffer->Allocate(vix::RawVideoUtils::GetFrameBytes(vix::kFourCC_V210, vix::VideoChroma::C422,
                                                     kWidth, kHeight));
  std::minstd_rand random(number + 1);
  const std::uint32_t words = buffer->GetSize() / 4;
  const std::uint32_t wordsPerRow = words / kHeight;
  for (std::uint32_t i = 0; i < words; ++i) {
    const double x = i % wordsPerRow;
    const double y = i / wordsPerRow;
    const double wave = 512 + 300 * std::sin(x * y / 30000 + number);
    std::uint32_t word = 0;
    for (unsigned sample = 0; sample < 3; ++sample) {
      const auto value =
          static_cast<std::uint32_t>(wave) + static_cast<std::uint32_t>(random() % 24);
      word |= value << (10 * sample);
    }
    reinterpret_cast<std::uint32_t*>(buffer->GetData())[i] = word;
  }
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, buffer, {}, {}), nullptr);
}

/// One direction of the codec.
struct Direction {
  const char* name;
  vix::ElementFactoryType factoryType;
  Stream input;
  Frames frames;

  std::shared_ptr<vix::IParametersCollectionInstance> MakeConfig() const {
    auto config = vix::ElementDriver(factoryType, "vix", "ProRes").CreateConfig();
    if (factoryType == vix::ElementFactoryType::VideoDecoder) return config;
    config->SetProResCodecVariant("ProResCodecVariant", vix::ProResCodecVariant::HQ);
    config->SetInt("NumThreads", 1);
    return config;
  }

  /// Returns the element itself, without a driver.
  std::shared_ptr<vix::IMediaFilter> MakeElement() const {
    using Type = vix::ElementFactoryType;
    WPRSetDefaultThreads(1);
    std::shared_ptr<vix::IMediaFilter> element;
    if (factoryType == Type::VideoEncoder) {
      element = vix::ImplementElement<Type::VideoEncoder>("vix", "ProRes", nullptr);
    } else {
      element = vix::ImplementElement<Type::VideoDecoder>("vix", "ProRes", nullptr);
    }
    element->SetInitConfig(MakeConfig());
    element->DefineInput(input, "");
    return element;
  }

  std::unique_ptr<vix::ElementPool> MakePool(unsigned elements) const {
    vix::ElementPoolOptions options;
    options.size.workers = elements;
    options.codecHook = std::make_shared<vix::ProResCodecHook>();
    auto pool = std::make_unique<vix::ElementPool>(factoryType, "vix", "ProRes", options);
    pool->Configure(MakeConfig());
    pool->Define(input);
    return pool;
  }
};

Frames RunElement(vix::IMediaFilter& element, const Frames& frames) {
  Frames results;
  for (const Container& frame : frames) {
    element.PushSample(frame);
    results.push_back(element.GetSample());
    if (results.size() > kPictures) results.erase(results.begin());
  }
  return results;
}

void RunPool(vix::ElementPool& pool, const Frames& frames) {
  const auto take = [&] {
    if (pool.Receive()->error) throw std::runtime_error("a frame failed");
  };
  std::size_t inFlight = 0;
  for (const Container& input : frames) {
    vix::PoolFrame frame;
    frame.input = input;
    for (; !pool.TrySubmit(frame); --inFlight) take();
    ++inFlight;
  }
  for (; inFlight > 0; --inFlight) take();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// Runs one element and the pools alternately and prints medians.
void Compare(const Direction& direction, unsigned runs) {
  const auto element = direction.MakeElement();
  std::vector<std::function<void()>> jobs{[&] { RunElement(*element, direction.frames); }};
  std::vector<std::string> names{"element"};
  std::vector<std::unique_ptr<vix::ElementPool>> pools;
  for (unsigned elements = 1; elements <= std::max(2u, std::thread::hardware_concurrency());
       elements *= 2) {
    pools.push_back(direction.MakePool(elements));
    jobs.push_back([&, pool = pools.back().get()] { RunPool(*pool, direction.frames); });
    names.push_back("pool of " + std::to_string(elements));
  }
  std::vector<std::vector<double>> processor(jobs.size());
  std::vector<std::vector<double>> clock(jobs.size());
  for (unsigned run = 0; run <= runs; ++run) {
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      const Cost cost = Measure(jobs[i]);
      if (run == 0) continue;  // opens codecs and obtains memory
      processor[i].push_back(cost.processor);
      clock[i].push_back(cost.clock);
    }
  }
  const double perFrame = 1000.0 / static_cast<double>(direction.frames.size());
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    std::vector<double> ratios;  // of neighbours in time
    for (unsigned run = 0; run < runs; ++run)
      ratios.push_back(processor[i][run] / processor[0][run]);
    std::printf("%s %-9s  %6.3f ms processor (%+.1f %%)  %6.3f ms clock  %.2f times as fast\n",
                direction.name, names[i].c_str(), perFrame * Median(processor[i]),
                100 * (Median(ratios) - 1), perFrame * Median(clock[i]),
                Median(clock[0]) / Median(clock[i]));
  }
}

void Run(const char* pluginPath, unsigned frames, unsigned runs) {
  const auto plugin = vix::LoadPlugin(pluginPath, "pool_cost");
  const Stream pictures = DescribePictures();
  Direction encode{"encode", vix::ElementFactoryType::VideoEncoder, pictures, {}};
  for (unsigned i = 0; i < frames; ++i) {
    encode.frames.push_back(i < kPictures ? DrawPicture(*pictures, i)
                                          : encode.frames[i % kPictures]);
  }
  const auto encoder = encode.MakeElement();
  Direction decode{
      "decode", vix::ElementFactoryType::VideoDecoder, encoder->GetDefinedOutput(""), {}};
  const Frames encoded =
      RunElement(*encoder, {encode.frames.begin(), encode.frames.begin() + kPictures});
  for (unsigned i = 0; i < frames; ++i) decode.frames.push_back(encoded[i % kPictures]);
  std::printf(
      "1920x1080 HQ, %u frames, %u runs, %zu bytes a frame\n", frames, runs,
      std::size_t{encoded[0]->GetVideoSamples(nullptr, nullptr)[0]->GetBuffer()->GetSize()});
  Compare(encode, runs);
  Compare(decode, runs);
}

unsigned ParseCount(const char* text, unsigned least) {
  return std::max(least, static_cast<unsigned>(std::strtoul(text, nullptr, 10)));
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2 || argc > 4) {
    std::fprintf(stderr, "usage: pool_cost PLUGIN [FRAMES [RUNS]]\n");
    return 2;
  }
  Run(argv[1], argc > 2 ? ParseCount(argv[2], kPictures) : 60,
      argc > 3 ? ParseCount(argv[3], 1) : 9);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "pool_cost: %s\n", error.what());
  return 1;
}
