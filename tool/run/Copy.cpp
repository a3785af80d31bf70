// SPDX-License-Identifier: BSD-2-Clause
#include "run/Copy.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/OutputSound.h"
#include "media/OutputFile.h"
#include "media/container/EncoderDescription.h"
#include "media/sound/SideTracks.h"
#include "recovery/TaggedFileReader.h"
#include "run/CopyRun.h"
#include "run/OpenInput.h"
#include "run/SoundPlan.h"
#include "run/TextPlan.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

CopyPart OpenPart(const std::string& input, const CopyOptions& options) {
  ProResOptions opening;
  opening.damagedStart = true;
  opening.inPlace = true;
  if (options.onDamage != DamagePolicy::Stop) opening.times = FrameTimes::GapsOnly;
  return {OpenProRes(input, opening), std::nullopt};
}

// Sets the range of the part by the numbers or the timecodes of its frames.
void ChooseRange(const CopyOptions& options, CopyPart& part) {
  std::optional<FrameRange> range = options.frames;
  if (options.from || options.to) {
    range = FrameRange();
    range->firstTimecode = options.from.value_or("");
    range->lastTimecode = options.to.value_or("");
  }
  part.range = ResolveRange(range, *part.reader);
}

void RefuseOtherScan(const FrameReader& reader, const FrameLabels& labels) {
  if (!labels.fields || reader.GetFormat().IsInterlaced()) return;
  throw Failure(reader.GetName() +
                ": is progressive; --fields only exchanges the fields of interlaced frames");
}

// A property that joined parts must share.
struct SharedProperty {
  const char* name;
  std::string (*describe)(const StreamFormat&);
  const char* advice;
};

constexpr const char* kCopyApart = "copy it to a file of its own";

constexpr SharedProperty kShared[] = {
    {"size", [](const StreamFormat& stream) { return DescribeSize(stream.width, stream.height); },
     kCopyApart},
    {"variant", [](const StreamFormat& stream) { return DescribeCode(stream.code); }, kCopyApart},
    {"alpha channel",
     [](const StreamFormat& stream) { return std::string(stream.HasAlpha() ? "coded" : "none"); },
     kCopyApart},
    {"frame rate", [](const StreamFormat& stream) { return Describe(stream.rate); }, kCopyApart},
    {"scan",
     [](const StreamFormat& stream) {
       return std::string(stream.IsInterlaced() ? "interlaced" : "progressive");
     },
     kCopyApart},
    {"field order", [](const StreamFormat& stream) { return Describe(stream.fieldOrder); },
     "--fields sets one for all"},
    {"colour", [](const StreamFormat& stream) { return Describe(stream.colour); },
     "--color sets one for all"},
    {"pixel aspect", [](const StreamFormat& stream) { return Describe(stream.sampleAspect); },
     "--par sets one for all"},
};

[[noreturn]] void RefuseJoin(const FrameReader& first, const FrameReader& other,
                             const std::string& name, const std::string& is,
                             const std::string& should, const std::string& advice) {
  throw Failure(other.GetName() + ": cannot follow " + first.GetName() + ": its " + name + " is " +
                is + " instead of " + should + "; " + advice);
}

std::string DescribeTrack(const SoundTrack& track) {
  const AVCodecParameters& sound = *track.parameters;
  return std::string(avcodec_get_name(sound.codec_id)) + " at " +
         std::to_string(sound.sample_rate) + " Hz, " +
         Count(sound.ch_layout.nb_channels, "channel");
}

bool HasSameSetup(const SoundTrack& a, const SoundTrack& b) {
  const AVCodecParameters& one = *a.parameters;
  const AVCodecParameters& two = *b.parameters;
  return one.extradata_size == two.extradata_size &&
         std::equal(one.extradata, one.extradata + one.extradata_size, two.extradata);
}

void CheckSoundJoin(FrameReader& first, FrameReader& other) {
  const std::string advice = "choose tracks with --audio-tracks, or leave them out with --no-audio";
  const auto& one = first.GetSideTracks()->GetSound();
  const auto& two = other.GetSideTracks()->GetSound();
  if (one.size() != two.size()) {
    RefuseJoin(first, other, "number of sound tracks", std::to_string(two.size()),
               std::to_string(one.size()), advice);
  }
  for (std::size_t i = 0; i < one.size(); ++i) {
    const std::string name = "sound track " + std::to_string(two[i].number + 1);
    const std::string is = DescribeTrack(two[i]);
    const std::string should = DescribeTrack(one[i]);
    if (is != should) RefuseJoin(first, other, name, is, should, advice);
    const bool isPcm = one[i].SampleBytes() > 0;
    if (!isPcm && !HasSameSetup(one[i], two[i])) {
      RefuseJoin(first, other, name, is + " with another setup", "the same setup", advice);
    }
  }
}

// Returns the format of a part with the requested labels.
StreamFormat DescribePart(const CopyPart& part, const std::string& input,
                          const FrameLabels& labels) {
  StreamFormat stream = labels.Correct(part.reader->GetFormat());
  if (stream.code == 0) stream.code = FindMxfVariant(InputFile(input));
  if (stream.code != 0) return stream;
  throw Failure(part.reader->GetName() +
                ": its container does not state the variant of ProRes, which every output needs; "
                "rewrap it as .mov with the program that made it");
}

void CheckJoins(const CopyPlan& plan, const std::vector<StreamFormat>& streams) {
  const FrameReader& first = *plan.parts.front().reader;
  for (std::size_t i = 1; i < streams.size(); ++i) {
    FrameReader& other = *plan.parts[i].reader;
    for (const auto& [name, describe, advice] : kShared) {
      const std::string is = describe(streams[i]);
      const std::string should = describe(streams[0]);
      if (is != should) RefuseJoin(first, other, name, is, should, advice);
    }
    CheckSoundJoin(*plan.parts.front().reader, other);
  }
}

std::optional<Timecode> TimecodeOf(const CopyPart& part) {
  const auto& timecode = part.reader->GetDescription().timecode;
  if (!timecode) return std::nullopt;
  return *timecode + (part.range ? part.range->first : 0);
}

// Sets the timecode of the first frame of the output.
void ChooseTimecode(const CopyOptions& options, CopyPlan& plan, RunObserver& observer) {
  auto& timecode = plan.content.timecode;
  const CopyPart& first = plan.parts.front();
  const Rational rate = plan.content.video.rate;
  timecode = options.timecode ? Timecode::Parse(*options.timecode, rate) : TimecodeOf(first);
  const std::string& unread = first.reader->GetDescription().timecodeNote;
  if (!timecode && !unread.empty()) observer.ReportNote(unread);
  if (!timecode && plan.output.makesTimecode) {
    timecode = Timecode::Find("00:00:00:00", rate);
    observer.ReportNote(NameOfOutput(options.output) +
                        ": this container needs a timecode; it starts at 00:00:00:00, as none is "
                        "known");
  }
  const bool isMov = plan.output.muxer == std::string_view("mov");
  if (!timecode && isMov && plan.content.metadata.contains("reel_name")) {
    const std::string problem =
        ": a .mov stores the reel name beside the timecode, and there is none";
    if (options.reel) {
      throw Failure(NameOfOutput(options.output) + problem + "; set one with --timecode");
    }
    observer.ReportNote(NameOfOutput(options.output) + problem);
  }
}

void DescribeContent(const CopyOptions& options, const StreamFormat& stream, CopyPlan& plan) {
  FrameReader& first = *plan.parts.front().reader;
  const InputDescription& input = first.GetDescription();
  plan.content.video = stream;
  plan.content.sound = first.GetSideTracks()->GetSound();
  plan.content.metadata = input.metadata;
  if (options.reel) plan.content.metadata["reel_name"] = *options.reel;
  if (options.title) plan.content.metadata["title"] = *options.title;
  plan.content.compressor = input.compressor;
  if (input.vendor != 0) plan.content.vendor = input.vendor;
}

// Opens the sound files, which follow the output's pictures, not the parts.
void AddSoundFiles(const CopyOptions& options, CopyPlan& plan, RunObserver& observer) {
  const CopyPart& first = plan.parts.front();
  const InputDescription& input = first.reader->GetDescription();
  const SoundAnchor pictures{{plan.content.video.start, Invert(input.format.rate)},
                             first.range ? first.range->first : 0,
                             plan.parts.size() == 1 ? input.frames : std::nullopt,
                             input.timecode,
                             input.format.rate};
  std::vector<std::string> notes;
  plan.soundFiles = OpenSoundFiles(options, pictures, notes);
  for (const std::string& note : notes) observer.ReportNote(note);
  if (plan.soundFiles) {
    std::ranges::copy(plan.soundFiles->GetSound(), std::back_inserter(plan.content.sound));
  }
}

void ChooseTexts(const CopyOptions& options, CopyPlan& plan, RunObserver& observer) {
  std::vector<TextPart> parts;
  for (std::size_t i = 0; i < plan.parts.size(); ++i) {
    parts.push_back({options.sources[i], plan.parts[i].reader.get(), plan.parts[i].range});
  }
  for (const std::string& note : PlanTexts(parts, plan.output, plan.content)) {
    observer.ReportNote(note);
  }
}

CopyPlan MakePlan(const CopyOptions& options, RunObserver& observer) {
  CopyPlan plan;
  plan.output = FindProResOutput(options.output);
  plan.labels = ToFrameLabels(options.labels);
  RefuseInputAsOutput(options.output, options.sources);
  std::vector<StreamFormat> streams;
  for (const std::string& input : options.sources) {
    CopyPart part = OpenPart(input, options);
    ChooseRange(options, part);
    RefuseOtherScan(*part.reader, plan.labels);
    part.reader->GetSideTracks()->SelectSound(ChooseTracks(options, *part.reader));
    streams.push_back(DescribePart(part, input, plan.labels));
    plan.parts.push_back(std::move(part));
  }
  CheckJoins(plan, streams);
  DescribeContent(options, streams.front(), plan);
  CheckStorable(plan.output, plan.content.video);
  AddSoundFiles(options, plan, observer);
  CheckSoundStorable(NameOfOutput(options.output), plan.output, plan.content.sound,
                     SoundRemedy::OtherOutput);
  ChooseTimecode(options, plan, observer);
  ChooseTexts(options, plan, observer);
  return plan;
}

// Every frame states the depth of its alpha, so that parts may differ.
void ReportAlphaDepths(const CopyPlan& plan, RunObserver& observer) {
  const FrameReader& first = *plan.parts.front().reader;
  const int wanted = first.GetFormat().alphaBits;
  for (const CopyPart& part : plan.parts) {
    const int bits = part.reader->GetFormat().alphaBits;
    if (bits == wanted) continue;
    observer.ReportNote(part.reader->GetName() + ": alpha has " + AlphaName(bits) + ", but " +
                        AlphaName(wanted) + " in " + first.GetName() +
                        "; the output keeps both depths");
  }
}

void ReportNotes(const CopyOptions& options, const CopyPlan& plan, RunObserver& observer) {
  for (std::size_t i = 0; i < plan.parts.size(); ++i) {
    FrameReader& reader = *plan.parts[i].reader;
    for (const std::string& note : reader.GetDescription().notes) observer.ReportNote(note);
    for (const std::string& fault : FindIndexFaults(options.sources[i], reader)) {
      observer.ReportNote(reader.GetName() + ": " + DescribeIndexFault(fault));
    }
  }
  ReportAlphaDepths(plan, observer);
  for (const std::string& property : FindLostProperties(plan.output, plan.content)) {
    observer.ReportNote(NameOfOutput(options.output) + ": the output cannot keep the " + property);
  }
}

void DescribeRun(const CopyOptions& options, const CopyPlan& plan, RunReport& report) {
  report.input = Join(options.sources, ", ");
  report.source = plan.parts.front().reader->GetFormat();
  report.result = KeptFormat(plan.output, plan.content.video);
  report.soundTracks = plan.content.sound.size();
  if (plan.content.timecode && plan.output.keepsTimecode) {
    report.timecode = plan.content.timecode->ToText();
  }
}

}  // namespace

FrameLabels ToFrameLabels(const StreamOverrides& options) {
  if (options.fields == FieldOrder::Progressive) {
    throw UsageError(
        "--fields progressive: a label cannot make interlaced frames progressive; decode and "
        "deinterlace them");
  }
  FrameLabels labels{options.primaries, options.transfer, options.matrix, options.sampleAspect,
                     options.fields};
  if (!options.colour) return labels;
  if (!labels.primaries) labels.primaries = options.colour->primaries;
  if (!labels.transfer) labels.transfer = options.colour->transfer;
  if (!labels.matrix) labels.matrix = options.colour->matrix;
  return labels;
}

void Copy(const CopyOptions& options, RunReport& report, RunObserver& observer) {
  CopyPlan plan = MakePlan(options, observer);
  DescribeRun(options, plan, report);
  ReportNotes(options, plan, observer);
  CopyRun run(options, std::move(plan), report, observer);
  try {
    if (run.CopyFrames()) {
      run.Finish();
      report.status = RunReport::Status::Done;
      return;
    }
    report.status = RunReport::Status::Interrupted;
    run.FinishPartial("interrupted after " + Count(report.frames, "frame"));
  } catch (...) {
    run.FinishPartial(DescribeException(report.input));
  }
}

}  // namespace vixprores
