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
/// Returns the "Host" options with threads and instruction set.
OptionGroup MachineGroup(HostOptions& host, MachineOptions& machine);

/// Returns --scan and --rate.
OptionGroup ScanGroup(ScanOptions& options);
/// Converts the options for a reader. Rejects a rate without a scan with a UsageError.
ProResOptions ToProResOptions(const ScanOptions& options);

/// Returns --threads.
Option ThreadsOption(int& threads);
/// Returns --html and --overwrite.
std::vector<Option> PageOptionList(PageOptions& options);
/// Returns --variant; sets `variant` to the variant named `standard` immediately.
Option VariantOption(const ProResVariant*& variant, const std::string& standard);
/// Returns --frames of an input.
Option FramesOption(std::optional<FrameRange>& frames);
/// Returns --fourcc of uncompressed pictures.
Option FourCCOption(vix::FourCC& fourcc);

/// Describe the commands without running them; `options` must outlive them.
Command DescribeEncode(EncodeOptions& options);
Command DescribeDecode(DecodeOptions& options);

}  // namespace vixprores

#endif  // TOOL_CLI_OPTIONS_H
