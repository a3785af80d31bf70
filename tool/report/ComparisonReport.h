// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_COMPARISONREPORT_H
#define TOOL_REPORT_COMPARISONREPORT_H

#include <string>

#include "check/VideoComparison.h"

namespace vixprores {

/// Frames that reports and pages list as the worst.
inline constexpr std::size_t kListedWorst = 5;

/// What was measured, as lines for people.
std::string ComparisonText(const Comparison& comparison);
/// All of it as one JSON object, with a newline. Its keys do not change:
/// "command", "status", "reference" and "distorted" (input, name, width, height, rate, bits),
/// "bits" (of the samples compared), "framesCompared", "identicalFrames", "identical" (all of
/// them), "psnr" (y, cb, cr, all: ofMeanSquaredError, meanOfFrames over the frames that are not
/// identical, min), "ssim" (y, cb, cr, all: mean, min), "worstFrames" (numbers), and "frames":
/// frame, timecode, identical, psnr and ssim (y, cb, cr, all), bytes. An infinite PSNR and what is
/// unknown are null.
std::string ComparisonJson(const Comparison& comparison);

// Words that the pages use too.
/// "46.32 dB", or "identical"
std::string DescribePsnr(double decibels);
/// "ProRes 422 HQ, 1920x1080, progressive, 25 fps"
std::string DescribeVideo(const ComparedVideo& video);

}  // namespace vixprores

#endif  // TOOL_REPORT_COMPARISONREPORT_H
