// SPDX-License-Identifier: BSD-2-Clause
#include "commands/BindOptions.h"
#include "commands/Commands.h"
#include "commands/Transcode.h"
#include "format/Encodable.h"

namespace vixprores {
namespace {

StreamFormat EncodedFormat(StreamFormat source, const ProResVariant& variant) {
  source.code = variant.code;
  // What does not say how it was scanned is coded as progressive, and has to be labelled so.
  if (source.fieldOrder == FieldOrder::Unknown) source.fieldOrder = FieldOrder::Progressive;
  return source;
}

void Encode(const EncodeOptions& options, RunReport& report) {
  const OutputFormat& output = FindProResOutput(options.output);
  auto reader = OpenRawVideo(options.input, options.headless);
  const StreamFormat& source = reader->GetFormat();
  CheckEncodable(source, reader->GetName());
  const StreamFormat result = EncodedFormat(source, *options.variant);
  const auto makeElement = [&options](int threads) {
    return MakeProResEncoder(*options.variant, threads);
  };
  Transcode(options, {std::move(reader), makeElement, result, output}, report);
}

int RunEncode(const EncodeOptions& options) {
  return RunReported(options, "encode", [&options](RunReport& report) { Encode(options, report); });
}

}  // namespace

Command MakeEncodeCommand() {
  return BindOptions(DescribeEncode, RunEncode);
}

}  // namespace vixprores
