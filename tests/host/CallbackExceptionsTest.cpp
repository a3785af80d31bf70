// SPDX-License-Identifier: BSD-2-Clause
// Whatever callbacks of a host throw arrives at the call that caused it: memory that ran out and
// other standard exceptions as a VIXError, anything else as it is. Drivers and pools stay usable.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "Drivers.h"
#include "ElementPools.h"
#include "vix/Buffers.h"
#include "vix/CodecHook.h"
#include "vix/Error.h"

namespace vix::test {
namespace {

constexpr int kThrown = 4711;

/// What a callback throws.
struct Thrown {
  std::string name;
  void (*raise)();
  ErrorCode code;  ///< of the VIXError that it becomes; ErrorCode{} = it stays as it is
};

const Thrown kThrownThings[] = {
    {"StandardException", [] { throw std::runtime_error("of the host"); }, ErrorCode::Failed},
    {"NoMemory", [] { throw std::bad_alloc(); }, ErrorCode::OutOfMemory},
    {"Number", [] { throw kThrown; }, ErrorCode{}}};

class CallbackExceptions : public ElementPools, public ::testing::WithParamInterface<Thrown> {
 protected:
  /// Expects that `call` throws what the callback's exception becomes.
  static void ExpectThrown(const std::function<void()>& call) {
    try {
      call();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const VIXError& error) {
      EXPECT_EQ(error.GetCode(), GetParam().code) << error.what();
    } catch (int number) {
      EXPECT_EQ(number, kThrown);
      EXPECT_EQ(GetParam().code, ErrorCode{});
    }
  }
  /// As ExpectThrown(), for work that a host added to a pool: its exceptions stay as they are.
  static void ExpectUnchanged(const std::exception_ptr& error) {
    ASSERT_NE(error, nullptr);
    const std::string name = GetParam().name;
    try {
      std::rethrow_exception(error);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(name, "NoMemory");
    } catch (const std::runtime_error& found) {
      EXPECT_STREQ(found.what(), "of the host");
    } catch (int number) {
      EXPECT_EQ(number, kThrown);
    }
  }
  static void DefineDecoder(ElementDriver& decoder) {
    Configure(decoder);
    decoder.Define(DescribeProRes(kSmall));
  }
};

INSTANTIATE_TEST_SUITE_P(Of, CallbackExceptions, ::testing::ValuesIn(kThrownThings),
                         [](const auto& thrown) { return thrown.param.name; });

TEST_P(CallbackExceptions, OfMemoryReachTheCallThatNeedsIt) {
  bool throws = true;
  SetExtBufferCallbacks({[&](std::size_t bytes) {
                           if (throws) GetParam().raise();
                           return new std::uint8_t[bytes];
                         },
                         [](std::uint8_t* data, std::size_t) { delete[] data; }});
  const auto allocator = GetAllocator("ExtBufferAllocator");
  const auto buffer = CreateBuffer(allocator, nullptr);
  EXPECT_ANY_THROW(buffer->Allocate(100));
  throws = false;
  buffer->Allocate(100);
  EXPECT_EQ(buffer->GetSize(), 100u);
  SetExtBufferCallbacks({});
}

TEST_P(CallbackExceptions, OfFrameMemoryReachTheCallThatPushesTheFrame) {
  static bool throws;
  const FrameMemoryCallbacks memory{nullptr,
                                    [](void*, const FrameMemoryRequest& request) {
                                      if (throws) GetParam().raise();
                                      return FrameMemory{new std::uint8_t[request.bytes], 0};
                                    },
                                    [](void*, std::uint8_t* data) { delete[] data; }};
  throws = true;
  ElementDriver decoder = MakeDecoder();
  decoder.SetFrameMemory(memory);
  DefineDecoder(decoder);
  ExpectThrown([&] { decoder.Push(MakeProResFrame(kSmall, 1)); });
  ElementDriver encoder = MakeEncoder();
  encoder.SetFrameMemory(memory);
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  ExpectThrown([&] { encoder.Push(MakeRawFrame(kSmall, 1)); });
  throws = false;
  ExpectPicture(Process(decoder, MakeProResFrame(kSmall, 2)), kSmall, 2, {});
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 2)), kSmall, 2, ProResCodecVariant::Standard);
}

TEST_P(CallbackExceptions, OfAHookReachTheCallThatPushesTheFrame) {
  struct Hook : ICodecHook {
    void BeginFrame(int) override {
      if (throws) GetParam().raise();
    }
    std::optional<CodecReport> EndFrame() noexcept override { return {}; }
    bool throws = true;
  };
  const auto hook = std::make_shared<Hook>();
  ElementDriver decoder = MakeDecoder();
  decoder.SetCodecHook(hook, 1);
  DefineDecoder(decoder);
  ExpectThrown([&] { decoder.Push(MakeProResFrame(kSmall, 1)); });
  hook->throws = false;
  ExpectPicture(Process(decoder, MakeProResFrame(kSmall, 2)), kSmall, 2, {});
}

TEST_P(CallbackExceptions, OfWorkInAPoolAreThoseOfItsFrame) {
  for (const bool before : {true, false}) {
    ElementPoolOptions options = WithElements(2);
    const auto work = [](const PoolFrame& frame, unsigned) {
      if (*static_cast<unsigned*>(frame.context.get()) == 1) GetParam().raise();
    };
    (before ? options.prepare : options.finish) = work;
    ElementPool pool = MakeDecoders(std::move(options));
    Define(pool);
    for (unsigned i = 0; i < 3; ++i) {
      pool.Submit(MakeFrame(i));
      const auto frame = pool.Receive();
      ASSERT_TRUE(frame);
      if (i == 1) {
        ExpectUnchanged(frame->error);
      } else {
        EXPECT_EQ(frame->error, nullptr);
        ExpectPicture(frame->output, kSmall, i, {});
      }
    }
  }
}

}  // namespace
}  // namespace vix::test
