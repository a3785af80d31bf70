// SPDX-License-Identifier: BSD-2-Clause
#include "frames/HeaderComparison.h"

#include <cmath>
#include <utility>

#include "format/ColourNames.h"
#include "frames/FrameHeaders.h"

namespace vixprores {
namespace {

using State = ComparedProperty::State;
constexpr const char* kUnspecified = "unspecified";

double ToNumber(Rational value) {
  return static_cast<double>(value.numerator) / value.denominator;
}

std::string DescribeOrNot(Rational value, char separator) {
  if (value.numerator == 0) return kUnspecified;
  if (separator == '/') return Describe(value);
  return std::to_string(value.numerator) + separator + std::to_string(value.denominator);
}

std::string DescribeOrNot(FieldOrder order) {
  return order == FieldOrder::Unknown ? kUnspecified : Describe(order);
}

// Of two values that were put into words.
State CompareWords(const std::string& container, const std::string& header) {
  if (container == kUnspecified || header == kUnspecified) return State::Unspecified;
  return container == header ? State::Same : State::Mismatch;
}

ComparedProperty CompareTexts(std::string key, std::string name, std::string container,
                              std::string header) {
  const State state = CompareWords(container, header);
  return {std::move(key), std::move(name), std::move(container), std::move(header), state};
}

// The header can only tell the shape of the picture, whose width is counted with or without the
// blanking at its sides: 720 or 702 samples of standard definition, 2.5 % apart.
ComparedProperty CompareAspects(Rational container, Rational header) {
  constexpr double kTolerance = 0.03;
  auto compared = CompareTexts("sampleAspect", "sample aspect", DescribeOrNot(container, ':'),
                               DescribeOrNot(header, ':'));
  if (compared.state == State::Mismatch &&
      std::abs(ToNumber(container) / ToNumber(header) - 1) < kTolerance) {
    compared.state = State::Same;
  }
  return compared;
}

}  // namespace

std::vector<ComparedProperty> CompareWithContainer(const StreamFormat& container,
                                                   const prores::FrameHeader& frame) {
  const StreamFormat header = FormatOf(frame);
  return {
      CompareTexts("size", "size", DescribeSize(container.width, container.height),
                   DescribeSize(header.width, header.height)),
      CompareTexts("fieldOrder", "field order", DescribeOrNot(container.fieldOrder),
                   DescribeOrNot(header.fieldOrder)),
      CompareTexts("colourPrimaries", "colour primaries",
                   DescribeColourCode(ColourProperty::Primaries, container.colour.primaries),
                   DescribeColourCode(ColourProperty::Primaries, header.colour.primaries)),
      CompareTexts("transfer", "transfer",
                   DescribeColourCode(ColourProperty::Transfer, container.colour.transfer),
                   DescribeColourCode(ColourProperty::Transfer, header.colour.transfer)),
      CompareTexts("matrix", "matrix",
                   DescribeColourCode(ColourProperty::Matrix, container.colour.matrix),
                   DescribeColourCode(ColourProperty::Matrix, header.colour.matrix)),
      CompareAspects(container.sampleAspect, header.sampleAspect),
      CompareTexts("frameRate", "frame rate", DescribeOrNot(container.rate, '/'),
                   DescribeOrNot(header.rate, '/')),
  };
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

}  // namespace vixprores
