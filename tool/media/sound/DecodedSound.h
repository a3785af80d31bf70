// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_DECODEDSOUND_H
#define TOOL_MEDIA_SOUND_DECODEDSOUND_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/sound/SideTracks.h"
#include "media/sound/SoundDecoder.h"
#include "media/sound/SoundResampler.h"
#include "media/sound/SoundWatch.h"

namespace vixprores {

/// Makes PCM of one sound track.
class SoundConverter {
 public:
  /// @param rate samples per second of the result; 0 = those of the track
  /// @param name of the file, for messages
  /// @throws Failure if the codec library cannot decode the track
  SoundConverter(const SoundTrack& track, PcmFormat format, int rate, const std::string& name);

  /// Returns the track of the packets that are made; their times are in samples.
  const SoundTrack& GetTrack() const { return track_; }
  const std::vector<SoundDamage>& GetDamage() const { return decoder_.GetDamage(); }
  std::vector<Packet> Convert(const AVPacket& packet);
  /// Returns the last samples.
  std::vector<Packet> Finish();

 private:
  std::vector<SoundBlock> Resample(const SoundBlock& block);
  std::vector<Packet> Pack(const std::vector<SoundBlock>& blocks);

  SoundDecoder decoder_;
  PcmFormat format_;
  SoundTrack track_;
  std::optional<SoundResampler> resampler_;
};

/// The sound of another source with some of its tracks converted to PCM. Silence fills their gaps,
/// also one before their first sample; what comes before the pictures is cut off.
class DecodedSound : public SoundSource {
 public:
  /// @param begin time of the first picture
  /// @param name  of the source's file, for messages
  /// @throws Failure if a track cannot be decoded
  DecodedSound(std::shared_ptr<SoundSource> source, const SoundConversion& conversion,
               const TimePoint& begin, const std::string& name);

  const std::vector<SoundTrack>& GetSound() const override { return tracks_; }
  std::vector<SoundDamage> GetSoundDamage() const override;
  void FollowVideo(const TimePoint& time) override;
  std::vector<SoundPacket> TakeSound() override { return Convert(source_->TakeSound()); }
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;
  std::vector<SoundPacket> FinishSound() override;

 private:
  std::vector<SoundPacket> Convert(std::vector<SoundPacket> packets);
  void Begin(std::size_t place, AVPacket& packet, std::vector<SoundPacket>& sound);
  void Keep(std::size_t place, Packet packet, std::vector<SoundPacket>& sound);
  void Finish(std::vector<SoundPacket>& sound);
  bool IsReplaced(const SoundDamage& damage) const;

  std::shared_ptr<SoundSource> source_;
  std::vector<SoundTrack> tracks_;
  std::vector<std::unique_ptr<SoundConverter>> converters_;  ///< by track; null = kept as it is
  std::vector<bool> hasBegun_;                               ///< by track
  TimePoint begin_;
  TimePoint followed_;  ///< end of the video so far
  SoundWatch watch_;    ///< of converted tracks
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_DECODEDSOUND_H
