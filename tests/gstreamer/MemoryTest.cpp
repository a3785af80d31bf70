// SPDX-License-Identifier: BSD-2-Clause
// Where frames lie: the decoder writes into buffers of downstream, the encoder reads buffers of
// upstream, and memory is reused. The first picture is decoded before its size and format are
// negotiated with downstream, so it may lie elsewhere.
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <thread>

#include "Harness.h"
#include "LargeBlocks.h"
#include "PicturePool.h"

namespace vix::test {
namespace {

constexpr Shape kFullHd{.width = 1920, .height = 1080};
constexpr unsigned kFullHdFrames = 6;
constexpr std::size_t kPictureBytes = std::size_t{5120} * 1080;  // V210

TEST(Memory, TheDecoderFillsBuffersOfDownstream) {
  for (const FourCC fourcc : {kFourCC_V210, kFourCC_UYVY}) {
    Harness harness(kDecoder, "threads=2");
    PicturePool pool(harness, kSmall, fourcc, 0, 16);
    harness.SetOutput(fourcc == kFourCC_V210 ? "video/x-raw,format=v210"
                                             : "video/x-raw,format=UYVY");
    harness.SetInput(ProResCaps(kSmall));
    for (unsigned i = 0; i < 40; ++i) {
      harness.Push(MakeProResBuffer(kSmall, i));
      const auto picture = harness.Pull();
      ExpectDecoded(picture, kSmall, i, fourcc);
      EXPECT_TRUE(i == 0 || pool.Owns(picture)) << i;
    }
  }
}

TEST(Memory, PicturesFitThePaddedRowsOfDownstream) {
  for (const std::size_t padding : {64U, 128U, 4096U}) {
    Harness harness(kDecoder, "threads=2");
    PicturePool pool(harness, kSmall, kFourCC_V210, padding, 16);
    harness.SetInput(ProResCaps(kSmall));
    for (unsigned i = 0; i < 10; ++i) {
      harness.Push(MakeProResBuffer(kSmall, i));
      const auto picture = harness.Pull();
      ExpectDecoded(picture, kSmall, i);
      EXPECT_TRUE(i == 0 || pool.Owns(picture)) << i;
    }
  }
}

TEST(Memory, ASmallPoolOfDownstreamDelaysButDoesNotBlock) {
  for (const unsigned most : {1U, 2U, 3U}) {
    Harness harness(kDecoder, "threads=4");
    PicturePool pool(harness, kSmall, kFourCC_V210, 0, most);
    harness.SetInput(ProResCaps(kSmall));
    constexpr unsigned kMany = 60;
    std::thread pusher([&] {
      for (unsigned i = 0; i < kMany; ++i) harness.Push(MakeProResBuffer(kSmall, i));
    });
    for (unsigned i = 0; i < kMany; ++i) ExpectDecoded(harness.Pull(), kSmall, i);
    pusher.join();
  }
}

TEST(Memory, AFlushEndsTheWaitForABufferOfDownstream) {
  Harness harness(kDecoder, "threads=4");
  PicturePool pool(harness, kSmall, kFourCC_V210, 0, 2);
  harness.SetInput(ProResCaps(kSmall));
  std::thread pusher([&] {
    for (unsigned i = 0; i < 100; ++i) {
      if (harness.Push(MakeProResBuffer(kSmall, i)) != GST_FLOW_OK) break;
    }
  });
  const BufferPointer kept[] = {harness.Pull(), harness.Pull()};  // all buffers of the pool
  harness.SendEvent(gst_event_new_flush_start());
  pusher.join();
  ExpectDecoded(kept[0], kSmall, 0);
  ExpectDecoded(kept[1], kSmall, 1);
}

TEST(Memory, TheEncoderOffersAPoolOrMetasForItsRows) {
  const EncoderHarness harness(kSmall);
  GstQuery* const query = gst_query_new_allocation(CapsOf(RawCaps(kSmall)).get(), TRUE);
  EXPECT_TRUE(gst_pad_peer_query(harness.Get()->srcpad, query));
  EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr));
  gst_query_unref(query);
}

TEST(Memory, BuffersOfUpstreamComeBackAfterEncoding) {
  EncoderHarness harness(kSmall);
  GstBuffer* const input = MakeRawBuffer(kSmall, 0);
  gst_buffer_ref(input);
  harness.Push(input);
  ASSERT_TRUE(harness.Pull());
  harness.Push(MakeRawBuffer(kSmall, 1));
  ASSERT_TRUE(harness.Pull());
  EXPECT_EQ(GST_MINI_OBJECT_REFCOUNT_VALUE(input), 1);
  gst_buffer_unref(input);
}

TEST(Memory, OutputsOfTheEncoderKeepTheirBytesWhileTheyAreHeld) {
  EncoderHarness harness(kSmall, "threads=2");
  std::vector<std::pair<BufferPointer, Bytes>> held;
  for (unsigned i = 0; i < 50; ++i) {
    harness.Push(MakeRawBuffer(kSmall, i));
    const auto frame = harness.Pull();
    ASSERT_TRUE(frame);
    held.emplace_back(frame, BytesOf(frame));
  }
  for (const auto& [frame, bytes] : held) EXPECT_TRUE(BytesOf(frame) == bytes);
}

#ifndef GSTREAMER_TESTS_ARE_SANITIZED  // sanitizers replace the allocation functions themselves

/// Returns the blocks of the size of a picture that an encoder allocates for frames.
unsigned CountBlocksOfEncoding(GstBuffer* (*make)(unsigned number)) {
  EncoderHarness harness(kFullHd, "threads=1");
  unsigned blocks = 0;
  for (unsigned i = 0; i < kFullHdFrames; ++i) {
    GstBuffer* const buffer = make(i);
    CountLargeBlocks(kPictureBytes);
    harness.Push(buffer);
    EXPECT_TRUE(harness.Pull());
    blocks += CountLargeBlocks(kPictureBytes);
  }
  return blocks;
}

TEST(Memory, TheEncoderReadsFramesInPlace) {
  const unsigned inPlace =
      CountBlocksOfEncoding([](unsigned number) { return MakeRawBuffer(kFullHd, number); });
  const unsigned copied = CountBlocksOfEncoding(
      [](unsigned number) { return MakePaddedBuffer(kFullHd, number, 4); });  // no stride of V210
  EXPECT_LT(inPlace, copied);
}

TEST(Memory, TheDecoderWritesPicturesInPlace) {
  Harness harness(kDecoder, "threads=1");
  PicturePool pool(harness, kFullHd, kFourCC_V210, 0, 8);
  harness.SetInput(ProResCaps(kFullHd));
  for (unsigned i = 0; i < kFullHdFrames; ++i) {
    GstBuffer* const frame = MakeProResBuffer(kFullHd, i);
    CountLargeBlocks(kPictureBytes / 2);
    harness.Push(frame);
    const auto picture = harness.Pull();
    const unsigned blocks = CountLargeBlocks(kPictureBytes / 2);
    ExpectDecoded(picture, kFullHd, i);
    if (i == 0) continue;
    EXPECT_TRUE(pool.Owns(picture)) << i;
    EXPECT_EQ(blocks, 0U) << "frame " << i;
  }
}

TEST(Memory, OfEarlierFramesIsReused) {
  for (const char* const element : {kEncoder, kDecoder}) {
    Harness harness(element, "threads=2");
    const bool isEncoder = element == kEncoder;
    harness.SetInput(isEncoder ? RawCaps(kFullHd) : ProResCaps(kFullHd));
    for (unsigned i = 0; i < 2 * kFullHdFrames; ++i) {
      GstBuffer* const buffer =
          isEncoder ? MakeRawBuffer(kFullHd, i) : MakeProResBuffer(kFullHd, i);
      CountLargeBlocks(std::size_t{1} << 20);
      harness.Push(buffer);
      ASSERT_TRUE(harness.Pull());
      const unsigned blocks = CountLargeBlocks(std::size_t{1} << 20);
      EXPECT_TRUE(blocks == 0 || i < kFullHdFrames) << element << ", frame " << i;
    }
  }
}

#endif

}  // namespace
}  // namespace vix::test
