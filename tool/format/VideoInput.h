// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_VIDEOINPUT_H
#define TOOL_FORMAT_VIDEOINPUT_H

/// @file
/// A video input as its consumers see it, whatever it is stored in.

#include <cstdint>
#include <optional>
#include <string>

#include "format/MovieContent.h"
#include "format/StreamFormat.h"
#include "format/Timecode.h"

namespace vixprores {

/// Facts about an input that are known before its frames are read.
struct InputDescription {
  std::string name;  ///< for messages
  StreamFormat format;
  /// Format that the container alone states; nullopt if there is no container, or if `format` has
  /// no other source.
  std::optional<StreamFormat> container = std::nullopt;
  std::optional<std::int64_t> frames = std::nullopt;  ///< nullopt if only the end shows it
  std::optional<Timecode> timecode = std::nullopt;    ///< of frame 0; nullopt = unknown
  Metadata metadata = {};                             ///< of the file, and "reel_name"
  std::string note = {};          ///< how the input is interpreted; empty = as usual
  std::string timecodeNote = {};  ///< why the input's timecode is not used; empty = it is
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_VIDEOINPUT_H
