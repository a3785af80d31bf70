// SPDX-License-Identifier: BSD-2-Clause
#include "run/EncodePlan.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/InputFormat.h"
#include "media/raw/WidenedReader.h"
#include "run/InputOptions.h"

namespace vixprores {
namespace {

// Returns the matrix that the user chose, a code point.
int ChosenMatrix(const StreamOverrides& overrides) {
  return overrides.matrix.value_or(overrides.colour ? overrides.colour->matrix
                                                    : kUnspecifiedColour);
}

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
  if (overrides.masteringDisplay) source.masteringDisplay = overrides.masteringDisplay;
  if (overrides.contentLight) source.contentLight = overrides.contentLight;
  return source;
}

void Override(Metadata& metadata, const Metadata& overrides) {
  for (const auto& label : overrides) {
    // Names differ in case between containers.
    std::erase_if(metadata, [&](const auto& entry) { return ToLower(entry.first) == label.first; });
    if (!label.second.empty()) metadata.insert(label);
  }
}

// Returns how the input is decoded.
FootageReading ReadingFor(const EncodeOptions& options) {
  FootageReading reading = options.footage;
  const StreamOverrides& overrides = options.overrides;
  reading.isDeep = reading.keepsRgb = options.variant->is4444;
  reading.keepsAlpha = options.alphaBits != 0;
  reading.isPremultiplied = options.premultiplied.value_or(false);
  reading.threads = options.threads;
  reading.rate = overrides.rate;
  reading.fields = overrides.fields;
  if (overrides.colour) reading.colour = *overrides.colour;
  reading.colour.primaries = overrides.primaries.value_or(reading.colour.primaries);
  reading.colour.transfer = overrides.transfer.value_or(reading.colour.transfer);
  reading.colour.matrix = overrides.matrix.value_or(reading.colour.matrix);
  return reading;
}

StreamFormat EncodedFormat(StreamFormat source, const EncodeOptions& options) {
  const ProResVariant& variant = *options.variant;
  source.code = variant.code;
  source.is444 = variant.is4444;
  source.alphaBits = variant.is4444 ? options.alphaBits.value_or(source.alphaBits) : 0;
  // An unknown field order is coded, and therefore labelled, as progressive.
  if (source.fieldOrder == FieldOrder::Unknown) source.fieldOrder = FieldOrder::Progressive;
  return source;
}

// Returns the input's timecode at the rate of the output.
std::optional<Timecode> TakeOverTimecode(const FrameReader& reader, Rational rate,
                                         std::vector<std::string>& notes) {
  const auto timecode = reader.GetDescription().timecode;
  if (!timecode || rate == reader.GetFormat().rate) return timecode;
  const std::string text = timecode->ToText();
  const auto relabelled = Timecode::Find(text, rate);
  if (!relabelled) {
    notes.push_back(reader.GetName() + ": drops the timecode '" + text +
                    "', which does not exist at " + Describe(rate) + " frames per second");
  }
  return relabelled;
}

// Players assume limited range in an output that cannot label it.
void CheckRange(const StreamFormat& source, const OutputFormat& output, const FrameReader& reader,
                std::vector<std::string>& notes) {
  if (source.colour.range != ColourRange::Full || output.keepsColourRange) return;
  notes.push_back(reader.GetName() +
                  ": full range, which players of this output take for limited range; this command "
                  "converts it:\n  " +
                  ConversionCommand(reader.GetName(), kToLimitedRange));
}

// Names alpha that is lost, unless the user wants none, and options for alpha that have no effect.
void NoteAlpha(const EncodeOptions& options, const FrameReader& reader,
               std::vector<std::string>& notes) {
  if (reader.GetFormat().HasAlpha()) return;
  const bool isLost = reader.GetDescription().losesAlpha;
  const bool isUnwanted = options.alphaBits == 0;
  std::string effects;
  if (isLost && !isUnwanted && !options.variant->is4444) effects += "; --variant 4444 keeps it";
  if (options.alphaBits.value_or(0) > 0) effects += "; that of the output is opaque";
  if (options.premultiplied.value_or(false)) effects += "; --premultiplied has no effect";
  if (effects.empty() && (!isLost || isUnwanted)) return;
  notes.push_back(reader.GetName() +
                  (isLost ? ": the alpha channel is left out" : ": has no alpha channel") +
                  effects);
}

// Names what a 4:2:2 variant does not keep of the colours.
void NoteFiner(const EncodeOptions& options, const FrameReader& reader,
               std::vector<std::string>& notes) {
  const std::string& finer = reader.GetDescription().finer;
  if (options.variant->is4444 || finer.empty()) return;
  notes.push_back(reader.GetName() + ": converts " + finer +
                  " to 4:2:2 in 10 bits; --variant 4444 keeps 4:4:4 in 12 bits");
}

SequenceReading ReadingOf(const EncodeOptions& options) {
  const StreamOverrides& overrides = options.overrides;
  SequenceReading reading;
  reading.rate = overrides.rate;
  reading.turns = !options.footage.keepsRotation;
  reading.scale = options.footage.scale;
  reading.missing = options.missing;
  reading.colours = ChooseSpaces(options.colours, std::nullopt);
  reading.matrix = ChosenMatrix(overrides);
  reading.isDeep = options.variant->is4444;
  reading.keepsAlpha = options.alphaBits != 0;
  reading.isPremultiplied = options.premultiplied;
  return reading;
}

std::unique_ptr<FrameReader> OpenStored(const EncodeOptions& options) {
  if (options.rawFrames) {
    CheckInputOptions(options, InputKind::RawFrames);
    return OpenRawFrames(options.input, *options.rawFrames);
  }
  if (auto images = FindImages(options.input)) {
    CheckInputOptions(options, InputKind::Images);
    return std::make_unique<SequenceReader>(std::move(*images), ReadingOf(options));
  }
  CheckInputOptions(options, InputKind::Footage);
  return OpenFootage(options.input, ReadingFor(options));
}

// Opens the input so that its pictures have a format that the encoder takes.
std::unique_ptr<FrameReader> Open(const EncodeOptions& options) {
  auto reader = OpenStored(options);
  return options.variant->is4444 ? Widen(std::move(reader)) : std::move(reader);
}

// Returns the matrix that the encoder converts RGB with. A reader that converts RGB has chosen it.
int ChooseMatrix(const StreamFormat& source, const FrameReader& reader) {
  return reader.GetDescription().isRgb ? reader.GetFormat().colour.matrix
                                       : RgbMatrixFor(source.colour.matrix, source.height).coded;
}

bool IsRgb(const StreamFormat& source, const FrameReader& reader) {
  return reader.GetDescription().isRgb || source.code == vix::kFourCC_b64A;
}

// Refuses a matrix that RGB pictures cannot be converted with.
void CheckMatrix(const EncodeOptions& options, const FrameReader& reader) {
  const int matrix = options.overrides.matrix.value_or(kUnspecifiedColour);
  if (matrix == kUnspecifiedColour || vix::FindRgbMatrix(matrix)) return;
  std::vector<std::string> names;
  for (const std::string& name : ColourCodeNames(ColourProperty::Matrix)) {
    if (vix::FindRgbMatrix(FindColourCode(ColourProperty::Matrix, name))) names.push_back(name);
  }
  throw UsageError(reader.GetName() + ": RGB pictures cannot be converted with the matrix " +
                   DescribeColourCode(ColourProperty::Matrix, matrix) + "; choose one of " +
                   JoinWords(names));
}

// Names the matrix that RGB pictures are converted with.
std::string NoteMatrix(const EncodeOptions& options, int matrix, const FrameReader& reader) {
  std::string note = reader.GetName() + ": RGB pictures are converted with the matrix " +
                     DescribeColourCode(ColourProperty::Matrix, matrix);
  const int chosen = ChosenMatrix(options.overrides);
  if (options.footage.convertColour || chosen == matrix) return note;
  if (chosen == kUnspecifiedColour) {
    return note + (options.colours.IsGiven() ? "" : "; --matrix chooses another one");
  }
  return note + " in place of " + DescribeColourCode(ColourProperty::Matrix, chosen);
}

// Returns the timecode of the first frame of an image sequence from its number or its file.
Timecode TakeSequenceTimecode(const FrameReader& reader, const std::string& choice, Rational rate) {
  const InputDescription& input = reader.GetDescription();
  if (choice == "frame") return Timecode::Parse("00:00:00:00", rate) + input.firstNumber;
  if (input.timecode) return *input.timecode;
  throw Failure(reader.GetName() + ": the first file has no timecode of " + Describe(rate) +
                " frames per second; --timecode frame counts from its number");
}

std::optional<Timecode> ChooseTimecode(const EncodeOptions& options, const FrameReader& reader,
                                       Rational rate, std::vector<std::string>& notes) {
  const auto& choice = options.timecode;
  if (!choice) return TakeOverTimecode(reader, rate, notes);
  const bool isOfSequence = *choice == "frame" || *choice == "file";
  return isOfSequence ? TakeSequenceTimecode(reader, *choice, rate)
                      : Timecode::Parse(*choice, rate);
}

}  // namespace

TranscodePlan PlanEncoding(const EncodeOptions& options) {
  const OutputFormat& output = FindProResOutput(options.output);
  auto reader = Open(options);
  StreamFormat source = Override(reader->GetFormat(), options.overrides);
  // What the user stated was the source's.
  if (options.footage.convertColour) source.colour = reader->GetFormat().colour;
  if (options.footage.deinterlacing != Deinterlacing::None)
    source.fieldOrder = FieldOrder::Progressive;
  CheckEncodable(source, reader->GetName());
  std::vector<std::string> notes;
  if (IsRgb(source, *reader)) {
    // With --convert-color, the option describes the source.
    if (!options.footage.convertColour) CheckMatrix(options, *reader);
    source.colour.matrix = ChooseMatrix(source, *reader);
    notes.push_back(NoteMatrix(options, source.colour.matrix, *reader));
  }
  MovieContent content{EncodedFormat(source, options)};
  content.timecode = ChooseTimecode(options, *reader, source.rate, notes);
  content.metadata = reader->GetDescription().metadata;
  Override(content.metadata, options.metadata);
  content.compressor = options.compressor.value_or("");
  content.vendor = options.vendor.value_or(kVendor);
  CheckRange(source, output, *reader, notes);
  NoteAlpha(options, *reader, notes);
  NoteFiner(options, *reader, notes);
  const auto encoder = ProResElement::Encoder(*options.variant, content.video.alphaBits);
  TranscodePlan plan{std::move(reader), source, encoder, std::move(content), output};
  plan.notes = std::move(notes);
  plan.onDamage = options.onDamage;
  return plan;
}

}  // namespace vixprores
