// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/DecodedTrack.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Limits.h"
#include "media/container/FrameTimeCheck.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

AVStream& PrepareStream(Demuxer& demuxer, const FootageReading& reading) {
  demuxer.FindStreamInfo();
  AVStream& stream = ChooseVideo(demuxer, false, reading.videoTrack.value_or(0));
  const AVCodecParameters& stated = *stream.codecpar;
  CheckPictureSize(demuxer.GetName(), static_cast<std::uint32_t>(std::max(stated.width, 0)),
                   static_cast<std::uint32_t>(std::max(stated.height, 0)));
  return stream;
}

// Returns the bytes that a Matroska file has according to its outermost elements; 0 = unknown.
std::int64_t StatedMatroskaBytes(const InputFile& file) {
  if (!file.IsSeekable()) return 0;
  std::int64_t end = 0;
  for (int element = 0; element < 2; ++element) {  // the EBML header, the segment
    constexpr std::size_t kIdBytes = 4;
    std::array<std::uint8_t, kIdBytes + 8> head{};
    if (file.ReadAt(end, head) < head.size()) return 0;
    // Zeros before the first one are the bytes that follow; all ones stand for an unknown size.
    const int more = std::countl_zero(head[kIdBytes]);
    if (more >= 8) return 0;
    std::int64_t size = head[kIdBytes] & (0x7F >> more);
    bool isUnknown = size == 0x7F >> more;
    for (int i = 1; i <= more; ++i) {
      const std::uint8_t byte = head[kIdBytes + static_cast<std::size_t>(i)];
      size = (size << 8) | byte;
      isUnknown = isUnknown && byte == 0xFF;
    }
    if (isUnknown) return 0;
    end = av_sat_add64(end, av_sat_add64(size, std::int64_t{kIdBytes} + 1 + more));
  }
  return end;
}

}  // namespace

DecodedTrack::DecodedTrack(std::unique_ptr<Demuxer> demuxer, const FootageReading& reading,
                           const VideoDecoderFactory& makeDecoder)
    : demuxer_(std::move(demuxer)),
      stream_(PrepareStream(*demuxer_, reading)),
      decoder_(makeDecoder(stream_, reading.threads, demuxer_->GetName())),
      sound_(*demuxer_) {}

void DecodedTrack::Lose(const std::string& reason) {
  ++lost_;
  lossReason_ = reason;
}

// Returns the next packet of any track, of those read ahead first; null as ReadFile().
Packet DecodedTrack::ReadAny() {
  Packet packet;
  if (ahead_.empty()) {
    packet = ReadFile();
  } else {
    packet = std::move(ahead_.front());
    ahead_.pop_front();
  }
  if (packet && packet->stream_index != stream_.index) PlaceSound(*packet);
  return packet;
}

// Returns the next packet of a stream, which ReadAny() will return; null if none is near.
const AVPacket* DecodedTrack::PeekNext(int stream) {
  constexpr std::size_t kMostAhead = 256;
  const auto isIts = [stream](const Packet& packet) { return packet->stream_index == stream; };
  const auto found = std::ranges::find_if(ahead_, isIts);
  if (found != ahead_.end()) return found->get();
  while (ahead_.size() < kMostAhead) {
    Packet packet = ReadFile();
    if (!packet) return nullptr;
    ahead_.push_back(std::move(packet));
    if (isIts(ahead_.back())) return ahead_.back().get();
  }
  return nullptr;
}

// In MPEG streams, the first of two packets of sound may come with the time of the second.
void DecodedTrack::PlaceSound(AVPacket& packet) {
  if (packet.pts == AV_NOPTS_VALUE || packet.duration <= 0) return;
  const auto [end, isFirst] = soundEnds_.try_emplace(packet.stream_index, packet.pts);
  if (packet.pts > av_sat_add64(end->second, packet.duration / 2)) {
    const AVPacket* const next = PeekNext(packet.stream_index);
    if (next && next->pts == packet.pts) packet.pts = packet.dts = packet.pts - packet.duration;
  }
  end->second = av_sat_add64(packet.pts, packet.duration);
}

// Returns the next packet that the file has; null at the end, and where there is no way to go on.
Packet DecodedTrack::ReadFile() {
  for (;;) {
    CheckInterrupt();
    try {
      return demuxer_->Read();
    } catch (const UnreadablePacket& failure) {
      Lose(failure.what());
      const std::int64_t position = demuxer_->GetFile().GetPosition();
      if (std::exchange(lastFailure_, position) == position) return nullptr;
    }
  }
}

Packet DecodedTrack::ReadPacket() {
  while (Packet packet = ReadAny()) {
    if (packet->stream_index == stream_.index) return packet;
    sound_.Keep(std::move(packet), false);
  }
  return nullptr;
}

Picture DecodedTrack::Read() {
  for (;;) {
    if (Picture picture = decoder_->Receive()) {
      picture->pts = picture->best_effort_timestamp;
      return picture;
    }
    if (hasEnded_) return nullptr;
    const Packet packet = ReadPacket();
    hasEnded_ = !packet;
    if (!decoder_->Send(packet.get()) && packet) Lose(ExplainLibavError(AVERROR_INVALIDDATA));
  }
}

// The index has decoding times, which are not after those of presentation. The first random access
// point before `time` may belong to a later picture, or only begin to refresh the pictures.
std::optional<std::int64_t> DecodedTrack::FindEntryPoint(std::int64_t time) const {
  if (!FrameIndex(*demuxer_, stream_).IsPresent()) return std::nullopt;
  const std::int64_t preroll = av_rescale_q(soundPreroll_, {1, 1}, stream_.time_base);
  std::int64_t point = time;
  for (int found = 0; found < 2 || point > av_sat_sub64(time, preroll); ++found) {
    const int entry =
        av_index_search_timestamp(&stream_, point - (found == 0 ? 0 : 1), AVSEEK_FLAG_BACKWARD);
    if (entry < 0) return std::nullopt;
    point = avformat_index_get_entry(&stream_, entry)->timestamp;
  }
  return point;
}

std::optional<std::int64_t> DecodedTrack::CountIndexed() const {
  if (!FrameIndex(*demuxer_, stream_).IsPresent()) return std::nullopt;
  std::int64_t count = 0;
  for (int i = 0; i < avformat_index_get_entries_count(&stream_); ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, i);
    if ((entry.flags & AVINDEX_DISCARD_FRAME) == 0) ++count;
  }
  return count;
}

std::int64_t DecodedTrack::CountStated(Rational rate, std::int64_t start) {
  const AVFormatContext& context = demuxer_->GetContext();
  if (IsMxf(context) || IsAvi(context)) {
    return FrameIndex(*demuxer_, stream_).CountAnnounced(rate, 0).value_or(0);
  }
  // It includes the time before the first picture.
  const double seconds = FindStatedDuration(context, stream_).value_or(0);
  const double before = static_cast<double>(start) * av_q2d(stream_.time_base);
  return std::llround((seconds - before) / av_q2d(Invert(rate)));
}

std::int64_t DecodedTrack::CountStatedBytes() const {
  if (IsMatroska(demuxer_->GetContext())) return StatedMatroskaBytes(demuxer_->GetFile());
  if (!FrameIndex(*demuxer_, stream_).IsPresent()) return 0;
  std::int64_t bytes = 0;
  for (int i = 0; i < avformat_index_get_entries_count(&stream_); ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, i);
    bytes = std::max(bytes, av_sat_add64(entry.pos, entry.size));
  }
  return bytes;
}

// The index has the pictures in the order of decoding, where they follow each other as evenly as in
// that of presentation, but so many pictures later.
void DecodedTrack::CheckIndexedTimes(Rational rate, std::int64_t last) const {
  const FrameIndex index(*demuxer_, stream_);
  // An edit list leaves out pictures that others need.
  if (!index.IsPresent() || CountIndexed() != avformat_index_get_entries_count(&stream_)) return;
  FrameTimeCheck check(demuxer_->GetName(), FrameTimes::Checked);
  std::int64_t number = 0;
  for (int i = 0; i < avformat_index_get_entries_count(&stream_) && number <= last; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, i);
    if ((entry.flags & AVINDEX_DISCARD_FRAME) != 0) continue;
    if (number == 0) check.Start(rate, stream_.time_base, entry.timestamp);
    auto deviation = check.Compare(number, entry.timestamp);
    if (deviation) {
      deviation->number = std::max<std::int64_t>(number - stream_.codecpar->video_delay, 0);
      throw check.MakeFailure(*deviation, std::nullopt);
    }
    ++number;
  }
}

bool DecodedTrack::SeekBefore(std::int64_t time) {
  if (!FrameIndex(*demuxer_, stream_).IsPresent()) return SkipPackets(time);
  const auto point = FindEntryPoint(time);
  if (!point || !demuxer_->Seek(stream_, *point)) return false;
  ahead_.clear();
  Restart();
  return true;
}

// Keeps the packets from the point on that FindEntryPoint() would choose: the second last random
// access point before `time`, or an earlier one for the sound.
bool DecodedTrack::SkipPackets(std::int64_t time) {
  constexpr std::size_t kMostPackets = 1U << 16U;  // then decoding begins at the point so far
  const std::int64_t preroll = av_rescale_q(soundPreroll_, {1, 1}, stream_.time_base);
  std::deque<std::pair<std::size_t, std::int64_t>> points;  // packets before it, its time
  std::size_t dropped = 0;
  while (ahead_.size() < kMostPackets) {
    Packet packet = ReadFile();
    if (!packet) break;
    const bool isPicture = packet->stream_index == stream_.index;
    const std::int64_t at = packet->dts;
    if (isPicture && at != AV_NOPTS_VALUE && (packet->flags & AV_PKT_FLAG_KEY) != 0 && at < time) {
      points.emplace_back(dropped + ahead_.size(), at);
    }
    ahead_.push_back(std::move(packet));
    while (points.size() > 2 && points[1].second <= av_sat_sub64(time, preroll)) {
      points.pop_front();
      const std::size_t before = points.front().first - dropped;
      ahead_.erase(ahead_.begin(), ahead_.begin() + static_cast<std::ptrdiff_t>(before));
      dropped += before;
    }
    if (isPicture && at != AV_NOPTS_VALUE && at > time) break;
  }
  if (dropped == 0) return false;
  Restart();
  return true;
}

bool DecodedTrack::Rewind() {
  if (!demuxer_->Seek(stream_, INT64_MIN / 2)) return false;
  ahead_.clear();
  Restart();
  return true;
}

void DecodedTrack::Restart() {
  decoder_->Flush();
  sound_.Jump();
  soundEnds_.clear();
  hasEnded_ = false;
}

std::vector<SoundPacket> DecodedTrack::ReadSoundUntil(std::int64_t time, AVRational tick) {
  // Longest time in seconds by which sound may lag behind its pictures.
  constexpr int kLatestSeconds = 60;
  const std::int64_t latest = av_sat_add64(time, av_rescale_q(kLatestSeconds, {1, 1}, tick));
  while (!sound_.HasUntil(time, tick)) {
    Packet packet = ReadAny();
    if (!packet) break;
    if (packet->stream_index != stream_.index) {
      sound_.Keep(std::move(packet), false);
    } else if (av_compare_ts(av_sat_sub64(TimeOf(*packet), start_), stream_.time_base, latest,
                             tick) > 0) {
      break;
    }
  }
  return TakeSound();
}

}  // namespace vixprores
