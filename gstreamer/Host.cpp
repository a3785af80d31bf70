// SPDX-License-Identifier: BSD-2-Clause
#include "Host.h"

#include <gst/gst.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vix/Error.h"
#include "vix/Logging.h"
#include "vix/PluginLoader.h"
#include "vix/ProResCodecHook.h"
#include "vix/Registry.h"

namespace vixgst {
namespace {

constexpr const char* kRegistrant = "gstvixprores";

bool IsRegistered(vix::ElementFactoryType type, Implementation implementation) {
  return vix::GetFactory(type, NameOf(implementation), kElementType) != nullptr;
}

// The elements post their failures as messages, so the records are for debugging.
void LogToGStreamer() {
  static GstDebugCategory* const category =
      _gst_debug_category_new("vixprores", 0, "ProRes elements of vixVideoCodecProRes");
  vix::SetCurrentLoggerWriter(vix::CreateLineLoggerWriter([](vix::LogLevel level,
                                                             const std::string& line) {
    const GstDebugLevel shown = level <= vix::LogLevel::Warning ? GST_LEVEL_INFO : GST_LEVEL_DEBUG;
    gst_debug_log(category, shown, __FILE__, "Write", __LINE__, nullptr, "%s", line.c_str());
  }));
}

}  // namespace

const char* NameOf(Implementation implementation) {
  return implementation == Implementation::For4444 ? "vix4444" : "vix";
}

void LoadProResElement(vix::ElementFactoryType type, Implementation implementation) {
  static std::mutex mutex;
  const std::lock_guard guard(mutex);
  if (IsRegistered(type, implementation)) return;
  LogToGStreamer();
  // Never destroyed: elements may exist until the process ends.
  static auto* const kept = new std::vector<std::shared_ptr<vix::IPlugin>>;
  const vix::LoadedPlugins found = vix::LoadPlugins(kRegistrant);
  kept->insert(kept->end(), found.plugins.begin(), found.plugins.end());
  if (IsRegistered(type, implementation)) return;
  std::string reasons;
  for (const vix::PluginFailure& failure : found.failures) reasons += "; " + failure.reason;
  throw vix::VIXError(vix::ErrorCode::NotFound,
                      std::string("no plug-in with the ProRes elements \"") +
                          NameOf(implementation) + "\" was found" + reasons + "; install it in " +
                          vix::GetPluginFolder() + " or name its folder in VIX_PLUGIN_PATH");
}

vix::ElementPoolOptions PoolOptions(unsigned threads) {
  static const auto hook = std::make_shared<vix::ProResCodecHook>();
  vix::ElementPoolOptions options;
  options.size.workers = threads;
  options.threadsPerFrame = 1;
  options.inputChange = vix::InputChange::Redefine;
  options.codecHook = hook;
  return options;
}

}  // namespace vixgst
