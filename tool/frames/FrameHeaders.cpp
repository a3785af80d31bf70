// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameHeaders.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "base/Text.h"
#include "bitstream/HeaderCodes.h"
#include "format/StreamFormat.h"
#include "vix/ProResFrame.h"

namespace vixprores {
namespace {

Rational ToRational(prores::Ratio ratio) {
  return {ratio.numerator, ratio.denominator};
}

}  // namespace

int AlphaBitsOf(prores::AlphaType type) {
  switch (type) {
    case prores::AlphaType::k8Bit:
      return 8;
    case prores::AlphaType::k16Bit:
      return 16;
    default:
      return 0;
  }
}

std::optional<ParsedHeader> ParseHeader(std::span<const std::uint8_t> frame) {
  ParsedHeader header;
  std::span<const std::uint8_t> pictures;
  const prores::Status status = prores::ParseFrameHeader(frame, header, pictures);
  if (status != prores::Status::kSuccess) return std::nullopt;
  header.headerBytes = frame.size() - pictures.size();
  return header;
}

Rational RateOfCode(std::uint8_t code) {
  return ToRational(prores::FrameRateOfCode(code));
}

Rational SampleAspectOf(const prores::FrameHeader& header) {
  return ToRational(prores::PixelAspectOfCode(header.aspectRatio, header.width, header.height));
}

std::uint8_t CodeOfAspect(const StreamFormat& format) {
  const Rational& pixel = format.sampleAspect;
  return prores::CodeOfPixelAspect({pixel.numerator, pixel.denominator}, format.width,
                                   format.height);
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
  return {prores::CodePointOf(header.colorPrimaries),
          prores::CodePointOf(header.transferCharacteristic),
          prores::CodePointOf(header.matrixCoefficients), ColourRange::Unknown};
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
  format.alphaBits = AlphaBitsOf(header.alphaType);
  return format;
}

StreamFormat CombineFormats(StreamFormat container, const prores::FrameHeader& header) {
  container.width = header.width;
  container.height = header.height;
  const StreamFormat told = FormatOf(header);
  container.fieldOrder = told.fieldOrder;
  container.is444 = told.is444;
  container.alphaBits = told.alphaBits;
  if (container.sampleAspect.numerator == 0) container.sampleAspect = told.sampleAspect;
  if (!container.colour.IsSpecified()) {
    const ColourRange range = container.colour.range;
    container.colour = told.colour;
    container.colour.range = range;
  }
  return container;
}

std::optional<HeaderMismatch> FindMismatch(const prores::FrameHeader& header,
                                           const StreamFormat& stream, bool sameScan) {
  if (header.width != stream.width || header.height != stream.height) {
    return HeaderMismatch{"is " + DescribeSize(header.width, header.height) +
                              " although the stream began with " +
                              DescribeSize(stream.width, stream.height),
                          "decode the parts one by one with --frames"};
  }
  const bool isInterlaced = header.interlaceMode != prores::InterlaceMode::kProgressive;
  if (sameScan && isInterlaced != stream.IsInterlaced()) {
    return HeaderMismatch{isInterlaced ? "is interlaced although the stream began progressive"
                                       : "is progressive although the stream began interlaced",
                          "leave out --skip-field"};
  }
  return std::nullopt;
}

std::shared_ptr<const vix::IBuffer> LowerVersion(std::shared_ptr<const vix::IBuffer> frame,
                                                 const FramePool& pool) {
  const auto bytes = BytesOf(*frame);
  const auto header = ParseHeader(bytes);
  if (!header || header->version == 0) return frame;
  auto lowered = pool.MakeFrame(frame->GetSize());
  std::ranges::copy(bytes, lowered->GetData());
  vix::LowerProResVersion(lowered->GetData(), lowered->GetSize());
  return lowered;
}

void StampFrameHeader(const StreamFormat& format, std::span<std::uint8_t> frame) {
  if (!ParseHeader(frame)) return;
  vix::ProResLabels labels{format.colour.primaries, format.colour.transfer, format.colour.matrix,
                           format.rate, format.sampleAspect};
  if (format.fieldOrder == FieldOrder::BottomFirst) {
    labels.fieldOrder = vix::FieldOrder::BottomFirst;
  }
  vix::LabelProResFrame(labels, frame.data(), frame.size());
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
     [](const prores::FrameHeader& header) { return AlphaName(AlphaBitsOf(header.alphaType)); }},
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

// An .mxf has one label for the matrix of BT.601, which has a code for each number of lines.
bool IsMatrixOfBt601(const StreamFormat& format) {
  return format.colour.matrix == 5 || format.colour.matrix == 6;
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
  ComparedProperty& matrix = compared.back();
  if (IsMatrixOfBt601(container) && IsMatrixOfBt601(header)) matrix.state = State::Same;
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
