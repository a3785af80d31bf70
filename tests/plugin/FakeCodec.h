// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_FAKECODEC_H
#define TESTS_PLUGIN_FAKECODEC_H

/// @file
/// The seven calls of the codec library, scripted: what they answer is set here, what they were
/// given is kept here and noted in TheHost().calls.

#include <cstdint>
#include <vector>

#include "ProRes/ProRes.h"

namespace fake {

struct EncodeCall {
  WPREncoderHandle handle;
  EncodeParamsRecord params;
  PixelBufferRecord source;
  std::uint8_t* destination;
  std::uint32_t destinationSize;
};

struct DecodeCall {
  WPRDecoderHandle handle;
  const std::uint8_t* frame;
  std::uint32_t frameBytes;
  PixelBufferRecord destination;
  std::uint8_t fieldFlag;
};

struct Codec {
  int openFailures = 0;                  ///< openings that give null, from now on
  std::uint32_t maxBytes = 5000;         ///< answer of WPRGetCompressedFrameSize
  std::vector<std::uint8_t> compressed;  ///< the frame that WPREncodeFrame writes
  std::int32_t encodeResult = kWPRSuccess;
  std::int32_t decodeResult = kWPRSuccess;
  std::vector<EncodeCall> encoded;
  std::vector<DecodeCall> decoded;
  std::uintptr_t handles = 0;  ///< opened so far: the n-th has the value n
};

Codec& TheCodec();

}  // namespace fake

#endif  // TESTS_PLUGIN_FAKECODEC_H
