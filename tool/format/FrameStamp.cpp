// SPDX-License-Identifier: BSD-2-Clause
#include "format/FrameStamp.h"

#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"

namespace vixprores {
namespace {

struct RateCode {
  Rational rate;
  std::uint8_t code;
};

/// frame_rate_code; rates that have none are coded as 0, unknown.
constexpr RateCode kRateCodes[] = {
    {{24000, 1001}, 1}, {{24, 1}, 2},         {{25, 1}, 3},       {{30000, 1001}, 4},
    {{30, 1}, 5},       {{50, 1}, 6},         {{60000, 1001}, 7}, {{60, 1}, 8},
    {{100, 1}, 9},      {{120000, 1001}, 10}, {{120, 1}, 11},
};

bool AreEqual(std::int64_t n1, std::int64_t d1, std::int64_t n2, std::int64_t d2) {
  return n1 * d2 == n2 * d1;
}

std::uint8_t FrameRateCode(const Rational& rate) {
  for (const RateCode& entry : kRateCodes) {
    if (AreEqual(rate.numerator, rate.denominator, entry.rate.numerator, entry.rate.denominator)) {
      return entry.code;
    }
  }
  return 0;
}

/// aspect_ratio_information: square pixels, a picture of 4:3 or of 16:9, or unknown.
std::uint8_t AspectCode(const StreamFormat& format) {
  const Rational& pixel = format.sampleAspect;
  if (pixel.numerator == 0) return 0;
  if (pixel.numerator == pixel.denominator) return 1;
  const std::int64_t width = std::int64_t{format.width} * pixel.numerator;
  const std::int64_t height = std::int64_t{format.height} * pixel.denominator;
  if (AreEqual(width, height, 4, 3)) return 2;
  return AreEqual(width, height, 16, 9) ? 3 : 0;
}

}  // namespace

void StampFrameHeader(const StreamFormat& format, const vix::IBuffer& frame) {
  const std::span bytes(frame.GetData(), frame.GetSize());
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  if (ParseFrameHeader(bytes, header, pictures) != prores::Status::kSuccess) return;
  if (FrameHeaderBytes(header) != bytes.size() - pictures.size()) return;
  header.colorPrimaries = static_cast<std::uint8_t>(format.colour.primaries);
  header.transferCharacteristic = static_cast<std::uint8_t>(format.colour.transfer);
  header.matrixCoefficients = static_cast<std::uint8_t>(format.colour.matrix);
  header.frameRate = FrameRateCode(format.rate);
  header.aspectRatio = AspectCode(format);
  WriteFrameHeader(header, frame.GetSize(), frame.GetData());
}

}  // namespace vixprores
