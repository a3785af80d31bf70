// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_STATUS_H
#define CODEC_STATUS_H

#include <cstdint>

#include "ProRes/ProRes.h"

namespace prores {

/// Outcome of an internal operation; each value is the WPRResult of the same name.
enum class [[nodiscard]] Status : std::int32_t{
    kSuccess = kWPRSuccess,         kBadArgument = kWPRBadArgument,
    kBadHeader = kWPRBadHeader,     kTruncated = kWPRTruncated,
    kUnsupported = kWPRUnsupported, kDestinationTooSmall = kWPRDestinationTooSmall,
    kOutOfMemory = kWPROutOfMemory, kInternalError = kWPRInternalError,
    kForked = kWPRForked,           kTooLarge = kWPRTooLarge,
};

/// Returns the result code of the C interface for `status`.
constexpr std::int32_t ToResult(Status status) {
  return static_cast<std::int32_t>(status);
}

}  // namespace prores

#endif  // CODEC_STATUS_H
