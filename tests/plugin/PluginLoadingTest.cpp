// SPDX-License-Identifier: BSD-2-Clause
// Loads the plug-in at run time, as a host does.
#include <dlfcn.h>

#include "PluginTest.h"

namespace {

using fake::TheHost;

class PluginLoadingTest : public PluginTest {
 protected:
  PluginLoadingTest() { EXPECT_NE(library, nullptr) << dlerror(); }
  ~PluginLoadingTest() override {
    // The library contains the destructors of the host's objects.
    fake::ResetHost();
    EXPECT_EQ(dlclose(library), 0);
  }

  void* library = dlopen(VIX_PLUGIN, RTLD_NOW | RTLD_LOCAL);
};

TEST_F(PluginLoadingTest, TheEntryRegistersWithTheLoadingProgram) {
  const auto registerAll = reinterpret_cast<void (*)(const char*)>(dlsym(library, "RegisterAll"));
  ASSERT_NE(registerAll, nullptr) << dlerror();
  registerAll("loader");
  ASSERT_EQ(TheHost().registrations.size(), 2U);
  EXPECT_EQ(TheHost().registrations[0].registrant, "loader");

  const auto factory =
      std::dynamic_pointer_cast<vix::ElementFactory<vix::ElementFactoryType::VideoDecoder>>(
          TheHost().registrations[0].factory);
  ASSERT_NE(factory, nullptr);
  const auto decoder = factory->GetCreator()(nullptr);
  ExpectReport([&] { decoder->UpdateConfig(nullptr); }, "[UpdateConfig not supported]",
               "VideoDecoderProRes");
}

TEST_F(PluginLoadingTest, TheLibraryCanBeUnloaded) {
  void* const loaded = dlopen(VIX_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
  EXPECT_EQ(loaded, library);
  dlclose(loaded);
  dlclose(library);
  EXPECT_EQ(dlopen(VIX_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr);
  library = dlopen(VIX_PLUGIN, RTLD_NOW | RTLD_LOCAL);
}

}  // namespace
