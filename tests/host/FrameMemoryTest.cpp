// SPDX-License-Identifier: BSD-2-Clause
// Output of drivers in memory of the host.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include "Errors.h"
#include "SilentLog.h"
#include "Streams.h"

namespace vix::test {
namespace {

constexpr std::uint8_t kUntouched = 0xa5;

/// Memory of a host, with a record of what drivers requested.
class Memory {
 public:
  ~Memory() { EXPECT_EQ(CountLive(), 0) << "blocks were not released"; }

  FrameMemoryCallbacks GetCallbacks() {
    return {this,
            [](void* user, const FrameMemoryRequest& request) {
              return static_cast<Memory*>(user)->Allocate(request);
            },
            [](void* user, std::uint8_t* data) { static_cast<Memory*>(user)->Release(data); }};
  }
  bool Holds(const std::uint8_t* data) const { return blocks_.contains(data); }
  std::ptrdiff_t CountLive() const { return std::ssize(blocks_); }

  std::vector<FrameMemoryRequest> requests;
  int releases = 0;
  bool isExhausted = false;
  std::uint32_t stride = 0;  ///< of the next blocks; 0 = as requested

 private:
  FrameMemory Allocate(const FrameMemoryRequest& request) {
    requests.push_back(request);
    if (isExhausted) return {};
    const std::size_t bytes =
        std::max<std::size_t>(request.bytes, std::size_t{stride} * request.height);
    auto block = std::make_unique<std::uint8_t[]>(bytes);
    std::memset(block.get(), kUntouched, bytes);
    std::uint8_t* const data = block.get();
    blocks_.emplace(data, std::move(block));
    return {data, stride};
  }
  void Release(std::uint8_t* data) {
    ++releases;
    EXPECT_EQ(blocks_.erase(data), 1u) << "released twice, or never allocated";
  }

  std::map<const std::uint8_t*, std::unique_ptr<std::uint8_t[]>> blocks_;
};

class FrameMemories : public ::testing::Test {
 protected:
  void DefineDecoder(const Shape& shape = kSmall) {
    decoder.SetFrameMemory(memory.GetCallbacks());
    Configure(decoder);
    decoder.Define(DescribeProRes(shape));
  }
  Container Decode(unsigned number, const Shape& shape = kSmall) {
    return Process(decoder, MakeProResFrame(shape, number));
  }
  static const std::uint8_t* DataOf(const Container& container) {
    return SampleOf(container)->GetBuffer()->GetData();
  }

  SilentLog silentLog;
  std::shared_ptr<IPlugin> plugin = LoadProRes();
  Memory memory;
  ElementDriver decoder = MakeDecoder();
  ElementDriver encoder = MakeEncoder();
};

TEST_F(FrameMemories, HoldDecodedPicturesWithoutACopy) {
  DefineDecoder();
  const Container picture = Decode(1);
  ExpectPicture(picture, kSmall, 1, {});
  EXPECT_TRUE(memory.Holds(DataOf(picture)));
  ASSERT_EQ(memory.requests.size(), 1u);
  const FrameMemoryRequest& request = memory.requests.front();
  EXPECT_EQ(request.fourcc, kFourCC_V210);
  EXPECT_EQ(request.width, kSmall.width);
  EXPECT_EQ(request.height, kSmall.height);
  EXPECT_EQ(request.stride, 256u);
  EXPECT_EQ(request.bytes, 256u * kSmall.height);
}

TEST_F(FrameMemories, AreRequestedForFieldsAndOtherFormats) {
  DefineDecoder(kInterlaced);
  Configure(decoder, [](auto& config) {
    config.SetBool("SkipField", true);
    config.SetFourCC("OutputFourCC", kFourCC_UYVY);
  });
  const Container picture = Decode(1, kInterlaced);
  ExpectPicture(picture, kInterlaced, 1, {.fourcc = kFourCC_UYVY, .skipField = true});
  const FrameMemoryRequest& request = memory.requests.back();
  EXPECT_EQ(request.fourcc, kFourCC_UYVY);
  EXPECT_EQ(request.height, kInterlaced.height / 2);
  EXPECT_EQ(request.stride, 128u);
  EXPECT_EQ(request.bytes, 128u * kInterlaced.height / 2);
}

TEST_F(FrameMemories, FollowChangesOfTheStream) {
  DefineDecoder();
  decoder.SetInputChange(InputChange::Redefine);
  const Shape other{.width = 100, .height = 50};
  for (const Shape& shape : {kSmall, other, kSmall}) {
    const Container picture = Decode(1, shape);
    ExpectPicture(picture, shape, 1, {});
    EXPECT_TRUE(memory.Holds(DataOf(picture)));
    EXPECT_EQ(memory.requests.back().width, shape.width);
  }
}

TEST_F(FrameMemories, WithAnotherStrideGetACopyWithoutPadding) {
  DefineDecoder();
  memory.stride = 256 + 64;
  const Container picture = Decode(1);
  ExpectPicture(picture, kSmall, 1, {.stride = memory.stride});
  EXPECT_TRUE(memory.Holds(DataOf(picture)));
  for (std::uint32_t row = 0; row < kSmall.height; ++row) {
    const std::uint8_t* const padding = DataOf(picture) + row * memory.stride + 256;
    EXPECT_EQ(std::count(padding, padding + 64, kUntouched), 64) << row;
  }
  memory.stride = 0;
  ExpectPicture(Decode(2), kSmall, 2, {});
}

TEST_F(FrameMemories, WithTooSmallAStrideAreRefused) {
  DefineDecoder();
  memory.stride = 128;
  EXPECT_THAT(ErrorOf([&] { Decode(1); }),
              IsError(ErrorCode::BadArgument, Parts{decoder.GetName(), "128", "256"}));
  EXPECT_EQ(memory.CountLive(), 0);
  memory.stride = 0x90000000;  // rows of 4 GiB: the block is not allocated that large, nor written
  EXPECT_THAT(ErrorOf([&] {
                const FrameMemoryCallbacks callbacks{
                    &memory,
                    [](void* user, const FrameMemoryRequest&) {
                      static std::uint8_t byte;
                      return FrameMemory{&byte, static_cast<Memory*>(user)->stride};
                    },
                    [](void*, std::uint8_t*) {}};
                ElementDriver other = MakeDecoder();
                other.SetFrameMemory(callbacks);
                Configure(other);
                other.Define(DescribeProRes(kSmall));
                other.Push(MakeProResFrame(kSmall, 1));
              }),
              IsError(ErrorCode::BadArgument, Parts{std::to_string(memory.stride), "4 GiB"}));
  memory.stride = 0;
  ExpectPicture(Decode(2), kSmall, 2, {});
}

TEST_F(FrameMemories, HoldEncodedFrames) {
  encoder.SetFrameMemory(memory.GetCallbacks());
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  const Container frame = Process(encoder, MakeRawFrame(kSmall, 1));
  ExpectFrame(frame, kSmall, 1, ProResCodecVariant::Standard);
  EXPECT_TRUE(memory.Holds(DataOf(frame)));
  ASSERT_EQ(memory.requests.size(), 1u);
  EXPECT_EQ(memory.requests.front().fourcc, 0u);
  EXPECT_EQ(memory.requests.front().width, kSmall.width);
  EXPECT_EQ(memory.requests.front().bytes, BytesOf(frame).size());
}

TEST_F(FrameMemories, ReportExhaustion) {
  DefineDecoder();
  encoder.SetFrameMemory(memory.GetCallbacks());
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  memory.isExhausted = true;
  EXPECT_THAT(ErrorOf([&] { Decode(1); }),
              IsError(ErrorCode::OutOfMemory, Parts{decoder.GetName(), "8192 bytes"}));
  EXPECT_THAT(ErrorOf([&] { Process(encoder, MakeRawFrame(kSmall, 1)); }),
              IsError(ErrorCode::OutOfMemory, Parts{encoder.GetName(), "bytes"}));
  memory.isExhausted = false;
  ExpectPicture(Decode(2), kSmall, 2, {});
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 2)), kSmall, 2, ProResCodecVariant::Standard);
}

TEST_F(FrameMemories, BlameTheHostForItsExceptions) {
  decoder.SetFrameMemory({nullptr,
                          [](void*, const FrameMemoryRequest&) -> FrameMemory {
                            throw std::runtime_error("no display");
                          },
                          [](void*, std::uint8_t*) {}});
  Configure(decoder);
  decoder.Define(DescribeProRes(kSmall));
  EXPECT_THAT(ErrorOf([&] { decoder.Push(MakeProResFrame(kSmall, 1)); }),
              IsError(ErrorCode::Failed, Parts{"host's callback", "no display"}));
}

TEST_F(FrameMemories, AreReleasedOncePerAllocation) {
  {
    ElementDriver other = MakeDecoder();
    other.SetFrameMemory(memory.GetCallbacks());
    Configure(other);
    other.Define(DescribeProRes(kSmall));
    for (unsigned number = 0; number < 20; ++number) {
      memory.stride = number % 3 == 0 ? 512 : 0;
      Process(other, MakeProResFrame(kSmall, number));
      auto damaged = EncodeDirectly(kSmall, number, ProResCodecVariant::Standard);
      damaged.resize(damaged.size() - 1);
      ErrorOf([&] { other.Push(Wrap(damaged, DescribeProRes(kSmall))); });
      EXPECT_LE(memory.CountLive(), 2) << "of the last picture and the failed one";
    }
  }
  EXPECT_EQ(memory.CountLive(), 0);
  EXPECT_EQ(memory.releases, std::ssize(memory.requests));
}

TEST_F(FrameMemories, OutliveDriverAndPlugin) {
  Container picture;
  {
    ElementDriver other = MakeDecoder();
    other.SetFrameMemory(memory.GetCallbacks());
    Configure(other);
    other.Define(DescribeProRes(kSmall));
    picture = Process(other, MakeProResFrame(kSmall, 9));
  }
  decoder.Release();
  encoder.Release();
  plugin.reset();
  EXPECT_EQ(memory.CountLive(), 1);
  ExpectPicture(picture, kSmall, 9, {});
  picture.reset();
  EXPECT_EQ(memory.CountLive(), 0);
}

TEST_F(FrameMemories, BelongToOneDriver) {
  DefineDecoder();
  Memory otherMemory;
  ElementDriver other = MakeDecoder();
  other.SetFrameMemory(otherMemory.GetCallbacks());
  Configure(other);
  other.Define(DescribeProRes(kSmall));
  for (unsigned number = 0; number < 3; ++number) {
    const Container mine = Decode(number);
    const Container others = Process(other, MakeProResFrame(kSmall, number));
    EXPECT_TRUE(memory.Holds(DataOf(mine)));
    EXPECT_TRUE(otherMemory.Holds(DataOf(others)));
  }
  other.Release();
}

TEST_F(FrameMemories, NeedBothCallbacksAndNoOtherAllocator) {
  FrameMemoryCallbacks callbacks = memory.GetCallbacks();
  callbacks.release = nullptr;
  EXPECT_THAT(ErrorOf([&] { decoder.SetFrameMemory(callbacks); }),
              IsError(ErrorCode::BadArgument, Parts{"both callbacks"}));
  decoder.SetFrameMemory(memory.GetCallbacks());
  SetExtBufferCallbacks({[](std::size_t) { return nullptr; }, [](std::uint8_t*, std::size_t) {}});
  const auto set = [](auto& config) { config.SetString("Allocator", "ExtBufferAllocator"); };
  EXPECT_THAT(ErrorOf([&] { Configure(decoder, set); }),
              IsError(ErrorCode::BadArgument, Parts{"Allocator", "SetFrameMemory"}));
  SetExtBufferCallbacks({});
}

}  // namespace
}  // namespace vix::test
