// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameStamp.h"

#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"
#include "frames/HeaderCodes.h"

namespace vixprores {
namespace {

bool AreEqual(std::int64_t n1, std::int64_t d1, std::int64_t n2, std::int64_t d2) {
  return n1 * d2 == n2 * d1;
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
  header.frameRate = CodeOfRate(format.rate);
  header.aspectRatio = AspectCode(format);
  WriteFrameHeader(header, frame.GetSize(), frame.GetData());
}

}  // namespace vixprores
