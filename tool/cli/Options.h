// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_OPTIONS_H
#define TOOL_CLI_OPTIONS_H

/// @file
/// Command-line options that several commands share.

#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "run/Options.h"

namespace vixprores {

/// Returns the "Host" options of the help.
OptionGroup HostGroup(HostOptions& options);
/// Returns the same with threads and instruction set.
OptionGroup MachineGroup(HostOptions& host, MachineOptions& machine);

/// --scan and --rate
OptionGroup ScanGroup(ScanOptions& options);
/// Converts the options for a reader. Rejects a rate without a scan with a UsageError.
ProResOptions ToProResOptions(const ScanOptions& options);

/// --threads
Option ThreadsOption(int& threads);
/// --html and --overwrite
std::vector<Option> PageOptionList(PageOptions& options);
/// --variant; sets `variant` to the one named `standard` at once.
Option VariantOption(const ProResVariant*& variant, const std::string& standard);
/// --frames of an input
Option FramesOption(std::optional<FrameRange>& frames);
/// --fourcc of uncompressed pictures
Option FourCCOption(vix::FourCC& fourcc);

/// Describe the commands without their work; `options` must outlive them.
Command DescribeEncode(EncodeOptions& options);
Command DescribeDecode(DecodeOptions& options);

}  // namespace vixprores

#endif  // TOOL_CLI_OPTIONS_H
