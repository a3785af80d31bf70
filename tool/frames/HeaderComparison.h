// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_HEADERCOMPARISON_H
#define TOOL_FRAMES_HEADERCOMPARISON_H

#include <string>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// One property of a stream as its container and as the header of its first frame have it.
struct ComparedProperty {
  enum class State {
    Same,
    Unspecified,  ///< by one of them or by both
    Mismatch,
  };

  std::string key;        ///< "colourPrimaries"
  std::string name;       ///< for people: "colour primaries"
  std::string container;  ///< its value in words, "unspecified" included
  std::string header;
  State state;
};

/// Every property that both can tell.
std::vector<ComparedProperty> CompareWithContainer(const StreamFormat& container,
                                                   const prores::FrameHeader& header);

/// "same", "unspecified" or "mismatch"
const char* ToWord(ComparedProperty::State state);

}  // namespace vixprores

#endif  // TOOL_FRAMES_HEADERCOMPARISON_H
