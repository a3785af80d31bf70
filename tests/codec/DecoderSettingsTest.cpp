// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>

#include "Decoder4444Session.h"
#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"

namespace {

using decoding::Decode;
using decoding::DecoderPtr;
using decoding::ExpectConverted;
using decoding::ForEachPixelKind;
using decoding::kAlpha;
using decoding::kBt709;
using decoding::kOpaque;
using decoding::NaturalWithAlpha;
using decoding::Open;
using decoding::Set;
using decoding::U32;
using reference::Stream;
using reference::StreamSpec;

TEST(DecoderSettings, ChooseWhatBecomesOfAlpha) {
  StreamSpec spec;
  spec.width = 50;
  spec.height = 34;
  ForEachPixelKind(spec, [](const StreamSpec& each) {
    const Stream stream = MakeStream(each, NaturalWithAlpha(1));
    for (const std::uint32_t format : {kWPRPixelFormatY416, kWPRPixelFormatB64a}) {
      const DecoderPtr decoder = Open(2);
      PackedPicture lossless(format, 50, 34), rounded = lossless, opaque = lossless;
      ASSERT_EQ(Decode(decoder.get(), stream.bytes, lossless), kWPRSuccess);
      Set(decoder.get(), kWPRAlpha8);
      ASSERT_EQ(Decode(decoder.get(), stream.bytes, rounded), kWPRSuccess);
      Set(decoder.get(), kWPRAlphaNone);
      ASSERT_EQ(Decode(decoder.get(), stream.bytes, opaque), kWPRSuccess);
      for (int y = 0; y < 34; ++y) {
        for (int x = 0; x < 50; ++x) {
          const long nearest = std::lround(lossless.Word(kAlpha, x, y) / 257.0);
          ASSERT_EQ(rounded.Word(kAlpha, x, y), 257 * nearest);
          ASSERT_EQ(opaque.Word(kAlpha, x, y), kOpaque);
          for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(rounded.Word(c, x, y), lossless.Word(c, x, y));
            ASSERT_EQ(opaque.Word(c, x, y), lossless.Word(c, x, y));
          }
        }
      }
    }
  });
}

TEST(DecoderSettings, ChooseTheMatrixOnlyWhereTheHeaderDoesNot) {
  constexpr std::size_t kMatrixOfHeader = 24;
  const auto weightsOf = [](unsigned matrix) {
    if (matrix == 5 || matrix == 6) return decoding::kBt601;
    return matrix == 9 ? decoding::kBt2020 : kBt709;
  };
  StreamSpec spec;
  spec.width = 50;
  spec.height = 20;
  Stream stream = MakeStream(spec, NaturalWithAlpha(1));
  const DecoderPtr decoder = Open(1);
  for (const unsigned inHeader : {0U, 1U, 2U, 4U, 5U, 6U, 9U, 255U}) {
    stream.bytes[kMatrixOfHeader] = static_cast<std::uint8_t>(inHeader);
    for (const unsigned byDefault : {0U, 1U, 2U, 6U, 9U, 300U, 0xFFFFFFFFU}) {
      SCOPED_TRACE(testing::Message() << "header " << inHeader << ", default " << byDefault);
      Set(decoder.get(), kWPRAlpha16, byDefault);
      PackedPicture coded(kWPRPixelFormatY416, 50, 20), rgb(kWPRPixelFormatB64a, 50, 20);
      ASSERT_EQ(Decode(decoder.get(), stream.bytes, coded), kWPRSuccess);
      ASSERT_EQ(Decode(decoder.get(), stream.bytes, rgb), kWPRSuccess);
      const bool unspecified = inHeader == 0 || inHeader == 2;
      ExpectConverted(rgb, coded, weightsOf(unspecified ? byDefault : inHeader), 50, 20);
    }
  }
}

TEST(DecoderSettings, StayWhereNewOnesAreRefused) {
  StreamSpec spec;
  spec.alphaType = 2;
  const Stream stream = MakeStream(spec, NaturalWithAlpha(1));
  const DecoderPtr decoder = Open(1);
  Set(decoder.get(), kWPRAlphaNone);
  const DecodeSettingsRecord good{sizeof good, kWPRAlpha16, 1};
  EXPECT_EQ(WPRSetDecodeSettings(nullptr, &good), kWPRBadArgument);
  EXPECT_EQ(WPRSetDecodeSettings(decoder.get(), nullptr), kWPRBadArgument);
  for (const std::uint32_t bytes : {U32(0), U32(sizeof good - 1)}) {
    const DecodeSettingsRecord small{bytes, kWPRAlpha16, 1};
    EXPECT_EQ(WPRSetDecodeSettings(decoder.get(), &small), kWPRBadArgument);
  }
  for (const std::int32_t bits : {-1, 1, 10, 17, 0x7FFFFFFF}) {
    const DecodeSettingsRecord unknown{sizeof unknown, bits, 1};
    EXPECT_EQ(WPRSetDecodeSettings(decoder.get(), &unknown), kWPRBadArgument);
  }
  PackedPicture picture(kWPRPixelFormatY416, 16, 16);
  ASSERT_EQ(Decode(decoder.get(), stream.bytes, picture), kWPRSuccess);
  for (int x = 0; x < 16; ++x) EXPECT_EQ(picture.Word(kAlpha, x, 3), kOpaque);
}

}  // namespace
