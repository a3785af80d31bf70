// SPDX-License-Identifier: BSD-2-Clause
#include "frames/HeaderCodes.h"

#include <algorithm>
#include <iterator>

namespace vixprores {
namespace {

struct RateCode {
  Rational rate;
  std::uint8_t code;
};

constexpr RateCode kRateCodes[] = {
    {{24000, 1001}, 1}, {{24, 1}, 2},         {{25, 1}, 3},       {{30000, 1001}, 4},
    {{30, 1}, 5},       {{50, 1}, 6},         {{60000, 1001}, 7}, {{60, 1}, 8},
    {{100, 1}, 9},      {{120000, 1001}, 10}, {{120, 1}, 11},
};

bool AreEqual(Rational a, Rational b) {
  return std::int64_t{a.numerator} * b.denominator == std::int64_t{b.numerator} * a.denominator;
}

// Sides are 16 bits, so that the products fit.
Rational PixelOfPicture(std::int32_t across, std::int32_t down, const prores::FrameHeader& header) {
  return Reduce({across * header.height, down * header.width});
}

int ToCodePoint(std::uint8_t headerValue) {
  return headerValue == 0 ? 2 : headerValue;
}

}  // namespace

Rational RateOfCode(std::uint8_t code) {
  const auto* const found = std::ranges::find(kRateCodes, code, &RateCode::code);
  return found == std::end(kRateCodes) ? Rational{0, 1} : found->rate;
}

std::uint8_t CodeOfRate(Rational rate) {
  const auto* const found = std::ranges::find_if(
      kRateCodes, [rate](const RateCode& entry) { return AreEqual(entry.rate, rate); });
  return found == std::end(kRateCodes) ? std::uint8_t{0} : found->code;
}

Rational SampleAspectOf(const prores::FrameHeader& header) {
  switch (header.aspectRatio) {
    case 1:
      return {1, 1};
    case 2:
      return PixelOfPicture(4, 3, header);
    case 3:
      return PixelOfPicture(16, 9, header);
    default:
      return {0, 1};
  }
}

FieldOrder FieldOrderOf(prores::InterlaceMode mode) {
  switch (mode) {
    case prores::InterlaceMode::kTopFieldFirst:
      return FieldOrder::TopFirst;
    case prores::InterlaceMode::kBottomFieldFirst:
      return FieldOrder::BottomFirst;
    default:
      return FieldOrder::Progressive;
  }
}

Colour ColourOf(const prores::FrameHeader& header) {
  return {ToCodePoint(header.colorPrimaries), ToCodePoint(header.transferCharacteristic),
          ToCodePoint(header.matrixCoefficients), ColourRange::Unknown};
}

StreamFormat FormatOf(const prores::FrameHeader& header) {
  StreamFormat format;
  format.width = header.width;
  format.height = header.height;
  format.rate = RateOfCode(header.frameRate);
  format.sampleAspect = SampleAspectOf(header);
  format.fieldOrder = FieldOrderOf(header.interlaceMode);
  format.colour = ColourOf(header);
  format.is444 = header.chromaFormat == prores::ChromaFormat::k444;
  format.hasAlpha = header.alphaType != prores::AlphaType::kNone;
  return format;
}

}  // namespace vixprores
