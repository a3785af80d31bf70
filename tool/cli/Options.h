// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_OPTIONS_H
#define TOOL_CLI_OPTIONS_H

/// @file
/// Command-line options that several commands share.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "format/Values.h"
#include "run/Options.h"

namespace vixprores {

/// Returns the "Host" options of the help.
OptionGroup HostGroup(HostOptions& options);
/// Returns the "Host" options with threads and instruction set.
OptionGroup MachineGroup(HostOptions& host, MachineOptions& machine);

/// Returns --limit-memory.
Option MemoryLimitOption(Limits& limits);
/// Returns the "Limits" options of the help.
OptionGroup LimitsGroup(Limits& limits);
/// Returns the same with --limit-output, for commands that write video.
OptionGroup LimitsWithOutputGroup(Limits& limits);

/// Returns --scan and --rate.
OptionGroup ScanGroup(ScanOptions& options);
/// Converts the options for a reader. Rejects a rate without a scan with a UsageError.
ProResOptions ToProResOptions(const ScanOptions& options);

/// Options for the pictures of image sequences.
struct ImageOptions {
  ColourOptions colours;
  MissingFiles missing = MissingFiles::Fail;
};

/// Returns --missing and the names of colour spaces.
OptionGroup SequenceInputGroup(MissingFiles& what, ColourOptions& colours);
/// Converts the options for a reader whose frames may have an unknown rate.
SequenceReading ToSequenceReading(const ImageOptions& options);

/// Returns -o, for an output that is otherwise the last argument.
Option OutputOption(std::string& output);
/// Assigns the words INPUT and OUTPUT, or INPUT alone if `output` was set by OutputOption().
void TakeInputAndOutput(std::string& input, std::string& output,
                        const std::vector<std::string>& words);
/// Return -y and -q.
Option OverwriteOption(bool& overwrite, std::string brief);
Option QuietOption(bool& quiet, std::string brief);
/// Returns --rate.
Option RateOption(std::optional<Rational>& rate, std::string brief);
/// Returns --threads.
Option ThreadsOption(int& threads);
/// Returns --html and --overwrite.
std::vector<Option> PageOptionList(PageOptions& options);
/// Returns --variant; sets `variant` to the variant named `standard` immediately.
Option VariantOption(const ProResVariant*& variant, const std::string& standard);
/// Returns --frames of an input.
Option FramesOption(std::optional<FrameRange>& frames);
/// Returns --fourcc of uncompressed pictures. `standard` names the value without the option; empty
/// = there is none.
Option FourCCOption(const std::function<void(vix::FourCC)>& set, const std::string& standard);

/// Describe the commands without running them; `options` must outlive them.
Command DescribeEncode(EncodeOptions& options);
Command DescribeDecode(DecodeOptions& options);

struct BenchOptions : HostOptions, MachineOptions {
  const ProResVariant* variant = nullptr;
  vix::FourCC fourcc = 0;
  PictureSize size{1920, 1080};
  bool interlaced = false;
  int frames = 24;  ///< of a pass; of many only some are different pictures
  bool json = false;
};

/// Returns the command without its work; `options` must outlive it.
Command DescribeBench(BenchOptions& options);

}  // namespace vixprores

#endif  // TOOL_CLI_OPTIONS_H
