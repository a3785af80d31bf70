// SPDX-License-Identifier: BSD-2-Clause
// Every prefix of frames, and every bit of their first bytes, with inaccessible pages around frame
// and picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "DecoderTestSession.h"
#include "GuardedMemory.h"
#include "PackedPicture.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace {

using prores::test::Guard;
using prores::test::GuardedMemory;
using reference::StreamSpec;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kFlippedBytes = 256;

struct Kind {
  int interlaceMode;
  bool chroma444;
  int alphaType;  ///< 0 = none, 1 = 8 bits, 2 = 16 bits
};

constexpr Kind kKinds[] = {{0, false, 0}, {1, false, 0}, {2, false, 0}, {0, true, 0},
                           {0, true, 1},  {1, true, 1},  {0, true, 2},  {2, true, 2}};

/// Size of the picture in pixels: the smallest, and one of several slices with partial macroblocks.
struct Size {
  int width;
  int height;
};

constexpr Size kSizes[] = {{2, 2}, {19, 18}};

Bytes MakeFrame(const Kind& kind, const Size& size) {
  StreamSpec spec;
  spec.width = size.width;
  spec.height = size.height;
  spec.log2SliceSize = 0;
  spec.interlaceMode = kind.interlaceMode;
  spec.chroma444 = kind.chroma444;
  spec.alphaType = kind.alphaType;
  spec.quantizationIndex = [](int) { return 100; };
  return MakeStream(spec, reference::NaturalSource(4)).bytes;
}

/// A picture whose last or first byte is next to an inaccessible page.
class EdgePicture {
 public:
  EdgePicture(std::uint32_t format, const Size& size, Guard guard)
      : like_(format, decoding::U32(size.width), decoding::U32(size.height)),
        memory_(std::size_t{like_.PixelBytes()} * decoding::U32(size.height), guard),
        record_{memory_.Values().data(), like_.PixelBytes(), format, decoding::U32(size.width),
                decoding::U32(size.height)} {}

  std::int32_t Decode(void* decoder, std::span<const std::uint8_t> frame) {
    return WPRDecodeFrame(decoder, frame.data(), decoding::U32(frame.size()), &record_, 0);
  }

 private:
  PackedPicture like_;
  GuardedMemory<std::uint8_t> memory_;
  PixelBufferRecord record_;
};

/// Decodes a frame that may be damaged; the result must be a documented one.
void DecodeSomehow(void* decoder, std::span<const std::uint8_t> frame,
                   std::deque<EdgePicture>& pictures) {
  for (EdgePicture& picture : pictures) {
    const std::int32_t result = picture.Decode(decoder, frame);
    // Damage shows in headers and slices; the arguments and the handle are in order.
    EXPECT_TRUE(result >= 0 || result == kWPRBadHeader || result == kWPRTruncated ||
                result == kWPRUnsupported || result == kWPRBadArgument)
        << result;
  }
}

class DecoderEdges : public testing::TestWithParam<Size> {
 protected:
  static std::deque<EdgePicture> MakePictures() {
    std::deque<EdgePicture> pictures;
    for (const std::uint32_t format : decoding::kFormats) {
      for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
        pictures.emplace_back(format, GetParam(), guard);
      }
    }
    return pictures;
  }
};

INSTANTIATE_TEST_SUITE_P(Of, DecoderEdges, testing::ValuesIn(kSizes), [](const auto& size) {
  return std::to_string(size.param.width) + "x" + std::to_string(size.param.height);
});

TEST_P(DecoderEdges, AreKeptForEveryPrefix) {
  const decoding::DecoderPtr decoder = decoding::Open(1);
  auto pictures = MakePictures();
  for (const Kind& kind : kKinds) {
    const Bytes frame = MakeFrame(kind, GetParam());
    for (std::size_t size = 0; size <= frame.size(); ++size) {
      const GuardedMemory<std::uint8_t> prefix(size);
      std::copy_n(frame.begin(), size, prefix.Values().begin());
      DecodeSomehow(decoder.get(), prefix.Values(), pictures);
    }
  }
}

TEST_P(DecoderEdges, AreKeptForEveryFlippedBit) {
  const decoding::DecoderPtr decoder = decoding::Open(1);
  auto pictures = MakePictures();
  for (const Kind& kind : kKinds) {
    const Bytes frame = MakeFrame(kind, GetParam());
    const GuardedMemory<std::uint8_t> damaged(frame.size());
    std::ranges::copy(frame, damaged.Values().begin());
    for (std::size_t bit = 0; bit < 8 * std::min(kFlippedBytes, frame.size()); ++bit) {
      std::uint8_t& byte = damaged.Values()[bit / 8];
      byte ^= static_cast<std::uint8_t>(1 << bit % 8);
      DecodeSomehow(decoder.get(), damaged.Values(), pictures);
      byte ^= static_cast<std::uint8_t>(1 << bit % 8);
    }
  }
}

}  // namespace
