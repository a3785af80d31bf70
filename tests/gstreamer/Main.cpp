// SPDX-License-Identifier: BSD-2-Clause
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "ScratchFolder.h"

/// Runs the tests with the plug-in of the build alone, and a registry of their own.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const vixprores::ScratchFolder folder;
  setenv("GST_PLUGIN_SYSTEM_PATH_1_0", "", 1);
  setenv("GST_PLUGIN_PATH_1_0", GSTREAMER_PLUGINS, 1);
  setenv("GST_REGISTRY_1_0", (folder / "registry.bin").c_str(), 1);
  setenv("GST_REGISTRY_FORK", "no", 1);
  gst_init(nullptr, nullptr);
  return RUN_ALL_TESTS();
}
