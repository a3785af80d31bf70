// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_DECODER4444SESSION_H
#define TESTS_CODEC_DECODER4444SESSION_H

#include <gtest/gtest.h>

#include <algorithm>

#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ReferenceCodec.h"

/// @file
/// Streams and expectations for pictures of 4:4:4 with alpha.

namespace decoding {

inline constexpr int kAlpha = 3;
inline constexpr int kOpaque = 65535;

/// Natural colours, and alpha of 16 bits with edges, gradients and noise.
inline reference::Source NaturalWithAlpha(unsigned seed) {
  const reference::Source natural = reference::NaturalSource(seed);
  return [natural](int component, int x, int y) {
    if (component != kAlpha) return natural(component, x, y);
    if (y % 8 < 2) return x % 24 < 16 ? 65535.0 : 0.0;
    if (y % 8 < 4) return static_cast<double>(x * 613 % 65536);
    return static_cast<double>((x * 40503 ^ y * 30011) & 0xFFFF);
  };
}

/// Weights of red and blue in luma.
struct Weights {
  double red, blue;
};
inline constexpr Weights kBt709{0.2126, 0.0722}, kBt601{0.299, 0.114}, kBt2020{0.2627, 0.0593};

/// Expects the RGB picture to be the YCbCr one, converted in double precision.
inline void ExpectConverted(const PackedPicture& rgb, const PackedPicture& coded,
                            const Weights& weights, int width, int rows) {
  const double green = 1 - weights.red - weights.blue;
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < width; ++x) {
      const double luma = (coded.Word(0, x, y) / 16 - 256) / 3504.0;
      const double b = luma + 2 * (1 - weights.blue) * (coded.Word(1, x, y) / 16 - 2048) / 3584.0;
      const double r = luma + 2 * (1 - weights.red) * (coded.Word(2, x, y) / 16 - 2048) / 3584.0;
      const double g = (luma - weights.red * r - weights.blue * b) / green;
      const double exact[] = {r, g, b};
      for (int c = 0; c < 3; ++c) {
        // Half a code of rounding, and the error of single precision.
        ASSERT_NEAR(rgb.Word(c, x, y), std::clamp(65535 * exact[c], 0.0, 65535.0), 0.52)
            << "component " << c << ", " << x << ", " << y;
      }
      ASSERT_EQ(rgb.Word(kAlpha, x, y), coded.Word(kAlpha, x, y));
    }
  }
}

/// Calls check(spec) for every chroma format and alpha type.
template <typename Check>
void ForEachPixelKind(reference::StreamSpec spec, Check check) {
  for (const bool chroma444 : {false, true}) {
    for (int alphaType = 0; alphaType < 3; ++alphaType) {
      SCOPED_TRACE(testing::Message()
                   << (chroma444 ? "4:4:4" : "4:2:2") << ", alpha type " << alphaType);
      spec.chroma444 = chroma444;
      spec.alphaType = alphaType;
      check(spec);
    }
  }
}

}  // namespace decoding

#endif  // TESTS_CODEC_DECODER4444SESSION_H
