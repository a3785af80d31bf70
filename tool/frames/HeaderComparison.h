// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_HEADERCOMPARISON_H
#define TOOL_FRAMES_HEADERCOMPARISON_H

/// @file
/// Differences between a container and a frame header, and between two frame headers.

#include <cstdint>
#include <string>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// One property of a stream in its container and in the header of its first frame.
struct ComparedProperty {
  enum class State {
    Same,
    Unspecified,  ///< in one of them or in both
    Mismatch,
  };

  std::string key;        ///< "colourPrimaries"
  std::string name;       ///< for messages: "colour primaries"
  std::string container;  ///< value in words, "unspecified" included
  std::string header;
  State state;
};

/// Compares every property that both can state.
std::vector<ComparedProperty> CompareWithContainer(const StreamFormat& container,
                                                   const prores::FrameHeader& header);

/// Returns "same", "unspecified" or "mismatch".
const char* ToWord(ComparedProperty::State state);

/// The first frame whose header differs from the first frame's in one property.
struct HeaderChange {
  std::string property;
  std::int64_t frame;
  std::string from;
  std::string to;
};

/// Adds the properties in which `header`, of that frame, differs from `first`, if they are new.
void AddChanges(const prores::FrameHeader& first, const prores::FrameHeader& header,
                std::int64_t frame, std::vector<HeaderChange>& changes);

}  // namespace vixprores

#endif  // TOOL_FRAMES_HEADERCOMPARISON_H
