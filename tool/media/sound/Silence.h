// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SILENCE_H
#define TOOL_MEDIA_SOUND_SILENCE_H

#include <cstdint>

#include "format/Sound.h"
#include "media/container/Libav.h"

namespace vixprores {

/// Makes silent samples of an uncompressed sound track from sample `first` on: up to `count`,
/// limited to one second and a small block, at least one. Their times are in ticks of the track.
/// All silence shares one block of memory, so that long gaps need almost none.
Packet MakeSilence(const SoundTrack& track, std::int64_t first, std::int64_t count);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SILENCE_H
