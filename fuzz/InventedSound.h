// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_INVENTEDSOUND_H
#define FUZZ_INVENTEDSOUND_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "FuzzInput.h"
#include "media/sound/SideTracks.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

/// Makes a track of any codec, rate, layout and clock from a fuzzer's bytes.
inline vixprores::SoundTrack InventTrack(FuzzInput& input, std::size_t number) {
  constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE,
                                   AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_U8,
                                   AV_CODEC_ID_PCM_MULAW, AV_CODEC_ID_ADPCM_IMA_QT};
  constexpr int kRates[] = {48000, 44100, 8000, 96000, 1, 11025};
  constexpr int kClocks[] = {0, 1000, 90000, 600, 25, 1};  // 0 = samples
  const std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(), [](AVCodecParameters* old) { avcodec_parameters_free(&old); });
  if (!parameters) throw std::bad_alloc();
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = kCodecs[input.Byte() % std::size(kCodecs)];
  const std::uint8_t rate = input.Byte();
  parameters->sample_rate =
      rate < 128 ? kRates[rate % std::size(kRates)] : static_cast<int>(input.Word()) + 1;
  av_channel_layout_default(&parameters->ch_layout, input.Byte() % 9 + 1);
  const int clock = kClocks[input.Byte() % std::size(kClocks)];
  vixprores::SoundTrack track;
  track.timeBase = {1, clock > 0 ? clock : parameters->sample_rate};
  track.number = number;
  track.isTimed = (input.Byte() & 7) != 0;
  track.parameters = parameters;
  return track;
}

/// Invents packets of tracks: adjacent ones, and ones with gaps, overlaps and damaged times.
class InventedPackets {
 public:
  explicit InventedPackets(std::vector<vixprores::SoundTrack> tracks)
      : tracks_(std::move(tracks)), next_(tracks_.size()) {}

  const std::vector<vixprores::SoundTrack>& GetTracks() const { return tracks_; }
  /// Returns true if the packets of all tracks were adjacent so far, by clocks that count samples.
  bool AreRegular() const {
    return isRegular_ && std::ranges::all_of(tracks_, [](const vixprores::SoundTrack& track) {
             return track.timeBase.den == track.parameters->sample_rate;
           });
  }

  vixprores::SoundPacket Next(FuzzInput& input) {
    const std::size_t place = input.Byte() % tracks_.size();
    const vixprores::SoundTrack& track = tracks_[place];
    const std::uint8_t kind = input.Byte();
    const int sampleBytes = std::max(track.SampleBytes(), 1);
    const int samples = static_cast<int>(input.Byte() % 32) * (kind & 16 ? 32 : 1);
    vixprores::Packet packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), samples * sampleBytes) < 0) throw std::bad_alloc();
    std::fill_n(packet->data, packet->size, kind);
    const AVRational tick{1, track.parameters->sample_rate};
    packet->duration = av_rescale_q(samples, tick, track.timeBase);
    packet->pts = av_rescale_q(next_[place], tick, track.timeBase);
    Disturb(kind, input, *packet);
    packet->dts = packet->pts;
    next_[place] += samples;
    return {place, std::move(packet)};
  }

 private:
  void Disturb(std::uint8_t kind, FuzzInput& input, AVPacket& packet) {
    if (kind % 8 < 3) return;
    isRegular_ = false;
    const auto number = static_cast<std::int64_t>(std::uint64_t{input.Word()} << (kind / 32 * 8));
    if (kind % 8 == 3) packet.pts = AV_NOPTS_VALUE;
    if (kind % 8 == 4) packet.pts = number;
    if (kind % 8 == 5) packet.pts -= input.Byte();
    if (kind % 8 == 6) packet.pts += static_cast<std::int64_t>(input.Word());
    if (kind % 8 == 7) packet.duration = number;
  }

  std::vector<vixprores::SoundTrack> tracks_;
  std::vector<std::int64_t> next_;  // sample of each track
  bool isRegular_ = true;
};

/// A file of invented packets.
class InventedSource : public vixprores::SoundSource {
 public:
  InventedSource(std::shared_ptr<InventedPackets> packets, std::shared_ptr<FuzzInput> input)
      : packets_(std::move(packets)), input_(std::move(input)) {}

  const std::vector<vixprores::SoundTrack>& GetSound() const override {
    return packets_->GetTracks();
  }
  std::vector<vixprores::SoundDamage> GetSoundDamage() const override { return {}; }
  std::vector<vixprores::SoundPacket> TakeSound() override {
    std::vector<vixprores::SoundPacket> sound;
    for (int count = input_->Byte() % 4; count > 0; --count)
      sound.push_back(packets_->Next(*input_));
    return sound;
  }
  std::vector<vixprores::SoundPacket> ReadSoundUntil(std::int64_t /*time*/,
                                                     AVRational /*tick*/) override {
    return TakeSound();
  }

 private:
  std::shared_ptr<InventedPackets> packets_;
  std::shared_ptr<FuzzInput> input_;
};

#endif  // FUZZ_INVENTEDSOUND_H
