// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_RUNWITHPLUGIN_H
#define TOOL_RUN_RUNWITHPLUGIN_H

#include <exception>
#include <new>

#include "base/Errors.h"
#include "run/Options.h"
#include "run/PluginSearch.h"

namespace vixprores {

/// Does `work` while the plug-in is loaded and returns what it returns. An exception of the
/// plug-in, which needs the plug-in's code, is turned into a Failure.
template <typename Work>
int RunWithPlugin(const HostOptions& options, const Work& work) {
  const auto plugin = LoadProResPlugin(options.plugin);
  try {
    return work();
  } catch (const UsageError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw Failure("out of memory");
  } catch (const std::exception& error) {
    throw Failure(error.what());
  }
}

}  // namespace vixprores

#endif  // TOOL_RUN_RUNWITHPLUGIN_H
