// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_API_LIMITSRECORD_H
#define CODEC_API_LIMITSRECORD_H

#include <algorithm>
#include <cstdint>
#include <optional>

#include "FrameLimits.h"
#include "ProRes/ProResHost.h"

namespace prores {

/// Returns the limits of a record, or nullopt if the record or one of its values is invalid.
constexpr std::optional<FrameLimits> LimitsOf(const FrameLimitsRecord* record) {
  if (record == nullptr || record->recordBytes < sizeof *record) return {};
  constexpr FrameLimits kMost;
  const bool isValid = 0 < record->width && record->width <= kMost.width && 0 < record->height &&
                       record->height <= kMost.height && 0 < record->pixels;
  if (!isValid) return {};
  return FrameLimits{record->width, record->height, std::min(record->pixels, kMost.pixels)};
}

}  // namespace prores

#endif  // CODEC_API_LIMITSRECORD_H
