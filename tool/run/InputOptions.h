// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_INPUTOPTIONS_H
#define TOOL_RUN_INPUTOPTIONS_H

#include "run/Options.h"

namespace vixprores {

/// Kinds of input, which different options of an encoding apply to.
enum class InputKind {
  Footage,    ///< video in a container or a Y4M stream
  Images,     ///< image sequences
  RawFrames,  ///< without a container
};

/// Rejects options that have no effect on an input of that kind, or contradict each other.
/// @throws UsageError that names the option, the input and what to do instead
void CheckInputOptions(const EncodeOptions& options, InputKind kind);

}  // namespace vixprores

#endif  // TOOL_RUN_INPUTOPTIONS_H
