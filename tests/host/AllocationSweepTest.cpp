// SPDX-License-Identifier: BSD-2-Clause
// The whole life of drivers and pools, while any of their allocations fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "Allocations.h"
#include "Drivers.h"
#include "ElementPools.h"
#include "vix/Error.h"

namespace vix::test {
namespace {

using prores::test::FailingAllocations;

/// Rows without padding, whose bytes are undefined.
constexpr Shape kUnpadded{.width = 96};

/// Lets each allocation of `life` be the first one that fails. What `life` throws must say that
/// memory ran out.
void SweepAllocations(const std::function<void()>& life) {
  bool hasFailed = true;
  long survived = 0;
  for (; hasFailed; ++survived) {
    ErrorCode code = ErrorCode::OutOfMemory;
    const FailingAllocations failing(survived);
    try {
      life();
    } catch (const VIXError& error) {
      code = error.GetCode();
    } catch (const std::bad_alloc&) {
      // not even the memory for an error
    }
    hasFailed = failing.HaveFailed();
    ASSERT_EQ(code, ErrorCode::OutOfMemory) << survived;
  }
  EXPECT_GT(survived, 30);
}

/// Processes frames with a driver; its outputs must be as expected.
void ProcessAll(ElementDriver driver, const Stream& stream, const std::vector<Container>& frames,
                const std::vector<std::vector<std::uint8_t>>& expected) {
  Configure(driver);
  driver.Define(stream);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const Container output = Process(driver, frames[i]);
    ASSERT_TRUE(output);
    const auto buffer = SampleOf(output)->GetBuffer();
    ASSERT_EQ(buffer->GetSize(), expected[i].size());
    ASSERT_TRUE(std::equal(expected[i].begin(), expected[i].end(), buffer->GetData()));
  }
}

TEST_F(Drivers, MayRunOutOfMemoryAnywhereWhileEncoding) {
  const std::vector frames{MakeRawFrame(kUnpadded, 1), MakeRawFrame(kUnpadded, 2)};
  std::vector<std::vector<std::uint8_t>> expected;
  for (const unsigned i : {1U, 2U}) {
    expected.push_back(EncodeDirectly(kUnpadded, i, ProResCodecVariant::Standard));
  }
  const Stream stream = DescribeRaw(kUnpadded);
  SweepAllocations([&] { ProcessAll(MakeEncoder(), stream, frames, expected); });
  ProcessAll(MakeEncoder(), stream, frames, expected);
}

TEST_F(Drivers, MayRunOutOfMemoryAnywhereWhileDecoding) {
  const std::vector frames{MakeProResFrame(kUnpadded, 1), MakeProResFrame(kUnpadded, 2)};
  std::vector<std::vector<std::uint8_t>> expected;
  for (const Container& frame : frames) {
    ElementDriver driver = MakeDecoder();
    Configure(driver);
    driver.Define(DescribeProRes(kUnpadded));
    expected.push_back(BytesOf(Process(driver, frame)));
  }
  const Stream stream = DescribeProRes(kUnpadded);
  SweepAllocations([&] { ProcessAll(MakeDecoder(), stream, frames, expected); });
}

TEST_F(ElementPools, MayRunOutOfMemoryAnywhere) {
  constexpr unsigned kFrames = 3;
  std::vector<Container> frames;
  for (unsigned i = 0; i < kFrames; ++i) frames.push_back(MakeProResFrame(kUnpadded, i));
  const Stream stream = DescribeProRes(kUnpadded);
  SweepAllocations([&] {
    ElementPool pool = MakeDecoders(WithElements(2, kFrames));
    Configure(pool);
    pool.Define(stream);
    for (const Container& frame : frames) {
      PoolFrame submitted;
      submitted.input = frame;
      pool.Submit(std::move(submitted));
    }
    pool.Flush();
    unsigned received = 0;
    while (const auto frame = pool.Receive()) {
      EXPECT_EQ(frame->number, received++);
      EXPECT_NE(frame->error == nullptr, frame->output == nullptr);
      if (frame->error) std::rethrow_exception(frame->error);
    }
    EXPECT_EQ(received, kFrames);
  });
}

}  // namespace
}  // namespace vix::test
