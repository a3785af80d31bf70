// SPDX-License-Identifier: BSD-2-Clause
// Flushes and seeks at any time, downstream that does not take frames, and the end of the stream.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

#include "Harness.h"

namespace vix::test {
namespace {

/// How both elements are fed and checked.
struct Coder {
  const char* element;
  const char* caps;
  GstBuffer* (*make)(unsigned number);
};

GstBuffer* MakeRaw(unsigned number) {
  return MakeRawBuffer(kSmall, number);
}
GstBuffer* MakeProRes(unsigned number) {
  return MakeProResBuffer(kSmall, number);
}

class Flushes : public testing::TestWithParam<Coder> {
 protected:
  Flushes() : harness(GetParam().element, "threads=3") { harness.SetInput(GetParam().caps); }

  GstFlowReturn Push(unsigned number) { return harness.Push(GetParam().make(number)); }
  void Drop() {
    while (harness.TryPull()) {
    }
  }
  /// Expects that the element codes all frames from a number on.
  void ExpectWorks(unsigned first = 0) {
    for (unsigned i = 0; i < kFrames; ++i) EXPECT_EQ(Push(first + i), GST_FLOW_OK);
    const auto buffers = harness.Finish();
    ASSERT_EQ(buffers.size(), kFrames);
    for (unsigned i = 0; i < kFrames; ++i) {
      EXPECT_EQ(GST_BUFFER_PTS(buffers[i].get()), (first + i) * kFrameTime);
    }
  }

  Harness harness;
  std::mt19937 random{20261123};
};
INSTANTIATE_TEST_SUITE_P(
    Elements, Flushes,
    testing::Values(Coder{kEncoder,
                          "video/x-raw,format=v210,width=64,height=32,framerate=25/1,"
                          "interlace-mode=progressive",
                          MakeRaw},
                    Coder{kDecoder,
                          "video/x-prores,variant=standard,width=64,height=32,framerate=25/1,"
                          "interlace-mode=progressive",
                          MakeProRes}),
    [](const auto& test) { return std::string(test.param.element); });

TEST_P(Flushes, NoFrameFromBeforeComesOutAfter) {
  for (unsigned i = 0; i < kFrames; ++i) Push(i);
  harness.Flush(100 * kFrameTime);
  Drop();
  ExpectWorks(100);
}

TEST_P(Flushes, HundredsOfSeeksToRandomPlaces) {
  for (int seek = 0; seek < 400; ++seek) {
    const auto first = static_cast<unsigned>(random() % 1000);
    harness.Flush(first * kFrameTime);
    Drop();
    for (unsigned i = 0; i < random() % 6; ++i) ASSERT_EQ(Push(first + i), GST_FLOW_OK);
    if (seek % 3 == 0) harness.TryPull();
  }
  harness.Flush(500 * kFrameTime);
  Drop();
  ExpectWorks(500);
}

TEST_P(Flushes, SeeksWhileAnotherThreadPushes) {
  std::atomic<bool> isDone = false;
  std::mutex mutex;
  std::thread pusher([&] {
    for (unsigned i = 0; !isDone; ++i) {
      const std::lock_guard lock(mutex);
      if (Push(i) != GST_FLOW_OK) std::this_thread::yield();
    }
  });
  for (int seek = 0; seek < 150; ++seek) {
    for (int pulls = seek % 4; pulls > 0; --pulls) harness.Pull();
    harness.SendEvent(gst_event_new_flush_start());  // ends the push
    const std::lock_guard lock(mutex);
    harness.Resume();
  }
  isDone = true;
  pusher.join();
  harness.Flush();
  Drop();
  ExpectWorks();
}

/// Blocks downstream and counts on nothing coming out: the first output waits until a flush or the
/// end of the element's state.
class BlockedDownstream {
 public:
  explicit BlockedDownstream(Harness& harness)
      : pad_(gst_element_get_static_pad(harness.Element(), "src")) {
    probe_ = gst_pad_add_probe(
        pad_, static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BLOCK | GST_PAD_PROBE_TYPE_BUFFER),
        [](GstPad*, GstPadProbeInfo*, gpointer user) {
          auto* const self = static_cast<BlockedDownstream*>(user);
          const std::lock_guard lock(self->mutex_);
          self->isBlocked_ = true;
          self->condition_.notify_all();
          return GST_PAD_PROBE_OK;
        },
        this, nullptr);
  }
  ~BlockedDownstream() {
    gst_pad_remove_probe(pad_, probe_);
    gst_object_unref(pad_);
  }
  BlockedDownstream(const BlockedDownstream&) = delete;
  BlockedDownstream& operator=(const BlockedDownstream&) = delete;

  void WaitUntilBlocked() {
    std::unique_lock lock(mutex_);
    condition_.wait(lock, [&] { return isBlocked_; });
  }

 private:
  GstPad* pad_;
  gulong probe_;
  std::mutex mutex_;
  std::condition_variable condition_;
  bool isBlocked_ = false;
};

TEST_P(Flushes, EndTheWaitForDownstream) {
  for (int round = 0; round < 20; ++round) {
    BlockedDownstream downstream(harness);
    std::thread pusher([&] {
      for (unsigned i = 0; i < 100 && Push(i) == GST_FLOW_OK; ++i) {
      }
    });
    downstream.WaitUntilBlocked();
    harness.SendEvent(gst_event_new_flush_start());
    pusher.join();
    harness.Resume();
  }
  Drop();
  ExpectWorks();
}

TEST_P(Flushes, TheEndOfTheStateEndsTheWaitForDownstream) {
  for (int round = 0; round < 20; ++round) {
    Harness blocked(GetParam().element, "threads=3");
    blocked.SetInput(GetParam().caps);
    BlockedDownstream downstream(blocked);
    std::thread pusher([&] {
      for (unsigned i = 0; i < 100 && blocked.Push(GetParam().make(i)) == GST_FLOW_OK; ++i) {
      }
    });
    downstream.WaitUntilBlocked();
    gst_element_set_state(blocked.Element(), GST_STATE_NULL);
    pusher.join();
  }
}

TEST_P(Flushes, MemoryOfWaitingFramesIsBounded) {
  BlockedDownstream downstream(harness);
  std::atomic<unsigned> taken = 0;
  std::thread pusher([&] {
    for (unsigned i = 0; i < 1000 && Push(i) == GST_FLOW_OK; ++i) ++taken;
  });
  downstream.WaitUntilBlocked();
  // The element stops taking frames: their number stays the same for a while.
  for (unsigned before = 1000, quiet = 0; quiet < 20; before = taken) {
    quiet = before == taken ? quiet + 1 : 0;
    g_usleep(5000);
  }
  EXPECT_LE(taken, 32U);
  harness.SendEvent(gst_event_new_flush_start());
  pusher.join();
}

TEST_P(Flushes, TheEndOfTheStreamWaitsForAllFrames) {
  for (int round = 0; round < 30; ++round) {
    ExpectWorks();
    harness.Flush();
  }
}

}  // namespace
}  // namespace vix::test
