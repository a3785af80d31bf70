// SPDX-License-Identifier: BSD-2-Clause
// Pictures that the elements encode and decode again.
#include <gtest/gtest.h>

#include <tuple>

#include "Streams.h"
#include "vix/ProResFrame.h"

namespace vix::test4444 {
namespace {

class RoundTrips : public Elements {
 protected:
  static Set SetFormat(FourCC fourcc) { return SetFourCC("OutputFourCC", fourcc); }
};

/// Pixel format, scan mode and variant.
using Kind = std::tuple<FourCC, ScanMode, FourCC>;
class RoundTripsOfKinds : public RoundTrips, public ::testing::WithParamInterface<Kind> {};

TEST_P(RoundTripsOfKinds, KeepAlphaExactlyAndColoursClosely) {
  const auto& [fourcc, scanMode, variant] = GetParam();
  const Shape shape{.width = 70, .height = 50, .scanMode = scanMode, .fourcc = fourcc};
  for (const unsigned number : {1u, 2u}) {
    const Container frame = Encode(shape, number, SetFourCC("Variant", variant));
    ExpectPicture(Decode(frame, shape, SetFormat(fourcc)), shape, number);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RoundTripsOfKinds,
                         ::testing::Combine(::testing::Values(kFourCC_Y416, kFourCC_b64A),
                                            ::testing::Values(ScanMode::Progressive,
                                                              ScanMode::Interlaced),
                                            ::testing::Values(kVariant4444, kVariant4444XQ)));

TEST_F(RoundTrips, CarryAlphaOfTheBitsThatTheEncoderCodes) {
  for (const int bits : {0, 8, 16}) {
    SCOPED_TRACE(bits);
    const Container frame = Encode({}, 3, SetInt("AlphaBits", bits));
    ExpectPicture(Decode(frame, {}), {}, 3, bits);
  }
}

TEST_F(RoundTrips, ReturnAlphaOfTheBitsThatTheDecoderReads) {
  const Container frame = Encode({}, 4);
  for (const auto& [setting, bits] : {std::pair(0, 0), {8, 8}, {16, 16}, {-1, 16}}) {
    SCOPED_TRACE(setting);
    ExpectPicture(Decode(frame, {}, SetInt("AlphaBits", setting)), {}, 4, bits);
  }
}

TEST_F(RoundTrips, CodeAlphaAutomaticallyIfTheDescriptionStatesIt) {
  for (const auto& [chroma, bits] : {std::pair(VideoChroma::C4444, 16),
                                     {VideoChroma::C444, 0},
                                     {VideoChroma::C422, 0},
                                     {VideoChroma{0}, 0}}) {
    SCOPED_TRACE(static_cast<int>(chroma));
    const Shape shape{.chroma = chroma};
    ExpectPicture(Decode(Encode(shape, 5), shape), shape, 5, bits);
  }
}

TEST_F(RoundTrips, GiveTheSameFrameForEveryNumberOfThreads) {
  const Shape shape{.width = 400, .height = 96};
  const Bytes one = BytesOf(Encode(shape, 1, SetInt("NumThreads", 1)));
  for (const int threads : {0, 2, 3}) {
    const Container frame = Encode(shape, 1, SetInt("NumThreads", threads));
    EXPECT_EQ(BytesOf(frame), one) << threads;
    EXPECT_EQ(BytesOf(Decode(frame, shape, SetInt("NumThreads", threads))),
              BytesOf(Decode(frame, shape, SetInt("NumThreads", 1))))
        << threads;
  }
}

TEST_F(RoundTrips, ConvertRgbWithTheMatrixThatTheFrameStates) {
  for (const std::int32_t matrix : {1, 6, 9}) {
    SCOPED_TRACE(matrix);
    const Shape shape{.fourcc = kFourCC_b64A, .matrix = matrix};
    const Container frame = Encode(shape, 6);
    const Bytes bytes = BytesOf(frame);
    EXPECT_EQ(ReadProResFrameHeader(bytes.data(), bytes.size()).labels.matrix, matrix);
    // The matrix of the description is for frames that state none.
    const Shape other{.fourcc = kFourCC_b64A, .matrix = matrix == 1 ? 9 : 1};
    ExpectPicture(Decode(frame, other, SetFormat(kFourCC_b64A)), shape, 6);
  }
}

TEST_F(RoundTrips, StateTheMatrixOfYCbCrWithoutUsingIt) {
  for (const auto& [described, stated] : {std::pair(0, 2), {2, 2}, {1, 1}, {9, 9}, {255, 255}}) {
    const Container frame = Encode({.matrix = described}, 6);
    const Bytes bytes = BytesOf(frame);
    EXPECT_EQ(bytes.at(24), stated) << described;
    ExpectPicture(Decode(frame, {}), {}, 6);
  }
}

TEST_F(RoundTrips, TakeTheMatrixOfTheDescriptionWhereTheFrameStatesNone) {
  const Shape shape{.fourcc = kFourCC_b64A, .matrix = 9};
  Bytes bytes = BytesOf(Encode(shape, 7));
  ProResLabels labels;
  labels.matrix = 2;
  LabelProResFrame(labels, bytes.data(), bytes.size());
  const Container frame = Wrap(bytes, DescribeProRes(shape), 7);
  const auto decode = [&](std::int32_t matrix) {
    return Decode(frame, {.matrix = matrix}, SetFormat(kFourCC_b64A));
  };
  ExpectPicture(decode(9), shape, 7);
  EXPECT_NE(BytesOf(decode(1)), BytesOf(decode(9)));
  for (const std::int32_t matrix : {0, 2, -1, 300}) {
    EXPECT_EQ(BytesOf(decode(matrix)), BytesOf(decode(1))) << matrix;
  }
}

}  // namespace
}  // namespace vix::test4444
