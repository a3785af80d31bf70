// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundQueue.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

constexpr std::int64_t kNothingYet = INT64_MIN;

// Returns the end of a track in seconds if its index leads outside the file.
std::optional<double> FindTruncatedEnd(const InputFile& file, AVStream& stream) {
  const int entries = avformat_index_get_entries_count(&stream);
  const auto size = file.GetSize();
  if (entries == 0 || !size || stream.duration <= 0) return std::nullopt;
  const AVIndexEntry& last = *avformat_index_get_entry(&stream, entries - 1);
  if (av_sat_add64(last.pos, last.size) <= *size) return std::nullopt;
  const std::int64_t start = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
  return static_cast<double>(av_sat_add64(start, stream.duration)) * av_q2d(stream.time_base);
}

// Returns the time after the last sample if the file states it; one of fragments does not.
std::optional<std::int64_t> FindSoundEnd(const AVFormatContext& context, const AVStream& stream) {
  const std::string_view name = context.iformat->name;
  const bool isStated =
      name == "wav" || name == "w64" || (name.starts_with("mov") && stream.nb_frames > 0);
  if (!isStated || stream.duration <= 0) return std::nullopt;
  return av_sat_add64(std::max<std::int64_t>(stream.start_time, 0), stream.duration);
}

void Shift(const TimePoint& by, AVRational tick, AVPacket& packet) {
  const std::int64_t ticks = av_rescale_q(by.time, by.tick, tick);
  for (std::int64_t* time : {&packet.pts, &packet.dts}) {
    if (*time != AV_NOPTS_VALUE) *time = av_sat_add64(*time, ticks);
  }
}

}  // namespace

SoundQueue::SoundQueue(const Demuxer& demuxer)
    : demuxer_(demuxer), tracks_(DescribeSound(demuxer.GetContext())) {
  for (AVStream* stream : demuxer.GetStreams()) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    stream->discard = AVDISCARD_DEFAULT;
    tracks_[streams_.size()].end = FindSoundEnd(demuxer.GetContext(), *stream);
    streams_.push_back(stream->index);
    reached_.push_back(kNothingYet);
  }
}

void SoundQueue::Select(const std::vector<std::size_t>& places) {
  std::vector<std::size_t> newPlace(tracks_.size(), SIZE_MAX);
  std::vector<SoundTrack> tracks;
  std::vector<int> streams;
  std::vector<std::int64_t> reached;
  for (const std::size_t place : places) {
    newPlace.at(place) = tracks.size();
    tracks.push_back(tracks_[place]);
    streams.push_back(streams_[place]);
    reached.push_back(reached_[place]);
  }
  for (std::size_t place = 0; place < tracks_.size(); ++place) {
    if (newPlace[place] == SIZE_MAX) {
      demuxer_.GetStreams()[static_cast<std::size_t>(streams_[place])]->discard = AVDISCARD_ALL;
    }
  }
  std::erase_if(waiting_, [&](SoundPacket& packet) {
    packet.track = newPlace[packet.track];
    return packet.track == SIZE_MAX;
  });
  tracks_ = std::move(tracks);
  streams_ = std::move(streams);
  reached_ = std::move(reached);
}

void SoundQueue::Shift(const TimePoint& by) {
  shift_ = by;
  for (SoundTrack& track : tracks_) {
    if (track.end) *track.end += av_rescale_q(by.time, by.tick, track.timeBase);
  }
  for (SoundPacket& sound : waiting_) {
    vixprores::Shift(by, tracks_[sound.track].timeBase, *sound.packet);
  }
  for (std::size_t place = 0; place < tracks_.size(); ++place) {
    if (reached_[place] == kNothingYet) continue;
    reached_[place] =
        av_sat_add64(reached_[place], av_rescale_q(by.time, by.tick, tracks_[place].timeBase));
  }
  watch_.Jump();
}

void SoundQueue::Move(const TimePoint& from, const TimePoint& to) {
  constexpr AVRational kNanosecond{1, 1'000'000'000};
  Shift({av_sat_sub64(av_rescale_q(to.time, to.tick, kNanosecond),
                      av_rescale_q(from.time, from.tick, kNanosecond)),
         kNanosecond});
}

void SoundQueue::Keep(Packet packet, bool isAltered) {
  const auto found = std::ranges::find(streams_, packet->stream_index);
  if (found == streams_.end() || packet->size == 0) return;
  const auto place = static_cast<std::size_t>(found - streams_.begin());
  vixprores::Shift(shift_, tracks_[place].timeBase, *packet);
  const std::int64_t time = TimeOf(*packet);
  if (skipsRepeated_ && time != AV_NOPTS_VALUE && time < reached_[place]) return;
  if (time != AV_NOPTS_VALUE) reached_[place] = av_sat_add64(time, packet->duration);
  watch_.Pass(tracks_[place], {place, std::move(packet)}, isAltered, waiting_);
}

std::vector<SoundPacket> SoundQueue::Take() {
  return std::exchange(waiting_, {});
}

bool SoundQueue::HasUntil(std::int64_t time, AVRational tick) const {
  for (std::size_t place = 0; place < tracks_.size(); ++place) {
    if (reached_[place] == kNothingYet) return false;
    if (av_compare_ts(reached_[place], tracks_[place].timeBase, time, tick) < 0) return false;
  }
  return true;
}

std::string SoundQueue::CheckEnds(double picturesEnd, double frame) {
  std::string notes;
  for (std::size_t place = 0; place < tracks_.size(); ++place) {
    AVStream& stream = *demuxer_.GetStreams()[static_cast<std::size_t>(streams_[place])];
    const auto stated = FindTruncatedEnd(demuxer_.GetFile(), stream);
    const std::string note = watch_.CheckEnd(tracks_[place], stated, picturesEnd, frame);
    notes += (notes.empty() || note.empty() ? "" : "; ") + note;
  }
  return notes;
}

void SoundQueue::Jump() {
  waiting_.clear();
  watch_.Jump();
  std::ranges::fill(reached_, kNothingYet);
}

}  // namespace vixprores
