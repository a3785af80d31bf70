// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundWatch.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "media/sound/Silence.h"

extern "C" {
#include <libavutil/common.h>
}

namespace vixprores {
namespace {

// A longer gap is more likely to be a damaged time.
constexpr std::int64_t kLongestSilence = 60;  // seconds
// Limits of a track's silence: a number of bytes, and a multiple of the bytes of its sound. A few
// damaged times must not fill a disk.
constexpr std::int64_t kMostSilentBytes = 256 << 20;
constexpr std::int64_t kMostSilentShare = 10;

}  // namespace

// Returns the number of samples missing before the packet. Times jitter with the clocks of the
// container and the recorder; whole packets get lost, mostly of equal length.
std::int64_t SoundWatch::MeasureGap(const SoundTrack& track, const Passed& passed,
                                    const AVPacket& packet) {
  const auto next = passed.clock.GetNext();
  const std::int64_t tick = passed.clock.GetTick();
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t gap =
      next && track.isTimed ? av_sat_sub64(passed.clock.Locate(packet), *next) : 0;
  if (gap <= std::max<std::int64_t>({2 * tick, 3 * rate / 1000, passed.lastCount / 2})) return 0;
  if (gap > kLongestSilence * rate) return gap;
  // lastCount > 0, because the next sample is known.
  const std::int64_t packets = (gap + passed.lastCount / 2) / passed.lastCount;
  const std::int64_t whole = packets * passed.lastCount;
  return std::abs(gap - whole) <= tick ? whole : gap;
}

void SoundWatch::Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
                      std::int64_t count) {
  const double rate = std::max(1, track.parameters->sample_rate);
  damage_.push_back({kind, treatment, track.number, static_cast<double>(first) / rate,
                     static_cast<double>(count) / rate});
}

void SoundWatch::Fill(const SoundTrack& track, std::int64_t gap, std::size_t place, Passed& passed,
                      std::vector<SoundPacket>& queue) {
  const std::int64_t sampleBytes = track.SampleBytes();
  const std::int64_t first = *passed.clock.GetNext();
  const std::int64_t most =
      kMostSilentBytes + kMostSilentShare * passed.soundBytes - passed.filledBytes;
  const bool isFilled = sampleBytes > 0 && gap <= kLongestSilence * track.parameters->sample_rate &&
                        gap <= most / sampleBytes;
  Note(track, Kind::Missing, isFilled ? Treatment::Silenced : Treatment::ClosedUp, first, gap);
  if (!isFilled) return;
  passed.filledBytes += gap * sampleBytes;
  for (std::int64_t done = 0; done < gap;) {
    Packet silence = MakeSilence(track, first + done, gap - done);
    const std::int64_t count = silence->size / sampleBytes;
    queue.push_back({place, std::move(silence)});
    passed.clock.Pass(first + done, count);
    done += count;
  }
}

void SoundWatch::Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
                      std::vector<SoundPacket>& queue) {
  Passed& passed = tracks_.try_emplace(track.number, Passed{SampleClock(track)}).first->second;
  const std::int64_t gap = MeasureGap(track, passed, *sound.packet);
  if (gap > 0) Fill(track, gap, sound.track, passed, queue);
  const std::int64_t first = passed.clock.Locate(*sound.packet);
  const std::int64_t count = passed.clock.Count(*sound.packet);
  if (isAltered) Note(track, Kind::Altered, Treatment::Kept, first, count);
  passed.clock.Pass(first, count);
  passed.lastCount = count;
  passed.soundBytes += sound.packet->size;
  queue.push_back(std::move(sound));
}

}  // namespace vixprores
