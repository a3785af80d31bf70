// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "CpuLevelTest.h"
#include "DecoderTestSession.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "PackedPicture.h"
#include "TaskOrder.h"
#include "cpu/CpuLevel.h"

namespace prores {
namespace {

using test::Bytes;
using test::DeepPicture;
using test::PictureMemory;
using test::SourcePicture;

constexpr int kThreads[] = {1, 2, 3, 5, 8};
/// Orders of each number of threads; `--gtest_repeat` continues with others.
constexpr int kOrders = 20;
constexpr std::uint32_t kWidth = 150;  // slices of every width
constexpr std::uint32_t kHeight = 78;  // five strips, the last one incomplete

/// A picture to encode, and its frame.
struct Encoding {
  EncodeParamsRecord params;
  std::int32_t alphaBits;
  PictureMemory picture;
  Bytes frame;
};

/// A frame to decode, and its picture.
struct Decoding {
  Bytes frame;
  std::int32_t result;
  PackedPicture picture;
};

Bytes Encode(void* encoder, const Encoding& encoding) {
  test::Set(encoder, encoding.alphaBits);
  return test::Encode(encoder, encoding.params, encoding.picture);
}

/// Frames and pictures of the plain kernels, of one thread and ascending tasks.
class Expected {
 public:
  Expected() {
    test::SetTaskOrder(0);
    SetCpuLevelLimit(CpuLevel::kScalar);
    const SourcePicture picture(kWPRPixelFormatV210, kWidth, kHeight, test::Busy(1));
    const SourcePicture noise(kWPRPixelFormat2vuy, kWidth, kHeight, test::Noise(1));
    const DeepPicture deep(kWPRPixelFormatB64a, kWidth, kHeight, test::Colours(test::Busy(2)));
    Add({kWPRCodecHQ, kWPRProgressive}, kWPRAlphaNone, picture);
    Add({kWPRCodecLT, kWPRTopFieldFirst}, kWPRAlphaNone, picture);
    Add({kWPRCodecProxy, kWPRProgressive}, kWPRAlphaNone, noise);
    Add({kWPRCodec4444, kWPRProgressive}, kWPRAlpha16, deep);
    SetCpuLevelLimit(kCpuLevels.back());
  }

  const std::vector<Encoding>& Encodings() const { return encodings_; }
  const std::vector<Decoding>& Decodings() const { return decodings_; }

 private:
  void Add(const EncodeParamsRecord& params, std::int32_t alphaBits, const PictureMemory& picture) {
    Encoding encoding{params, alphaBits, picture, {}};
    encoding.frame = Encode(test::Open().get(), encoding);
    encodings_.push_back(encoding);
    Add(encoding.frame, picture.Record().pixelFormat);
    Add(Damaged(encoding.frame), picture.Record().pixelFormat);
  }
  void Add(const Bytes& frame, std::uint32_t format) {
    Decoding decoding{frame, 0, PackedPicture(format, kWidth, kHeight)};
    decoding.result = decoding::Decode(decoding::Open(1).get(), frame, decoding.picture);
    decodings_.push_back(decoding);
  }
  /// Replaces a quarter of the coded bytes, so that slices and whole strips are concealed.
  static Bytes Damaged(Bytes frame) {
    std::mt19937 random(1);
    for (std::size_t i = frame.size() / 2; i < frame.size() * 3 / 4; ++i) {
      frame[i] = static_cast<std::uint8_t>(random());
    }
    return frame;
  }

  std::vector<Encoding> encodings_;
  std::vector<Decoding> decodings_;
};

/// Compares what a handle of a level makes of tasks in many orders.
class TaskOrder : public test::CpuLevelTest {
 protected:
  static const Expected& GetExpected() {
    static const Expected kExpected;
    return kExpected;
  }

  /// Calls test(threads) with every order. Handles that it opens have the level.
  template <typename Test>
  void ForEachOrder(Test test) {
    static unsigned seed = 0;
    GetExpected();
    SetCpuLevelLimit(GetParam());
    for (const int threads : kThreads) {
      for (int order = 0; order < kOrders; ++order) {
        SCOPED_TRACE(std::to_string(threads) + " threads, order " + std::to_string(++seed));
        test::SetTaskOrder(seed);
        test(threads);
      }
    }
    SetCpuLevelLimit(kCpuLevels.back());
  }
};

TEST(TaskOrders, CoverDamagedSlices) {
  // Without them, the comparisons would not cover concealment.
  static const Expected kExpected;
  EXPECT_GT(kExpected.Decodings()[1].result, 1);
  EXPECT_EQ(kExpected.Decodings()[0].result, kWPRSuccess);
}

TEST_P(TaskOrder, MakesNoDifferenceToFrames) {
  ForEachOrder([](int threads) {
    const auto encoder = test::Open(threads);
    for (const Encoding& encoding : GetExpected().Encodings()) {
      ASSERT_EQ(Encode(encoder.get(), encoding), encoding.frame);
    }
  });
}

TEST_P(TaskOrder, MakesNoDifferenceToPictures) {
  ForEachOrder([](int threads) {
    const auto decoder = decoding::Open(threads);
    for (const Decoding& expected : GetExpected().Decodings()) {
      PackedPicture picture = expected.picture;
      picture.Reset();
      ASSERT_EQ(decoding::Decode(decoder.get(), expected.frame, picture), expected.result);
      ASSERT_TRUE(picture == expected.picture);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, TaskOrder, testing::ValuesIn(kCpuLevels), test::NameOfLevel);

}  // namespace
}  // namespace prores
