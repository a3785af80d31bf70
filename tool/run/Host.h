// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_HOST_H
#define TOOL_RUN_HOST_H

/// @file
/// The program as a host: its messages, the plug-in, and settings of the codec library.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "run/Options.h"
#include "vix/PluginLoader.h"

namespace vixprores {

/// Sends log records and messages of the container library to standard error, or nowhere. Call it
/// before the host core is used.
void SetUpMessages(const HostOptions& options);

/// Returns the possible paths of the plug-in for a program in `programFolder`: in the library
/// folders of a build tree and of an installation.
std::vector<std::string> PluginCandidates(const std::string& programFolder);

/// Returns the plug-in to load if none is named: the first candidate that exists, else the one that
/// the system finds among its libraries; nullopt if there is none.
std::optional<std::string> FindProResPlugin();

/// Loaded plug-ins. Their elements are in the registry as long as this lives.
using Plugins = std::vector<std::shared_ptr<vix::IPlugin>>;

/// Loads the plug-in from `path`, or without a path the one that FindProResPlugin() finds. Loads
/// from its folder the plug-ins of the implementations "vix" and "vix4444" that it lacks, if they
/// are there.
/// @throws Failure that names the places, VIXRuntimeError that names the path
Plugins LoadProResPlugins(const std::optional<std::string>& path);

/// Returns text for --version: a line for each plug-in that LoadProResPlugins() loads without a
/// path, with the version in the name of its file.
std::string DescribePlugins();

/// Fails if no plug-in has registered elements for ProRes with that name, with the name of the
/// missing plug-in and the remedies.
/// @param implementation "vix" or "vix4444"
void RequireElements(const std::string& implementation);

/// Runs `work` on `input` while the plug-ins are loaded and returns its result. Converts exceptions
/// of the plug-ins, which need their code, to Failures.
int RunWithPlugin(const HostOptions& options, const std::string& input,
                  const std::function<int()>& work);

/// Makes the codec library use that instruction set level; "auto" is the highest available. Rejects
/// a level that this processor lacks with a Failure that names the available ones.
/// @param level one of CpuLevels()
void SetCpuLevel(const std::string& level);

/// Returns the names of all levels: "auto", "scalar", ...
std::vector<std::string> CpuLevels();

/// Returns the levels of this processor, without "auto".
std::vector<std::string> AvailableCpuLevels();

/// Returns a note for each environment variable of the codec library whose value is ignored.
std::vector<std::string> FindIgnoredVariables();

/// Returns the level that the codec library uses.
std::string CpuLevelInUse();

}  // namespace vixprores

#endif  // TOOL_RUN_HOST_H
