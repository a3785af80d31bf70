// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_RELABEL_H
#define TOOL_RUN_RELABEL_H

#include "run/Options.h"
#include "run/RunReport.h"

namespace vixprores {

/// Corrects the labels of a .mov in place: writes only those bytes of frame headers that change,
/// the checksums of their frames, and the movie header. Restores the file first if a run before was
/// interrupted; that is all it does if no label is given.
/// @throws Failure, with the file as it was
void RelabelInPlace(const CopyOptions& options, RunReport& report, RunObserver& observer);

}  // namespace vixprores

#endif  // TOOL_RUN_RELABEL_H
