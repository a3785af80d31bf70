// SPDX-License-Identifier: BSD-2-Clause
#include "frames/HeaderComparison.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "format/ColourNames.h"
#include "frames/FrameHeaders.h"

namespace vixprores {
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
  switch (state) {
    case State::Same:
      return "same";
    case State::Unspecified:
      return kUnspecified;
    default:
      return "mismatch";
  }
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
