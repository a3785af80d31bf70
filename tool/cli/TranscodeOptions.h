// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_TRANSCODEOPTIONS_H
#define TOOL_CLI_TRANSCODEOPTIONS_H

/// @file
/// Command-line options that encode and decode share.

#include <functional>
#include <string>
#include <vector>

#include "cli/Options.h"
#include "run/Batch.h"

namespace vixprores {

/// Returns a function that takes two names, or any number of inputs if there is an output folder.
std::function<void(const std::vector<std::string>&)> TakeFiles(TranscodeOptions& options);

/// Rejects options of SoundGroup() that contradict each other with a UsageError.
void CheckSoundOptions(const TranscodeOptions& options);
/// Treatment of damaged frames.
Option OnErrorOption(DamagePolicy& policy);
/// How video is decoded and changed before it is encoded.
OptionGroup FootageGroup(FootageReading& reading);
OptionGroup SoundGroup(TranscodeOptions& options);
/// Returns the options of SoundGroup() that do not convert sound.
OptionGroup CopiedSoundGroup(TranscodeOptions& options);
/// Returns --color, --primaries, --transfer and --matrix.
std::vector<Option> ColourLabelOptions(StreamOverrides& overrides);
OptionGroup BatchGroup(TranscodeOptions& options);
OptionGroup RunGroup(TranscodeOptions& options);
OptionGroup SequenceOutputGroup(DecodeOptions& options);

/// Rejects names that the format cannot be written to, before any input is read.
template <typename Check>
void CheckNames(const TranscodeOptions& options, const Check& check) {
  if (!options.outputDir) return check(options.output);
  for (const BatchItem& item : NameOutputs(options)) check(item.output);
}

}  // namespace vixprores

#endif  // TOOL_CLI_TRANSCODEOPTIONS_H
