// SPDX-License-Identifier: BSD-2-Clause
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Refusal.h"
#include "SilentLog.h"
#include "vix/ElementDriver.h"
#include "vix/Logging.h"
#include "vix/PluginLoader.h"
#include "vix/Registry.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr auto kDecoder = ElementFactoryType::VideoDecoder;
constexpr auto kEncoder = ElementFactoryType::VideoEncoder;
constexpr auto kAllocator = ElementFactoryType::MemoryBlockAllocator;

bool IsLoaded(const char* path) {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

template <ElementFactoryType T>
auto Make(const std::string& type) {
  return ImplementElement<T>("fake", type, nullptr);
}

class PluginLoader : public ::testing::Test {
 protected:
  ~PluginLoader() override {
    EXPECT_FALSE(IsLoaded(FAKE_PLUGIN)) << "a test leaves nothing behind";
    EXPECT_FALSE(IsLoaded(FAILING_PLUGIN));
  }

  SilentLog silentLog;
};

TEST_F(PluginLoader, RegistersWhatThePluginHasAndKnowsItsPath) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_EQ(plugin->GetPath(), FAKE_PLUGIN);
  EXPECT_NE(Make<kDecoder>("Pass"), nullptr);
  EXPECT_NE(Make<kEncoder>("Pass"), nullptr);
  EXPECT_EQ(Make<kAllocator>("Vector")->AllocateBlock(9)->GetSize(), 9u);
  EXPECT_FALSE(GetManifest(kDecoder, "fake", "Pass")->GetBool("FailRelease"));
}

TEST_F(PluginLoader, TakesRelativePathsFromTheWorkingDirectory) {
  const auto relative = std::filesystem::relative(FAKE_PLUGIN).string();
  const auto plugin = LoadPlugin(relative, "test");
  EXPECT_TRUE(std::filesystem::path(plugin->GetPath()).is_absolute());
  EXPECT_TRUE(std::filesystem::equivalent(plugin->GetPath(), FAKE_PLUGIN));
}

TEST_F(PluginLoader, UnregistersAndUnloadsThePluginThatIsLetGo) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries().size();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  plugin.reset();
  EXPECT_EQ(GetFactory(kDecoder, "fake", "Pass"), nullptr);
  EXPECT_EQ(GetRegistryEntries().size(), entries - 6);
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileAnElementLives) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto decoder = Make<kDecoder>("Pass");
  plugin.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  EXPECT_NE(decoder->GetManifest(), nullptr);
  decoder.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileAFactoryLives) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto factory =
      std::dynamic_pointer_cast<ElementFactory<kEncoder>>(GetFactory(kEncoder, "fake", "Pass"));
  plugin.reset();
  auto encoder = factory->GetCreator()(nullptr);
  factory.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  encoder.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileABlockLives) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto allocator = Make<kAllocator>("Vector");
  auto block = allocator->AllocateBlock(100);
  allocator.reset();
  plugin.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  block->GetData()[99] = 1;
  block.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileARegistryEntryLives) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto entry = GetRegistryEntries().back();
  plugin.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  EXPECT_EQ(entry->GetString("implementation"), "fake");
  entry.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileAFactoryOfUnknownMakeLives) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto factory = GetFactory(kDecoder, "fake", "Odd");
  plugin.reset();
  EXPECT_EQ(factory->GetFactoryType(), kDecoder);
  EXPECT_EQ(std::dynamic_pointer_cast<ElementFactory<kDecoder>>(factory), nullptr);
  factory.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, PassesOnThatACreatorMadeNothing) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_EQ(Make<kDecoder>("Nothing"), nullptr);
  EXPECT_EQ(Make<kAllocator>("Nothing"), nullptr);
}

/// Loads the plug-in, makes an element fail, and lets go of both while the error is on its way.
void FailInsideThePlugin() {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto decoder = Make<kDecoder>("Pass");
  decoder->PushSample(CreateSampleContainer(nullptr, nullptr));
}

TEST_F(PluginLoader, KeepsALibraryWhileAnErrorOfItsIsHandled) {
  try {
    FailInsideThePlugin();
    FAIL() << "the sample was not refused";
  } catch (const VIXRuntimeError& error) {
    // Its destructor is the library's.
    EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
    EXPECT_STREQ(error.what(), "no sample in ");
  }
  LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN)) << "the next occasion to leave was missed";
}

TEST_F(PluginLoader, LetsARegistrantLoadAPluginAgain) {
  auto first = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries().size();
  auto second = LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_EQ(GetRegistryEntries().size(), entries);
  first.reset();
  EXPECT_NE(Make<kDecoder>("Pass"), nullptr) << "the newer registrations are the second's";
  second.reset();
  EXPECT_EQ(GetFactory(kDecoder, "fake", "Pass"), nullptr);
}

TEST_F(PluginLoader, RefusesAPluginWhoseKeysAreTaken) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries();
  EXPECT_THAT(RefusalOf([] { LoadPlugin(FAKE_PLUGIN, "somebody else"); }),
              AllOf(HasSubstr(FAKE_PLUGIN), HasSubstr("VideoDecoder.fake.Pass"),
                    HasSubstr("taken by registrant \"test\"")));
  EXPECT_EQ(GetRegistryEntries(), entries);
}

TEST_F(PluginLoader, LeavesDirectRegistrationsAlone) {
  // A program may load a plug-in by its own means and call the entry itself.
  void* const library = dlopen(FAKE_PLUGIN, RTLD_NOW);
  ASSERT_NE(library, nullptr);
  reinterpret_cast<void (*)(const char*)>(dlsym(library, "RegisterAll"))("direct");
  auto decoder = Make<kDecoder>("Pass");
  EXPECT_NE(decoder, nullptr);
  EXPECT_THAT(RefusalOf([] { LoadPlugin(FAKE_PLUGIN, "test"); }), HasSubstr("\"direct\""));
  decoder.reset();
  UnregisterFactories("direct");
  dlclose(library);
}

TEST_F(PluginLoader, RefusesAMissingFile) {
  for (const char* path : {"", "nowhere.so", "/nowhere/plugin.so", "libc.so.6"}) {
    EXPECT_THAT(RefusalOf([&] { LoadPlugin(path, "test"); }),
                AllOf(HasSubstr('"' + std::string(path) + '"'), HasSubstr("no such file")));
  }
}

TEST_F(PluginLoader, RefusesAFileThatIsNoLibrary) {
  const std::string path = testing::TempDir() + "core_tests_no_library.so";
  std::ofstream(path) << "text";
  EXPECT_THAT(RefusalOf([&] { LoadPlugin(path, "test"); }),
              AllOf(HasSubstr('"' + path + '"'), HasSubstr("too short")));
  std::remove(path.c_str());
}

TEST_F(PluginLoader, NamesTheDependencyThatIsMissing) {
  EXPECT_THAT(RefusalOf([] { LoadPlugin(STRANDED_PLUGIN, "test"); }),
              AllOf(HasSubstr(STRANDED_PLUGIN), HasSubstr("libcore_test_Dependency.so")));
}

TEST_F(PluginLoader, RefusesALibraryWithoutTheEntry) {
  EXPECT_THAT(RefusalOf([] { LoadPlugin(NO_ENTRY_PLUGIN, "test"); }),
              AllOf(HasSubstr(NO_ENTRY_PLUGIN), HasSubstr("no entry RegisterAll")));
  EXPECT_FALSE(IsLoaded(NO_ENTRY_PLUGIN));
}

/// A manner in which the failing plug-in fails, and the reason that has to be reported.
struct Failure {
  std::string manner;
  std::string reason;
};

struct FailingEntry : PluginLoader, testing::WithParamInterface<Failure> {};

TEST_P(FailingEntry, IsRefusedWithItsReasonAndLeavesNothing) {
  EXPECT_THAT(RefusalOf([] { LoadPlugin(FAILING_PLUGIN, GetParam().manner); }),
              AllOf(HasSubstr(FAILING_PLUGIN), HasSubstr("RegisterAll failed"),
                    HasSubstr(GetParam().reason)));
  EXPECT_EQ(GetFactory(kDecoder, "failing", "Doomed"), nullptr);
  EXPECT_FALSE(IsLoaded(FAILING_PLUGIN));
}

INSTANTIATE_TEST_SUITE_P(PluginLoader, FailingEntry,
                         testing::Values(Failure{"FrameworkError", "framework reason"},
                                         Failure{"OwnException", "own reason"},
                                         Failure{"Number", "unknown kind"},
                                         Failure{"ForeignException", "unknown kind"},
                                         Failure{"WrongVersion", "0.8.0.0.0"}),
                         [](const auto& test) { return test.param.manner; });

TEST_F(PluginLoader, SurvivesAThousandLoads) {
  for (int i = 0; i < 1000; ++i) {
    const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
    ASSERT_NE(GetFactory(kDecoder, "fake", "Pass"), nullptr);
  }
}

}  // namespace
}  // namespace vix
