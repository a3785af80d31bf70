// SPDX-License-Identifier: BSD-2-Clause
#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>

#include "ErrorText.h"
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
    EXPECT_FALSE(IsLoaded(FAKE_PLUGIN)) << "a test must unload the library";
    EXPECT_FALSE(IsLoaded(FAILING_PLUGIN));
  }

  SilentLog silentLog;
};

TEST_F(PluginLoader, RegistersTheElementsAndReturnsThePath) {
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

TEST_F(PluginLoader, UnregistersAndUnloadsTheReleasedPlugin) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries().size();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  plugin.reset();
  EXPECT_EQ(GetFactory(kDecoder, "fake", "Pass"), nullptr);
  EXPECT_EQ(GetRegistryEntries().size(), entries - 6);
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryForAnElement) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto decoder = Make<kDecoder>("Pass");
  plugin.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  EXPECT_NE(decoder->GetManifest(), nullptr);
  decoder.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryForAFactory) {
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

TEST_F(PluginLoader, KeepsTheLibraryForABlock) {
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

TEST_F(PluginLoader, KeepsTheLibraryForARegistryEntry) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto entry = GetRegistryEntries().back();
  plugin.reset();
  EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
  EXPECT_EQ(entry->GetString("implementation"), "fake");
  entry.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, KeepsTheLibraryForAFactoryOfUnknownClass) {
  auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  auto factory = GetFactory(kDecoder, "fake", "Odd");
  plugin.reset();
  EXPECT_EQ(factory->GetFactoryType(), kDecoder);
  EXPECT_EQ(std::dynamic_pointer_cast<ElementFactory<kDecoder>>(factory), nullptr);
  factory.reset();
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN));
}

TEST_F(PluginLoader, ReturnsNullFromACreatorUnchanged) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_EQ(Make<kDecoder>("Nothing"), nullptr);
  EXPECT_EQ(Make<kAllocator>("Nothing"), nullptr);
}

/// Loads the plug-in, makes an element fail, and releases both during the exception.
void FailInsideThePlugin() {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto decoder = Make<kDecoder>("Pass");
  decoder->PushSample(CreateSampleContainer(nullptr, nullptr));
}

TEST_F(PluginLoader, KeepsTheLibraryWhileItsExceptionIsHandled) {
  try {
    FailInsideThePlugin();
    FAIL() << "the sample was not rejected";
  } catch (const VIXRuntimeError& error) {
    // The exception's destructor is code of the library.
    EXPECT_TRUE(IsLoaded(FAKE_PLUGIN));
    EXPECT_STREQ(error.what(), "no sample in ");
  }
  LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_FALSE(IsLoaded(FAKE_PLUGIN)) << "the next LoadPlugin() must unload it";
}

TEST_F(PluginLoader, LetsARegistrantLoadAPluginAgain) {
  auto first = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries().size();
  auto second = LoadPlugin(FAKE_PLUGIN, "test");
  EXPECT_EQ(GetRegistryEntries().size(), entries);
  first.reset();
  EXPECT_NE(Make<kDecoder>("Pass"), nullptr) << "the newer registrations belong to the second";
  second.reset();
  EXPECT_EQ(GetFactory(kDecoder, "fake", "Pass"), nullptr);
}

/// A file in a folder of this test, removed at the end.
class TemporaryCopy {
 public:
  explicit TemporaryCopy(const std::string& source)
      : path_(testing::TempDir() + "core_tests_" + std::to_string(getpid()) + ".so") {
    std::filesystem::copy_file(source, path_, std::filesystem::copy_options::overwrite_existing);
  }
  ~TemporaryCopy() { std::filesystem::remove(path_); }
  TemporaryCopy(const TemporaryCopy&) = delete;
  TemporaryCopy& operator=(const TemporaryCopy&) = delete;

  const std::string& GetPath() const { return path_; }

 private:
  std::string path_;
};

TEST_F(PluginLoader, RejectsAnotherLibraryWithTheKeysOfALoadedOne) {
  const TemporaryCopy copy(FAKE_PLUGIN);
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries();
  const auto load = [&] { LoadPlugin(copy.GetPath(), "test"); };
  EXPECT_THAT(ErrorTextOf(load),
              AllOf(HasSubstr("VideoDecoder.fake.Pass belongs to"),
                    // The dynamic linker may resolve links in its folders.
                    HasSubstr(std::filesystem::path(FAKE_PLUGIN).filename().string() + '"'),
                    HasSubstr("cannot be registered by registrant \"test\" with plug-in \"" +
                              copy.GetPath() + '"')));
  EXPECT_EQ(ErrorCodeOf(load), ErrorCode::AlreadyExists);
  EXPECT_EQ(GetRegistryEntries(), entries);
  EXPECT_FALSE(IsLoaded(copy.GetPath().c_str()));
}

TEST_F(PluginLoader, TakesALinkToALibraryForTheSameLibrary) {
  const std::string link = testing::TempDir() + "core_tests_link.so";
  std::filesystem::remove(link);
  std::filesystem::create_symlink(FAKE_PLUGIN, link);
  const auto first = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries().size();
  const auto second = LoadPlugin(link, "test");
  EXPECT_EQ(GetRegistryEntries().size(), entries);
  std::filesystem::remove(link);
}

TEST_F(PluginLoader, LoadsTheNewContentsOfAFile) {
  const TemporaryCopy copy(FAKE_PLUGIN);
  const auto older = LoadPlugin(copy.GetPath(), "test");
  std::filesystem::remove(copy.GetPath());
  std::filesystem::copy_file(FAKE_PLUGIN, copy.GetPath());
  const auto entries = GetRegistryEntries().size();
  const auto newer = LoadPlugin(copy.GetPath(), "test");
  EXPECT_EQ(GetRegistryEntries().size(), entries);
}

TEST_F(PluginLoader, RejectsATruncatedLibrary) {
  const TemporaryCopy copy(FAKE_PLUGIN);
  const auto load = [&] { LoadPlugin(copy.GetPath(), "test"); };
  // Each length below the size of the headers, and about 300 others.
  constexpr std::uintmax_t kHeaders = 64 + 16 * 56;
  const std::uintmax_t step = std::filesystem::file_size(copy.GetPath()) / 300;
  for (auto bytes = std::filesystem::file_size(copy.GetPath()) - 1; bytes > 0;
       bytes -= bytes > kHeaders + step ? step : 1) {
    std::filesystem::resize_file(copy.GetPath(), bytes);
    ASSERT_THAT(ErrorTextOf(load), AllOf(HasSubstr(copy.GetPath()), HasSubstr("truncated")))
        << bytes << " bytes";
    ASSERT_EQ(ErrorCodeOf(load), ErrorCode::Truncated);
  }
}

/// Overwrites a number in a file.
template <typename Number>
void Patch(const std::string& path, std::size_t offset, Number number) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset));
  file.write(reinterpret_cast<const char*>(&number), sizeof number);
}

TEST_F(PluginLoader, RejectsHeadersThatLeadOutOfTheFile) {
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  for (const std::size_t field : {offsetof(Elf64_Ehdr, e_phoff), offsetof(Elf64_Ehdr, e_shoff),
                                  sizeof(Elf64_Ehdr) + offsetof(Elf64_Phdr, p_offset),
                                  sizeof(Elf64_Ehdr) + offsetof(Elf64_Phdr, p_filesz)}) {
    for (const std::uint64_t value : {kLargest, kLargest - 100, std::uint64_t{1} << 40}) {
      const TemporaryCopy copy(FAKE_PLUGIN);
      Patch(copy.GetPath(), field, value);
      EXPECT_EQ(ErrorCodeOf([&] { LoadPlugin(copy.GetPath(), "test"); }), ErrorCode::Truncated)
          << "field " << field;
    }
  }
}

TEST_F(PluginLoader, RejectsWhatIsNotAFile) {
  const std::string pipe = testing::TempDir() + "core_tests_pipe.so";
  std::filesystem::remove(pipe);
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {pipe, std::string("/")}) {
    EXPECT_THAT(ErrorTextOf([&] { LoadPlugin(path, "test"); }),
                AllOf(HasSubstr('"' + path + '"'), HasSubstr("not a file")));
  }
  std::filesystem::remove(pipe);
}

TEST_F(PluginLoader, RejectsAPluginWithKeysOfAnotherRegistrant) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  const auto entries = GetRegistryEntries();
  EXPECT_THAT(ErrorTextOf([] { LoadPlugin(FAKE_PLUGIN, "somebody else"); }),
              AllOf(HasSubstr(FAKE_PLUGIN), HasSubstr("VideoDecoder.fake.Pass"),
                    HasSubstr("belongs to registrant \"test\"")));
  EXPECT_EQ(GetRegistryEntries(), entries);
}

TEST_F(PluginLoader, KeepsDirectRegistrations) {
  // A program may load a plug-in and call its entry without LoadPlugin().
  void* const library = dlopen(FAKE_PLUGIN, RTLD_NOW);
  ASSERT_NE(library, nullptr);
  reinterpret_cast<void (*)(const char*)>(dlsym(library, "RegisterAll"))("direct");
  auto decoder = Make<kDecoder>("Pass");
  EXPECT_NE(decoder, nullptr);
  EXPECT_THAT(ErrorTextOf([] { LoadPlugin(FAKE_PLUGIN, "test"); }), HasSubstr("\"direct\""));
  decoder.reset();
  UnregisterFactories("direct");
  dlclose(library);
}

TEST_F(PluginLoader, RejectsAMissingFile) {
  for (const char* path : {"", "nowhere.so", "/nowhere/plugin.so", "libc.so.6"}) {
    EXPECT_THAT(ErrorTextOf([&] { LoadPlugin(path, "test"); }),
                AllOf(HasSubstr('"' + std::string(path) + '"'), HasSubstr("no such file")));
  }
  EXPECT_EQ(ErrorCodeOf([] { LoadPlugin("nowhere.so", "test"); }), ErrorCode::NotFound);
}

TEST_F(PluginLoader, RejectsAFileThatIsNotALibrary) {
  const std::string path = testing::TempDir() + "core_tests_no_library.so";
  std::ofstream(path) << "text";
  EXPECT_THAT(ErrorTextOf([&] { LoadPlugin(path, "test"); }),
              AllOf(HasSubstr('"' + path + '"'), HasSubstr("too short")));
  std::remove(path.c_str());
}

TEST_F(PluginLoader, NamesTheDependencyThatIsMissing) {
  EXPECT_THAT(ErrorTextOf([] { LoadPlugin(STRANDED_PLUGIN, "test"); }),
              AllOf(HasSubstr(STRANDED_PLUGIN), HasSubstr("libcore_test_Dependency.so")));
}

TEST_F(PluginLoader, RejectsALibraryWithoutTheEntry) {
  EXPECT_THAT(ErrorTextOf([] { LoadPlugin(NO_ENTRY_PLUGIN, "test"); }),
              AllOf(HasSubstr(NO_ENTRY_PLUGIN), HasSubstr("does not export RegisterAll")));
  EXPECT_FALSE(IsLoaded(NO_ENTRY_PLUGIN));
}

/// A kind of failure of the failing plug-in, and the expected reason.
struct Failure {
  std::string kind;
  std::string reason;
};

// Else its bytes would be printed, of which some have no value.
void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.kind;
}

struct FailingEntry : PluginLoader, testing::WithParamInterface<Failure> {};

TEST_P(FailingEntry, IsReportedWithItsReasonAndUndone) {
  EXPECT_THAT(ErrorTextOf([] { LoadPlugin(FAILING_PLUGIN, GetParam().kind); }),
              AllOf(HasSubstr(FAILING_PLUGIN), HasSubstr("RegisterAll failed"),
                    HasSubstr(GetParam().reason)));
  EXPECT_EQ(GetFactory(kDecoder, "failing", "Doomed"), nullptr);
  EXPECT_FALSE(IsLoaded(FAILING_PLUGIN));
}

INSTANTIATE_TEST_SUITE_P(PluginLoader, FailingEntry,
                         testing::Values(Failure{"FrameworkError", "framework reason"},
                                         Failure{"OwnException", "own reason"},
                                         Failure{"Number", "unknown exception type"},
                                         Failure{"ForeignException", "unknown exception type"},
                                         Failure{"WrongVersion", "0.8.0.0.0"}),
                         [](const auto& test) { return test.param.kind; });

TEST_F(PluginLoader, LoadsAThousandTimes) {
  for (int i = 0; i < 1000; ++i) {
    const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
    ASSERT_NE(GetFactory(kDecoder, "fake", "Pass"), nullptr);
  }
}

}  // namespace
}  // namespace vix
