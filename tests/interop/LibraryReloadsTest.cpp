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

#include "ProRes/ProRes.h"

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

template <typename Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

/// Encodes and decodes a picture on several threads if the library is the codec.
void Use(void* library) {
  constexpr std::int32_t kThreads = 4;
  constexpr std::uint32_t kSize = 128;
  const auto openEncoder = Find<decltype(WPROpenEncoder)>(library, "WPROpenEncoder");
  if (openEncoder == nullptr) return;
  std::vector<std::uint8_t> pixels(std::size_t{2} * kSize * kSize, 100);
  PixelBufferRecord picture{pixels.data(), 2 * kSize, kWPRPixelFormat2vuy, kSize, kSize};
  std::vector<std::uint8_t> frame(pixels.size());
  const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
  std::uint32_t bytes = 0;
  WPREncoderHandle const encoder = openEncoder(kThreads, nullptr);
  EXPECT_EQ(Find<decltype(WPREncodeFrame)>(library, "WPREncodeFrame")(
                encoder, &params, &picture, frame.data(), static_cast<std::uint32_t>(frame.size()),
                &bytes),
            kWPRSuccess);
  WPRDecoderHandle const decoder =
      Find<decltype(WPROpenDecoder)>(library, "WPROpenDecoder")(kThreads, nullptr);
  EXPECT_EQ(Find<decltype(WPRDecodeFrame)>(library, "WPRDecodeFrame")(decoder, frame.data(), bytes,
                                                                      &picture, 0),
            kWPRSuccess);
  EXPECT_GT(NamesIn("/proc/self/task").size(), std::size_t{kThreads});
  Find<decltype(WPRCloseEncoder)>(library, "WPRCloseEncoder")(encoder);
  Find<decltype(WPRCloseDecoder)>(library, "WPRCloseDecoder")(decoder);
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
