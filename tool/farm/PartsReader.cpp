// SPDX-License-Identifier: BSD-2-Clause
#include "farm/PartsReader.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "farm/JobFiles.h"
#include "farm/Part.h"
#include "format/TextTrack.h"
#include "media/container/TextTracks.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

// Problems with commands that one message lists.
constexpr std::size_t kMostListed = 20;

}  // namespace

void FollowingSound::FollowVideo(const TimePoint& time) {
  std::ranges::move(tracks_.ReadSoundUntil(time.time, time.tick), std::back_inserter(read_));
}

std::vector<SoundPacket> FollowingSound::TakeSound() {
  std::ranges::move(tracks_.TakeSound(), std::back_inserter(read_));
  return std::exchange(read_, {});
}

std::vector<SoundPacket> FollowingSound::ReadSoundUntil(std::int64_t time, AVRational tick) {
  FollowVideo({time, tick});
  return std::exchange(read_, {});
}

std::vector<SoundPacket> FollowingSound::FinishSound() {
  constexpr std::int64_t kNever = std::int64_t{1} << 40;  // seconds
  return ReadSoundUntil(kNever, {1, 1});
}

PartsReader::PartsReader(std::unique_ptr<FrameReader> source, const StreamFormat& format, Job job)
    : source_(std::move(source)), job_(std::move(job)), input_(job_.input) {
  description_ = source_->GetDescription();
  if (!description_.frames) description_.frames = job_.frames.last + 1;
  if (SideTracks* const tracks = source_->GetSideTracks()) sound_.emplace(*tracks);
  hasCaptions_ = std::ranges::find(description_.texts.tracks, kWithinPictures,
                                   &TextTrack::stream) != description_.texts.tracks.end();
  std::vector<Problem> problems;
  for (std::size_t place = 0; place < job_.chunks.size(); ++place) {
    CheckInterrupt();
    std::string what = Check(job_.chunks[place], format);
    if (!what.empty()) problems.push_back({place, std::move(what)});
  }
  if (!problems.empty()) Fail(problems);
}

// Returns what is wrong with a part, as far as it shows without reading its frames.
std::string PartsReader::Check(const Chunk& chunk, const StreamFormat& format) const {
  std::error_code none;
  if (!fs::exists(chunk.part, none)) return chunk.part + " is missing";
  try {
    const auto reader = OpenProRes(chunk.part);
    const InputDescription& part = reader->GetDescription();
    const auto label = FindPartLabel(*reader);
    if (!label) return chunk.part + " is not a part of a job";
    if (label->chunk.job != job_.id)
      return chunk.part + " is a part of the job " + label->chunk.job;
    if (label->chunk.number != chunk.number) {
      return chunk.part + " holds chunk " + std::to_string(label->chunk.number);
    }
    const std::int64_t frames = chunk.frames.last - chunk.frames.first + 1;
    const bool isWhole = label->frames.first == chunk.frames.first &&
                         label->frames.last == chunk.frames.last && part.frames == frames;
    const bool isOfFormat = part.format.code == format.code && part.format.width == format.width &&
                            part.format.height == format.height;
    if (!isWhole || !isOfFormat) {
      return chunk.part + " has other frames than " + Count(frames, "frame") + " from " +
             std::to_string(chunk.frames.first) + " on, " +
             DescribeSize(format.width, format.height) + " " + DescribeCode(format.code);
    }
    if (label->state != input_.Of(chunk.frames)) {
      return chunk.part + " was made before " + job_.input + " changed";
    }
    return {};
  } catch (const Failure& failure) {
    return failure.what();
  }
}

void PartsReader::Fail(const std::vector<Problem>& problems) const {
  const std::size_t listed = std::min(problems.size(), kMostListed);
  std::string text = job_.output + ": " + std::to_string(problems.size()) + " of " +
                     Count(static_cast<std::int64_t>(job_.chunks.size()), "chunk") +
                     " cannot be joined:";
  std::string commands;
  for (std::size_t i = 0; i < listed; ++i) {
    const Chunk& chunk = job_.chunks[problems[i].place];
    text += "\n  chunk " + std::to_string(chunk.number) + ": " + problems[i].what;
    commands += "\n  " + ShellLine(chunk.command);
  }
  if (listed < problems.size()) {
    text += "\n  and " + std::to_string(problems.size() - listed) + " more";
  }
  // Others add words to the last line, which would not be those of a command.
  throw Failure(text + "\nrun these commands:" + commands + "\nthen join again");
}

void PartsReader::FailAt(const std::string& damage) {
  std::vector<Problem> problems{{place_, damage}};
  for (std::size_t place = place_ + 1; place < job_.chunks.size(); ++place) {
    std::string what = FindDamage(job_.chunks[place].part);
    if (!what.empty()) problems.push_back({place, std::move(what)});
  }
  for (const auto& [place, what] : problems) {
    RunReport failed;
    failed.message = what;
    RecordOutcome(NameOutcome(job_.chunks[place].part), job_.id, failed);
  }
  Fail(problems);
}

void PartsReader::Open(std::size_t place) {
  place_ = place;
  reader_ = OpenProRes(job_.chunks[place].part);
  captions_.clear();
  if (hasCaptions_) ReadCaptions();
}

void PartsReader::ReadCaptions() {
  std::vector<TextTrack> tracks = reader_->GetDescription().texts.tracks;
  const auto isOther = [](const TextTrack& track) {
    return track.parameters->codec_id != AV_CODEC_ID_EIA_608;
  };
  std::erase_if(tracks, isOther);
  if (tracks.empty() || !ReadTexts(job_.chunks[place_].part, {}, tracks)) return;
  const Rational rate = reader_->GetFormat().rate;
  // Those of the pictures come last.
  for (const auto& packet : tracks.back().packets) {
    const std::int64_t frame = av_rescale_q(packet->pts, tracks.back().timeBase, Invert(rate));
    captions_[frame].assign(packet->data, packet->data + packet->size);
  }
}

std::optional<NumberedFrame> PartsReader::Read() {
  if (!reader_ || next_ > job_.chunks[place_].frames.last) {
    const auto chunk = std::ranges::find_if(
        job_.chunks, [&](const Chunk& each) { return each.frames.last >= next_; });
    if (chunk == job_.chunks.end()) return std::nullopt;
    Open(static_cast<std::size_t>(chunk - job_.chunks.begin()));
  }
  try {
    auto frame = reader_->Read();
    if (!frame) FailAt(job_.chunks[place_].part + " ends too early");
    const std::string fault = FindFault(*reader_, *frame);
    if (!fault.empty()) FailAt(fault);
    const auto captions = captions_.find(frame->number);
    if (captions != captions_.end()) frame->captions = captions->second;
    frame->number = next_++;
    return frame;
  } catch (const FrameFailure& failure) {
    FailAt(failure.what());
  }
}

// The sound continues there if the input can skip to it, and is cut to it otherwise.
bool PartsReader::SkipTo(std::int64_t frame) {
  source_->SkipTo(frame);
  next_ = frame;
  return true;
}

bool PartsReader::ReadsFrom(const std::string& path) const {
  const auto isSame = [&](const Chunk& chunk) {
    std::error_code none;
    return fs::equivalent(path, chunk.part, none);
  };
  return source_->ReadsFrom(path) || std::ranges::any_of(job_.chunks, isSame);
}

}  // namespace vixprores
