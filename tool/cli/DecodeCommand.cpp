// SPDX-License-Identifier: BSD-2-Clause
#include <string>
#include <utility>
#include <vector>

#include "cli/Commands.h"
#include "cli/Options.h"
#include "media/sequence/ImageModule.h"
#include "report/Report.h"
#include "run/Transcode.h"

namespace vixprores {
namespace {

// Returns the aspect of pixels of twice the height; unknown stays unknown.
Rational HalveAspect(Rational aspect) {
  if (aspect.numerator % 2 == 0) return {aspect.numerator / 2, aspect.denominator};
  if (aspect.denominator <= INT32_MAX / 2) return {aspect.numerator, aspect.denominator * 2};
  return {0, 1};
}

// Images and Y4M hold whatever a 4444 stream has; other outputs only where --fourcc asks for it.
vix::FourCC CodeFor(const StreamFormat& source, const DecodeOptions& options) {
  const OutputKind kind = FindRawVideoOutput(options.output, options.pipeFormat).kind;
  const bool isDeep = source.is444 || source.HasAlpha();
  const bool mayKeep = kind == OutputKind::Images || (kind == OutputKind::Y4m && source.is444);
  if (isDeep && mayKeep && !options.fourcc && !options.skipField) return vix::kFourCC_Y416;
  return ChooseFourCC(options.output, options.fourcc);
}

StreamFormat DecodedFormat(StreamFormat source, const DecodeOptions& options) {
  source.code = CodeFor(source, options);
  source.is444 = IsOf4444(source.code);
  if (!source.is444) source.alphaBits = 0;
  // The images have colours of a space that is named elsewhere, and need no labels.
  if (options.colours.IsGiven()) {
    source.colour.primaries = source.colour.transfer = kUnspecifiedColour;
  }
  if (options.skipField && source.IsInterlaced() && source.height > 1) {
    source.height /= 2;
    source.sampleAspect = HalveAspect(source.sampleAspect);
    source.fieldOrder = FieldOrder::Progressive;
  }
  return source;
}

// Completes the matrix of pictures that are converted to RGB, before fields halve their height.
void CompleteMatrix(const FrameReader& reader, const OutputFormat& output, StreamFormat& decoded,
                    std::vector<std::string>& notes) {
  const StreamFormat& source = reader.GetFormat();
  const bool isToRgb = output.kind == OutputKind::Images || decoded.code == vix::kFourCC_b64A;
  if (!isToRgb || vix::FindRgbMatrix(source.colour.matrix)) return;
  const int matrix = RgbMatrixFor(source.colour.matrix, source.height).coded;
  if (output.kind == OutputKind::Images) decoded.colour.matrix = matrix;
  notes.push_back(DescribeConversionToRgb(reader.GetName(), matrix));
}

std::vector<std::string> FindNotes(const DecodeOptions& options, const FrameReader& reader,
                                   const StreamFormat& decoded, const OutputFormat& output) {
  std::vector<std::string> notes;
  if (options.skipField && !reader.GetFormat().IsInterlaced()) {
    notes.push_back(reader.GetName() + ": progressive; --skip-field has no effect");
  }
  if (reader.GetFormat().is444 && !decoded.is444) {
    notes.push_back(reader.GetName() + ": converts 4:4:4 to 4:2:2; --fourcc b64A keeps it");
  }
  const bool takesAlpha =
      output.kind != OutputKind::Images || LoadImageModule().KeepsAlpha(options.output);
  const bool keepsAlpha = decoded.HasAlpha() && output.kind != OutputKind::Y4m && takesAlpha;
  if (reader.GetFormat().HasAlpha() && !keepsAlpha) {
    notes.push_back(reader.GetName() + ": drops the alpha channel");
  }
  return notes;
}

void Decode(const DecodeOptions& options, RunReport& report, RunObserver& observer) {
  const OutputFormat& output = FindRawVideoOutput(options.output, options.pipeFormat);
  ProResOptions opening = ToProResOptions(options);
  opening.sameScan = options.skipField;
  opening.damagedStart = true;
  if (options.onDamage != DamagePolicy::Stop) opening.times = FrameTimes::GapsOnly;
  auto reader = OpenProRes(options.input, opening);
  const StreamFormat source = reader->GetFormat();
  MovieContent content{DecodedFormat(source, options), reader->GetDescription().timecode};
  content.metadata = reader->GetDescription().metadata;
  const auto element = ProResElement::Decoder(content.video.code, options.skipField);
  auto notes = FindNotes(options, *reader, content.video, output);
  CompleteMatrix(*reader, output, content.video, notes);
  TranscodePlan plan{std::move(reader), source, element, std::move(content), output};
  plan.notes = std::move(notes);
  plan.onDamage = options.onDamage;
  plan.sequence = {options.startNumber, ChooseSpaces(options.colours, source.colour)};
  Transcode(options, std::move(plan), report, observer);
}

int RunDecode(const DecodeOptions& options) {
  RunReporter reporter(options);
  return RunReported(options, "decode", reporter, [&](const BatchItem& item, RunReport& report) {
    Decode(ForItem(options, item), report, reporter);
  });
}

}  // namespace

Command MakeDecodeCommand() {
  return BindOptions(DescribeDecode, RunDecode);
}

}  // namespace vixprores
