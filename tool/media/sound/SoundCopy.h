// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDCOPY_H
#define TOOL_MEDIA_SOUND_SOUNDCOPY_H

#include <optional>
#include <vector>

#include "media/sound/SoundCutter.h"

namespace vixprores {

/// The sound that accompanies a part of a video, ready for a writer. Used by the thread that reads
/// the video.
class SoundCopy {
 public:
  /// @param tracks null = no sound
  /// @param part   part of the video to copy the sound of; nullopt = all sound
  SoundCopy(SideTracks* tracks, const std::optional<TimeSpan>& part);

  /// Returns the sound read with the video since the last call.
  std::vector<SoundPacket> Take();
  /// Returns the remaining sound after the last frame of the part.
  std::vector<SoundPacket> TakeRest();

 private:
  std::vector<SoundPacket> Cut(std::vector<SoundPacket> packets);

  SideTracks* tracks_;
  std::optional<TimeSpan> part_;
  std::vector<SoundCutter> cutters_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDCOPY_H
