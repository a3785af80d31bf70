// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_OPTIONS_H
#define TOOL_RUN_OPTIONS_H

/// @file
/// Options that several commands share.

#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "format/StreamFormat.h"
#include "format/Values.h"
#include "run/OpenInput.h"

namespace vixprores {

/// What every command knows that loads the plug-in.
struct HostOptions {
  std::optional<std::string> plugin;  ///< path of the plug-in; none = search
  bool verbose = false;               ///< log records and container messages on standard error
};

/// A page that a command writes besides what it prints.
struct PageOptions {
  std::optional<std::string> page;  ///< its path; none = no page
  bool overwrite = false;           ///< replace an existing one
};

/// How much of the machine is used.
struct MachineOptions {
  int threads = 0;                 ///< 0 = one per processor
  std::optional<std::string> cpu;  ///< level of instructions; none = as the environment says
};

/// How the frames of a ProRes input are found.
struct ScanOptions {
  bool scan = false;             ///< by themselves, without the container
  std::optional<Rational> rate;  ///< frames per second; none = as they say
};

/// "Host" options of the help.
OptionGroup HostGroup(HostOptions& options);
/// The same with threads and instructions.
OptionGroup MachineGroup(HostOptions& host, MachineOptions& machine);

/// --scan and --rate
OptionGroup ScanGroup(ScanOptions& options);
/// The same for a reader. Refuses with a UsageError a rate without a scan.
ProResOptions ToProResOptions(const ScanOptions& options);

/// --threads
Option ThreadsOption(int& threads);

/// --html and --overwrite
std::vector<Option> PageOptionList(PageOptions& options);
/// --variant; `variant` is set to the one named `standard` at once.
Option VariantOption(const ProResVariant*& variant, const std::string& standard);
/// --frames of an input
Option FramesOption(std::optional<FrameRange>& frames);
/// --fourcc of uncompressed pictures
Option FourCCOption(vix::FourCC& fourcc);

/// To be called before anything of the host core is used: sends log records and messages of the
/// container library to standard error, or nowhere.
void SetUpMessages(const HostOptions& options);

}  // namespace vixprores

#endif  // TOOL_RUN_OPTIONS_H
