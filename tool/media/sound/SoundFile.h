// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDFILE_H
#define TOOL_MEDIA_SOUND_SOUNDFILE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/container/Demuxer.h"
#include "media/sound/SideTracks.h"
#include "media/sound/SoundQueue.h"

namespace vixprores {

/// The sound tracks of a file of its own: a recording, or a container with or without video. Its
/// sound begins at time 0, except for sound that begins later than the video of the file.
class SoundFile : public SideTracks {
 public:
  /// @throws Failure if the file cannot be read or has no sound
  explicit SoundFile(const std::string& path);

  const std::string& GetName() const { return demuxer_->GetName(); }
  /// Returns the time of day at which a Broadcast Wave file begins; nullopt = unknown.
  std::optional<TimePoint> GetTimeReference() const;

  const std::vector<SoundTrack>& GetSound() const override { return queue_.GetTracks(); }
  void SelectSound(const std::vector<std::size_t>& places) override { queue_.Select(places); }
  std::vector<SoundDamage> GetSoundDamage() const override { return queue_.GetDamage(); }
  void FollowVideo(const TimePoint& time) override;
  std::vector<SoundPacket> TakeSound() override { return queue_.Take(); }
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

 private:
  std::unique_ptr<Demuxer> demuxer_;
  SoundQueue queue_;
  bool isAtEnd_ = false;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDFILE_H
