// SPDX-License-Identifier: BSD-2-Clause
// Pools of the elements: order, pictures and errors of frames that are processed side by side.
#include <gtest/gtest.h>

#include "Errors.h"
#include "Streams.h"
#include "vix/ElementPool.h"
#include "vix/ProResCodecHook.h"

namespace vix::test4444 {
namespace {

constexpr unsigned kFrames = 12;

class Pools4444 : public Elements {
 protected:
  static ElementPool MakePool(ElementFactoryType factoryType, int threadsPerFrame) {
    ElementPoolOptions options;
    options.size = {3, 0, false};
    options.threadsPerFrame = threadsPerFrame;
    options.codecHook = std::make_shared<ProResCodecHook>();
    return {factoryType, kImplementation, kType, options};
  }
  /// Processes the frames, which come out in their order.
  static std::vector<PoolFrame> ProcessAll(ElementPool& pool,
                                           const std::vector<Container>& inputs) {
    std::vector<PoolFrame> outputs;
    for (const Container& input : inputs) {
      PoolFrame frame;
      frame.input = input;
      while (!pool.TrySubmit(frame)) outputs.push_back(pool.Receive().value());
    }
    pool.Flush();
    while (auto frame = pool.Receive()) outputs.push_back(std::move(*frame));
    return outputs;
  }
};

TEST_F(Pools4444, KeepAlphaExactlyAndColoursClosely) {
  for (const FourCC fourcc : {kFourCC_Y416, kFourCC_b64A}) {
    for (const int threads : {1, 2}) {
      const Shape shape{.width = 96, .height = 48, .fourcc = fourcc};
      ElementPool encoders = MakePool(ElementFactoryType::VideoEncoder, threads);
      Configure(encoders);
      encoders.Define(DescribeRaw(shape));
      std::vector<Container> inputs;
      for (unsigned number = 0; number < kFrames; ++number) {
        inputs.push_back(MakeRawFrame(shape, number));
      }
      std::vector<Container> frames;
      for (const PoolFrame& frame : ProcessAll(encoders, inputs)) frames.push_back(frame.output);
      ASSERT_EQ(frames.size(), kFrames);
      ElementPool decoders = MakePool(ElementFactoryType::VideoDecoder, threads);
      Configure(decoders, SetFourCC("OutputFourCC", fourcc));
      decoders.Define(DescribeProRes(shape));
      const auto pictures = ProcessAll(decoders, frames);
      ASSERT_EQ(pictures.size(), kFrames);
      for (unsigned number = 0; number < kFrames; ++number) {
        ExpectPicture(pictures[number].output, shape, number);
      }
    }
  }
}

TEST_F(Pools4444, ApplyNewSettingsToTheFramesAfterThem) {
  ElementPool encoders = MakePool(ElementFactoryType::VideoEncoder, 1);
  for (const int bits : {16, 8, 0}) {
    Configure(encoders, SetInt("AlphaBits", bits));
    encoders.Define(DescribeRaw({}));
    const auto frames = ProcessAll(encoders, {MakeRawFrame({}, 1), MakeRawFrame({}, 2)});
    ASSERT_EQ(frames.size(), 2u);
    ExpectPicture(Decode(frames[0].output, {}), {}, 1, bits);
    ExpectPicture(Decode(frames[1].output, {}), {}, 2, bits);
  }
}

TEST_F(Pools4444, ReportAFrameThatFailsAndDecodeTheOthers) {
  ElementPool decoders = MakePool(ElementFactoryType::VideoDecoder, 1);
  Configure(decoders);
  decoders.Define(DescribeProRes({}));
  Bytes truncated = BytesOf(Encode({}, 1));
  truncated.pop_back();
  const auto pictures =
      ProcessAll(decoders, {Encode({}, 0), Wrap(truncated, DescribeProRes({})), Encode({}, 2)});
  ASSERT_EQ(pictures.size(), 3u);
  ExpectPicture(pictures[0].output, {}, 0);
  EXPECT_EQ(test::ErrorOf(pictures[1].error).GetCode(), ErrorCode::Truncated);
  ExpectPicture(pictures[2].output, {}, 2);
}

}  // namespace
}  // namespace vix::test4444
