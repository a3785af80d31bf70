// SPDX-License-Identifier: BSD-2-Clause
#include "check/Comparison.h"

#include <algorithm>

namespace vixprores {

void PartQuality::Add(const PlaneQuality& part, unsigned bits) {
  bits_ = bits;
  errors_.Add(part.MeanSquaredError());
  if (part.squaredError > 0) psnr_.Add(ToPsnr(part.MeanSquaredError(), bits));
  ssim_.Add(part.ssim);
}

std::vector<std::size_t> Comparison::FindWorst(std::size_t most) const {
  std::vector<std::size_t> worst;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!frames[i].quality.IsIdentical()) worst.push_back(i);
  }
  const auto error = [this](std::size_t i) {
    return -frames[i].quality.parts[FrameQuality::kAll].squaredError;
  };
  std::ranges::stable_sort(worst, {}, error);
  worst.resize(std::min(worst.size(), most));
  return worst;
}

void AddFrame(Comparison& comparison, const ComparedFrame& frame) {
  for (std::size_t i = 0; i < comparison.parts.size(); ++i) {
    comparison.parts[i].Add(frame.quality.parts[i], comparison.bits);
  }
  if (frame.quality.IsIdentical()) ++comparison.identical;
  comparison.frames.push_back(frame);
}

}  // namespace vixprores
