// SPDX-License-Identifier: BSD-2-Clause
// Elements that start and stop many times keep no memory, threads or files.
#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>
#include <iterator>
#include <thread>

#include "Deep.h"
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

/// An element and the stream that goes through it.
struct Subject {
  const char* name;
  const char* element;
  bool is4444;

  bool IsEncoder() const { return element == kEncoder; }
  std::string Caps() const {
    if (is4444) return IsEncoder() ? RawCaps(kDeep) : ProResCaps(kDeep);
    return IsEncoder() ? RawCaps(kSmall) : ProResCaps(kSmall);
  }
  GstBuffer* MakeInput(unsigned number) const {
    if (is4444) return IsEncoder() ? MakeRawBuffer(kDeep, number) : MakeProResBuffer(kDeep, number);
    return IsEncoder() ? MakeRawBuffer(kSmall, number) : MakeProResBuffer(kSmall, number);
  }
  void ExpectPicture(const BufferPointer& picture, unsigned number) const {
    is4444 ? ExpectDecoded(picture, kDeep, number) : ExpectDecoded(picture, kSmall, number);
  }
};

class Lifetime : public testing::TestWithParam<Subject> {
 protected:
  const Subject subject = GetParam();
};
constexpr Subject kEncoder422{"vixproresenc", kEncoder, false};
constexpr Subject kDecoder422{"vixproresdec", kDecoder, false};
constexpr Subject kEncoder4444{"vixproresenc4444", kEncoder, true};
constexpr Subject kDecoder4444{"vixproresdec4444", kDecoder, true};
INSTANTIATE_TEST_SUITE_P(Elements, Lifetime,
                         testing::Values(kEncoder422, kDecoder422, kEncoder4444, kDecoder4444),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Lifetime, ManyElementsOneAfterTheOther) {
  Holdings before;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kWarmUp) before = Holdings();
    Harness harness(subject.element, "threads=2");
    harness.SetInput(subject.Caps());
    // Stopped before, while and after frames are coded.
    for (int i = 0; i < cycle % 4; ++i) harness.Push(subject.MakeInput(0));
    if (cycle % 2) harness.Pull();
  }
  ExpectNoGrowth(before);
}

TEST_P(Lifetime, OneElementThatStartsAndStops) {
  Harness harness(subject.element, "threads=2");
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
    Harness harness(subject.element);
    harness.SetInput(subject.Caps());
    harness.Push(subject.MakeInput(4));
    output = harness.Pull();
  }
  ASSERT_TRUE(output);
  if (!subject.IsEncoder()) return subject.ExpectPicture(output, 4);
  Harness decoder(kDecoder);
  decoder.SetInput((subject.is4444 ? kDecoder4444 : kDecoder422).Caps());
  decoder.Push(gst_buffer_ref(output.get()));
  subject.ExpectPicture(decoder.Pull(), 4);
}

TEST_P(Lifetime, ElementsSideBySide) {
  std::vector<std::unique_ptr<Harness>> harnesses;
  for (int i = 0; i < 8; ++i) {
    harnesses.push_back(std::make_unique<Harness>(subject.element, "threads=2"));
    harnesses.back()->SetInput(subject.Caps());
  }
  std::vector<std::thread> threads;
  for (auto& harness : harnesses) {
    threads.emplace_back([&harness, this] {
      for (unsigned i = 0; i < 20; ++i) harness->Push(subject.MakeInput(i));
      EXPECT_EQ(harness->Finish().size(), 20U);
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace vix::test
