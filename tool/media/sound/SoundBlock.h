// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDBLOCK_H
#define TOOL_MEDIA_SOUND_SOUNDBLOCK_H

/// @file
/// Decoded sound, and its conversion from the codec library's frames and to PCM. The conversions
/// are plain arithmetic, which gives the same result on every processor.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "format/Sound.h"
#include "media/container/Libav.h"

struct AVFrame;

namespace vixprores {

/// A stretch of decoded sound. A `double` holds samples of all formats of up to 53 bits exactly.
struct SoundBlock {
  std::int64_t first = 0;       ///< position of the first sample, in samples from time 0
  int rate = 0;                 ///< samples per second
  int channels = 0;             ///< at least 1
  std::vector<double> samples;  ///< of all channels, interleaved; full scale is -1 to 1

  std::int64_t Count() const {
    return static_cast<std::int64_t>(samples.size()) / std::max(channels, 1);
  }
};

/// Returns the samples of a frame of any sample format; `first` is 0.
SoundBlock ReadSamples(const AVFrame& frame);
/// Changes the number of channels: copies a single one to all, else adds silent channels or drops
/// the last ones.
SoundBlock SetChannels(SoundBlock block, int channels);
/// Drops samples at the front.
void DropFront(SoundBlock& block, std::int64_t count);
/// Drops samples at the back.
void DropBack(SoundBlock& block, std::int64_t count);
/// Makes a packet of PCM with times in samples. Values are rounded, and limited to full scale.
/// Those that 16 bits do not hold exactly are dithered first; equal positions get equal dither.
Packet MakePcm(const SoundBlock& block, PcmFormat format);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDBLOCK_H
