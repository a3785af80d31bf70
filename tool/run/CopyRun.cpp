// SPDX-License-Identifier: BSD-2-Clause
#include "run/CopyRun.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "frames/FrameLabels.h"
#include "run/Elements.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

// Reads and checks frames while others are written.
constexpr unsigned kWorkers = 2;

// Time before and after all sound, in frames.
constexpr std::int64_t kFarAway = std::int64_t{1} << 40U;

std::optional<std::int64_t> CountAllFrames(const std::vector<CopyPart>& parts) {
  std::int64_t sum = 0;
  for (const CopyPart& part : parts) {
    const auto frames = CountFrames(*part.reader, part.range);
    if (!frames) return std::nullopt;
    sum += *frames;
  }
  return sum;
}

// Returns the number of sound tracks that are those of the parts.
std::size_t CountJoinedTracks(const CopyPlan& plan) {
  const std::size_t files = plan.soundFiles ? plan.soundFiles->GetSound().size() : 0;
  return plan.content.sound.size() - files;
}

bool HidesSound(const OutputFormat& output) {
  return output.muxer == std::string_view("mov");
}

// Returns the sound to read for a part: beyond both ends of a range, if the cut ends keep more.
SoundRange FindSound(const SoundPart& part, const std::optional<FrameRange>& range, Rational rate) {
  // A fifth of a second holds every codec's lead-in.
  const std::int64_t leadIn = rate.numerator / rate.denominator / 5 + 1;
  const std::int64_t last = range ? range->last - range->first : 0;
  return {TimeSpan{part.keepsHead ? -kFarAway : part.begin - leadIn,
                   part.keepsTail || !range || range->IsOpen() ? kFarAway : part.begin + last + 1,
                   0, Invert(rate)},
          leadIn};
}

}  // namespace

CopyRun::CopyRun(const CopyOptions& options, CopyPlan plan, RunReport& report,
                 RunObserver& observer)
    : options_(options),
      plan_(std::move(plan)),
      total_(CountAllFrames(plan_.parts)),
      info_(DescribeStream(plan_.content.video)),
      file_(options.output, options.overwrite),
      writer_(file_, plan_.output, plan_.content, true),
      joinedTracks_(CountJoinedTracks(plan_)),
      sound_({plan_.content.sound.begin(),
              plan_.content.sound.begin() + static_cast<std::ptrdiff_t>(joinedTracks_)},
             plan_.content.video.rate, HidesSound(plan_.output) && file_.IsSeekable()),
      report_(report),
      observer_(observer),
      start_(steady_clock::now()) {}

bool CopyRun::CopyFrames() {
  try {
    for (std::size_t place = 0; place < plan_.parts.size(); ++place) CopyPartOf(place);
    return true;
  } catch (const Interrupted&) {
    return false;
  } catch (...) {
    // Bytes of the input that became unreadable make the output fail, too.
    if (source_) source_->CheckFramesInUse();
    throw;
  }
}

SoundPart CopyRun::PlaceSound(std::size_t place) const {
  const CopyPart& part = plan_.parts[place];
  const InputDescription& input = part.reader->GetDescription();
  const std::int64_t first = part.range ? part.range->first : 0;
  const bool isLast = place + 1 == plan_.parts.size();
  const bool reachesEnd = !part.range || part.range->IsOpen() ||
                          (input.frames && part.range->last + 1 == *input.frames);
  return {.begin = input.format.start + first,
          .at = plan_.content.video.start + partBegin_,
          .isWhole = !part.range,
          .keepsHead = place == 0 && first == 0,
          .keepsTail = isLast && reachesEnd,
          .isLast = isLast};
}

void CopyRun::CopyPartOf(std::size_t place) {
  CopyPart& part = plan_.parts[place];
  const SoundPart sound = PlaceSound(place);
  NoteTimecode(place, *part.reader);
  const SoundRange range = FindSound(sound, part.range, plan_.content.video.rate);
  source_ =
      std::make_unique<FrameSource>(std::move(part.reader), part.range, options_.onDamage, range);
  sound_.Begin(sound);
  partFrames_ = 0;
  RunEnds<Frame> ends;
  ends.read = [this] { return source_->Read(); };
  ends.write = [this](Frame& frame, const std::exception_ptr& failure) {
    if (failure) std::rethrow_exception(failure);
    CopyFrame(frame);
  };
  ends.stopReading = RequestInterrupt;
  RunInOrder<Frame>(kWorkers, ends, [this](Frame& frame, unsigned /*worker*/) { Relabel(frame); });
  EndPart(place);
}

// Reports a jump of the timecode where a part begins; the output's goes on evenly.
void CopyRun::NoteTimecode(std::size_t place, const FrameReader& reader) {
  const auto& start = plan_.content.timecode;
  const auto& own = reader.GetDescription().timecode;
  if (place == 0 || !start || options_.timecode) return;
  const Timecode expected = *start + partBegin_;
  if (own == expected) return;
  observer_.ReportNote(reader.GetName() + ": its timecode " +
                       (own ? "starts at " + own->ToText() : "is unknown") +
                       "; the output goes on with " + expected.ToText());
}

// Gives the frame the labels of the output, or a fault if that is not possible.
void CopyRun::Relabel(Frame& frame) const {
  const FrameLabels& labels = plan_.labels;
  if (frame.source && frame.fault.empty() && !frame.header) frame.fault = kUnreadableHeader;
  if (!frame.source || !frame.fault.empty() || !labels.ChangeHeaders()) return;
  frame.hash.reset();
  if (labels.fields) {
    frame.source = SetFieldOrder(*labels.fields, std::move(frame.source), *frame.header, pool_);
  }
  if (frame.source) {
    WriteLabels(labels, plan_.content.video, {frame.source->GetData(), kLabelledBytes});
  } else {
    frame.fault = "has no two complete fields to exchange";
  }
}

void CopyRun::CopyFrame(Frame& frame) {
  const std::int64_t number = source_->ToOutput(frame.place.number);
  partFrames_ = number + frame.place.count;
  sound_.Add(std::move(frame.sound));
  if (frame.source && frame.fault.empty()) {
    WriteFrame(frame, partBegin_ + number);
  } else {
    DropFrame(frame);
  }
  WriteSound(sound_.TakeUntil(partFrames_));
  WriteSoundFiles(false);
  StopClock();
  observer_.ReportProgress(report_, total_);
}

void CopyRun::DropFrame(const Frame& frame) {
  using Treatment = FrameDamage::Treatment;
  const bool isDropped = options_.onDamage == DamagePolicy::Skip;
  report_.damage.push_back({frame.place, frame.fault,
                            isDropped ? Treatment::LeftOut : Treatment::Stopped,
                            source_->GetName()});
  if (isDropped) return;
  FramePlace first = frame.place;
  first.count = 1;
  throw Failure(source_->GetName() + ": " + Describe(first) + ": " + frame.fault +
                (frame.advice.empty() ? "; --on-error skip leaves it out" : "; " + frame.advice));
}

void CopyRun::WriteFrame(const Frame& frame, std::int64_t number) {
  const StreamFormat& stream = plan_.content.video;
  const std::int64_t begin = stream.start + number;
  report_.sourceBytes += frame.source->GetSize();
  report_.resultBytes += frame.source->GetSize();
  CheckOutputSize(file_, frame.source->GetSize());
  writer_.Write(vix::CreateVideoSample(info_->GetVideoParameters(), nullptr, frame.source,
                                       {{begin, begin + 1, stream.rate}}, {}),
                frame.hash);
  source_->CheckFramesInUse();
  ++report_.frames;
}

void CopyRun::WriteSound(std::vector<SoundPacket> sound) {
  for (SoundPacket& packet : sound) writer_.WriteSound(std::move(packet));
}

// Writes the sound of the files up to the end of the frames so far.
void CopyRun::WriteSoundFiles(bool isEnd) {
  if (!plan_.soundFiles) return;
  const StreamFormat& stream = plan_.content.video;
  plan_.soundFiles->FollowVideo({stream.start + partBegin_ + partFrames_, Invert(stream.rate)});
  auto sound = isEnd ? plan_.soundFiles->FinishSound() : plan_.soundFiles->TakeSound();
  for (SoundPacket& packet : sound) packet.track += joinedTracks_;
  WriteSound(std::move(sound));
}

void CopyRun::EndPart(std::size_t place) {
  const FrameReader& reader = source_->GetReader();
  sound_.Add(source_->TakeRestOfSound());
  WriteSound(sound_.End(partFrames_));
  for (const std::string& note : sound_.TakeNotes()) {
    observer_.ReportNote(reader.GetName() + ": " + note);
  }
  const bool isLast = place + 1 == plan_.parts.size();
  const std::string end = isLast ? reader.GetEndNote() : std::string();
  if (!end.empty()) observer_.ReportNote(reader.GetName() + ": " + end);
  if (SideTracks* const side = source_->GetReader().GetSideTracks()) {
    std::ranges::copy(side->GetSoundDamage(), std::back_inserter(report_.soundDamage));
  }
  if (plan_.parts.size() > 1) {
    report_.parts.push_back({options_.sources[place], partBegin_, partFrames_});
  }
  partBegin_ += std::exchange(partFrames_, 0);
}

void CopyRun::Finish() {
  if (report_.frames == 0) throw Failure(report_.input + ": holds no undamaged frame");
  WriteSoundFiles(true);
  if (plan_.soundFiles) {
    std::ranges::copy(plan_.soundFiles->GetSoundDamage(), std::back_inserter(report_.soundDamage));
  }
  writer_.Finish();
  file_.Commit();
  report_.output = file_.GetName();
  report_.outputBytes = file_.GetSize();
  const std::string note = writer_.GetEndNote();
  if (!note.empty()) observer_.ReportNote(note);
  StopClock();
}

void CopyRun::FinishPartial(const std::string& reason) {
  report_.message = reason;
  std::string fate = "; nothing was kept";
  if (report_.frames > 0) {
    const KeptFrames kept = KeepFrames(file_, writer_, report_.frames);
    report_.output = kept.name;
    report_.outputBytes = file_.GetSize();
    fate = kept.fate;
  }
  // Frames that went to a pipe or a device are the reader's.
  if (file_.IsSeekable()) report_.message += fate;
}

void CopyRun::StopClock() {
  report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
}

}  // namespace vixprores
