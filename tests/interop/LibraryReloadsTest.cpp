// SPDX-License-Identifier: BSD-2-Clause
// Libraries that are loaded, used and unloaded again and again leave the process as it was.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <immintrin.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kReloads = 1000;
constexpr std::size_t kMostGrowth = std::size_t{1} << 20;  // bytes of all reloads

std::vector<std::string> NamesIn(const char* folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

std::size_t GetResidentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  file >> size >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// What a library could change for the whole process.
struct State {
  unsigned vectorUnit = _mm_getcsr();
  std::uint16_t floatingPointUnit = 0;
  std::string locale = std::setlocale(LC_ALL, nullptr);
  std::vector<int> blockedSignals;
  std::vector<std::string> environment;
  std::vector<std::string> files = NamesIn("/proc/self/fd");
  std::vector<std::string> threads = NamesIn("/proc/self/task");
  std::string folder = std::filesystem::current_path().string();

  State() {
    asm volatile("fnstcw %0" : "=m"(floatingPointUnit));
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    for (int number = 1; number < SIGRTMAX; ++number) {
      if (sigismember(&mask, number) == 1) blockedSignals.push_back(number);
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
      environment.emplace_back(*variable);
    }
  }
  bool operator==(const State&) const = default;
};

using Handle = void*;

/// Opens and closes an encoder and a decoder if the library has them.
void Use(void* library) {
  for (const std::string name : {"Encoder", "Decoder"}) {
    const auto open = reinterpret_cast<Handle (*)(std::int32_t, void*)>(
        dlsym(library, ("WPROpen" + name).c_str()));
    const auto close =
        reinterpret_cast<void (*)(Handle)>(dlsym(library, ("WPRClose" + name).c_str()));
    if (open == nullptr || close == nullptr) continue;
    Handle const handle = open(4, nullptr);
    EXPECT_NE(handle, nullptr);
    close(handle);
  }
}

void Reload(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  Use(library);
  ASSERT_EQ(dlclose(library), 0);
  ASSERT_EQ(dlopen(path, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";
}

class LibraryReloads : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Of, LibraryReloads,
                         testing::Values(VIX_CODEC, VIX_PLUGIN, VIX_PLUGIN_4444),
                         [](const auto& path) {
                           const auto stem = std::filesystem::path(path.param).stem().string();
                           return stem.substr(0, stem.find('.'));
                         });

TEST_P(LibraryReloads, LeaveTheProcessAsItWas) {
  Reload(GetParam());  // the first time, the system's libraries stay
  const State before;
  const std::size_t resident = GetResidentBytes();
  for (int i = 0; i < kReloads; ++i) {
    Reload(GetParam());
    if (HasFatalFailure()) return;
  }
  EXPECT_LT(GetResidentBytes(), resident + kMostGrowth);
  EXPECT_TRUE(State() == before);
}

}  // namespace
