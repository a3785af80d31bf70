// SPDX-License-Identifier: BSD-2-Clause
#include "run/RunReport.h"

namespace vixprores {
namespace {

double Ratio(double numerator, double denominator) {
  return denominator > 0 ? numerator / denominator : 0;
}

double RateOf(const StreamFormat& format) {
  return Ratio(format.rate.numerator, format.rate.denominator);
}

}  // namespace

double RunReport::FramesPerSecond() const {
  return Ratio(static_cast<double>(frames), seconds);
}

double RunReport::RealTimeFactor() const {
  return Ratio(FramesPerSecond(), RateOf(source));
}

double RunReport::MegabitsPerSecond() const {
  const double bits = 8 * static_cast<double>(result.IsRaw() ? sourceBytes : resultBytes);
  return Ratio(bits, static_cast<double>(frames)) * RateOf(source) / 1e6;
}

}  // namespace vixprores
