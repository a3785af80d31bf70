// SPDX-License-Identifier: BSD-2-Clause
// Every prefix of a frame, and every bit of its first bytes, before an inaccessible page.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "Drivers.h"
#include "GuardedMemory.h"
#include "vix/Error.h"

namespace vix::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kFlippedBytes = 256;
const std::set kCodes{ErrorCode::Truncated, ErrorCode::Damaged, ErrorCode::Unsupported,
                      ErrorCode::FormatChanged};

class DamagedFrames : public Drivers {
 protected:
  void Define(const Shape& shape) {
    Configure(decoder);
    stream_ = DescribeProRes(shape);
    decoder.Define(stream_);
  }

  /// Decodes bytes that end at an inaccessible page. They give a picture or a documented error.
  void DecodeSomehow(const Bytes& bytes) {
    const auto memory = std::make_shared<prores::test::GuardedMemory<std::uint8_t>>(bytes.size());
    std::ranges::copy(bytes, memory->Values().begin());
    const auto info = stream_->GetInfo().front();
    const auto block = CreateMemoryBlock(memory->Values().data(), bytes.size(), [memory] {});
    try {
      decoder.Push(CreateSampleContainer(
          CreateVideoSample(info->GetVideoParameters(), info, CreateBuffer(nullptr, block),
                            {{0, 1, {25, 1}}}, {}),
          nullptr));
      EXPECT_TRUE(decoder.Pull());
    } catch (const VIXError& error) {
      EXPECT_TRUE(kCodes.contains(error.GetCode())) << error.what();
    }
  }

 private:
  Stream stream_;
};

TEST_F(DamagedFrames, GiveAPictureOrADocumentedError) {
  for (const Shape& shape : {kSmall, kInterlaced}) {
    Define(shape);
    const Bytes frame = EncodeDirectly(shape, 1, ProResCodecVariant::Proxy);
    for (std::size_t size = 0; size < frame.size(); ++size) {
      DecodeSomehow({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size)});
    }
    for (std::size_t bit = 0; bit < 8 * std::min(kFlippedBytes, frame.size()); ++bit) {
      Bytes damaged = frame;
      damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      DecodeSomehow(damaged);
    }
    ExpectDecodes(shape);
  }
}

}  // namespace
}  // namespace vix::test
