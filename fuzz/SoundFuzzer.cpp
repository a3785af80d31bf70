// SPDX-License-Identifier: BSD-2-Clause
// Passes invented packets of sound through the parts that fill gaps, cut, align, join, convert and
// resample. Results must lie inside their memory; those of adjacent packets must be adjacent.
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "FuzzInput.h"
#include "InventedSound.h"
#include "Require.h"
#include "base/Errors.h"
#include "media/container/Libav.h"
#include "media/sound/AlignedSound.h"
#include "media/sound/DecodedSound.h"
#include "media/sound/SoundCutter.h"
#include "media/sound/SoundJoiner.h"
#include "media/sound/SoundResampler.h"
#include "media/sound/SoundWatch.h"

namespace {

using namespace vixprores;

constexpr int kMostSteps = 64;

// Results of a part, track by track.
class Results {
 public:
  explicit Results(std::vector<SoundTrack> tracks)
      : tracks_(std::move(tracks)), next_(tracks_.size()) {}

  // @param areAdjacent all packets so far were adjacent, so results have to be
  void Take(const std::vector<SoundPacket>& sound, bool areAdjacent) {
    for (const SoundPacket& each : sound) {
      Require(each.track < tracks_.size());
      const AVPacket& packet = *each.packet;
      const int sampleBytes = tracks_[each.track].SampleBytes();
      for (int i = 0; i < packet.size; i += 64) sum_ += packet.data[i];
      if (packet.size > 0) sum_ += packet.data[packet.size - 1];
      if (sampleBytes == 0) continue;
      Require(packet.size % sampleBytes == 0);
      if (!areAdjacent) continue;
      Require(packet.duration == packet.size / sampleBytes);
      std::optional<std::int64_t>& next = next_[each.track];
      Require(!next || packet.pts == *next);
      next = packet.pts + packet.duration;
    }
  }

 private:
  std::vector<SoundTrack> tracks_;
  std::vector<std::optional<std::int64_t>> next_;
  unsigned sum_ = 0;
};

// Returns the tracks with clocks that count samples, as cutters make them.
std::vector<SoundTrack> InSamples(std::vector<SoundTrack> tracks) {
  for (SoundTrack& track : tracks) track.timeBase = {1, track.parameters->sample_rate};
  return tracks;
}

std::optional<TimeSpan> ChoosePart(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  if (choice & 1) return std::nullopt;
  const std::int64_t begin = input.Word();
  return TimeSpan{begin,
                  begin + static_cast<std::int64_t>(input.Word()),
                  static_cast<std::int64_t>(input.Word()),
                  {1001, choice & 2 ? 30000 : 1000}};
}

void WatchAndCut(FuzzInput& input, InventedPackets& packets) {
  const auto part = ChoosePart(input);
  SoundWatch watch;
  std::vector<SoundCutter> cutters;
  for (const SoundTrack& track : packets.GetTracks()) cutters.emplace_back(track, part);
  Results results(InSamples(packets.GetTracks()));
  for (int step = 0; step < kMostSteps && input.Left() > 0; ++step) {
    SoundPacket sound = packets.Next(input);
    const SoundTrack& track = packets.GetTracks()[sound.track];
    std::vector<SoundPacket> passed;
    std::vector<SoundPacket> kept;
    watch.Pass(track, std::move(sound), (step & 15) == 15, passed);
    for (SoundPacket& each : passed) {
      Packet cut = cutters[each.track].Cut(std::move(each.packet));
      if (cut) kept.push_back({each.track, std::move(cut)});
    }
    results.Take(kept, packets.AreRegular());
  }
  for (const SoundTrack& track : packets.GetTracks()) watch.CheckEnd(track, 1.5, 2.5, 0.04);
  for (const SoundDamage& damage : watch.GetDamage()) Require(!Describe(damage).empty());
}

// Runs a source beside a video that advances by some frames at a time.
void RunBeside(FuzzInput& input, SoundSource& source, TimePoint video,
               const InventedPackets& packets) {
  Results results(source.GetSound());
  for (int step = 0; step < kMostSteps && input.Left() > 0; ++step) {
    video.time += input.Byte();
    source.FollowVideo(video);
    const auto sound = source.TakeSound();
    results.Take(sound, packets.AreRegular());
  }
  const auto rest = source.FinishSound();
  results.Take(rest, packets.AreRegular());
  source.GetSoundDamage();
}

void Align(FuzzInput& input, const std::shared_ptr<SoundSource>& source,
           const InventedPackets& packets) {
  const TimePoint begin{static_cast<std::int64_t>(input.Word()), {1, 25}};
  const TimePoint offset{static_cast<std::int64_t>(input.Word()) - 0x8000, {1, 1000}};
  const auto aligned = std::make_shared<AlignedSound>(source, begin, offset);
  JoinedSound joined({aligned});
  RunBeside(input, joined, begin, packets);
}

void Convert(FuzzInput& input, const std::shared_ptr<SoundSource>& source,
             const InventedPackets& packets) {
  SoundConversion conversion;
  conversion.decodes = true;
  const std::uint8_t choice = input.Byte();
  if (choice & 3) conversion.format = static_cast<PcmFormat>((choice & 3) - 1);
  if (choice & 4) conversion.rate = choice & 8 ? 48000 : 44100;
  const TimePoint begin{static_cast<std::int64_t>(input.Byte()), {1, 25}};
  DecodedSound decoded(source, conversion, begin, "input");
  RunBeside(input, decoded, begin, packets);
}

void Join(FuzzInput& input, InventedPackets& packets) {
  SoundJoiner joiner(packets.GetTracks(), {30000, 1001}, (input.Byte() & 1) != 0);
  Results results(InSamples(packets.GetTracks()));
  SoundPart part;
  for (int parts = 0; parts < 4 && input.Left() > 0; ++parts) {
    const std::uint8_t choice = input.Byte();
    part.begin = input.Byte();
    part.isWhole = (choice & 1) != 0;
    part.keepsHead = (choice & 2) != 0 && parts == 0;
    part.isLast = input.Left() < 32 || parts == 3;
    part.keepsTail = (choice & 4) != 0 && part.isLast;
    joiner.Begin(part);
    std::vector<SoundCutter> cutters;
    for (const SoundTrack& track : packets.GetTracks()) cutters.emplace_back(track, std::nullopt);
    std::int64_t frames = 0;
    for (int step = input.Byte() % 16; step > 0 && input.Left() > 0; --step) {
      SoundPacket sound = packets.Next(input);
      Packet cut = cutters[sound.track].Cut(std::move(sound.packet));
      std::vector<SoundPacket> added;
      if (cut) added.push_back({sound.track, std::move(cut)});
      joiner.Add(std::move(added));
      results.Take(joiner.TakeUntil(frames += input.Byte() % 8), packets.AreRegular());
    }
    results.Take(joiner.End(frames), packets.AreRegular());
    part.at += frames;
    for (const std::string& note : joiner.TakeNotes()) Require(!note.empty());
  }
}

void Resample(FuzzInput& input) {
  constexpr int kRates[] = {48000, 44100, 32000, 96000, 8000, 22050};
  const int from = kRates[input.Byte() % std::size(kRates)];
  const int to = kRates[input.Byte() % std::size(kRates)];
  const int channels = input.Byte() % 3 + 1;
  SoundResampler resampler(from, to, channels);
  SoundBlock block{static_cast<std::int64_t>(input.Word()) - 0x8000, from, channels, {}};
  const std::int64_t begin = av_rescale_rnd(block.first, to, from, AV_ROUND_UP);
  std::int64_t next = begin;
  const auto take = [&](const std::vector<SoundBlock>& results) {
    for (const SoundBlock& result : results) {
      Require(result.first == next && result.channels == channels && result.rate == to);
      next += result.Count();
    }
  };
  while (input.Left() > 0) {
    block.samples.assign(static_cast<std::size_t>(input.Byte() * channels), input.Byte() / 128.0);
    take(resampler.Convert(block));
    block.first += block.Count();
  }
  take(resampler.Finish());
  Require(next == av_rescale_rnd(block.first, to, from, AV_ROUND_UP));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  SetLibavMessages(false);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = std::make_shared<FuzzInput>(data, size);
  const std::uint8_t part = input->Byte();
  try {
    if (part % 5 == 4) {
      Resample(*input);
      return 0;
    }
    std::vector<SoundTrack> tracks;
    for (std::size_t i = 0; i <= part / 128; ++i) tracks.push_back(InventTrack(*input, i));
    const auto packets = std::make_shared<InventedPackets>(tracks);
    const auto source = std::make_shared<InventedSource>(packets, input);
    if (part % 5 == 0) WatchAndCut(*input, *packets);
    if (part % 5 == 1) Align(*input, source, *packets);
    if (part % 5 == 2) Convert(*input, source, *packets);
    if (part % 5 == 3) Join(*input, *packets);
  } catch (const Failure&) {
    // A track that cannot be converted.
  }
  return 0;
}
