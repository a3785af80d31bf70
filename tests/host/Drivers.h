// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_DRIVERS_H
#define TESTS_HOST_DRIVERS_H

#include <gtest/gtest.h>

#include <memory>

#include "SilentLog.h"
#include "Streams.h"

namespace vix::test {

/// An encoder and a decoder, which are not configured yet, and numbered frames to process.
class Drivers : public ::testing::Test {
 protected:
  void ExpectEncodes(const Shape& shape = kSmall,
                     ProResCodecVariant variant = ProResCodecVariant::Standard) {
    ++number;
    ExpectFrame(Process(encoder, MakeRawFrame(shape, number)), shape, number, variant);
  }
  void ExpectDecodes(const Shape& shape = kSmall, const Decoding& decoding = {}) {
    ++number;
    ExpectPicture(Process(decoder, MakeProResFrame(shape, number)), shape, number, decoding);
  }

  SilentLog silentLog;
  std::shared_ptr<IPlugin> plugin = LoadProRes();
  ElementDriver encoder = MakeEncoder();
  ElementDriver decoder = MakeDecoder();
  unsigned number = 0;
};

}  // namespace vix::test

#endif  // TESTS_HOST_DRIVERS_H
