// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_ELEMENTPOOLS_H
#define TESTS_HOST_ELEMENTPOOLS_H

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "SilentLog.h"
#include "Streams.h"
#include "vix/ElementPool.h"
#include "vix/ProResCodecHook.h"

namespace vix::test {

class ElementPools : public ::testing::Test {
 protected:
  static ElementPool MakeDecoders(ElementPoolOptions options) {
    return {ElementFactoryType::VideoDecoder, "vix", ProResType(), std::move(options)};
  }
  static ElementPool MakeEncoders(ElementPoolOptions options) {
    return {ElementFactoryType::VideoEncoder, "vix", ProResType(), std::move(options)};
  }
  static ElementPoolOptions WithElements(unsigned elements, std::size_t mostInFlight = 0,
                                         bool receiverWorks = false) {
    ElementPoolOptions options;
    options.size = {elements, mostInFlight, receiverWorks};
    options.codecHook = std::make_shared<ProResCodecHook>();
    return options;
  }
  static void Define(ElementPool& decoders, const Shape& shape = kSmall) {
    Configure(decoders);
    decoders.Define(DescribeProRes(shape));
  }
  static PoolFrame MakeFrame(unsigned number, const Shape& shape = kSmall) {
    PoolFrame frame;
    frame.input = MakeProResFrame(shape, number);
    frame.context = std::make_shared<unsigned>(number);
    return frame;
  }
  /// Returns a frame that no decoder accepts.
  static PoolFrame MakeTruncatedFrame() {
    auto bytes = EncodeDirectly(kSmall, 1, ProResCodecVariant::Standard);
    bytes.resize(bytes.size() / 2);
    PoolFrame frame;
    frame.input = Wrap(bytes, DescribeProRes(kSmall));
    return frame;
  }

  SilentLog silentLog;
  std::shared_ptr<IPlugin> plugin = LoadProRes();
};

}  // namespace vix::test

#endif  // TESTS_HOST_ELEMENTPOOLS_H
