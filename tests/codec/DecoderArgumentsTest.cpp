// SPDX-License-Identifier: BSD-2-Clause
// Calls with invalid arguments.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace {

using decoding::DecoderPtr;
using decoding::Open;
using decoding::U32;
using reference::Stream;
using reference::StreamSpec;

struct Call {
  StreamSpec spec;
  Stream stream;
  PackedPicture picture{kWPRPixelFormat2vuy, 16, 16, 8};
  PixelBufferRecord record = picture.Record();
  DecoderPtr decoder = Open(1);

  explicit Call(int interlaceMode = 0) {
    spec.interlaceMode = interlaceMode;
    stream = MakeStream(spec, reference::NaturalSource(1));
  }

  std::int32_t Run(std::uint8_t fieldFlag = 0) {
    return WPRDecodeFrame(decoder.get(), stream.bytes.data(), U32(stream.bytes.size()), &record,
                          fieldFlag);
  }
};

TEST(DecoderArguments, AreCheckedOneByOne) {
  Call call;
  const PixelBufferRecord good = call.record;
  const auto frame = call.stream.bytes.data();
  const std::uint32_t bytes = U32(call.stream.bytes.size());
  EXPECT_EQ(WPRDecodeFrame(nullptr, frame, bytes, &call.record, 0), kWPRBadArgument);
  EXPECT_EQ(WPRDecodeFrame(call.decoder.get(), nullptr, bytes, &call.record, 0), kWPRBadArgument);
  EXPECT_EQ(WPRDecodeFrame(call.decoder.get(), frame, bytes, nullptr, 0), kWPRBadArgument);
  EXPECT_EQ(WPRDecodeFrame(call.decoder.get(), frame, 0, &call.record, 0), kWPRTruncated);
  EXPECT_EQ(call.Run(2), kWPRBadArgument);

  const auto with = [&](auto change) {
    call.record = good;
    change(call.record);
    return call.Run();
  };
  using Record = PixelBufferRecord;
  EXPECT_EQ(with([](Record& r) { r.baseAddress = nullptr; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.pixelFormat = 0x79757679; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.rowBytes = 31; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.rowBytes = 0; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.width = 0; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.width = 15; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.height = 0; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.height = 15; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.height = 17; }), kWPRBadArgument);
  EXPECT_EQ(with([](Record& r) { r.height = 65536; }), kWPRBadArgument);
  EXPECT_TRUE(call.picture.IsUntouched());
  EXPECT_EQ(with([](Record& r) { r.rowBytes = 32; }), kWPRSuccess);
}

TEST(DecoderArguments, RowsMustHoldWholeV210Groups) {
  Call call;
  std::vector<std::uint8_t> memory(48 * 16);
  call.record = {memory.data(), 47, kWPRPixelFormatV210, 16, 16};
  EXPECT_EQ(call.Run(), kWPRBadArgument);
  call.record.rowBytes = 48;
  EXPECT_EQ(call.Run(), kWPRSuccess);
}

TEST(DecoderArguments, RowsMustHoldFourWordsOfAPixelWithAlpha) {
  for (const std::uint32_t format : {kWPRPixelFormatY416, kWPRPixelFormatB64a}) {
    Call call;
    std::vector<std::uint8_t> memory(128 * 16);
    call.record = {memory.data(), 127, format, 16, 16};
    EXPECT_EQ(call.Run(), kWPRBadArgument);
    call.record.rowBytes = 128;
    EXPECT_EQ(call.Run(), kWPRSuccess);
  }
}

TEST(DecoderArguments, AFieldHasHalfTheHeight) {
  Call call(1);
  EXPECT_EQ(call.Run(1), kWPRBadArgument);
  call.record.height = 7;
  EXPECT_EQ(call.Run(1), kWPRBadArgument);
  call.record.height = 8;
  EXPECT_EQ(call.Run(0), kWPRBadArgument);
  EXPECT_TRUE(call.picture.IsUntouched());
  EXPECT_EQ(call.Run(1), kWPRSuccess);
}

TEST(DecoderArguments, AreCheckedWhenADecoderIsOpened) {
  int something = 0;
  EXPECT_EQ(WPROpenDecoder(-1, nullptr), nullptr);
  EXPECT_EQ(WPROpenDecoder(1, &something), nullptr);
  EXPECT_NE(Open(0).get(), nullptr);
  EXPECT_NE(Open(0x7FFFFFFF).get(), nullptr);
  WPRCloseDecoder(nullptr);
}

TEST(DecoderFailure, LeavesTheDecoderUsable) {
  Call call;
  std::vector<std::uint8_t> broken = call.stream.bytes;
  broken[4] = 'x';
  EXPECT_EQ(WPRDecodeFrame(call.decoder.get(), broken.data(), U32(broken.size()), &call.record, 0),
            kWPRBadHeader);
  EXPECT_EQ(call.Run(), kWPRSuccess);
}

}  // namespace
