// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_ALIGNEDSOUND_H
#define TOOL_MEDIA_SOUND_ALIGNEDSOUND_H

/// @file
/// Sound of other files beside that of the video.

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "media/sound/SideTracks.h"
#include "media/sound/SoundCutter.h"

namespace vixprores {

/// The sound of another source, moved in time and made as long as the video: sound outside it is
/// cut off, and silence is added to uncompressed tracks.
class AlignedSound : public SoundSource {
 public:
  /// @param videoBegin time of the first picture
  /// @param offset     from the first picture to the source's time 0; negative = earlier
  AlignedSound(std::shared_ptr<SoundSource> source, const TimePoint& videoBegin,
               const TimePoint& offset);

  const std::vector<SoundTrack>& GetSound() const override { return tracks_; }
  std::vector<SoundDamage> GetSoundDamage() const override;
  void FollowVideo(const TimePoint& time) override;
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;
  std::vector<SoundPacket> FinishSound() override;

 private:
  struct Track {
    SoundCutter cutter;          ///< moves packets to the time of the video
    std::int64_t next;           ///< first sample that has not been returned yet
    std::deque<Packet> waiting;  ///< for the video
  };

  TimePoint ToSource(const TimePoint& time) const;
  void Take(std::vector<SoundPacket> packets);
  std::vector<SoundPacket> ReturnUntil(const TimePoint& time, bool isEnd);
  void Return(std::size_t place, std::int64_t end, bool isEnd, std::vector<SoundPacket>& sound);

  std::shared_ptr<SoundSource> source_;
  std::int64_t shift_;  ///< from the source's times to those of the video, in microseconds
  TimePoint followed_;  ///< end of the video so far
  std::vector<SoundTrack> tracks_;
  std::deque<Track> state_;  ///< of each track
};

/// The tracks of several sources, in their order.
class JoinedSound : public SoundSource {
 public:
  explicit JoinedSound(std::vector<std::shared_ptr<SoundSource>> sources);

  const std::vector<SoundTrack>& GetSound() const override { return tracks_; }
  std::vector<SoundDamage> GetSoundDamage() const override;
  void FollowVideo(const TimePoint& time) override;
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;
  std::vector<SoundPacket> FinishSound() override;

 private:
  template <typename Take>
  std::vector<SoundPacket> Collect(const Take& take);

  std::vector<std::shared_ptr<SoundSource>> sources_;
  std::vector<SoundTrack> tracks_;
  std::vector<std::size_t> numbers_;  ///< of each source's first track in reports
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_ALIGNEDSOUND_H
