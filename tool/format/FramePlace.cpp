// SPDX-License-Identifier: BSD-2-Clause
#include "format/FramePlace.h"

namespace vixprores {

std::string Describe(const FramePlace& place) {
  std::string text = "frame " + std::to_string(place.number);
  if (place.timecode) text += " (" + place.timecode->ToText() + ")";
  if (place.offset) text += " at byte " + std::to_string(*place.offset);
  if (place.count > 1) text += " and " + std::to_string(place.count - 1) + " more";
  return text;
}

}  // namespace vixprores
