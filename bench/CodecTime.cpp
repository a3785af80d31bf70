// SPDX-License-Identifier: BSD-2-Clause
// Preloaded into a program (LD_PRELOAD): prints to standard error, when the program ends, the
// processor time that its threads spent in calls of the codec library.
#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "ProRes/ProRes.h"

namespace {

std::atomic<std::int64_t> g_nanoseconds{0};
std::atomic<std::int64_t> g_calls{0};
decltype(&WPRDecodeFrame) g_decodeFrame = nullptr;

std::int64_t ThreadTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

template <typename Call>
std::int32_t Time(const Call& call) {
  const std::int64_t start = ThreadTime();
  const std::int32_t result = call();
  g_nanoseconds += ThreadTime() - start;
  ++g_calls;
  return result;
}

std::int32_t DecodeFrame(WPRDecoderHandle decoder, const std::uint8_t* frame,
                         std::uint32_t frameBytes, PixelBufferRecord* destination,
                         std::uint8_t fieldFlag) {
  return Time([&] { return g_decodeFrame(decoder, frame, frameBytes, destination, fieldFlag); });
}

// dlsym() itself is replaced below.
void* FindNext(void* library, const char* name) {
  using Find = void* (*)(void*, const char*);
  static const auto find = reinterpret_cast<Find>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.2.5"));
  return find(library, name);
}

const struct Report {
  ~Report() {
    std::fprintf(stderr, "codec: %lld ns in %lld calls\n",
                 static_cast<long long>(g_nanoseconds.load()),
                 static_cast<long long>(g_calls.load()));
  }
} g_report;

}  // namespace

extern "C" __attribute__((visibility("default"))) std::int32_t WPREncodeFrame(
    WPREncoderHandle encoder, const EncodeParamsRecord* params, const PixelBufferRecord* source,
    std::uint8_t* destination, std::uint32_t destinationSize, std::uint32_t* compressedBytes) {
  static const auto next =
      reinterpret_cast<decltype(&WPREncodeFrame)>(FindNext(RTLD_NEXT, "WPREncodeFrame"));
  return Time(
      [&] { return next(encoder, params, source, destination, destinationSize, compressedBytes); });
}

// The program forwards the plug-in's decoding calls to the library's function of this name.
extern "C" __attribute__((visibility("default"))) void* dlsym(void* library, const char* name) {
  void* const found = FindNext(library, name);
  if (std::strcmp(name, "WPRDecodeFrame") != 0) return found;
  g_decodeFrame = reinterpret_cast<decltype(&WPRDecodeFrame)>(found);
  return reinterpret_cast<void*>(DecodeFrame);
}
