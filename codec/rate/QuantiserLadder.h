// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_QUANTISERLADDER_H
#define CODEC_RATE_QUANTISERLADDER_H

#include <cstdint>
#include <vector>

#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/SliceHeader.h"
#include "transform/Quantise.h"

namespace prores {

/// Rungs of the ladder of quantisers, finest first. Rung 0 is quantisation index 1 with nearest
/// rounding, for frames that cannot use their bytes otherwise; rung r is quantisation index r with
/// a dead zone.
inline constexpr unsigned kCoarsestRung = kMaxQuantizationIndex;

constexpr std::uint8_t QuantisationIndex(unsigned rung) {
  return static_cast<std::uint8_t>(rung == 0 ? kMinQuantizationIndex : rung);
}

/// The quantisers of a slice.
struct SliceQuantisers {
  Quantiser luma;
  Quantiser chroma;

  const Quantiser& ForComponent(unsigned component) const { return component == 0 ? luma : chroma; }
};

/// The quantisers of all rungs for one pair of matrices and one scan.
class QuantiserLadder {
 public:
  /// Makes the ladder that a frame needs, unless it is there already.
  /// @throws std::bad_alloc.
  void Prepare(const FrameHeader& header);

  /// @param rung 0..kCoarsestRung.
  const SliceQuantisers& operator[](unsigned rung) const { return rungs_[rung]; }

 private:
  std::vector<SliceQuantisers> rungs_;
  // What rungs_ was made for, where it is not empty:
  QuantMatrix luma_{};
  QuantMatrix chroma_{};
  ScanTable scan_{};
};

}  // namespace prores

#endif  // CODEC_RATE_QUANTISERLADDER_H
