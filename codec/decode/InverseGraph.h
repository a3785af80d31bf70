// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_INVERSEGRAPH_H
#define CODEC_DECODE_INVERSEGRAPH_H

/// @file
/// Multipliers of the eight-point inverse DCT after Arai, Agui and Nakajima, used by all its forms.

namespace prores::inverse_graph {

inline constexpr float kSqrt2 = 1.41421356237309505F;    // 2 cos(4 pi / 16)
inline constexpr float kTwoCos2 = 1.84775906502257351F;  // 2 cos(2 pi / 16)
inline constexpr float kCos2MinusCos6 =
    1.08239220029239397F;                                     // 2 (cos(2 pi / 16) - cos(6 pi / 16))
inline constexpr float kCos2PlusCos6 = 2.61312592975275306F;  // 2 (cos(2 pi / 16) + cos(6 pi / 16))

}  // namespace prores::inverse_graph

#endif  // CODEC_DECODE_INVERSEGRAPH_H
