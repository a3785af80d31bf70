// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>
#include <span>

#include "ProRes/ProRes.h"
#include "Status.h"
#include "encode/Encoder.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/Variant.h"

using prores::Encoder;
using prores::Status;

WPREncoderHandle WPROpenEncoder(std::int32_t numThreads, void* reserved) {
  if (numThreads < 0 || reserved != nullptr) return nullptr;
  try {
    return new Encoder(static_cast<std::uint32_t>(numThreads));
  } catch (...) {
    return nullptr;
  }
}

std::int32_t WPRGetCompressedFrameSize(std::uint32_t codecType, std::uint32_t width,
                                       std::uint32_t height, std::uint32_t* maxBytes,
                                       std::uint32_t* targetBytes) {
  const prores::VariantProfile* const profile = prores::FindVariant(codecType);
  if (profile == nullptr || maxBytes == nullptr) return prores::ToResult(Status::kBadArgument);
  const Status status = prores::CheckFrameSize(*profile, width, height);
  if (status != Status::kSuccess) return prores::ToResult(status);
  // The bound fits 32 bits, as CheckFrameSize() verified, and the target is not larger.
  *maxBytes = static_cast<std::uint32_t>(prores::MaxFrameBytes(*profile, width, height));
  if (targetBytes != nullptr) {
    *targetBytes = static_cast<std::uint32_t>(prores::TargetFrameBytes(*profile, width, height));
  }
  return prores::ToResult(Status::kSuccess);
}

std::int32_t WPREncodeFrame(WPREncoderHandle encoder, const EncodeParamsRecord* params,
                            const PixelBufferRecord* source, std::uint8_t* destination,
                            std::uint32_t destinationSize, std::uint32_t* compressedBytes) {
  if (encoder == nullptr || params == nullptr || source == nullptr || destination == nullptr ||
      compressedBytes == nullptr) {
    return prores::ToResult(Status::kBadArgument);
  }
  try {
    return prores::ToResult(static_cast<Encoder*>(encoder)->Encode(
        *params, *source, std::span(destination, destinationSize), *compressedBytes));
  } catch (...) {
    // Only allocations throw.
    return prores::ToResult(Status::kOutOfMemory);
  }
}

void WPRCloseEncoder(WPREncoderHandle encoder) {
  delete static_cast<Encoder*>(encoder);
}
