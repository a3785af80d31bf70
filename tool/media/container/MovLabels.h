// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_MOVLABELS_H
#define TOOL_MEDIA_CONTAINER_MOVLABELS_H

/// @file
/// Corrects labels in the movie header of a .mov.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "format/StreamFormat.h"
#include "format/Timecode.h"
#include "media/container/AtomTree.h"

namespace vixprores {

/// Labels of a movie to correct; nullopt = kept as they are.
struct MovLabels {
  std::optional<Colour> colour;
  std::optional<Rational> sampleAspect;
  std::optional<Timecode> timecode;  ///< of the first frame
  std::optional<std::string> reel, title;
};

/// The sample of a timecode track.
struct TimecodeSample {
  std::int64_t position = 0;            ///< in the file
  std::array<std::uint8_t, 4> bytes{};  ///< new value
};

/// Sets the labels of the first ProRes track and of the timecode track.
/// @param root parsed file or movie header
/// @return the sample that states the timecode, if the timecode is set
/// @throws Failure that starts with `name`, if the movie has no place for a label
std::optional<TimecodeSample> SetMovLabels(const MovLabels& labels, const std::string& name,
                                           Atom& root);

/// Sets the labels of the description of a tagged file (PacketTag.h), which keeps timecode and reel
/// name as texts.
void SetDescriptionLabels(const MovLabels& labels, const std::string& name, Atom& root);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_MOVLABELS_H
