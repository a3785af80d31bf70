// SPDX-License-Identifier: BSD-2-Clause
// Pools of the plug-in's elements: order, errors, backpressure, interruption.
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "ElementPools.h"
#include "Errors.h"

namespace vix::test {
namespace {

TEST_F(ElementPools, ReturnFramesInOrderWithTheirContext) {
  constexpr unsigned kFrames = 60;
  ElementPool pool = MakeDecoders(WithElements(4));
  Define(pool);
  EXPECT_EQ(pool.GetElements(), 4u);
  std::thread submitter([&] {
    for (unsigned i = 0; i < kFrames; ++i) EXPECT_TRUE(pool.Submit(MakeFrame(i)));
    pool.Flush();
  });
  for (unsigned i = 0; i < kFrames; ++i) {
    const auto frame = pool.Receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->number, i);
    EXPECT_EQ(*static_cast<unsigned*>(frame->context.get()), i);
    EXPECT_EQ(frame->error, nullptr);
    ASSERT_TRUE(frame->report);
    EXPECT_EQ(frame->report->result, 0);
    ExpectPicture(frame->output, kSmall, i, {});
  }
  EXPECT_FALSE(pool.Receive());
  submitter.join();
}

TEST_F(ElementPools, AttachErrorsToTheirFrames) {
  ElementPool pool = MakeDecoders(WithElements(3, 30));
  Define(pool);
  for (unsigned i = 0; i < 30; ++i) {
    pool.Submit(i % 4 == 2 ? MakeTruncatedFrame() : MakeFrame(i));
  }
  for (unsigned i = 0; i < 30; ++i) {
    const auto frame = pool.Receive();
    if (i % 4 != 2) {
      ExpectPicture(frame->output, kSmall, i, {});
      continue;
    }
    const VIXError error = ErrorOf(frame->error);
    EXPECT_THAT(error, IsError(ErrorCode::Truncated, Parts{pool.GetName()}));
    EXPECT_EQ(frame->output, nullptr);
    ASSERT_TRUE(frame->report);
    EXPECT_EQ(error.GetCodecResult(), frame->report->result);
  }
}

TEST_F(ElementPools, AcceptFramesThatWereReceived) {
  ElementPool pool = MakeDecoders(WithElements(1));
  Define(pool);
  pool.Submit(MakeTruncatedFrame());
  auto frame = pool.Receive();
  ASSERT_TRUE(frame->error);
  frame->input = MakeProResFrame(kSmall, 5);
  pool.Submit(std::move(*frame));
  frame = pool.Receive();
  EXPECT_FALSE(frame->error);
  ExpectPicture(frame->output, kSmall, 5, {});
}

TEST_F(ElementPools, RefuseFramesWhileTheyAreFull) {
  ElementPool pool = MakeDecoders(WithElements(2, 3));
  Define(pool);
  EXPECT_EQ(pool.GetMostInFlight(), 3u);
  for (unsigned i = 0; i < 3; ++i) {
    PoolFrame frame = MakeFrame(i);
    EXPECT_TRUE(pool.TrySubmit(frame));
  }
  PoolFrame fourth = MakeFrame(3);
  fourth.output = MakeFrame(4).input;  // as of a frame that the host received before
  EXPECT_FALSE(pool.TrySubmit(fourth));
  EXPECT_TRUE(fourth.input);
  EXPECT_TRUE(fourth.context);
  EXPECT_TRUE(fourth.output);
  EXPECT_EQ(pool.Receive()->number, 0u);
  EXPECT_TRUE(pool.TrySubmit(fourth));
  EXPECT_FALSE(fourth.input);
  for (unsigned i = 1; i < 4; ++i) ExpectPicture(pool.Receive()->output, kSmall, i, {});
  EXPECT_FALSE(pool.TryReceive());
}

TEST_F(ElementPools, RefuseFramesOutOfOrder) {
  ElementPool pool = MakeDecoders(WithElements(1));
  PoolFrame frame = MakeFrame(1);
  const auto wrongOrder = [&](const char* text) {
    return IsError(ErrorCode::WrongOrder, Parts{text});
  };
  EXPECT_THAT(ErrorOf([&] { pool.Define(DescribeProRes(kSmall)); }), wrongOrder("Configure"));
  Configure(pool);
  EXPECT_THAT(ErrorOf([&] { static_cast<void>(pool.TrySubmit(frame)); }),
              wrongOrder("call Define"));
  pool.Define(DescribeProRes(kSmall));
  pool.Submit(MakeFrame(0));
  pool.Flush();
  EXPECT_THAT(ErrorOf([&] { static_cast<void>(pool.TrySubmit(frame)); }),
              wrongOrder("after Flush"));
  EXPECT_TRUE(frame.input) << "a refused frame stays with the host";
  EXPECT_TRUE(pool.Receive());
  EXPECT_FALSE(pool.Receive());
  EXPECT_TRUE(pool.TrySubmit(frame));
  ExpectPicture(pool.Receive()->output, kSmall, 1, {});
}

TEST_F(ElementPools, RefuseWhatDriversRefuse) {
  ElementPool pool = MakeEncoders(WithElements(2));
  EXPECT_THAT(ErrorOf([&] { pool.Configure(nullptr); }),
              IsError(ErrorCode::BadArgument, Parts{"null"}));
  EXPECT_THAT(ErrorOf([&] { Configure(pool, SetVariant(ProResCodecVariant{9})); }),
              IsError(ErrorCode::BadArgument, Parts{"ProResCodecVariant"}));
  Configure(pool, SetVariant(ProResCodecVariant::HQ));
  EXPECT_THAT(ErrorOf([&] { pool.Define(DescribeRaw({.width = 0})); }),
              IsError(ErrorCode::BadArgument, Parts{"width of 0"}));
  pool.Define(DescribeRaw(kSmall));
  ErrorOf([&] { Configure(pool, SetVariant(ProResCodecVariant{9})); });
  ErrorOf([&] { pool.Define(DescribeProRes({.width = 128})); });
  PoolFrame frame;
  frame.input = MakeRawFrame(kSmall, 1);
  pool.Submit(std::move(frame));
  ExpectFrame(pool.Receive()->output, kSmall, 1, ProResCodecVariant::HQ);

  ElementPoolOptions options;
  options.memory.release = [](void*, std::uint8_t*) {};
  EXPECT_THAT(ErrorOf([&] { MakeDecoders(options); }),
              IsError(ErrorCode::BadArgument, Parts{"both callbacks"}));
  EXPECT_THAT(ErrorOf([] { ElementPool(ElementFactoryType::VideoEncoder, "vix", "None", {}); }),
              IsError(ErrorCode::NotFound, Parts{"VideoEncoder.vix.None"}));
}

TEST_F(ElementPools, AreInterruptedDuringBlockingCalls) {
  ElementPool pool = MakeDecoders(WithElements(2, 2));
  Define(pool);
  std::promise<void> isFull;
  std::promise<bool> submitted;
  std::thread submitter([&] {
    for (unsigned i = 0; i < 2; ++i) pool.Submit(MakeFrame(i));
    isFull.set_value();
    submitted.set_value(pool.Submit(MakeFrame(2)));
  });
  isFull.get_future().get();
  pool.Interrupt();
  EXPECT_FALSE(submitted.get_future().get());
  submitter.join();
  EXPECT_FALSE(pool.Receive());
  EXPECT_FALSE(pool.TryReceive());

  pool.Restart();
  std::promise<bool> received;
  std::thread receiver([&] { received.set_value(pool.Receive().has_value()); });
  pool.Interrupt();
  EXPECT_FALSE(received.get_future().get());
  receiver.join();
  pool.Restart();
  pool.Submit(MakeFrame(7));
  const auto frame = pool.Receive();
  EXPECT_EQ(frame->number, 0u);
  ExpectPicture(frame->output, kSmall, 7, {});
}

TEST_F(ElementPools, DropTheirFramesWhenTheyAreDestroyed) {
  const auto context = std::make_shared<unsigned>(1);
  {
    ElementPool pool = MakeDecoders(WithElements(2, 6));
    Define(pool);
    for (unsigned i = 0; i < 6; ++i) {
      PoolFrame frame = MakeFrame(i);
      frame.context = context;
      pool.Submit(std::move(frame));
    }
  }
  EXPECT_EQ(context.use_count(), 1);
}

}  // namespace
}  // namespace vix::test
