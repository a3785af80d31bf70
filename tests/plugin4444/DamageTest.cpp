// SPDX-License-Identifier: BSD-2-Clause
// Prefixes of frames with alpha, and every bit of their first bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Streams.h"
#include "vix/Error.h"

namespace vix::test4444 {
namespace {

constexpr std::size_t kFlippedBytes = 256;
const std::set kCodes{ErrorCode::Truncated, ErrorCode::Damaged, ErrorCode::Unsupported,
                      ErrorCode::FormatChanged};

class DamagedFrames : public Elements {
 protected:
  void Define() {
    Configure(decoder_);
    decoder_.Define(stream_);
  }
  /// Decodes bytes of the heap, which give a picture or a documented error.
  void DecodeSomehow(const Bytes& bytes) {
    try {
      EXPECT_TRUE(Process(decoder_, Wrap(bytes, stream_)));
    } catch (const VIXError& error) {
      EXPECT_TRUE(kCodes.contains(error.GetCode())) << error.what();
    }
  }

 private:
  Stream stream_ = DescribeProRes(Shape{});
  ElementDriver decoder_ = MakeDecoderDriver();
};

TEST_F(DamagedFrames, GiveAPictureOrADocumentedError) {
  Define();
  for (const int alphaBits : {8, 16}) {
    const Bytes frame = BytesOf(Encode(Shape{}, 1, SetInt("AlphaBits", alphaBits)));
    for (std::size_t size = 0; size < frame.size(); size += size < kFlippedBytes ? 1 : 37) {
      DecodeSomehow({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size)});
    }
    for (std::size_t bit = 0; bit < 8 * std::min(kFlippedBytes, frame.size()); ++bit) {
      Bytes damaged = frame;
      damaged[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
      DecodeSomehow(damaged);
    }
    DecodeSomehow(frame);
  }
}

}  // namespace
}  // namespace vix::test4444
