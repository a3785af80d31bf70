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

// A time that is so far off is more likely to be what is damaged.
constexpr std::int64_t kLongestSilence = 60;  // seconds

}  // namespace

// Samples that are missing in front of the packet; 0 = none. Times jitter by the container's clock
// and that of the recorder, and packets are lost as a whole, mostly those of one length.
std::int64_t SoundWatch::MeasureGap(const SoundTrack& track, const Passed& passed,
                                    const AVPacket& packet) {
  const auto next = passed.clock.GetNext();
  const std::int64_t tick = passed.clock.GetTick();
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t gap =
      next && track.isTimed ? av_sat_sub64(passed.clock.Locate(packet), *next) : 0;
  if (gap <= std::max<std::int64_t>({2 * tick, 3 * rate / 1000, passed.lastCount / 2})) return 0;
  if (gap > kLongestSilence * rate) return gap;
  // Where there is a next sample, the last packet had some.
  const std::int64_t packets = (gap + passed.lastCount / 2) / passed.lastCount;
  const std::int64_t whole = packets * passed.lastCount;
  return std::abs(gap - whole) <= tick ? whole : gap;
}

void SoundWatch::Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
                      std::int64_t count) {
  const double rate = track.parameters->sample_rate;
  damage_.push_back({kind, treatment, track.number, static_cast<double>(first) / rate,
                     static_cast<double>(count) / rate});
}

void SoundWatch::Fill(const SoundTrack& track, std::int64_t gap, std::size_t place,
                      SampleClock& clock, std::vector<SoundPacket>& queue) {
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t first = *clock.GetNext();
  const bool isFilled = track.SampleBytes() > 0 && gap <= kLongestSilence * rate;
  Note(track, Kind::Missing, isFilled ? Treatment::Silenced : Treatment::ClosedUp, first, gap);
  if (!isFilled) return;
  for (std::int64_t done = 0; done < gap; done += rate) {
    const std::int64_t count = std::min(rate, gap - done);
    queue.push_back({place, MakeSilence(track, first + done, count)});
    clock.Pass(first + done, count);
  }
}

void SoundWatch::Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
                      std::vector<SoundPacket>& queue) {
  Passed& passed = tracks_.try_emplace(track.number, Passed{SampleClock(track)}).first->second;
  const std::int64_t gap = MeasureGap(track, passed, *sound.packet);
  if (gap > 0) Fill(track, gap, sound.track, passed.clock, queue);
  const std::int64_t first = passed.clock.Locate(*sound.packet);
  const std::int64_t count = passed.clock.Count(*sound.packet);
  if (isAltered) Note(track, Kind::Altered, Treatment::Kept, first, count);
  passed.clock.Pass(first, count);
  passed.lastCount = count;
  queue.push_back(std::move(sound));
}

}  // namespace vixprores
