// SPDX-License-Identifier: BSD-2-Clause
// A host that changes variant, alpha, format, size and scan mode at random, checks every picture,
// and keeps pictures while the plug-in is unloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Errors.h"
#include "ResidentMemory.h"
#include "Streams.h"
#include "vix/ElementPool.h"

namespace vix::test4444 {
namespace {

constexpr std::uint32_t kSeed = 20251123;
constexpr std::uint32_t kWidths[] = {2, 16, 30, 51, 64, 96};
constexpr std::uint32_t kHeights[] = {2, 16, 18, 32, 48};

#ifdef HOST_TESTS_ARE_SANITIZED
constexpr unsigned kTrialFrames = 300;
constexpr std::size_t kMostGrowth = std::size_t{512} << 20;  // freed memory is kept for a while
#else
constexpr unsigned kTrialFrames = 3000;
constexpr std::size_t kMostGrowth = std::size_t{8} << 20;  // of a process that keeps nothing
#endif

/// What one frame is processed with.
struct Settings {
  Shape shape;
  FourCC variant = kVariant4444;
  int alphaBits = 16;
};

struct Picture {
  Container container;
  Settings settings;
  unsigned number;

  void Check() const { ExpectPicture(container, settings.shape, number, settings.alphaBits); }
};

class HostTrial4444 : public Elements {
 protected:
  bool Chance(unsigned times) { return Below(times) == 0; }
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }

  void ChangeSettings() {
    Shape& shape = settings.shape;
    if (Chance(8)) shape.width = kWidths[Below(std::size(kWidths))];
    if (Chance(8)) shape.height = kHeights[Below(std::size(kHeights))];
    if (Chance(8)) shape.scanMode = Chance(2) ? ScanMode::Interlaced : ScanMode::Progressive;
    if (shape.height == 2) shape.scanMode = ScanMode::Progressive;
    if (Chance(8)) shape.fourcc = Chance(2) ? kFourCC_Y416 : kFourCC_b64A;
    if (Chance(8)) settings.variant = Chance(2) ? kVariant4444 : kVariant4444XQ;
    if (Chance(8)) settings.alphaBits = 8 * static_cast<int>(Below(3));
  }
  /// Configures an encoder and a decoder, drivers or pools, for the settings.
  template <typename Host>
  void ConfigureBoth(Host& encoder, Host& decoder) {
    Configure(encoder, [this](IParametersCollectionInstance& config) {
      config.SetFourCC("Variant", settings.variant);
      config.SetInt("AlphaBits", settings.alphaBits);
    });
    Configure(decoder, SetFourCC("OutputFourCC", settings.shape.fourcc));
  }
  template <typename Host>
  void DefineBoth(Host& encoder, Host& decoder) {
    encoder.Define(DescribeRaw(settings.shape));
    decoder.Define(DescribeProRes(settings.shape));
  }
  void Check(const Picture& picture) {
    SCOPED_TRACE("frame " + std::to_string(picture.number) + ", seed " + std::to_string(kSeed));
    picture.Check();
    if (picture.number == kTrialFrames / 5) residentBytes = test::GetResidentBytes();
    if (Chance(100)) kept.push_back(picture);
  }
  /// Unloads the plug-in and checks the pictures that were kept.
  void FinishWithoutPlugin() {
    EXPECT_LT(test::GetResidentBytes(), residentBytes + kMostGrowth);
    plugin.reset();
    EXPECT_EQ(dlopen(VIX_PLUGIN_4444, RTLD_NOW | RTLD_NOLOAD), nullptr) << "is still loaded";
    EXPECT_FALSE(kept.empty());
    for (const Picture& picture : kept) picture.Check();
  }

  Settings settings;
  std::vector<Picture> kept;
  std::size_t residentBytes = 0;  ///< after the warm-up

 private:
  std::mt19937 random_{kSeed};
};

TEST_F(HostTrial4444, OfDriversIsPassed) {
  {
    ElementDriver encoder = MakeEncoderDriver();
    ElementDriver decoder = MakeDecoderDriver();
    encoder.SetInputChange(InputChange::Redefine);
    decoder.SetInputChange(InputChange::Redefine);
    for (unsigned number = 0; number < kTrialFrames && !HasFailure(); ++number) {
      ChangeSettings();
      ConfigureBoth(encoder, decoder);
      if (number == 0 || Chance(10)) DefineBoth(encoder, decoder);
      const Container frame = Process(encoder, MakeRawFrame(settings.shape, number));
      Check({Process(decoder, frame), settings, number});
      if (!Chance(50)) continue;
      Bytes truncated = BytesOf(frame);
      truncated.resize(Below(static_cast<unsigned>(truncated.size() / 4)));
      EXPECT_THAT(
          test::ErrorOf([&] { decoder.Push(Wrap(truncated, DescribeProRes(settings.shape))); }),
          test::IsError(ErrorCode::Truncated, test::Parts{}));
    }
  }
  FinishWithoutPlugin();
}

TEST_F(HostTrial4444, OfPoolsIsPassed) {
  {
    ElementPoolOptions options;
    options.size = {3, 0, false};
    options.inputChange = InputChange::Redefine;
    ElementPool encoder(ElementFactoryType::VideoEncoder, kImplementation, kType, options);
    ElementPool decoder(ElementFactoryType::VideoDecoder, kImplementation, kType, options);
    const auto process = [](ElementPool& pool, const std::vector<Container>& inputs) {
      for (const Container& input : inputs) {
        PoolFrame frame;
        frame.input = input;
        pool.Submit(std::move(frame));
      }
      std::vector<Container> outputs;
      while (outputs.size() < inputs.size()) {
        const auto frame = pool.Receive();
        EXPECT_FALSE(frame->error);
        outputs.push_back(frame->output);
      }
      return outputs;
    };
    constexpr unsigned kRun = 3;  // frames with the same settings
    for (unsigned number = 0; number < kTrialFrames && !HasFailure(); number += kRun) {
      ChangeSettings();
      ConfigureBoth(encoder, decoder);
      if (number == 0 || Chance(10)) DefineBoth(encoder, decoder);
      std::vector<Container> pictures;
      for (unsigned i = 0; i < kRun; ++i) {
        pictures.push_back(MakeRawFrame(settings.shape, number + i));
      }
      pictures = process(decoder, process(encoder, pictures));
      for (unsigned i = 0; i < kRun; ++i) Check({pictures[i], settings, number + i});
    }
  }
  FinishWithoutPlugin();
}

}  // namespace
}  // namespace vix::test4444
