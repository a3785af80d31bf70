// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameHeaders.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "base/Text.h"
#include "format/StreamFormat.h"

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

// The products fit 32 bits because sides have 16 bits.
Rational PixelOfPicture(std::int32_t across, std::int32_t down, const prores::FrameHeader& header) {
  return Reduce({across * header.height, down * header.width});
}

int ToCodePoint(std::uint8_t headerValue) {
  return headerValue == 0 ? 2 : headerValue;
}

}  // namespace

std::optional<ParsedHeader> ParseHeader(std::span<const std::uint8_t> frame) {
  ParsedHeader header;
  std::span<const std::uint8_t> pictures;
  const prores::Status status = prores::ParseFrameHeader(frame, header, pictures);
  if (status != prores::Status::kSuccess) return std::nullopt;
  header.headerBytes = frame.size() - pictures.size();
  return header;
}

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

std::uint8_t CodeOfAspect(const StreamFormat& format) {
  const Rational& pixel = format.sampleAspect;
  if (pixel.numerator == 0) return 0;
  if (pixel.numerator == pixel.denominator) return 1;
  // Sides have 16 bits and aspects 31: the products fit 64 bits.
  const std::int64_t width = std::int64_t{format.width} * pixel.numerator;
  const std::int64_t height = std::int64_t{format.height} * pixel.denominator;
  if (width * 3 == height * 4) return 2;
  return width * 9 == height * 16 ? 3 : 0;
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

StreamFormat CombineFormats(StreamFormat container, const prores::FrameHeader& header) {
  container.width = header.width;
  container.height = header.height;
  const StreamFormat told = FormatOf(header);
  container.fieldOrder = told.fieldOrder;
  container.is444 = told.is444;
  container.hasAlpha = told.hasAlpha;
  if (container.sampleAspect.numerator == 0) container.sampleAspect = told.sampleAspect;
  if (!container.colour.IsSpecified()) {
    const ColourRange range = container.colour.range;
    container.colour = told.colour;
    container.colour.range = range;
  }
  return container;
}

std::optional<HeaderMismatch> FindMismatch(const prores::FrameHeader& header,
                                           const StreamFormat& stream,
                                           const HeaderDemands& demands) {
  if (header.version != 0 && !demands.anyVersion) {
    return HeaderMismatch{"has bitstream version " + std::to_string(header.version),
                          "the decoder reads version 0"};
  }
  if (header.width != stream.width || header.height != stream.height) {
    return HeaderMismatch{"is " + DescribeSize(header.width, header.height) +
                              " although the stream began with " +
                              DescribeSize(stream.width, stream.height),
                          "decode the parts one by one with --frames"};
  }
  const bool isInterlaced = header.interlaceMode != prores::InterlaceMode::kProgressive;
  if (demands.sameScan && isInterlaced != stream.IsInterlaced()) {
    return HeaderMismatch{isInterlaced ? "is interlaced although the stream began progressive"
                                       : "is progressive although the stream began interlaced",
                          "leave out --skip-field"};
  }
  return std::nullopt;
}

void StampFrameHeader(const StreamFormat& format, std::span<std::uint8_t> frame) {
  auto header = ParseHeader(frame);
  if (!header || FrameHeaderBytes(*header) != header->headerBytes) return;
  header->colorPrimaries = static_cast<std::uint8_t>(format.colour.primaries);
  header->transferCharacteristic = static_cast<std::uint8_t>(format.colour.transfer);
  header->matrixCoefficients = static_cast<std::uint8_t>(format.colour.matrix);
  header->frameRate = CodeOfRate(format.rate);
  header->aspectRatio = CodeOfAspect(format);
  WriteFrameHeader(*header, static_cast<std::uint32_t>(frame.size()), frame.data());
}

namespace {

using State = ComparedProperty::State;
constexpr const char* kUnspecified = "unspecified";

std::string DescribeMatrix(const prores::QuantMatrix& matrix) {
  std::string text;
  for (const unsigned weight : matrix) text += (text.empty() ? "" : " ") + std::to_string(weight);
  return text;
}

// A property that containers and headers have.
struct CommonProperty {
  const char* key;
  const char* name;
  std::string (*describe)(const StreamFormat&);
};

constexpr CommonProperty kCommon[] = {
    {"size", "size",
     [](const StreamFormat& format) { return DescribeSize(format.width, format.height); }},
    {"fieldOrder", "field order",
     [](const StreamFormat& format) {
       return format.fieldOrder == FieldOrder::Unknown ? kUnspecified : Describe(format.fieldOrder);
     }},
    {"colourPrimaries", "colour primaries",
     [](const StreamFormat& format) {
       return DescribeColourCode(ColourProperty::Primaries, format.colour.primaries);
     }},
    {"transfer", "transfer",
     [](const StreamFormat& format) {
       return DescribeColourCode(ColourProperty::Transfer, format.colour.transfer);
     }},
    {"matrix", "matrix",
     [](const StreamFormat& format) {
       return DescribeColourCode(ColourProperty::Matrix, format.colour.matrix);
     }},
};

// A property of headers alone.
struct HeaderProperty {
  const char* name;
  std::string (*describe)(const prores::FrameHeader&);
};

constexpr HeaderProperty kOfHeader[] = {
    {"chroma format",
     [](const prores::FrameHeader& header) {
       return std::string(header.chromaFormat == prores::ChromaFormat::k444 ? "4:4:4" : "4:2:2");
     }},
    {"alpha",
     [](const prores::FrameHeader& header) {
       return std::string(header.alphaType == prores::AlphaType::kNone ? "none" : "coded");
     }},
    {"encoder identifier",
     [](const prores::FrameHeader& header) {
       return std::string(header.encoderIdentifier.begin(), header.encoderIdentifier.end());
     }},
    {"quantisation matrices",
     [](const prores::FrameHeader& header) {
       return DescribeMatrix(header.lumaMatrix) + " / " + DescribeMatrix(header.chromaMatrix);
     }},
};

ComparedProperty Compare(const char* key, const char* name, std::string container,
                         std::string header) {
  State state = container == header ? State::Same : State::Mismatch;
  if (container == kUnspecified || header == kUnspecified) state = State::Unspecified;
  return {key, name, std::move(container), std::move(header), state};
}

// Whole macroblocks of a size: of each field if the stream is interlaced.
bool IsPaddedSize(const StreamFormat& container, const StreamFormat& header) {
  const auto roundUp = [](std::uint32_t side, std::uint32_t unit) {
    return (side + unit - 1) / unit * unit;
  };
  return container.width == roundUp(header.width, 16) &&
         container.height == roundUp(header.height, header.IsInterlaced() ? 32 : 16);
}

std::string DescribeAspect(Rational value) {
  return value.numerator == 0
             ? kUnspecified
             : std::to_string(value.numerator) + ":" + std::to_string(value.denominator);
}

// Aspects up to 3 % apart are the same: the header states the shape of the picture, and the width
// of standard definition counts with or without the blanking at its sides (720 or 702 samples).
bool IsSameAspect(Rational container, Rational header) {
  constexpr double kTolerance = 0.03;
  const auto toNumber = [](Rational value) {
    return static_cast<double>(value.numerator) / value.denominator;
  };
  return std::abs(toNumber(container) / toNumber(header) - 1) < kTolerance;
}

std::string DescribeRate(Rational value) {
  return value.numerator == 0 ? kUnspecified : Describe(value);
}

}  // namespace

std::vector<ComparedProperty> CompareWithContainer(const StreamFormat& container,
                                                   const prores::FrameHeader& frame) {
  const StreamFormat header = FormatOf(frame);
  std::vector<ComparedProperty> compared;
  for (const auto& [key, name, describe] : kCommon) {
    compared.push_back(Compare(key, name, describe(container), describe(header)));
  }
  ComparedProperty& size = compared.front();
  if (container.isPadded && IsPaddedSize(container, header)) size.state = State::Same;
  compared.push_back(Compare("sampleAspect", "sample aspect",
                             DescribeAspect(container.sampleAspect),
                             DescribeAspect(header.sampleAspect)));
  ComparedProperty& aspect = compared.back();
  if (aspect.state == State::Mismatch &&
      IsSameAspect(container.sampleAspect, header.sampleAspect)) {
    aspect.state = State::Same;
  }
  compared.push_back(
      Compare("frameRate", "frame rate", DescribeRate(container.rate), DescribeRate(header.rate)));
  return compared;
}

const char* ToWord(State state) {
  return WordOf(state, {"same", kUnspecified, "mismatch"});
}

void AddChanges(const prores::FrameHeader& first, const prores::FrameHeader& header,
                std::int64_t frame, std::vector<HeaderChange>& changes) {
  const auto compare = [&](const char* name, std::string from, std::string to) {
    if (from == to) return;
    const bool isKnown = std::ranges::find(changes, name, &HeaderChange::property) != changes.end();
    if (!isKnown) changes.push_back({name, frame, std::move(from), std::move(to)});
  };
  const StreamFormat before = FormatOf(first);
  const StreamFormat after = FormatOf(header);
  for (const auto& property : kCommon) {
    compare(property.name, property.describe(before), property.describe(after));
  }
  for (const auto& property : kOfHeader) {
    compare(property.name, property.describe(first), property.describe(header));
  }
}

}  // namespace vixprores
