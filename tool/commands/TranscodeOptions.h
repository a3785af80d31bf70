// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDS_TRANSCODEOPTIONS_H
#define TOOL_COMMANDS_TRANSCODEOPTIONS_H

#include <optional>
#include <string>

#include "commandline/Values.h"
#include "commands/Options.h"
#include "io/FrameReader.h"

namespace vixprores {

/// What encode and decode share.
struct TranscodeOptions : HostOptions, MachineOptions {
  std::string input;   ///< "-" = standard input
  std::string output;  ///< "-" = standard output
  std::optional<FrameRange> frames;
  bool overwrite = false;
  bool json = false;   ///< the summary as JSON
  bool quiet = false;  ///< neither progress nor summary nor notes
};

struct EncodeOptions : TranscodeOptions {
  const ProResVariant* variant = nullptr;
  std::optional<HeadlessFormat> headless;
};

struct DecodeOptions : TranscodeOptions {
  vix::FourCC fourcc = vix::kFourCC_V210;
  bool skipField = false;
};

/// The commands without their work; `options` must outlive them.
Command DescribeEncode(EncodeOptions& options);
Command DescribeDecode(DecodeOptions& options);

}  // namespace vixprores

#endif  // TOOL_COMMANDS_TRANSCODEOPTIONS_H
