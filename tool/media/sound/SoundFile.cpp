// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundFile.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "format/Values.h"

namespace vixprores {
namespace {

// Samples since midnight; a day at the highest sample rates has far fewer.
constexpr std::int64_t kLatestReference = std::int64_t{1} << 40;

bool HasVideo(const Demuxer& demuxer) {
  return std::ranges::any_of(demuxer.GetStreams(), [](const AVStream* stream) {
    return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
           (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
  });
}

std::unique_ptr<Demuxer> Open(const std::string& path) try {
  return std::make_unique<Demuxer>(std::make_unique<InputFile>(path), FileFormats::Footage);
} catch (const UnreadableContainer&) {
  throw Failure(path + ": is no sound file that can be read");
}

// Opens a file and reads ahead in formats whose packets alone state rate and channels.
std::unique_ptr<Demuxer> OpenSound(const std::string& path) {
  auto demuxer = Open(path);
  const bool isComplete = std::ranges::none_of(demuxer->GetStreams(), [](const AVStream* stream) {
    const AVCodecParameters& sound = *stream->codecpar;
    return sound.codec_type == AVMEDIA_TYPE_AUDIO &&
           (sound.sample_rate <= 0 || sound.ch_layout.nb_channels <= 0);
  });
  if (!isComplete) demuxer->FindStreamInfo();
  return demuxer;
}

// Returns the time of the earliest sound; some formats count from the encoder's delay.
TimePoint FindBegin(const Demuxer& demuxer) {
  TimePoint begin{0, {1, 1}};
  bool isFirst = true;
  for (const AVStream* stream : demuxer.GetStreams()) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const std::int64_t start =
        stream->start_time == AV_NOPTS_VALUE ? 0 : std::max<std::int64_t>(stream->start_time, 0);
    if (std::exchange(isFirst, false) ||
        av_compare_ts(start, stream->time_base, begin.time, begin.tick) < 0) {
      begin = {start, stream->time_base};
    }
  }
  return begin;
}

}  // namespace

SoundFile::SoundFile(const std::string& path) : demuxer_(OpenSound(path)), queue_(*demuxer_) {
  for (AVStream* stream : demuxer_->GetStreams()) {
    const bool isSound = stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    stream->discard = isSound ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  if (queue_.GetTracks().empty()) {
    throw Failure(GetName() + ": has no sound; name a file with sound");
  }
  if (HasVideo(*demuxer_)) return;
  const TimePoint begin = FindBegin(*demuxer_);
  queue_.Shift({-begin.time, begin.tick});
}

std::optional<TimePoint> SoundFile::GetTimeReference() const {
  const AVDictionaryEntry* const text =
      av_dict_get(demuxer_->GetContext().metadata, "time_reference", nullptr, 0);
  const auto samples = text ? ParseNumber(text->value, kLatestReference) : std::nullopt;
  if (!samples) return std::nullopt;
  return TimePoint{*samples, {1, queue_.GetTracks().front().parameters->sample_rate}};
}

void SoundFile::FollowVideo(const TimePoint& time) {
  while (!isAtEnd_ && !queue_.HasUntil(time.time, time.tick)) {
    CheckInterrupt();
    Packet packet;
    try {
      packet = demuxer_->Read();
    } catch (const UnreadablePacket& reason) {
      throw Failure(GetName() + ": its sound cannot be read: " + reason.what());
    }
    isAtEnd_ = !packet;
    if (packet) queue_.Keep(std::move(packet), false);
  }
}

std::vector<SoundPacket> SoundFile::ReadSoundUntil(std::int64_t time, AVRational tick) {
  FollowVideo({time, tick});
  return queue_.Take();
}

}  // namespace vixprores
