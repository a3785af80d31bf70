// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_BENCHOPTIONS_H
#define TOOL_CLI_BENCHOPTIONS_H

#include "cli/Options.h"
#include "format/Values.h"

namespace vixprores {

struct BenchOptions : HostOptions, MachineOptions {
  const ProResVariant* variant = nullptr;
  vix::FourCC fourcc = vix::kFourCC_V210;
  PictureSize size{1920, 1080};
  bool interlaced = false;
  int frames = 24;  ///< of a pass; of many only some are different pictures
  bool json = false;
};

/// Returns the command without its work; `options` must outlive it.
Command DescribeBench(BenchOptions& options);

}  // namespace vixprores

#endif  // TOOL_CLI_BENCHOPTIONS_H
