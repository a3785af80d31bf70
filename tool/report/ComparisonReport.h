// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_COMPARISONREPORT_H
#define TOOL_REPORT_COMPARISONREPORT_H

#include <string>

#include "check/VideoComparison.h"
#include "report/Json.h"

namespace vixprores {

/// Returns the report as lines of text.
std::string ComparisonText(const Comparison& comparison);

/// Writes the report as one JSON object with a newline. The PSNR of what is identical is null, for
/// every plane and for alpha; unknown values are null, too. Its keys: "command", "status",
/// "reference" and "distorted" (input, name, width, height, rate, bits, damage), "bits" (of the
/// compared samples), "offset" (frames that the distorted video is later), "framesCompared",
/// "identicalFrames", "identical" (all of them), "psnr" (y, cb, cr, all: identical,
/// ofMeanSquaredError, meanOfFrames over the frames that are not identical, min), "ssim" (y, cb,
/// cr, all: mean, min), "worstFrames" (numbers), and "frames": frame, timecode, identical, psnr and
/// ssim (y, cb, cr, all), bytes. Where alpha is compared, psnr and ssim also have "alpha", which
/// does not count in "all".
void WriteComparisonJson(const Comparison& comparison, const TextSink& write);

/// Returns all members of the JSON report but "frames".
JsonValue SummaryJson(const Comparison& comparison);
/// Returns an element of "frames".
JsonValue FrameJson(const Comparison& comparison, const ComparedFrame& frame);

}  // namespace vixprores

#endif  // TOOL_REPORT_COMPARISONREPORT_H
