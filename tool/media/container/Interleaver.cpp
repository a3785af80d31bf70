// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/Interleaver.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// Returns the end of the packet of PCM that holds a sample.
std::int64_t EndOfPacket(std::int64_t sample) {
  constexpr std::int64_t kSamples = Interleaver::kPcmSamples;
  const std::int64_t place = sample % kSamples;
  return sample - place + (place < 0 ? 0 : kSamples);
}

}  // namespace

Interleaver::Interleaver(const MovieContent& content) : frame_(Invert(content.video.rate)) {
  for (const SoundTrack& track : content.sound) {
    lanes_.push_back({{1, track.parameters->sample_rate}, track.SampleBytes()});
  }
}

// Returns the first sample at or after the start of a frame.
std::int64_t Interleaver::SampleAt(std::int64_t frame, const Lane& lane) const {
  return av_rescale_q_rnd(frame, frame_, lane.sample, AV_ROUND_UP);
}

void Interleaver::AddFrame(Packet frame, const std::optional<std::uint64_t>& hash) {
  frameBytes_ += frame->size;
  frames_.push_back({0, std::move(frame), hash});
}

void Interleaver::AddSound(SoundPacket sound) {
  Lane& lane = lanes_[sound.track];
  const std::int64_t end = sound.packet->pts + sound.packet->duration;
  if (lane.sampleBytes > 0) {
    AddPcm(lane, *sound.packet);
  } else {
    lane.waiting.push_back(std::move(sound.packet));
  }
  lane.end = end;
}

// Makes a packet with room up to the next multiple of kPcmSamples.
void Interleaver::OpenPacket(Lane& lane, const AVPacket& like, std::int64_t first) const {
  lane.room = EndOfPacket(first) - first;
  lane.open.reset(av_packet_alloc());
  const int bytes = static_cast<int>(lane.room * lane.sampleBytes);
  const bool isMade = lane.open && av_new_packet(lane.open.get(), bytes) >= 0 &&
                      av_packet_copy_props(lane.open.get(), &like) >= 0;
  if (!isMade) throw std::bad_alloc();
  lane.open->size = 0;
  lane.open->pts = lane.open->dts = first;
  lane.open->duration = 0;
}

void Interleaver::Close(Lane& lane) const {
  if (lane.open) lane.waiting.push_back(std::move(lane.open));
}

void Interleaver::AddPcm(Lane& lane, const AVPacket& packet) const {
  if (packet.pts != lane.end) Close(lane);
  std::int64_t done = 0;
  while (done < packet.duration) {
    if (!lane.open) OpenPacket(lane, packet, packet.pts + done);
    const std::int64_t count = std::min(lane.room, packet.duration - done);
    const auto bytes = static_cast<std::size_t>(count * lane.sampleBytes);
    AVPacket& open = *lane.open;
    std::memcpy(open.data + open.size, packet.data + done * lane.sampleBytes, bytes);
    open.size += static_cast<int>(bytes);
    open.duration += count;
    lane.room -= count;
    done += count;
    if (lane.room == 0) Close(lane);
  }
}

void Interleaver::Finish() {
  isFinished_ = true;
  for (Lane& lane : lanes_) Close(lane);
}

// Returns true if all sound that starts before the end of the frame has arrived.
bool Interleaver::IsComplete(const AVPacket& frame) const {
  return std::ranges::all_of(lanes_, [&](const Lane& lane) {
    const std::int64_t end = SampleAt(frame.pts + frame.duration, lane);
    return lane.end >= (lane.sampleBytes > 0 ? EndOfPacket(end - 1) : end);
  });
}

// Returns sound that starts before the next frame, or that has waited too long.
std::optional<Interleaver::Item> Interleaver::TakeSound() {
  const auto next = frames_.empty() ? picturesEnd_ : frames_.front().packet->pts;
  for (std::size_t place = 0; place < lanes_.size(); ++place) {
    Lane& lane = lanes_[place];
    if (lane.waiting.empty()) continue;
    const std::int64_t first = lane.waiting.front()->pts;
    const bool isDue = next && first < SampleAt(*next, lane);
    const bool isLate = Distance(lane.end, first) > kMostSeconds * lane.sample.den;
    const bool isRest = isFinished_ && frames_.empty();
    if (!isDue && !isLate && !isRest) continue;
    Item item{1 + place, std::move(lane.waiting.front())};
    lane.waiting.pop_front();
    return item;
  }
  return std::nullopt;
}

std::optional<Interleaver::Item> Interleaver::Take() {
  if (auto sound = TakeSound()) return sound;
  if (frames_.empty()) return std::nullopt;
  const bool isFull = frames_.size() > kMostFrames || frameBytes_ > kMostFrameBytes;
  if (!isFull && !isFinished_ && !IsComplete(*frames_.front().packet)) return std::nullopt;
  Item item = std::move(frames_.front());
  frames_.pop_front();
  frameBytes_ -= item.packet->size;
  picturesEnd_ = item.packet->pts + item.packet->duration;
  return item;
}

}  // namespace vixprores
