// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_ENCODERTEST_H
#define TESTS_PLUGIN_ENCODERTEST_H

#include <memory>
#include <vector>

#include "PluginTest.h"
#include "StreamFixtures.h"
#include "VideoEncoderProRes.h"

/// An encoder element and a configuration "initConfig" with NumThreads 0 and variant 3.
class EncoderTest : public PluginTest {
 protected:
  EncoderTest() {
    initConfig->numbers = {{"NumThreads", 0}, {"ProResCodecVariant", 3}};
    fake::TheCodec().compressed = {1, 2, 3, 4, 5, 6, 7};
    fake::TheHost().calls.clear();
  }

  /// Configures the element and defines a 1920x1080 "V210" input.
  void Define() {
    encoder->SetInitConfig(initConfig);
    const auto parameters = std::make_shared<fake::RawParameters>("input");
    parameters->values = DistinctProperties();
    encoder->DefineInput(MakeStream(parameters), "");
    fake::TheHost().calls.clear();
  }

  /// Makes a raw frame with parameters "raw" and buffer "pixels".
  static std::shared_ptr<fake::SampleContainer> MakeFrame(
      vix::FourCC fourcc = vix::kFourCC_V210, vix::ScanMode scanMode = vix::ScanMode::Progressive,
      std::uint32_t width = 1920, std::uint32_t height = 1080, std::size_t count = 1) {
    const auto parameters = std::make_shared<fake::RawParameters>("raw");
    parameters->values.fourcc = fourcc;
    parameters->values.scanMode = scanMode;
    parameters->values.width = width;
    parameters->values.height = height;
    return MakeContainer(
        parameters, std::make_shared<fake::Buffer>("pixels", std::vector<std::uint8_t>(64)), count);
  }

  std::shared_ptr<fake::Instance> config = std::make_shared<fake::Instance>("config");
  std::shared_ptr<fake::Instance> initConfig = std::make_shared<fake::Instance>("initConfig");
  std::shared_ptr<vix::IVideoEncoder> encoder = vix::CreateVideoEncoderProRes(config);
};

#endif  // TESTS_PLUGIN_ENCODERTEST_H
