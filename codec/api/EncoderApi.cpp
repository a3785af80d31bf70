// SPDX-License-Identifier: BSD-2-Clause
#include <limits>
#include <new>
#include <span>

#include "Encoder.h"
#include "ProRes/ProRes.h"
#include "Status.h"
#include "pixel/PixelFormat.h"
#include "rate/FrameTarget.h"
#include "rate/Variant.h"

using prores::Status;
using prores::ToResult;

extern "C" {

WPREncoderHandle WPROpenEncoder(int32_t numThreads, void* reserved) {
  if (numThreads < 0 || reserved != nullptr) return nullptr;
  return new (std::nothrow) prores::Encoder(static_cast<std::uint32_t>(numThreads));
}

int32_t WPRGetCompressedFrameSize(uint32_t codecType, uint32_t width, uint32_t height,
                                  uint32_t* maxBytes, uint32_t* targetBytes) {
  constexpr std::uint32_t kMinPictureSize = 2;
  const prores::VariantProfile* const profile = prores::FindVariant(codecType);
  if (profile == nullptr || maxBytes == nullptr || width < kMinPictureSize ||
      height < kMinPictureSize || width > prores::kMaxPictureSize ||
      height > prores::kMaxPictureSize) {
    return ToResult(Status::kBadArgument);
  }
  const std::uint64_t bound = prores::MaxFrameBytes(*profile, width, height);
  if (bound > std::numeric_limits<std::uint32_t>::max()) return ToResult(Status::kUnsupported);
  *maxBytes = static_cast<std::uint32_t>(bound);
  // The target is part of the bound.
  if (targetBytes != nullptr) {
    *targetBytes = static_cast<std::uint32_t>(prores::TargetFrameBytes(*profile, width, height));
  }
  return ToResult(Status::kSuccess);
}

int32_t WPREncodeFrame(WPREncoderHandle encoder, const EncodeParamsRecord* params,
                       const PixelBufferRecord* source, uint8_t* destination,
                       uint32_t destinationSize, uint32_t* compressedBytes) {
  if (encoder == nullptr || params == nullptr || source == nullptr || destination == nullptr ||
      compressedBytes == nullptr) {
    return ToResult(Status::kBadArgument);
  }
  try {
    return ToResult(static_cast<prores::Encoder*>(encoder)->Encode(
        *params, *source, std::span(destination, destinationSize), *compressedBytes));
  } catch (...) {
    // Only memory can run out.
    return ToResult(Status::kOutOfMemory);
  }
}

void WPRCloseEncoder(WPREncoderHandle encoder) {
  delete static_cast<prores::Encoder*>(encoder);
}

}  // extern "C"
