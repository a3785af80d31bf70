// SPDX-License-Identifier: BSD-2-Clause
#include "Commands.h"
#include "Transcode.h"

namespace vixprores {
namespace {

// Pixels of twice the height; unknown stays unknown.
Rational HalveAspect(Rational aspect) {
  if (aspect.numerator % 2 == 0) return {aspect.numerator / 2, aspect.denominator};
  if (aspect.denominator <= INT32_MAX / 2) return {aspect.numerator, aspect.denominator * 2};
  return {0, 1};
}

StreamFormat DecodedFormat(StreamFormat source, const DecodeOptions& options) {
  source.code = options.fourcc;
  if (options.skipField && source.IsInterlaced() && source.height > 1) {
    source.height /= 2;
    source.sampleAspect = HalveAspect(source.sampleAspect);
    source.fieldOrder = FieldOrder::Progressive;
  }
  return source;
}

}  // namespace

void Decode(const DecodeOptions& options, RunReport& report) {
  const OutputFormat& output = FindRawVideoOutput(options.output);
  auto reader = OpenProRes(options.input, options.skipField);
  const StreamFormat result = DecodedFormat(reader->GetFormat(), options);
  const auto makeElement = [&options](int threads) {
    return MakeProResDecoder(options.fourcc, options.skipField, threads);
  };
  Transcode(options, {std::move(reader), makeElement, result, output}, report);
}

}  // namespace vixprores
