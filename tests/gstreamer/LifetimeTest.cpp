// SPDX-License-Identifier: BSD-2-Clause
// Elements that start and stop many times keep no memory, threads or files.
#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "Harness.h"
#include "ResidentMemory.h"
#include "Threads.h"

namespace vix::test {
namespace {

#ifdef GSTREAMER_TESTS_ARE_SANITIZED
constexpr int kCycles = 100;
constexpr std::size_t kMostGrowth = std::size_t{512} << 20;  // freed memory is kept for a while
#else
constexpr int kCycles = 1000;
constexpr std::size_t kMostGrowth = std::size_t{4} << 20;  // of a process that keeps nothing
#endif
constexpr int kWarmUp = 50;

std::ptrdiff_t CountFiles() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// Returns the bytes that the process occupies, without freed ones.
std::size_t CountBytes() {
  malloc_trim(0);
  return GetResidentBytes();
}

/// What a process holds.
struct Holdings {
  std::ptrdiff_t threads = CountThreads();
  std::ptrdiff_t files = CountFiles();
  std::size_t bytes = CountBytes();
};

void ExpectNoGrowth(const Holdings& before) {
  // The system lists joined threads for a moment.
  for (int i = 0; i < 10000 && CountThreads() > before.threads; ++i) {
    std::this_thread::yield();
  }
  const Holdings after;
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.files, before.files);
  EXPECT_LT(after.bytes, before.bytes + kMostGrowth);
}

GstBuffer* MakeInput(const char* element, unsigned number) {
  return element == kEncoder ? MakeRawBuffer(kSmall, number) : MakeProResBuffer(kSmall, number);
}

class Lifetime : public testing::TestWithParam<const char*> {
 protected:
  const char* element = GetParam();
  std::string caps = element == kEncoder ? RawCaps(kSmall) : ProResCaps(kSmall);
};
INSTANTIATE_TEST_SUITE_P(Elements, Lifetime, testing::Values(kEncoder, kDecoder),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(Lifetime, ManyElementsOneAfterTheOther) {
  Holdings before;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kWarmUp) before = Holdings();
    Harness harness(element, "threads=2");
    harness.SetInput(caps);
    // Stopped before, while and after frames are coded.
    for (int i = 0; i < cycle % 4; ++i) harness.Push(MakeInput(element, 0));
    if (cycle % 2) harness.Pull();
  }
  ExpectNoGrowth(before);
}

TEST_P(Lifetime, OneElementThatStartsAndStops) {
  Harness harness(element, "threads=2");
  Holdings before;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kWarmUp) before = Holdings();
    gst_element_set_state(harness.Element(), GST_STATE_NULL);
    ASSERT_EQ(gst_element_set_state(harness.Element(), GST_STATE_PLAYING),
              GST_STATE_CHANGE_SUCCESS);
    while (harness.PopMessage(GST_MESSAGE_ANY)) {
    }
  }
  gst_element_set_state(harness.Element(), GST_STATE_NULL);
  ExpectNoGrowth(before);
}

TEST_P(Lifetime, OutputsOutliveTheElement) {
  BufferPointer output;
  {
    Harness harness(element);
    harness.SetInput(caps);
    harness.Push(MakeInput(element, 4));
    output = harness.Pull();
  }
  ASSERT_TRUE(output);
  if (element == kDecoder) {
    ExpectDecoded(output, kSmall, 4);
  } else {
    Harness decoder(kDecoder);
    decoder.SetInput(ProResCaps(kSmall));
    decoder.Push(gst_buffer_ref(output.get()));
    ExpectDecoded(decoder.Pull(), kSmall, 4);
  }
}

TEST_P(Lifetime, ElementsSideBySide) {
  std::vector<std::unique_ptr<Harness>> harnesses;
  for (int i = 0; i < 8; ++i) {
    harnesses.push_back(std::make_unique<Harness>(element, "threads=2"));
    harnesses.back()->SetInput(caps);
  }
  std::vector<std::thread> threads;
  for (auto& harness : harnesses) {
    threads.emplace_back([&harness, this] {
      for (unsigned i = 0; i < 20; ++i) harness->Push(MakeInput(element, i));
      EXPECT_EQ(harness->Finish().size(), 20U);
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace vix::test
