// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_INSPECTIONREPORT_H
#define TOOL_REPORT_INSPECTIONREPORT_H

#include <string>

#include "frames/StreamStatistics.h"

namespace vixprores {

/// What was found, as lines for people. Slices are listed where the frames have their lists.
std::string InspectionText(const StreamStatistics& stream);
/// All of it as one JSON object, with a newline. Its keys do not change:
/// "command", "status" ("done", "faults" or "failed"), "message" (of a failure), "input",
/// "format" (of the stream: code, name, width, height, rate, fieldOrder, chromaFormat, alpha,
/// encoderIdentifier, bitstreamVersion, timecode), "properties" (container against frame header:
/// property, container, header, state), "framesInFile", "framesInspected", "faultyFrames",
/// "size" (minBytes, meanBytes, maxBytes, targetBytes, meanShareOfTarget), "megabitsPerSecond",
/// "quantiser" (min, mean, max, lowestFrameMean, highestFrameMean), "log2SliceWidth", "matrices"
/// (luma and chroma: flat, weights), "changes" (property, frame, from, to), and "frames": frame,
/// count (of frames from that one on, of which several are missing for one reason), timecode and
/// fault, and of those that could be read offset, bytes, bits, shareOfTarget, slices, quantiser
/// (min, mean, max), componentBytes (y, cb, cr, alpha), and with slices asked for "sliceList"
/// (picture, row, index, firstMacroblock, macroblocks, offset, bytes, quantiser, y, cb, cr; null
/// for the last four of a damaged one). What is unknown is null.
std::string InspectionJson(const StreamStatistics& stream);

// Words that the pages use too.
/// "ProRes 422 HQ (apch), 1920x1080, progressive, 25 fps, 4:2:2, no alpha"
std::string DescribeStream(const StreamStatistics& stream);
/// "5", or "5-9" of several that are missing
std::string DescribeNumbers(std::int64_t first, std::int64_t count);
/// "flat, all 4", or "2 to 63: 2 2 3 4 ... " with the weights of the first row
std::string DescribeWeights(const prores::QuantMatrix& matrix);
/// "vix1", other characters than letters, digits and the like as '?'
std::string EncoderIdentifier(const prores::FrameHeader& header);

}  // namespace vixprores

#endif  // TOOL_REPORT_INSPECTIONREPORT_H
