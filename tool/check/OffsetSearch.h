// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_OFFSETSEARCH_H
#define TOOL_CHECK_OFFSETSEARCH_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/VideoComparison.h"

namespace vixprores {

/// Largest offset that is searched, in frames.
inline constexpr std::int64_t kLargestOffset = 50;

/// A small picture; empty if the frame cannot be decoded.
using SmallPicture = std::vector<std::uint8_t>;

/// Returns how many frames later the pictures of `distorted` are than those of `reference`; nullopt
/// if no offset from -kLargestOffset to kLargestOffset matches far better than 0.
std::optional<std::int64_t> FindOffset(const std::vector<SmallPicture>& reference,
                                       const std::vector<SmallPicture>& distorted);

/// Does the same for the start of two videos, of which it decodes 100 frames each.
/// @param first   number of the first frame, from 0
/// @param threads 0 = one per processor
std::optional<std::int64_t> FindOffset(const ComparedInputs& inputs, std::int64_t first,
                                       int threads);

}  // namespace vixprores

#endif  // TOOL_CHECK_OFFSETSEARCH_H
