// SPDX-License-Identifier: BSD-2-Clause
// Pictures and frames in memory of the host.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "Errors.h"
#include "Streams.h"

namespace vix::test4444 {
namespace {

/// Memory of a host, which records what drivers request.
class Memory {
 public:
  ~Memory() { EXPECT_TRUE(blocks_.empty()) << "blocks were not released"; }

  FrameMemoryCallbacks GetCallbacks() {
    return {this,
            [](void* user, const FrameMemoryRequest& request) {
              return static_cast<Memory*>(user)->Allocate(request);
            },
            [](void* user, std::uint8_t* data) {
              EXPECT_EQ(static_cast<Memory*>(user)->blocks_.erase(data), 1u);
            }};
  }
  bool Holds(const Container& container) const {
    return blocks_.contains(SampleOf(container)->GetBuffer()->GetData());
  }

  std::vector<FrameMemoryRequest> requests;
  std::uint32_t stride = 0;  ///< of the next blocks; 0 = as requested
  bool isExhausted = false;

 private:
  FrameMemory Allocate(const FrameMemoryRequest& request) {
    requests.push_back(request);
    if (isExhausted) return {};
    const std::size_t bytes = stride == 0 ? request.bytes : std::size_t{stride} * request.height;
    auto block = std::make_unique<std::uint8_t[]>(bytes);
    std::uint8_t* const data = block.get();
    blocks_.emplace(data, std::move(block));
    return {data, stride};
  }

  std::map<const std::uint8_t*, std::unique_ptr<std::uint8_t[]>> blocks_;
};

class FrameMemories4444 : public Elements {
 protected:
  FrameMemories4444() {
    decoder.SetFrameMemory(memory.GetCallbacks());
    Configure(decoder);
    decoder.Define(DescribeProRes({}));
  }

  Memory memory;
  ElementDriver decoder = MakeDecoderDriver();
};

TEST_F(FrameMemories4444, HoldDecodedPicturesWithoutACopy) {
  for (const FourCC fourcc : {kFourCC_Y416, kFourCC_b64A}) {
    Configure(decoder, SetFourCC("OutputFourCC", fourcc));
    const Shape shape{.fourcc = fourcc};
    memory.requests.clear();
    const Container picture = Process(decoder, Encode(shape, 1));
    ExpectPicture(picture, shape, 1);
    EXPECT_TRUE(memory.Holds(picture));
    ASSERT_EQ(memory.requests.size(), 1u);
    EXPECT_EQ(memory.requests[0].fourcc, fourcc);
    EXPECT_EQ(memory.requests[0].width, 64u);
    EXPECT_EQ(memory.requests[0].height, 32u);
    EXPECT_EQ(memory.requests[0].stride, 64u * 8);
    EXPECT_EQ(memory.requests[0].bytes, 64u * 32 * 8);
  }
}

TEST_F(FrameMemories4444, OfAnotherStrideHoldACopy) {
  memory.stride = 64 * 8 + 32;
  const Container picture = Process(decoder, Encode({}, 2));
  EXPECT_TRUE(memory.Holds(picture));
  Bytes rows;
  const Bytes padded = BytesOf(picture);
  ASSERT_EQ(padded.size(), std::size_t{memory.stride} * 32);
  for (std::size_t row = 0; row < 32; ++row) {
    const auto begin = padded.begin() + static_cast<std::ptrdiff_t>(row * memory.stride);
    rows.insert(rows.end(), begin, begin + 64 * 8);
  }
  EXPECT_EQ(Compare({}, 2, rows, 16).alpha, 0);
}

TEST_F(FrameMemories4444, ReportExhaustion) {
  memory.isExhausted = true;
  EXPECT_THAT(test::ErrorOf([&] { decoder.Push(Encode({}, 1)); }),
              test::IsError(ErrorCode::OutOfMemory, test::Parts{"16384 bytes"}));
  memory.isExhausted = false;
  ExpectPicture(Process(decoder, Encode({}, 2)), {}, 2);
}

TEST_F(FrameMemories4444, HoldEncodedFrames) {
  ElementDriver encoder = MakeEncoderDriver();
  encoder.SetFrameMemory(memory.GetCallbacks());
  Configure(encoder);
  encoder.Define(DescribeRaw({}));
  const Container frame = Process(encoder, MakeRawFrame({}, 1));
  EXPECT_TRUE(memory.Holds(frame));
  EXPECT_EQ(BytesOf(frame), BytesOf(Encode({}, 1)));
}

}  // namespace
}  // namespace vix::test4444
