// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>
#include <optional>
#include <span>

#include "ProRes/ProResHost.h"
#include "Status.h"
#include "api/AlphaBits.h"
#include "api/LimitsRecord.h"
#include "decode/Decoder.h"
#include "pixel/PixelFormat.h"

using prores::Decoder;
using prores::Status;

namespace {

struct Observation {
  WPRDecodeObserver observer = nullptr;
  void* context = nullptr;
};
thread_local Observation t_observation;

Decoder::Result Decode(WPRDecoderHandle decoder, std::span<const std::uint8_t> frame,
                       const PixelBufferRecord* destination, std::uint8_t fieldFlag) {
  if (decoder == nullptr || frame.data() == nullptr || destination == nullptr || fieldFlag > 1 ||
      !prores::IsValidPicture(*destination)) {
    return {Status::kBadArgument};
  }
  try {
    return static_cast<Decoder*>(decoder)->Decode(frame, *destination, fieldFlag != 0);
  } catch (...) {
    // Only allocations throw.
    return {Status::kOutOfMemory};
  }
}

}  // namespace

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
  const Decoder::Result decoded = Decode(decoder, {frame, frameBytes}, destination, fieldFlag);
  const std::int32_t result = decoded.status == Status::kSuccess
                                  ? static_cast<std::int32_t>(decoded.damagedSlices)
                                  : prores::ToResult(decoded.status);
  if (t_observation.observer != nullptr) {
    const DecodeReportRecord report{.recordBytes = sizeof report,
                                    .result = result,
                                    .damagedSlices = decoded.damagedSlices,
                                    .slices = decoded.slices};
    t_observation.observer(t_observation.context, &report);
  }
  return result;
}

std::int32_t WPRSetDecodeSettings(WPRDecoderHandle decoder, const DecodeSettingsRecord* settings) {
  if (decoder == nullptr || settings == nullptr || settings->recordBytes < sizeof *settings) {
    return prores::ToResult(Status::kBadArgument);
  }
  const std::optional<prores::AlphaType> alpha = prores::AlphaTypeOf(settings->alphaBits);
  if (!alpha) return prores::ToResult(Status::kBadArgument);
  static_cast<Decoder*>(decoder)->Set(
      {.alpha = *alpha, .defaultMatrix = settings->defaultMatrixCoefficients});
  return prores::ToResult(Status::kSuccess);
}

std::int32_t WPRSetDecodeLimits(WPRDecoderHandle decoder, const FrameLimitsRecord* limits) {
  const std::optional<prores::FrameLimits> read = prores::LimitsOf(limits);
  if (decoder == nullptr || !read) return prores::ToResult(Status::kBadArgument);
  static_cast<Decoder*>(decoder)->Set(*read);
  return prores::ToResult(Status::kSuccess);
}

void WPRSetDecodeObserver(WPRDecodeObserver observer, void* context) {
  t_observation = {observer, context};
}

void WPRCloseDecoder(WPRDecoderHandle decoder) {
  delete static_cast<Decoder*>(decoder);
}
