// SPDX-License-Identifier: BSD-2-Clause
#include "run/SoundPlan.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/OutputSound.h"
#include "media/OutputFile.h"
#include "media/sound/AlignedSound.h"
#include "media/sound/DecodedSound.h"
#include "media/sound/SoundFile.h"
#include "run/FrameSource.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

using Sources = std::vector<std::shared_ptr<SoundSource>>;

constexpr std::int64_t kDay = std::int64_t{24} * 60 * 60 * kMicrosecond.den;

// Returns the time of the first picture.
TimePoint BeginOf(const FrameReader& reader) {
  return {reader.GetFormat().start, Invert(reader.GetFormat().rate)};
}

bool IsConverted(const std::vector<SoundTrack>& tracks, const SoundConversion& conversion) {
  return std::ranges::any_of(
      tracks, [&](const SoundTrack& track) { return conversion.FormatOf(track).has_value(); });
}

// Wraps the source if one of its tracks is to be converted.
std::shared_ptr<SoundSource> ConvertTracks(std::shared_ptr<SoundSource> source,
                                           const SoundConversion& conversion,
                                           const TimePoint& begin, const std::string& name) {
  if (!IsConverted(source->GetSound(), conversion)) return source;
  return std::make_shared<DecodedSound>(std::move(source), conversion, begin, name);
}

void AddInputSound(const TranscodeOptions& options, TranscodePlan& plan, Sources& sources) {
  std::vector<std::size_t> places = ChooseTracks(options, *plan.reader);
  if (plan.output.kind != OutputKind::Container && !places.empty()) {
    plan.notes.push_back(plan.reader->GetName() +
                         ": its sound is left out, as the output holds none");
    places.clear();
  }
  SideTracks* const side = plan.reader->GetSideTracks();
  if (!side) return;
  side->SelectSound(places);
  if (places.empty()) return;
  if (IsConverted(side->GetSound(), options.audio)) side->SetSoundPreroll(kDecoderPreroll);
  sources.push_back(ConvertTracks(BorrowSound(*plan.reader), options.audio, BeginOf(*plan.reader),
                                  plan.reader->GetName()));
}

// Where a sound file begins, and why.
struct Alignment {
  TimePoint offset;  ///< from the first picture
  std::string reason;
};

// Returns text like "2.500 s after".
std::string DescribeOffset(const TimePoint& offset) {
  const std::int64_t thousandths = av_rescale_q(offset.time, offset.tick, {1, 1000});
  if (offset.time == 0) return "with";
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%lld.%03lld s ", std::llabs(thousandths) / 1000,
                std::llabs(thousandths) % 1000);
  return text.data() + std::string(offset.time < 0 ? "before" : "after");
}

Alignment Align(const SoundFile& file, const TranscodeOptions& options,
                const SoundAnchor& pictures) {
  const int rate = file.GetSound().front().parameters->sample_rate;
  if (options.audioOffset) {
    const auto [value, isInSamples] = *options.audioOffset;
    return {{value, isInSamples ? AVRational{1, rate} : kMicrosecond}, "as --audio-offset says"};
  }
  const auto& timecode = pictures.timecode;
  const auto reference = file.GetTimeReference();
  if (!reference) return {{0, {1, 1}}, "as it has no time reference"};
  if (!timecode) return {{0, {1, 1}}, "as the pictures have no timecode"};
  const AVRational sample = reference->tick;
  const std::int64_t day = av_rescale_q(kDay, kMicrosecond, sample);
  std::int64_t samples =
      reference->time - av_rescale_q(timecode->GetFrame(), Invert(pictures.rate), sample);
  if (samples > day / 2) samples -= day;
  if (samples < -day / 2) samples += day;
  return {{samples, sample},
          "by its time reference and the timecode " + timecode->ToText() + " of the pictures"};
}

// Rejects a file that has no sound during the pictures.
void CheckOverlap(const SoundFile& file, const Alignment& alignment, const SoundAnchor& pictures) {
  const auto& time = alignment.offset.time;
  const auto& tick = alignment.offset.tick;
  const auto& frames = pictures.frames;
  const bool isLate = frames && av_compare_ts(time, tick, *frames, pictures.begin.tick) >= 0;
  const auto isOver = [&](const SoundTrack& track) {
    return track.end && time < 0 && av_compare_ts(*track.end, track.timeBase, -time, tick) <= 0;
  };
  if (!isLate && !std::ranges::all_of(file.GetSound(), isOver)) return;
  throw Failure(file.GetName() + ": begins " + DescribeOffset(alignment.offset) +
                " the first picture, " + alignment.reason + ", and so has no sound during the " +
                "pictures; --audio-offset 0 starts it with the first picture");
}

// Returns the offset from the first picture that is kept.
TimePoint OffsetFromKept(const TimePoint& offset, const SoundAnchor& pictures) {
  if (pictures.skipped == 0) return offset;
  constexpr AVRational kNanosecond{1, 1'000'000'000};
  return {av_rescale_q(offset.time, offset.tick, kNanosecond) -
              av_rescale_q(pictures.skipped, pictures.begin.tick, kNanosecond),
          kNanosecond};
}

std::shared_ptr<SoundSource> OpenAligned(const std::string& path, const TranscodeOptions& options,
                                         const SoundAnchor& pictures,
                                         std::vector<std::string>& notes) {
  const auto file = std::make_shared<SoundFile>(path);
  const Alignment alignment = Align(*file, options, pictures);
  CheckOverlap(*file, alignment, pictures);
  notes.push_back(file->GetName() + ": begins " + DescribeOffset(alignment.offset) +
                  " the first picture, " + alignment.reason);
  return std::make_shared<AlignedSound>(
      ConvertTracks(file, options.audio, {0, {1, 1}}, file->GetName()), pictures.begin,
      OffsetFromKept(alignment.offset, pictures));
}

std::vector<std::string> FilesOf(const TranscodeOptions& options) {
  std::vector<std::string> files = options.addedAudioFiles;
  if (options.audioFile) files.insert(files.begin(), *options.audioFile);
  return files;
}

std::shared_ptr<SoundSource> JoinSources(Sources sources) {
  if (sources.empty()) return nullptr;
  if (sources.size() == 1) return sources.front();
  return std::make_shared<JoinedSound>(std::move(sources));
}

}  // namespace

std::vector<std::size_t> ChooseTracks(const TranscodeOptions& options, FrameReader& reader) {
  const SideTracks* const side = reader.GetSideTracks();
  const std::size_t available = side ? side->GetSound().size() : 0;
  std::vector<std::size_t> places(available);
  std::iota(places.begin(), places.end(), std::size_t{0});
  if (options.audioTracks) places = *options.audioTracks;
  for (const std::size_t place : places) {
    if (place < available) continue;
    throw Failure(reader.GetName() + ": has " +
                  Count(static_cast<std::int64_t>(available), "sound track") +
                  ", but --audio-tracks asks for number " + std::to_string(place + 1));
  }
  const bool isReplaced = options.noAudio || options.audioFile.has_value();
  return isReplaced ? std::vector<std::size_t>() : places;
}

std::shared_ptr<SoundSource> OpenSoundFiles(const TranscodeOptions& options,
                                            const SoundAnchor& anchor,
                                            std::vector<std::string>& notes) {
  Sources sources;
  for (const std::string& path : FilesOf(options)) {
    sources.push_back(OpenAligned(path, options, anchor, notes));
  }
  return JoinSources(std::move(sources));
}

void PlanSound(const TranscodeOptions& options, TranscodePlan& plan) {
  Sources sources;
  AddInputSound(options, plan, sources);
  const auto files = FilesOf(options);
  if (!files.empty() && plan.output.kind != OutputKind::Container) {
    throw Failure(NameOfOutput(options.output) + ": holds no sound, so that " + files.front() +
                  " cannot be added; choose a container such as .mov");
  }
  const SoundAnchor pictures{BeginOf(*plan.reader), 0, plan.reader->GetDescription().frames,
                             plan.content.timecode, plan.source.rate};
  if (auto added = OpenSoundFiles(options, pictures, plan.notes)) {
    sources.push_back(std::move(added));
  }
  plan.sound = JoinSources(std::move(sources));
  if (!plan.sound) return;
  plan.content.sound = plan.sound->GetSound();
  CheckSoundStorable(NameOfOutput(options.output), plan.output, plan.content.sound,
                     SoundRemedy::Conversion);
}

}  // namespace vixprores
