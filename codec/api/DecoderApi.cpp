// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>

#include "Decoder.h"
#include "ProRes/ProRes.h"
#include "Status.h"
#include "pixel/PixelFormat.h"

using prores::Decoder;
using prores::Status;

WPRDecoderHandle WPROpenDecoder(std::int32_t numThreads, void* reserved) {
  if (numThreads < 0 || reserved != nullptr) return nullptr;
  try {
    return new Decoder(static_cast<std::uint32_t>(numThreads));
  } catch (...) {
    return nullptr;
  }
}

std::int32_t WPRDecodeFrame(WPRDecoderHandle decoder, const std::uint8_t* frame,
                            std::uint32_t frameBytes, PixelBufferRecord* destination,
                            std::uint8_t fieldFlag) {
  if (decoder == nullptr || frame == nullptr || destination == nullptr || fieldFlag > 1 ||
      !prores::IsValidPicture(*destination)) {
    return prores::ToResult(Status::kBadArgument);
  }
  try {
    const Decoder::Result result =
        static_cast<Decoder*>(decoder)->Decode({frame, frameBytes}, *destination, fieldFlag != 0);
    if (result.status != Status::kSuccess) return prores::ToResult(result.status);
    return static_cast<std::int32_t>(result.damagedSlices);
  } catch (...) {
    // Nothing but memory can be missing.
    return prores::ToResult(Status::kOutOfMemory);
  }
}

void WPRCloseDecoder(WPRDecoderHandle decoder) {
  delete static_cast<Decoder*>(decoder);
}
