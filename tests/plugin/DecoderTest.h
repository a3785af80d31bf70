// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_DECODERTEST_H
#define TESTS_PLUGIN_DECODERTEST_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CompressedFrames.h"
#include "PluginTest.h"
#include "StreamFixtures.h"
#include "VideoDecoderProRes.h"

inline const std::string kV210 = fake::Join(vix::kFourCC_V210);

/// A decoder element and a configuration "initConfig" with SkipField false.
class DecoderTest : public PluginTest {
 public:
  DecoderTest() {
    initConfig->numbers = {{"SkipField", 0}};
    parameters->values = DistinctProperties();
    fake::TheHost().calls.clear();
  }

  /// Configures the element and defines a ProRes input.
  void Define() {
    decoder->SetInitConfig(initConfig);
    decoder->DefineInput(MakeStream(parameters), "");
    fake::TheHost().calls.clear();
  }
  void DefineSkippingFields() {
    initConfig->numbers["SkipField"] = 1;
    Define();
  }

  static std::shared_ptr<fake::Buffer> MakeInput(const std::vector<std::uint8_t>& frame) {
    return std::make_shared<fake::Buffer>("input", frame);
  }
  void Push(const std::vector<std::uint8_t>& frame) {
    decoder->PushSample(MakeContainer(nullptr, MakeInput(frame)));
  }
  void Push(const FrameShape& shape) { Push(MakeCompressedFrame(shape)); }

  /// Expects a failure report with this result code.
  void ExpectResult(int result, const std::vector<std::uint8_t>& frame) {
    ExpectReport(
        [&] { Push(frame); },
        "[Failed to decode frame] [ value1 (0) is not == value2 (" + std::to_string(result) + ") ]",
        "VideoDecoderProRes");
  }
  void ExpectResult(int result, const FrameShape& shape) {
    ExpectResult(result, MakeCompressedFrame(shape));
  }

  /// Returns the arguments of the last WPRDecodeFrame().
  static const fake::DecodeCall& LastDecoded() { return fake::TheCodec().decoded.back(); }

  std::shared_ptr<fake::Instance> config = std::make_shared<fake::Instance>("config");
  std::shared_ptr<fake::Instance> initConfig = std::make_shared<fake::Instance>("initConfig");
  std::shared_ptr<fake::ProResParameters> parameters =
      std::make_shared<fake::ProResParameters>("input");
  std::shared_ptr<vix::IVideoDecoder> decoder = vix::CreateVideoDecoderProRes(config);
};

#endif  // TESTS_PLUGIN_DECODERTEST_H
