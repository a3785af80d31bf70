// SPDX-License-Identifier: BSD-2-Clause
// The stack that calls need, on threads of hosts with small ones.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProRes.h"

namespace prores::test {
namespace {

constexpr std::size_t kStackBytes = std::size_t{128} << 10;
constexpr std::uint8_t kUnused = 0xA5;

constexpr std::size_t kMostBytes = std::size_t{48} << 10;

/// Runs `work` on a thread with a stack of 128 KiB and an inaccessible page below it. Returns the
/// bytes of it that were used.
std::size_t MeasureStack(const std::function<void()>& work) {
  const std::size_t page = 4096;
  void* const memory =
      mmap(nullptr, kStackBytes + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  mprotect(memory, page, PROT_NONE);
  const std::span stack(static_cast<std::uint8_t*>(memory) + page, kStackBytes);
  std::ranges::fill(stack, kUnused);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, stack.data(), stack.size());
  pthread_t thread{};
  const auto run = [](void* data) -> void* {
    (*static_cast<const std::function<void()>*>(data))();
    return nullptr;
  };
  EXPECT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  const auto untouched = std::ranges::find_if(stack, [](std::uint8_t b) { return b != kUnused; });
  const auto used = static_cast<std::size_t>(stack.end() - untouched);
  munmap(memory, kStackBytes + page);
  return used;
}

TEST(Stack, FortyEightKibibytesSufficeForEveryCall) {
  const DeepPicture picture(kWPRPixelFormatB64a, 640, 96, Colours(Busy(1)));
  DeepPicture decoded(kWPRPixelFormatB64a, 640, 96);
  Bytes frame;
  const std::size_t forEncoding = MeasureStack([&] {
    const EncoderOwner encoder = Open();
    Set(encoder.get(), kWPRAlpha16);
    frame = Encode(encoder.get(), {kWPRCodec4444XQ, kWPRTopFieldFirst}, picture);
  });
  const std::size_t forDecoding = MeasureStack([&] { Decode(frame, decoded); });
  // Concealment and its reports.
  for (std::size_t i = frame.size() * 3 / 4; i < frame.size(); i += 7) frame[i] ^= 0xFF;
  const std::size_t forDamage = MeasureStack([&] {
    WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
    PixelBufferRecord destination = decoded.MutableRecord();
    EXPECT_GT(WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                             &destination, 0),
              0);
    WPRCloseDecoder(decoder);
  });
  RecordProperty("encoding", std::to_string(forEncoding));
  RecordProperty("decoding", std::to_string(forDecoding));
  RecordProperty("damage", std::to_string(forDamage));
  EXPECT_LE(forEncoding, kMostBytes);
  EXPECT_LE(forDecoding, kMostBytes);
  EXPECT_LE(forDamage, kMostBytes);
}

}  // namespace
}  // namespace prores::test
