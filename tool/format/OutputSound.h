// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_OUTPUTSOUND_H
#define TOOL_FORMAT_OUTPUTSOUND_H

/// @file
/// Sound that each kind of output file holds.

#include <string>
#include <vector>

#include "format/OutputFormat.h"

namespace vixprores {

/// What a user can do about sound that an output does not hold.
enum class SoundRemedy { Conversion, OtherOutput };

/// Rejects sound that the output cannot hold, with a Failure that starts with the name of the
/// output and ends with a remedy.
void CheckSoundStorable(const std::string& name, const OutputFormat& output,
                        const std::vector<SoundTrack>& tracks, SoundRemedy remedy);

/// A line of the table in the manual.
struct OutputSoundText {
  std::string name;     ///< extension of the output
  std::string meaning;  ///< sound that it holds
};
std::vector<OutputSoundText> ListOutputSound();

}  // namespace vixprores

#endif  // TOOL_FORMAT_OUTPUTSOUND_H
