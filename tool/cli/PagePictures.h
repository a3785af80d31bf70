// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_PAGEPICTURES_H
#define TOOL_CLI_PAGEPICTURES_H

/// @file
/// The pictures of pages, decoded from frames that were kept. Needs the plug-in.

#include <vector>

#include "check/VideoComparison.h"
#include "frames/StreamStatistics.h"
#include "report/ComparisonPage.h"
#include "run/PictureSource.h"

namespace vixprores {

/// A ProRes frame with its slices.
MappedFrame MapFrame(PictureSource& source, const NumberedFrame& frame, std::string name);
/// The notable frames of a stream with their slices.
std::vector<MappedFrame> MapFrames(PictureSource& source, const NotableFrames& frames);
/// The pair of frames that differs most.
WorstPictures DrawWorst(PictureSource& reference, PictureSource& distorted, const WorstPair& pair);

}  // namespace vixprores

#endif  // TOOL_CLI_PAGEPICTURES_H
