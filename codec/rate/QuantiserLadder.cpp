// SPDX-License-Identifier: BSD-2-Clause
#include "rate/QuantiserLadder.h"

namespace prores {

void QuantiserLadder::Prepare(const FrameHeader& header) {
  const ScanTable& scan = ScanFor(header.interlaceMode);
  if (!rungs_.empty() && luma_ == header.lumaMatrix && chroma_ == header.chromaMatrix &&
      scan_ == scan) {
    return;
  }
  luma_ = header.lumaMatrix;
  chroma_ = header.chromaMatrix;
  scan_ = scan;
  rungs_.clear();
  rungs_.reserve(kCoarsestRung + 1);
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    const unsigned scale = QuantizerScale(QuantisationIndex(rung));
    const RoundingOffsets rounding = rung == 0 ? kNearestRounding : kDeadZoneRounding;
    rungs_.push_back(
        {Quantiser(luma_, scale, scan_, rounding), Quantiser(chroma_, scale, scan_, rounding)});
  }
}

}  // namespace prores
