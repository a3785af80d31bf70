// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "NoNewThreads.h"
#include "ProRes/ProRes.h"

namespace prores::test {
namespace {

constexpr EncodeParamsRecord kParams{kWPRCodec422, kWPRProgressive};

/// A picture of many slices, so that a handle starts all its threads.
SourcePicture Picture() {
  return SourcePicture(kWPRPixelFormatV210, 304, 208, Busy(1));
}

/// An encoder and a decoder with `threads` threads.
class Handles {
 public:
  explicit Handles(int threads)
      : encoder_(WPROpenEncoder(threads, nullptr)), decoder_(WPROpenDecoder(threads, nullptr)) {}
  ~Handles() { Close(); }
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;

  void Close() {
    WPRCloseEncoder(encoder_);
    WPRCloseDecoder(decoder_);
    encoder_ = decoder_ = nullptr;
  }

  std::int32_t EncodePicture() {
    const PixelBufferRecord source = picture_.Record();
    frame_.resize(SizesOf(kParams.codecType, source).max);
    std::uint32_t bytes = 0;
    const std::int32_t result = WPREncodeFrame(encoder_, &kParams, &source, frame_.data(),
                                               static_cast<std::uint32_t>(frame_.size()), &bytes);
    if (result == kWPRSuccess) frame_.resize(bytes);
    return result;
  }

  /// Decodes the frame of EncodePicture().
  std::int32_t DecodeFrame() {
    SourcePicture decoded(kWPRPixelFormatV210, 304, 208);
    PixelBufferRecord destination = decoded.MutableRecord();
    return WPRDecodeFrame(decoder_, frame_.data(), static_cast<std::uint32_t>(frame_.size()),
                          &destination, 0);
  }

  const Bytes& Frame() const { return frame_; }

 private:
  SourcePicture picture_ = Picture();
  Bytes frame_;
  WPREncoderHandle encoder_;
  WPRDecoderHandle decoder_;
};

/// Runs `check` in a forked child. Returns whether it ended in time and returned true.
template <typename Check>
bool HoldsInChild(Check&& check) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);  // ends a child that hangs
    _exit(check() ? 0 : 1);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(HandleThreads, HandlesWithThreadsReturnAnErrorInAForkedChild) {
  Handles handles(3);
  ASSERT_EQ(handles.EncodePicture(), kWPRSuccess);
  ASSERT_EQ(handles.DecodeFrame(), kWPRSuccess);
  EXPECT_TRUE(HoldsInChild([&] {
    return handles.DecodeFrame() == kWPRForked && handles.EncodePicture() == kWPRForked;
  }));
  EXPECT_EQ(handles.DecodeFrame(), kWPRSuccess);
  EXPECT_EQ(handles.EncodePicture(), kWPRSuccess);
}

TEST(HandleThreads, HandlesWithThreadsCanBeClosedInAForkedChild) {
  Handles handles(3);
  ASSERT_EQ(handles.EncodePicture(), kWPRSuccess);
  ASSERT_EQ(handles.DecodeFrame(), kWPRSuccess);
  EXPECT_TRUE(HoldsInChild([&] {
    handles.Close();
    return true;
  }));
}

TEST(HandleThreads, HandlesWithoutThreadsWorkInAForkedChild) {
  Handles handles(1);
  Handles unused(3);
  ASSERT_EQ(handles.EncodePicture(), kWPRSuccess);
  const Bytes expected = handles.Frame();
  EXPECT_TRUE(HoldsInChild([&] {
    return handles.EncodePicture() == kWPRSuccess && handles.Frame() == expected &&
           handles.DecodeFrame() == kWPRSuccess && unused.EncodePicture() == kWPRSuccess &&
           unused.Frame() == expected;
  }));
}

TEST(HandleThreads, AHandleWorksWhereNoThreadCanBeStarted) {
  Handles usual(1);
  ASSERT_EQ(usual.EncodePicture(), kWPRSuccess);
  const NoNewThreads none;
  Handles alone(8);
  EXPECT_EQ(alone.EncodePicture(), kWPRSuccess);
  EXPECT_EQ(alone.Frame(), usual.Frame());
  EXPECT_EQ(alone.DecodeFrame(), kWPRSuccess);
}

}  // namespace
}  // namespace prores::test
