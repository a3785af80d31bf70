// SPDX-License-Identifier: BSD-2-Clause
// A host that changes variant, format, SkipField, size, scan mode and edit rate at random, checks
// every sample, and keeps samples while the plug-in is unloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ElementPools.h"
#include "Errors.h"
#include "HostTrial.h"
#include "ResidentMemory.h"

namespace vix::test {
namespace {

constexpr unsigned kElements = 4;
constexpr std::uint32_t kSeed = 20251122;

#ifdef HOST_TESTS_ARE_SANITIZED
constexpr unsigned kUsualFrames = 1000;                      // 10,000 take minutes
constexpr std::size_t kMostGrowth = std::size_t{512} << 20;  // freed memory is kept for a while
#else
constexpr unsigned kUsualFrames = 10000;
constexpr std::size_t kMostGrowth = std::size_t{8} << 20;  // of a process that keeps nothing
#endif

/// Frames of a trial. The environment variable HOST_TRIAL_FRAMES sets another number.
unsigned CountFrames() {
  const char* const text = std::getenv("HOST_TRIAL_FRAMES");
  return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : kUsualFrames;
}

class HostTrial : public ElementPools {
 protected:
  HostTrial() { RecordProperty("seed", std::to_string(kSeed)); }

  /// Checks a sample and keeps some of them.
  void Check(const TrialSample& sample) {
    SCOPED_TRACE("frame " + std::to_string(sample.number) + ", seed " + std::to_string(kSeed));
    sample.Check();
    if (sample.isPicture && sample.number == warmUp) {
      residentBytes = GetResidentBytes();
      liveBytes = memory.GetLiveBytes();
    }
    if (settings.Chance(100)) kept.push_back(sample);
  }

  /// Unloads the plug-in and checks the samples that were kept.
  void FinishWithoutPlugin() {
    EXPECT_LT(GetResidentBytes(), residentBytes + kMostGrowth);
    // Blocks that elements and kept samples hold: no more than the samples that were kept.
    EXPECT_LT(memory.GetLiveBytes(), liveBytes + kept.size() * kMostPictureBytes);
    plugin.reset();
    EXPECT_EQ(dlopen(VIX_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the plug-in is still loaded";
    EXPECT_GT(kept.size(), frames / 200);
    for (const TrialSample& sample : kept) sample.Check();
    kept.clear();
    EXPECT_EQ(memory.GetLiveBytes(), 0u);
  }

  static constexpr std::size_t kMostPictureBytes = std::size_t{384 + 96} * 64;

  const unsigned frames = CountFrames();
  const unsigned warmUp = frames / 5;
  RandomSettings settings{kSeed};
  CountedMemory memory;
  std::vector<TrialSample> kept;
  std::size_t residentBytes = 0;  ///< after the warm-up
  std::size_t liveBytes = 0;      ///< after the warm-up
};

/// Something that encodes or decodes, and its settings.
template <typename Host>
struct Trial {
  /// @param make returns the host
  template <typename Make>
  Trial(bool encodes, Make make) : host(make()), isEncoder(encodes) {}

  void Define(const Shape& shape) {
    host.Define(isEncoder ? DescribeRaw(shape) : DescribeProRes(shape));
  }
  /// Configures the host if the settings have changed. V210 is also what is not set.
  void Configure(const TrialSettings& wanted, RandomSettings& random) {
    if (current == wanted) return;
    test::Configure(host, [&](auto& config) {
      if (isEncoder) {
        config.SetProResCodecVariant("ProResCodecVariant", wanted.variant);
        return;
      }
      config.SetBool("SkipField", wanted.skipField);
      if (wanted.fourcc == kFourCC_UYVY || random.Chance(2)) {
        config.SetFourCC("OutputFourCC", wanted.fourcc);
      }
    });
  }
  bool NeedsDefinition(const TrialSettings& wanted) const {
    return !current || !(current->shape.rate == wanted.shape.rate);
  }

  Host host;
  bool isEncoder;
  std::optional<TrialSettings> current;
};

/// A pool with what must come out of it.
struct PoolTrial : Trial<ElementPool> {
  using Trial::Trial;

  bool IsFull() const { return inFlight.size() == host.GetMostInFlight(); }

  /// Submits a frame. The host defines a new shape, or leaves that to the pool.
  void Submit(Container input, TrialSample expected, RandomSettings& random) {
    Configure(expected.settings, random);
    if (NeedsDefinition(expected.settings) || random.Chance(3)) Define(expected.settings.shape);
    current = expected.settings;
    PoolFrame frame;
    frame.input = std::move(input);
    inFlight.push_back(std::move(expected));
    EXPECT_TRUE(host.TrySubmit(frame));
  }

  TrialSample Receive() {
    const auto frame = host.Receive();
    TrialSample sample = std::move(inFlight.front());
    inFlight.pop_front();
    EXPECT_FALSE(frame->error);
    sample.container = frame->output;
    return sample;
  }

  std::deque<TrialSample> inFlight;
};

TEST_F(HostTrial, OfPoolsIsPassed) {
  {
    ElementPoolOptions options = WithElements(kElements);
    options.inputChange = InputChange::Redefine;
    PoolTrial encoders(true, [&] { return MakeEncoders(options); });
    options.memory = memory.GetCallbacks();
    PoolTrial decoders(false, [&] { return MakeDecoders(options); });
    const auto takePicture = [&] { Check(decoders.Receive()); };
    const auto takeFrame = [&] {
      TrialSample frame = encoders.Receive();
      Check(frame);
      if (decoders.IsFull()) takePicture();
      decoders.Submit(frame.container, {nullptr, frame.settings, frame.number, true}, settings);
    };
    for (unsigned number = 0; number < frames && !HasFailure(); ++number) {
      const TrialSettings wanted = settings.Next();
      if (encoders.IsFull()) takeFrame();
      encoders.Submit(MakeRawFrame(wanted.shape, number), {nullptr, wanted, number, false},
                      settings);
    }
    while (!encoders.inFlight.empty() && !HasFailure()) takeFrame();
    while (!decoders.inFlight.empty() && !HasFailure()) takePicture();
  }
  FinishWithoutPlugin();
}

/// A driver whose host chooses now and then what happens to changed input.
struct DriverTrial : Trial<ElementDriver> {
  using Trial::Trial;

  Container Process(const Container& input, const TrialSettings& wanted, RandomSettings& random) {
    if (random.Chance(20)) {
      policy = random.Chance(2) ? InputChange::Redefine : InputChange::Refuse;
      host.SetInputChange(policy);
    }
    Configure(wanted, random);
    const bool isChanged = !current || !IsSamePicture(current->shape, wanted.shape);
    if (NeedsDefinition(wanted) || random.Chance(10)) {
      Define(wanted.shape);
    } else if (isChanged && policy == InputChange::Refuse) {
      EXPECT_THAT(ErrorOf([&] { host.Push(input); }), IsError(ErrorCode::FormatChanged, Parts{}));
      Define(wanted.shape);
    }
    current = wanted;
    return test::Process(host, input);
  }

  static bool IsSamePicture(const Shape& one, const Shape& other) {
    return one.width == other.width && one.height == other.height && one.scanMode == other.scanMode;
  }

  InputChange policy = InputChange::Refuse;
};

TEST_F(HostTrial, OfDriversIsPassed) {
  {
    DriverTrial encoder(true, MakeEncoder);
    DriverTrial decoder(false, MakeDecoder);
    encoder.host.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
    decoder.host.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
    decoder.host.SetFrameMemory(memory.GetCallbacks());
    for (unsigned number = 0; number < frames && !HasFailure(); ++number) {
      const TrialSettings wanted = settings.Next();
      TrialSample sample{nullptr, wanted, number, false};
      sample.container = encoder.Process(MakeRawFrame(wanted.shape, number), wanted, settings);
      Check(sample);
      sample = {decoder.Process(sample.container, wanted, settings), wanted, number, true};
      Check(sample);
      if (!settings.Chance(50)) continue;
      auto truncated = EncodeDirectly(wanted.shape, number, wanted.variant);
      // Less than a quarter: the first of two fields could be complete.
      truncated.resize(settings.Below(static_cast<unsigned>(truncated.size() / 4)));
      EXPECT_THAT(
          ErrorOf([&] { decoder.host.Push(Wrap(truncated, DescribeProRes(wanted.shape))); }),
          IsError(ErrorCode::Truncated, Parts{}));
    }
  }
  FinishWithoutPlugin();
}

}  // namespace
}  // namespace vix::test
