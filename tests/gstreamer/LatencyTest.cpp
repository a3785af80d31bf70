// SPDX-License-Identifier: BSD-2-Clause
// The latency that both elements report: at least the frame that is coded, at most those in flight.
#include <gtest/gtest.h>

#include "Harness.h"

namespace vix::test {
namespace {

struct Latency {
  bool isLive;
  GstClockTime least;
  GstClockTime most;
};

Latency QueryLatency(const Harness& harness) {
  GstQuery* const query = gst_query_new_latency();
  EXPECT_TRUE(gst_pad_peer_query(harness.Get()->sinkpad, query));
  gboolean isLive = FALSE;
  Latency latency{};
  gst_query_parse_latency(query, &isLive, &latency.least, &latency.most);
  gst_query_unref(query);
  latency.isLive = isLive;
  return latency;
}

void ExpectLatency(const Harness& harness, GstClockTime frameTime) {
  const Latency latency = QueryLatency(harness);
  EXPECT_TRUE(latency.isLive);
  EXPECT_GE(latency.least, frameTime);
  EXPECT_EQ(latency.least % frameTime, 0U) << latency.least;
  EXPECT_LE(latency.least, 16 * frameTime);
  EXPECT_GE(latency.most, latency.least);
}

TEST(Latency, OfTheEncoderFollowsTheFrameRate) {
  Harness harness(kEncoder, "threads=2");
  gst_harness_set_live(harness.Get(), TRUE);
  harness.SetInput(RawCaps(kSmall));
  ExpectLatency(harness, kFrameTime);
  const GstClockTime slow = QueryLatency(harness).least;
  harness.SetInput(RawCaps({.rate = {50, 1}}));
  EXPECT_EQ(QueryLatency(harness).least, slow / 2);
}

TEST(Latency, OfTheDecoderFollowsTheFrameRate) {
  Harness harness(kDecoder, "threads=2");
  gst_harness_set_live(harness.Get(), TRUE);
  harness.SetInput(ProResCaps(kSmall));
  harness.Push(MakeProResBuffer(kSmall, 0));
  ASSERT_TRUE(harness.Pull());
  ExpectLatency(harness, kFrameTime);
  const GstClockTime slow = QueryLatency(harness).least;
  harness.SetInput(ProResCaps({.rate = {50, 1}}));
  harness.Push(MakeProResBuffer(kSmall, 1));
  ASSERT_TRUE(harness.Pull());
  EXPECT_EQ(QueryLatency(harness).least, slow / 2);
}

TEST(Latency, GrowsWithTheThreads) {
  const auto latencyOf = [](const char* threads) {
    EncoderHarness harness(kSmall, threads);
    return QueryLatency(harness).least;
  };
  EXPECT_LT(latencyOf("threads=1"), latencyOf("threads=8"));
}

}  // namespace
}  // namespace vix::test
