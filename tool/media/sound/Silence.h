// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SILENCE_H
#define TOOL_MEDIA_SOUND_SILENCE_H

#include <cstdint>

#include "media/container/Libav.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// `count` silent samples of an uncompressed sound track, from sample `first` on. Its times are in
/// the track's clock.
Packet MakeSilence(const SoundTrack& track, std::int64_t first, std::int64_t count);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SILENCE_H
