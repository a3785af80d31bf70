// SPDX-License-Identifier: BSD-2-Clause
// Pictures, rows and frames at every alignment that a cache line has, next to inaccessible pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "CpuLevelTest.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "GuardedMemory.h"
#include "ProRes/ProRes.h"
#include "cpu/CpuLevel.h"

namespace prores::test {
namespace {

constexpr std::size_t kAlignments = 64;
constexpr std::uint32_t kWidth = 86;  // partial macroblocks and vectors
constexpr std::uint32_t kHeight = 18;

/// A handle of a CPU level.
template <typename Owner>
Owner OpenAt(CpuLevel level, void* (*open)(std::int32_t, void*)) {
  SetCpuLevelLimit(level);
  Owner handle(open(1, nullptr));
  SetCpuLevelLimit(kCpuLevels.back());
  return handle;
}

struct DecoderCloser {
  void operator()(WPRDecoderHandle decoder) const { WPRCloseDecoder(decoder); }
};
using DecoderOwner = std::unique_ptr<void, DecoderCloser>;

/// Bytes at a distance from an inaccessible page, in front of it.
class Placed {
 public:
  Placed(std::size_t bytes, std::size_t distance) : memory_(bytes + distance), bytes_(bytes) {}

  std::uint8_t* Get() const { return memory_.Values().data(); }
  std::span<std::uint8_t> Values() const { return memory_.Values().first(bytes_); }

 private:
  GuardedMemory<std::uint8_t> memory_;
  std::size_t bytes_;
};

class Alignments : public CpuLevelTest {
 protected:
  /// Encodes a picture and decodes its frame, both at every alignment, with rows that are that much
  /// longer than their pixels, so that each row has another alignment.
  template <typename Picture>
  void ExpectNoDifference(const Picture& source, std::uint32_t codecType) {
    const PixelBufferRecord plain = source.Record();
    const auto encoder = OpenAt<EncoderOwner>(GetParam(), WPROpenEncoder);
    const auto decoder = OpenAt<DecoderOwner>(GetParam(), WPROpenDecoder);
    Set(encoder.get(), kWPRAlpha16);
    const EncodeParamsRecord params{codecType, kWPRProgressive};
    const Bytes frame = Encode(encoder.get(), params, source);
    Picture decoded(plain.pixelFormat, kWidth, kHeight);
    Decode(frame, decoded);
    const std::vector<std::uint8_t> expected = Rows(decoded.Record());

    for (std::size_t distance = 0; distance < kAlignments; ++distance) {
      const auto rowBytes = plain.rowBytes + static_cast<std::uint32_t>(distance);
      const Placed picture(std::size_t{rowBytes} * kHeight, distance);
      PixelBufferRecord record{picture.Get(), rowBytes, plain.pixelFormat, kWidth, kHeight};
      CopyRows(plain, record);
      const Placed coded(SizesOf(codecType, plain).max, distance);
      std::uint32_t bytes = 0;
      ASSERT_EQ(WPREncodeFrame(encoder.get(), &params, &record, coded.Get(),
                               static_cast<std::uint32_t>(coded.Values().size()), &bytes),
                kWPRSuccess);
      ASSERT_TRUE(std::ranges::equal(coded.Values().first(bytes), frame)) << distance;

      const Placed input(frame.size(), distance);
      std::ranges::copy(frame, input.Get());
      ASSERT_EQ(WPRDecodeFrame(decoder.get(), input.Get(), bytes, &record, 0), kWPRSuccess);
      ASSERT_EQ(Rows(record), expected) << distance;
    }
  }

 private:
  static std::uint32_t PixelBytes(const PixelBufferRecord& picture) {
    switch (picture.pixelFormat) {
      case kWPRPixelFormat2vuy:
        return 2 * kWidth;
      case kWPRPixelFormatV210:
        return (kWidth + 5) / 6 * 16;
      default:
        return 8 * kWidth;
    }
  }
  static std::vector<std::uint8_t> Rows(const PixelBufferRecord& picture) {
    std::vector<std::uint8_t> rows;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      const auto* const row =
          static_cast<const std::uint8_t*>(picture.baseAddress) + std::size_t{picture.rowBytes} * y;
      rows.insert(rows.end(), row, row + PixelBytes(picture));
    }
    return rows;
  }
  static void CopyRows(const PixelBufferRecord& from, const PixelBufferRecord& to) {
    const std::vector<std::uint8_t> rows = Rows(from);
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      std::copy_n(rows.begin() + std::ptrdiff_t{PixelBytes(from)} * y, PixelBytes(from),
                  static_cast<std::uint8_t*>(to.baseAddress) + std::size_t{to.rowBytes} * y);
    }
  }
};

INSTANTIATE_TEST_SUITE_P(CpuLevels, Alignments, testing::ValuesIn(kCpuLevels), NameOfLevel);

TEST_P(Alignments, MakeNoDifference) {
  for (const std::uint32_t format : kFormats) {
    ExpectNoDifference(SourcePicture(format, kWidth, kHeight, Busy(1)), kWPRCodecHQ);
  }
  for (const std::uint32_t format : kDeepFormats) {
    ExpectNoDifference(DeepPicture(format, kWidth, kHeight, Colours(Busy(1))), kWPRCodec4444);
  }
}

}  // namespace
}  // namespace prores::test
