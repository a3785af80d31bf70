// SPDX-License-Identifier: BSD-2-Clause
#include "commands/BindOptions.h"
#include "commands/Commands.h"
#include "commands/Transcode.h"
#include "format/Encodable.h"

namespace vixprores {
namespace {

StreamFormat Override(StreamFormat source, const StreamOverrides& overrides) {
  if (overrides.colour) {
    const ColourRange range = source.colour.range;
    source.colour = *overrides.colour;
    source.colour.range = range;
  }
  source.colour.primaries = overrides.primaries.value_or(source.colour.primaries);
  source.colour.transfer = overrides.transfer.value_or(source.colour.transfer);
  source.colour.matrix = overrides.matrix.value_or(source.colour.matrix);
  source.fieldOrder = overrides.fields.value_or(source.fieldOrder);
  source.sampleAspect = overrides.sampleAspect.value_or(source.sampleAspect);
  source.rate = overrides.rate.value_or(source.rate);
  return source;
}

StreamFormat EncodedFormat(StreamFormat source, const ProResVariant& variant) {
  source.code = variant.code;
  // What does not say how it was scanned is coded as progressive, and has to be labelled so.
  if (source.fieldOrder == FieldOrder::Unknown) source.fieldOrder = FieldOrder::Progressive;
  return source;
}

void Encode(const EncodeOptions& options, RunReport& report) {
  const OutputFormat& output = FindProResOutput(options.output);
  auto reader = OpenRawVideo(options.input, options.headless);
  const StreamFormat source = Override(reader->GetFormat(), options.overrides);
  CheckEncodable(source, reader->GetName());
  MovieContent content{EncodedFormat(source, *options.variant), reader->GetTimecode()};
  if (options.timecode) content.timecode = Timecode::Parse(*options.timecode, source.rate);
  content.compressor = options.compressor.value_or("");
  content.vendor = options.vendor.value_or(kVendor);
  const auto makeElement = [&options](int threads) {
    return MakeProResEncoder(*options.variant, threads);
  };
  Transcode(options,
            {std::move(reader), source, makeElement, std::move(content), output, options.verify},
            report);
}

int RunEncode(const EncodeOptions& options) {
  return RunReported(options, "encode", [&options](const BatchItem& item, RunReport& report) {
    Encode(ForItem(options, item), report);
  });
}

}  // namespace

Command MakeEncodeCommand() {
  return BindOptions(DescribeEncode, RunEncode);
}

}  // namespace vixprores
