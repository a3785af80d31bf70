// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_MOVIECONTENT_H
#define TOOL_FORMAT_MOVIECONTENT_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "format/Sound.h"
#include "format/StreamFormat.h"
#include "format/Timecode.h"

namespace vixprores {

/// Texts by their names in the container library: "title", "language", ...
using Metadata = std::map<std::string, std::string>;

/// Default vendor code of the sample description; frame headers of the encoder carry the same.
inline constexpr vix::FourCC kVendor = vix::MakeFourCC("vixp");

/// Content of an output file. Only containers store more than the video.
struct MovieContent {
  StreamFormat video;
  std::optional<Timecode> timecode = std::nullopt;  ///< of the first frame
  std::vector<SoundTrack> sound = {};               ///< times of their packets count samples
  Metadata metadata = {};                           ///< of the file, and "reel_name"
  std::string compressor = {};   ///< name in the sample description; empty = ours
  vix::FourCC vendor = kVendor;  ///< code in the sample description
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_MOVIECONTENT_H
