// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_MOVIECONTENT_H
#define TOOL_FORMAT_MOVIECONTENT_H

#include <optional>
#include <string>
#include <vector>

#include "format/StreamFormat.h"
#include "format/Timecode.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Who made the samples, unless the user says otherwise; the frame headers of the encoder say the
/// same.
inline constexpr vix::FourCC kVendor = vix::MakeFourCC("vixp");

/// What goes into an output file. Only containers keep more than the video.
struct MovieContent {
  StreamFormat video;
  std::optional<Timecode> timecode = std::nullopt;  ///< of the first frame
  std::vector<SoundTrack> sound = {};               ///< their packets come on a clock of samples
  Metadata metadata = {};                           ///< of the file, and "reel_name"
  std::string compressor = {};   ///< name in the sample description; empty = ours
  vix::FourCC vendor = kVendor;  ///< code in the sample description
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_MOVIECONTENT_H
