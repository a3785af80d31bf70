// SPDX-License-Identifier: BSD-2-Clause
// Pools of the plug-in's elements: what they do with frames, on which threads, in which memory.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <stdexcept>

#include "ElementPools.h"
#include "Threads.h"

namespace vix::test {
namespace {

TEST_F(ElementPools, ApplyChangesFromTheNextFrameOn) {
  constexpr unsigned kFrames = 90;
  const Shape shapes[] = {kSmall, {.width = 96, .height = 48}, kInterlaced};
  ElementPool pool = MakeDecoders(WithElements(4, kFrames));
  const auto shapeOf = [&](unsigned i) { return shapes[i / 5 % std::size(shapes)]; };
  const auto formatOf = [](unsigned i) { return i / 7 % 2 == 0 ? kFourCC_V210 : kFourCC_UYVY; };
  for (unsigned i = 0; i < kFrames; ++i) {
    if (i % 7 == 0) Configure(pool, SetFormat(formatOf(i)));
    if (i % 5 == 0) pool.Define(DescribeProRes(shapeOf(i)));
    pool.Submit(MakeFrame(i, shapeOf(i)));
  }
  for (unsigned i = 0; i < kFrames; ++i) {
    ExpectPicture(pool.Receive()->output, shapeOf(i), i, {.fourcc = formatOf(i)});
  }
}

TEST_F(ElementPools, FollowTheInputIfTheHostWants) {
  ElementPoolOptions options = WithElements(3, 30);
  options.inputChange = InputChange::Redefine;
  ElementPool pool = MakeDecoders(options);
  Define(pool);
  const auto shapeOf = [](unsigned i) { return i % 4 == 3 ? kInterlaced : kSmall; };
  for (unsigned i = 0; i < 30; ++i) pool.Submit(MakeFrame(i, shapeOf(i)));
  for (unsigned i = 0; i < 30; ++i) ExpectPicture(pool.Receive()->output, shapeOf(i), i, {});
}

/// Returns the encoded frames of a pool of that size, received in either way.
std::vector<std::vector<std::uint8_t>> Encode(ElementPool pool, bool isPolled) {
  constexpr unsigned kFrames = 24;
  constexpr Shape kShape{.width = 512, .height = 64};  // of several slices
  std::vector<std::vector<std::uint8_t>> frames;
  const auto take = [&](const std::optional<PoolFrame>& frame) {
    if (frame) frames.push_back(BytesOf(frame->output));
  };
  Configure(pool, SetVariant(ProResCodecVariant::LT));
  pool.Define(DescribeRaw(kShape));
  for (unsigned i = 0; i < kFrames; ++i) {
    PoolFrame frame;
    frame.input = MakeRawFrame(kShape, i);
    while (!pool.TrySubmit(frame)) take(isPolled ? pool.TryReceive() : pool.Receive());
  }
  while (isPolled && frames.size() < kFrames) take(pool.TryReceive());
  pool.Flush();
  while (const auto frame = pool.Receive()) take(frame);
  EXPECT_EQ(frames.size(), kFrames);
  return frames;
}

TEST_F(ElementPools, GiveTheSameBytesForEverySizeAndUse) {
  const auto expected = Encode(MakeEncoders(WithElements(1)), false);
  for (const unsigned elements : {1u, 2u, 4u}) {
    for (const bool isPolled : {false, true}) {
      EXPECT_EQ(Encode(MakeEncoders(WithElements(elements)), isPolled), expected);
    }
    ElementPoolOptions options = WithElements(elements, 3);
    options.threadsPerFrame = 2;
    EXPECT_EQ(Encode(MakeEncoders(options), false), expected);
  }
  EXPECT_EQ(Encode(MakeEncoders(WithElements(2, 0, true)), false), expected);
}

TEST_F(ElementPools, RunOnTheReceivingThreadAlone) {
  ElementPool pool = MakeDecoders(WithElements(1, 0, true));
  Define(pool, kLarge);
  for (unsigned i = 0; i < 6; ++i) {
    pool.Submit(MakeFrame(i, kLarge));
    ExpectPicture(pool.Receive()->output, kLarge, i, {});
  }
  EXPECT_TRUE(HasOwnThreads(0));
}

TEST_F(ElementPools, StartAsManyThreadsAsTheyAreToldTo) {
  for (const int threadsPerFrame : {1, 3}) {
    ElementPoolOptions options = WithElements(1);
    options.threadsPerFrame = threadsPerFrame;
    ElementPool pool = MakeDecoders(options);
    Define(pool, kLarge);
    pool.Submit(MakeFrame(1, kLarge));
    ExpectPicture(pool.Receive()->output, kLarge, 1, {});
    EXPECT_TRUE(HasOwnThreads(threadsPerFrame)) << threadsPerFrame;
  }
  EXPECT_TRUE(HasOwnThreads(0));
}

TEST_F(ElementPools, LetTheHostWorkBeforeAndAfterTheElement) {
  constexpr unsigned kFrames = 12;
  ElementPoolOptions options = WithElements(3, kFrames);
  options.prepare = [](PoolFrame& frame, unsigned element) {
    EXPECT_LT(element, 3u);
    const unsigned number = *static_cast<unsigned*>(frame.context.get());
    if (number == 4) throw std::runtime_error("not prepared");
    if (number != 5) frame.input = MakeProResFrame(kSmall, number);
    if (number == 6) frame.input = MakeTruncatedFrame().input;
    if (number == 8) frame.input = MakeTruncatedFrame().input;
  };
  options.finish = [](PoolFrame& frame, unsigned) {
    const unsigned number = *static_cast<unsigned*>(frame.context.get());
    if (number == 6) frame.error = nullptr;  // the host conceals it
    if (number == 7) throw std::runtime_error("not finished");
  };
  ElementPool pool = MakeDecoders(options);
  Define(pool);
  for (unsigned i = 0; i < kFrames; ++i) {
    PoolFrame frame;
    frame.context = std::make_shared<unsigned>(i);
    pool.Submit(std::move(frame));
  }
  for (unsigned i = 0; i < kFrames; ++i) {
    const auto frame = pool.Receive();
    EXPECT_EQ(frame->error != nullptr, (std::set{4u, 7u, 8u}.contains(i))) << i;
    EXPECT_EQ(frame->output == nullptr, (std::set{4u, 5u, 6u, 8u}.contains(i))) << i;
    if (frame->output) ExpectPicture(frame->output, kSmall, i, {});
  }
}

TEST_F(ElementPools, WriteIntoMemoryOfTheHost) {
  struct Memory {
    std::atomic<int> live = 0;
  } memory;
  ElementPoolOptions options = WithElements(2, 8);
  options.memory = {&memory,
                    [](void* user, const FrameMemoryRequest& request) {
                      ++static_cast<Memory*>(user)->live;
                      return FrameMemory{new std::uint8_t[request.bytes]};
                    },
                    [](void* user, std::uint8_t* data) {
                      --static_cast<Memory*>(user)->live;
                      delete[] data;
                    }};
  {
    ElementPool pool = MakeDecoders(options);
    Define(pool);
    for (unsigned i = 0; i < 8; ++i) pool.Submit(MakeFrame(i));
    for (unsigned i = 0; i < 8; ++i) ExpectPicture(pool.Receive()->output, kSmall, i, {});
    EXPECT_GT(memory.live, 0) << "elements keep their last picture";
  }
  EXPECT_EQ(memory.live, 0);
}

}  // namespace
}  // namespace vix::test
