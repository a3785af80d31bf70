// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_FAKECODEC_H
#define TESTS_PLUGIN_FAKECODEC_H

/// @file
/// The seven calls of the codec library. Tests set their results and read their arguments here; the
/// calls are also recorded in TheHost().calls.

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
  int openFailures = 0;                  ///< next openings that return null
  std::uint32_t maxBytes = 5000;         ///< result of WPRGetCompressedFrameSize
  std::vector<std::uint8_t> compressed;  ///< written by WPREncodeFrame
  std::int32_t encodeResult = kWPRSuccess;
  std::int32_t decodeResult = kWPRSuccess;
  std::vector<EncodeCall> encoded;
  std::vector<DecodeCall> decoded;
  std::uintptr_t handles = 0;  ///< number of opened handles; the n-th has the value n
};

Codec& TheCodec();

}  // namespace fake

#endif  // TESTS_PLUGIN_FAKECODEC_H
