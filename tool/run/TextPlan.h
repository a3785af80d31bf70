// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TEXTPLAN_H
#define TOOL_RUN_TEXTPLAN_H

#include <optional>
#include <string>
#include <vector>

#include "format/OutputFormat.h"
#include "format/Values.h"
#include "media/FrameReader.h"

namespace vixprores {

/// An input, or a range of it, whose texts go to an output.
struct TextPart {
  std::string path;
  const FrameReader* reader = nullptr;
  std::optional<FrameRange> range;  ///< by numbers of frames; nullopt = all
};

/// Sets the chapters, subtitles and captions of the output: those of the parts, one after the
/// other. Returns a note for each part that names what the output does not keep.
std::vector<std::string> PlanTexts(const std::vector<TextPart>& parts, const OutputFormat& output,
                                   MovieContent& content);

}  // namespace vixprores

#endif  // TOOL_RUN_TEXTPLAN_H
