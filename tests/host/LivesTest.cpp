// SPDX-License-Identifier: BSD-2-Clause
// Many short lives of codec handles, drivers and pools on several threads at once, some of which
// end in the middle of their work. The thread sanitizer detects more faults here than the
// expectations do. VIX_TEST_LIVES sets how many.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Drivers.h"
#include "ElementPools.h"
#include "ProRes/ProRes.h"
#include "vix/ProResCodecHook.h"

namespace vix::test {
namespace {

constexpr unsigned kThreads = 4;
/// Two rows of slices, fewer than the threads of most handles.
constexpr Shape kFewSlices{.width = 96, .height = 32};

unsigned CountLives() {
  const char* const text = std::getenv("VIX_TEST_LIVES");
  return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : 200;
}

/// Calls `live` with numbers from 0 on, on several threads at once.
void Live(const std::function<void(unsigned)>& live) {
  std::atomic<unsigned> next = 0;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (unsigned life = next++; life < CountLives(); life = next++) live(life);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(Drivers, LiveManyLivesOfHandles) {
  const auto frame = EncodeDirectly(kFewSlices, 1, ProResCodecVariant::Standard);
  Live([&](unsigned life) {
    std::array<std::uint8_t, 256 * 32> picture{};
    PixelBufferRecord destination{picture.data(), 256, kWPRPixelFormatV210, 96, 32};
    WPRDecoderHandle const handle = WPROpenDecoder(static_cast<std::int32_t>(life % 9), nullptr);
    for (unsigned i = 0; i < life % 3; ++i) {
      // Every other frame is truncated or damaged.
      auto bytes = frame;
      if (i % 2 == 1) bytes[bytes.size() / 2] ^= 0x55;
      const auto size = static_cast<std::uint32_t>(bytes.size() - life % 2);
      const std::int32_t result = WPRDecodeFrame(handle, bytes.data(), size, &destination, 0);
      EXPECT_EQ(result < 0, life % 2 == 1) << result;
    }
    WPRCloseDecoder(handle);
  });
}

TEST_F(Drivers, LiveManyLives) {
  const Container raw = MakeRawFrame(kFewSlices, 1);
  const Container coded = MakeProResFrame(kFewSlices, 1);
  Live([&](unsigned life) {
    ElementDriver driver = life % 2 == 0 ? MakeEncoder() : MakeDecoder();
    driver.SetCodecHook(std::make_shared<ProResCodecHook>(), static_cast<int>(life % 9));
    Configure(driver);
    driver.Define(life % 2 == 0 ? DescribeRaw(kFewSlices) : DescribeProRes(kFewSlices));
    for (unsigned i = 0; i < life % 3; ++i) {
      if (i > 0) driver.Pull();
      driver.Push(life % 2 == 0 ? raw : coded);
    }
    if (life % 4 < 2) driver.Release();  // else it ends with frames that nobody pulls
  });
}

TEST_F(ElementPools, LiveManyLivesThatEndInTheMiddleOfTheirWork) {
  const Container coded = MakeProResFrame(kFewSlices, 1);
  Live([&](unsigned life) {
    ElementPool pool = MakeDecoders(WithElements(1 + life % 4, 6));
    Define(pool, kFewSlices);
    for (unsigned i = 0; i < life % 5; ++i) {
      PoolFrame frame;
      frame.input = coded;
      EXPECT_TRUE(pool.Submit(std::move(frame)));
    }
    for (unsigned i = 0; i < life % 3 && i < life % 5; ++i) {
      const auto frame = pool.Receive();
      ASSERT_TRUE(frame);
      EXPECT_EQ(frame->error, nullptr);
    }
    if (life % 7 == 0) pool.Flush();
  });
}

}  // namespace
}  // namespace vix::test
