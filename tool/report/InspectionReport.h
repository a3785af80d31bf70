// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_INSPECTIONREPORT_H
#define TOOL_REPORT_INSPECTIONREPORT_H

#include <string>

#include "frames/StreamStatistics.h"
#include "report/Json.h"

namespace vixprores {

/// Writes the report as lines of text. Lists the slices of frames that have slice lists.
void WriteInspectionText(const StreamStatistics& stream, const TextSink& write);

/// Writes the report as one JSON object with a newline. Unknown values are null. Its keys:
/// "command", "status" ("done", "faults" or "failed"), "message" (of a failure), "input",
/// "format" (of the stream: code, name, width, height, rate, fieldOrder, chromaFormat, bits, alpha,
/// encoderIdentifier, bitstreamVersion, timecode, colour, sampleAspect, masteringDisplay,
/// contentLight), "seconds", "files" (of an image sequence:
/// first, last, missing: numbers), "soundTracks" (track, codec, sampleRate, channels, layout, bits,
/// seconds, language, title), "metadata" (texts of the file), "properties" (container against frame
/// header: property, container, header, state), "framesInFile", "framesInspected", "faultyFrames",
/// "size" (minBytes, meanBytes, maxBytes, targetBytes, meanShareOfTarget: of the bytes without
/// alpha; of a stream with alpha also meanAlphaBytes and alphaShare: its part of the bytes),
/// "megabitsPerSecond", "quantiser" (min, mean, max, lowestFrameMean, highestFrameMean),
/// "log2SliceWidth", "matrices" (luma and chroma: flat, weights), "changes" (property, frame, from,
/// to), and "frames": frame, count (number of frames from that one on that share a fault),
/// timecode, fault; for frames that could be read also offset, bytes, bits, shareOfTarget (without
/// alpha), slices, quantiser (min, mean, max), componentBytes (y, cb, cr, alpha) and, with
/// --slices, "sliceList" (picture, row, index, firstMacroblock, macroblocks, offset, bytes,
/// quantiser, y, cb, cr, alpha; the last five are null for a damaged slice).
void WriteInspectionJson(const StreamStatistics& stream, const TextSink& write);

/// Returns all members of the JSON report but "frames".
JsonValue SummaryJson(const StreamStatistics& stream);
/// Returns an element of "frames" without its "sliceList".
JsonValue FrameJson(const StreamStatistics& stream, const FrameStatistics& frame);

/// Returns a code as text, such as "apch"; empty for 0.
std::string FourCharacters(vix::FourCC code);
/// Returns "4:2:2" or "4:4:4".
const char* ChromaFormatName(const prores::FrameHeader& header);
/// Returns the bits of the samples that encoders of that chroma format take: 10 or 12.
int CodedBits(const prores::FrameHeader& header);
/// Returns text like "vix1", with '?' for unprintable characters.
std::string EncoderIdentifier(const prores::FrameHeader& header);

}  // namespace vixprores

#endif  // TOOL_REPORT_INSPECTIONREPORT_H
