// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>
#include <optional>
#include <span>

#include "ProRes/ProResHost.h"
#include "Status.h"
#include "api/AlphaBits.h"
#include "api/LimitsRecord.h"
#include "encode/Encoder.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/Variant.h"

using prores::Encoder;
using prores::Status;

namespace {

struct Observation {
  WPREncodeObserver observer = nullptr;
  void* context = nullptr;
};
thread_local Observation t_observation;

Status Encode(WPREncoderHandle encoder, const EncodeParamsRecord* params,
              const PixelBufferRecord* source, std::span<std::uint8_t> destination,
              std::uint32_t* compressedBytes) {
  if (encoder == nullptr || params == nullptr || source == nullptr ||
      destination.data() == nullptr || compressedBytes == nullptr) {
    return Status::kBadArgument;
  }
  try {
    return static_cast<Encoder*>(encoder)->Encode(*params, *source, destination, *compressedBytes);
  } catch (...) {
    return Status::kOutOfMemory;  // only allocations throw
  }
}

constexpr std::uint32_t kMaxMatrixCoefficients = 255;  // the field has a byte

}  // namespace

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
  const Status status =
      Encode(encoder, params, source, {destination, destinationSize}, compressedBytes);
  const std::int32_t result = prores::ToResult(status);
  if (t_observation.observer != nullptr) {
    const EncodeReportRecord report{
        .recordBytes = sizeof report,
        .result = result,
        .compressedBytes = status == Status::kSuccess ? *compressedBytes : 0};
    t_observation.observer(t_observation.context, &report);
  }
  return result;
}

std::int32_t WPRSetEncodeSettings(WPREncoderHandle encoder, const EncodeSettingsRecord* settings) {
  if (encoder == nullptr || settings == nullptr || settings->recordBytes < sizeof *settings ||
      settings->matrixCoefficients > kMaxMatrixCoefficients) {
    return prores::ToResult(Status::kBadArgument);
  }
  const std::optional<prores::AlphaType> alpha = prores::AlphaTypeOf(settings->alphaBits);
  if (!alpha) return prores::ToResult(Status::kBadArgument);
  static_cast<Encoder*>(encoder)->Set(
      {.alpha = *alpha,
       .matrixCoefficients = static_cast<std::uint8_t>(settings->matrixCoefficients)});
  return prores::ToResult(Status::kSuccess);
}

std::int32_t WPRSetEncodeLimits(WPREncoderHandle encoder, const FrameLimitsRecord* limits) {
  const std::optional<prores::FrameLimits> read = prores::LimitsOf(limits);
  if (encoder == nullptr || !read) return prores::ToResult(Status::kBadArgument);
  static_cast<Encoder*>(encoder)->Set(*read);
  return prores::ToResult(Status::kSuccess);
}

void WPRSetEncodeObserver(WPREncodeObserver observer, void* context) {
  t_observation = {observer, context};
}

void WPRCloseEncoder(WPREncoderHandle encoder) {
  delete static_cast<Encoder*>(encoder);
}
