// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundJoiner.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "base/Limits.h"
#include "base/Text.h"
#include "media/sound/SoundWatch.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// Removes samples from the start of a packet of PCM.
void TrimStart(AVPacket& packet, std::int64_t samples, std::int64_t sampleBytes) {
  packet.data += samples * sampleBytes;
  packet.size -= static_cast<int>(samples * sampleBytes);
  packet.pts += samples;
  packet.duration -= samples;
}

// Moves the first samples of a packet of PCM to a new packet over the same memory.
Packet SplitOff(AVPacket& packet, std::int64_t samples, std::int64_t sampleBytes) {
  Packet first(av_packet_clone(&packet));
  if (!first) throw std::bad_alloc();
  first->size = static_cast<int>(samples * sampleBytes);
  first->duration = samples;
  TrimStart(packet, samples, sampleBytes);
  return first;
}

// After all sound; differences to it do not overflow.
constexpr std::int64_t kEndOfTime = INT64_MAX / 4;

void SetTime(AVPacket& packet, std::int64_t first) {
  packet.pts = packet.dts = first;
}

}  // namespace

SoundJoiner::SoundJoiner(const std::vector<SoundTrack>& tracks, Rational rate, bool hasEdits)
    : rate_(rate), hasEdits_(hasEdits) {
  for (const SoundTrack& track : tracks) {
    lanes_.push_back({track, track.SampleBytes()});
    lanes_.back().track.timeBase = {1, track.parameters->sample_rate};
  }
}

// Returns the first sample at or after the start of a frame.
std::int64_t SoundJoiner::SampleAt(std::int64_t frame, const Lane& lane) const {
  return av_rescale_q_rnd(frame, Invert(rate_), lane.track.timeBase, AV_ROUND_UP);
}

void SoundJoiner::Begin(const SoundPart& part) {
  part_ = part;
  for (Lane& lane : lanes_) {
    lane.begin = SampleAt(part.begin, lane);
    lane.offset = SampleAt(part.at, lane) - lane.begin;
    lane.isOpen = false;
    lane.dropped = 0;
  }
}

void SoundJoiner::Add(std::vector<SoundPacket> packets) {
  for (SoundPacket& sound : packets) {
    Lane& lane = lanes_[sound.track];
    lane.longest = std::max(lane.longest, sound.packet->duration);
    lane.waiting.push_back(std::move(sound.packet));
  }
}

std::vector<SoundPacket> SoundJoiner::TakeUntil(std::int64_t frames) {
  std::vector<SoundPacket> taken;
  for (std::size_t place = 0; place < lanes_.size(); ++place) {
    lanes_[place].picturesEnd = SampleAt(part_.begin + frames, lanes_[place]);
    TakeLane(place, lanes_[place].picturesEnd, taken);
  }
  return taken;
}

std::vector<SoundPacket> SoundJoiner::End(std::int64_t frames) {
  std::vector<SoundPacket> taken;
  for (std::size_t place = 0; place < lanes_.size(); ++place) {
    lanes_[place].picturesEnd = SampleAt(part_.begin + frames, lanes_[place]);
    EndLane(place, taken);
    lanes_[place].waiting.clear();
  }
  return taken;
}

void SoundJoiner::TakeLane(std::size_t place, std::int64_t limit, std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  while (!lane.waiting.empty()) {
    AVPacket& packet = *lane.waiting.front();
    if (packet.pts >= limit) return;
    const bool isSplit = packet.pts + packet.duration > limit;
    // The last packet of a compressed part is treated differently.
    if (lane.sampleBytes == 0 && (isSplit || lane.waiting.size() == 1)) return;
    if (isSplit) return Place(place, SplitOff(packet, limit - packet.pts, lane.sampleBytes), taken);
    Packet whole = std::move(lane.waiting.front());
    lane.waiting.pop_front();
    Place(place, std::move(whole), taken);
  }
}

void SoundJoiner::Place(std::size_t place, Packet packet, std::vector<SoundPacket>& taken) {
  if (lanes_[place].sampleBytes > 0) {
    PlacePcm(place, std::move(packet), taken);
  } else {
    PlaceCompressed(place, std::move(packet), taken);
  }
}

void SoundJoiner::PlacePcm(std::size_t place, Packet packet, std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  const std::int64_t early = part_.keepsHead ? 0 : lane.begin - packet->pts;
  const std::int64_t cut = std::clamp<std::int64_t>(early, 0, packet->duration);
  lane.dropped += cut;
  if (cut == packet->duration) return;
  TrimStart(*packet, cut, lane.sampleBytes);
  if (!std::exchange(lane.isOpen, true) && lane.next) {
    const std::int64_t gap = packet->pts + lane.offset - *lane.next;
    if (std::abs(gap) <= 1) lane.offset -= gap;
    // Sound that begins later after the pictures keeps its time.
    const std::int64_t latest = lane.picturesEnd + kLongestSilence * lane.track.timeBase.den;
    if (gap > 1 && packet->pts <= latest) FillUntil(place, packet->pts + lane.offset, taken);
  }
  SetTime(*packet, packet->pts + lane.offset);
  lane.next = packet->pts + packet->duration;
  taken.push_back({place, std::move(packet)});
}

void SoundJoiner::PlaceCompressed(std::size_t place, Packet packet,
                                  std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  const std::int64_t count = packet->duration;
  const std::int64_t time = packet->pts + lane.offset;
  if (!lane.isOpen && lane.next) {
    if (time + count / 2 < *lane.next) return;  // mostly sound of the part before
    if (time < *lane.next) lane.offset += *lane.next - time;
    Note(lane, *lane.next - time, "is joined at a whole packet, ", " later than its pictures");
    Note(lane, time - *lane.next, "is joined at a whole packet, after a gap of ", "");
  } else if (!lane.isOpen && !part_.keepsHead) {
    // Decoders need the packet before the first audible one.
    const std::int64_t leadIn = std::max<std::int64_t>(lane.track.parameters->seek_preroll, count);
    const bool isHidden = hasEdits_ && lane.begin + lane.offset == 0;
    if (packet->pts + (isHidden ? count + leadIn - 1 : 0) < lane.begin) return;
    if (!isHidden) {
      Note(lane, packet->pts - lane.begin, "is cut at a whole packet: it starts ",
           " after the first picture");
    }
  }
  const std::int64_t placed = packet->pts + lane.offset;
  if (placed <= lane.last) {  // a damaged time, which no output takes
    ++lane.backward;
    return;
  }
  lane.isOpen = true;
  lane.last = placed;
  SetTime(*packet, placed);
  lane.next = packet->pts + count;
  taken.push_back({place, std::move(packet)});
}

void SoundJoiner::EndLane(std::size_t place, std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  const std::int64_t limit = part_.keepsTail ? kEndOfTime : lane.picturesEnd;
  TakeLane(place, limit, taken);
  if (lane.sampleBytes == 0) {
    EndCompressed(place, limit, taken);
    NoteBackward(lane);
    return;
  }
  for (const Packet& packet : lane.waiting) lane.dropped += packet->duration;
  if (part_.isWhole && lane.dropped > 1) {
    Note(lane, lane.dropped, "is longer than its pictures: ", " are left out");
  }
  if (part_.isLast) return;
  if (!lane.next) lane.next = lane.begin + lane.offset;
  const std::int64_t end = lane.picturesEnd + lane.offset;
  if (*lane.next + 1 < end) FillUntil(place, end, taken);
}

void SoundJoiner::EndCompressed(std::size_t place, std::int64_t limit,
                                std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  if (lane.waiting.empty() || lane.waiting.front()->pts >= limit) return;
  Packet packet = std::move(lane.waiting.front());
  // A shortened last packet decodes to all of its samples where another packet follows.
  if (!part_.isLast) packet->duration = lane.longest;
  const std::int64_t inside = limit - packet->pts;
  const std::int64_t outside = packet->duration - inside;
  if (!part_.isLast && outside > inside) return;
  if (part_.isLast && outside > 0 && hasEdits_) {
    packet->duration = inside;
  } else if (part_.isLast) {
    Note(lane, outside, "is cut at a whole packet: it ends ", " after the last picture");
  }
  PlaceCompressed(place, std::move(packet), taken);
}

void SoundJoiner::FillUntil(std::size_t place, std::int64_t end, std::vector<SoundPacket>& taken) {
  Lane& lane = lanes_[place];
  Note(lane, end - *lane.next, "is shorter than its pictures: ", " are filled with silence");
  CheckSilence(lane.track, end - *lane.next);
  while (*lane.next < end) {
    Packet silence = MakeSilence(lane.track, *lane.next, end - *lane.next);
    *lane.next += silence->duration;
    taken.push_back({place, std::move(silence)});
  }
}

std::string SoundJoiner::NameOf(const Lane& lane) {
  return "sound track " + std::to_string(lane.track.number + 1) + " (" +
         avcodec_get_name(lane.track.parameters->codec_id) + ") ";
}

// Adds a note with a duration between its two texts if the duration is positive.
void SoundJoiner::Note(const Lane& lane, std::int64_t samples, const std::string& before,
                       const std::string& after) {
  if (samples <= 0) return;
  const double seconds = static_cast<double>(samples) / lane.track.timeBase.den;
  const int decimals = seconds < 0.01 ? 2 : 0;
  notes_.push_back(NameOf(lane) + before + Fixed(seconds * 1000, decimals) + " ms" + after);
}

void SoundJoiner::NoteBackward(Lane& lane) {
  const std::int64_t packets = std::exchange(lane.backward, 0);
  if (packets == 0) return;
  notes_.push_back(NameOf(lane) + "has times that go back: " + Count(packets, "packet") +
                   " left out");
}

std::vector<std::string> SoundJoiner::TakeNotes() {
  return std::exchange(notes_, {});
}

}  // namespace vixprores
