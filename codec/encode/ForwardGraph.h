// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_FORWARDGRAPH_H
#define CODEC_ENCODE_FORWARDGRAPH_H

/// @file
/// Constants of the eight-point DCT after Arai, Agui and Nakajima, for all its forms.

#include <array>
#include <cstddef>

#include "bitstream/BlockOrder.h"

namespace prores::forward_graph {

/// Gain of output k of the flow graph, apart from a common factor sqrt(8):
/// cos(k pi / 16) x sqrt(2) for k > 0, 1 for k = 0.
inline constexpr std::array<double, kBlockSize> kGraphGain = {
    1.0, 1.387039845322148, 1.306562964876377, 1.175875602419359,
    1.0, 0.785694958387102, 0.541196100146197, 0.275899379282943,
};

/// Returns the gain of output `i` (raster order) of two passes, relative to the orthonormal
/// transform.
constexpr double GraphGain(std::size_t i) {
  return 8.0 * kGraphGain[i / kBlockSize] * kGraphGain[i % kBlockSize];
}

inline constexpr float kCos2 = 0.923879532511287F;  // cos(2 pi / 16)
inline constexpr float kCos4 = 0.707106781186548F;
inline constexpr float kCos6 = 0.382683432365090F;

}  // namespace prores::forward_graph

#endif  // CODEC_ENCODE_FORWARDGRAPH_H
