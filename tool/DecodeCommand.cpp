// SPDX-License-Identifier: BSD-2-Clause
#include "Commands.h"
#include "Transcode.h"

namespace vixprores {
namespace {

StreamFormat DecodedFormat(StreamFormat source, const DecodeOptions& options) {
  source.code = options.fourcc;
  if (options.skipField && source.IsInterlaced()) {
    // One field: half the lines, each twice as high.
    source.height /= 2;
    source.sampleAspect.denominator *= 2;
    source.fieldOrder = FieldOrder::Progressive;
  }
  return source;
}

vix::ElementDriver MakeDecoder(const DecodeOptions& options) {
  auto decoder = MakeProResElement(vix::ElementFactoryType::VideoDecoder);
  const auto config = decoder.CreateConfig();
  config->SetBool("SkipField", options.skipField);
  config->SetFourCC("OutputFourCC", options.fourcc);
  decoder.Configure(config);
  return decoder;
}

}  // namespace

void Decode(const DecodeOptions& options, RunReport& report) {
  const OutputFormat& output = FindRawVideoOutput(options.output);
  auto reader = OpenProRes(options.input);
  const StreamFormat result = DecodedFormat(reader->GetFormat(), options);
  Transcode(options, {std::move(reader), MakeDecoder(options), result, output}, report);
}

}  // namespace vixprores
