// SPDX-License-Identifier: BSD-2-Clause
// Settings that change between frames, through drivers, and settings of several elements.
#include <gtest/gtest.h>

#include "Errors.h"
#include "Streams.h"
#include "Threads.h"

namespace vix::test4444 {
namespace {

class Settings4444 : public Elements {
 protected:
  Settings4444() {
    Configure(encoder);
    encoder.Define(DescribeRaw({}));
    Configure(decoder);
    decoder.Define(DescribeProRes({}));
  }
  Bytes EncodeNow(unsigned number) { return BytesOf(Process(encoder, MakeRawFrame({}, number))); }
  Container DecodeNow(unsigned number) { return Process(decoder, Encode({}, number)); }

  ElementDriver encoder = MakeEncoderDriver();
  ElementDriver decoder = MakeDecoderDriver();
};

TEST_F(Settings4444, OfTheVariantApplyFromTheNextFrameOn) {
  const Container noise = Wrap(DrawNoise({}), DescribeRaw({}));
  const Bytes before = BytesOf(Process(encoder, noise));
  const double rate = ParametersOf(encoder.GetOutput())->GetBitRate();
  Configure(encoder, SetFourCC("Variant", kVariant4444XQ));
  EXPECT_GT(BytesOf(Process(encoder, noise)).size(), before.size());
  EXPECT_GT(ParametersOf(encoder.GetOutput())->GetBitRate(), rate);
  Configure(encoder);  // a variant that is not set is the default again
  EXPECT_EQ(BytesOf(Process(encoder, noise)), before);
  EXPECT_EQ(ParametersOf(encoder.GetOutput())->GetBitRate(), rate);
}

TEST_F(Settings4444, OfTheEncodersAlphaApplyFromTheNextFrameOn) {
  for (const int bits : {8, 0, 16}) {
    Configure(encoder, SetInt("AlphaBits", bits));
    ExpectPicture(Decode(Process(encoder, MakeRawFrame({}, 2)), {}), {}, 2, bits);
  }
}

TEST_F(Settings4444, OfTheDecodersAlphaApplyFromTheNextFrameOn) {
  for (const int bits : {8, 0, 16}) {
    Configure(decoder, SetInt("AlphaBits", bits));
    ExpectPicture(DecodeNow(3), {}, 3, bits);
    EXPECT_EQ(ParametersOf(decoder.GetOutput())->GetVideoProperty1(),
              static_cast<std::int32_t>(bits == 0 ? VideoChroma::C444 : VideoChroma::C4444));
  }
}

TEST_F(Settings4444, OfThePixelFormatApplyFromTheNextFrameOn) {
  const Shape rgb{.fourcc = kFourCC_b64A};
  const Container frame = Encode(rgb, 4);
  Configure(decoder, SetFourCC("OutputFourCC", kFourCC_b64A));
  ExpectPicture(Process(decoder, frame), rgb, 4);
  Configure(decoder);
  ExpectPicture(DecodeNow(5), {}, 5);
}

TEST_F(Settings4444, OfThreadsDoNotChangeThePicture) {
  const Bytes frame = EncodeNow(6);
  for (const int threads : {1, 3, 0}) {
    Configure(encoder, SetInt("NumThreads", threads));
    Configure(decoder, SetInt("NumThreads", threads));
    EXPECT_EQ(EncodeNow(6), frame);
    ExpectPicture(DecodeNow(6), {}, 6);
  }
}

TEST_F(Settings4444, ThatAreRefusedLeaveTheOnesBefore) {
  Configure(encoder, SetInt("AlphaBits", 8));
  Configure(decoder, SetFourCC("OutputFourCC", kFourCC_b64A));
  test::ErrorOf([&] { Configure(encoder, SetInt("AlphaBits", 5)); });
  test::ErrorOf([&] { Configure(decoder, SetInt("AlphaBits", 5)); });
  const Shape rgb{.fourcc = kFourCC_b64A};
  ExpectPicture(Process(decoder, Encode(rgb, 7)), rgb, 7);
  ExpectPicture(Decode(Process(encoder, MakeRawFrame({}, 7)), {}), {}, 7, 8);
}

TEST_F(Elements, StartTheNumberOfThreadsThatIsSet) {
  const Shape shape{.width = 1024, .height = 256};
  const Container raw = MakeRawFrame(shape, 1);
  const Container frame = Encode(shape, 1, SetInt("NumThreads", 1));
  const auto expectThreads = [](auto& element, const Stream& input, const Container& sample) {
    for (const int threads : {1, 3, 2}) {  // the calling thread takes part
      SetConfig(element, SetInt("NumThreads", threads));
      element.DefineInput(input, "");
      EXPECT_TRUE(Process(element, sample));
      EXPECT_TRUE(test::HasOwnThreads(threads - 1)) << threads;
    }
    element.Release();
    EXPECT_TRUE(test::HasOwnThreads(0));
  };
  expectThreads(*MakeEncoder(), DescribeRaw(shape), raw);
  expectThreads(*MakeDecoder(), DescribeProRes(shape), frame);
}

TEST_F(Settings4444, OfTwoElementsAreIndependent) {
  ElementDriver otherEncoder = MakeEncoderDriver();
  Configure(otherEncoder, [](auto& config) {
    config.SetFourCC("Variant", kVariant4444XQ);
    config.SetInt("AlphaBits", 8);
  });
  otherEncoder.Define(DescribeRaw({.matrix = 9}));
  ElementDriver otherDecoder = MakeDecoderDriver();
  Configure(otherDecoder, SetInt("AlphaBits", 0));
  otherDecoder.Define(DescribeProRes({}));
  const Bytes expected = BytesOf(Encode({}, 1));
  for (int i = 0; i < 3; ++i) {
    const Container other = Process(otherEncoder, MakeRawFrame({.matrix = 9}, 1));
    EXPECT_EQ(EncodeNow(1), expected);
    ExpectPicture(Process(otherDecoder, other), {}, 1, 0);
    ExpectPicture(Process(decoder, other), {}, 1, 8);
    ExpectPicture(DecodeNow(2), {}, 2, 16);
  }
}

}  // namespace
}  // namespace vix::test4444
