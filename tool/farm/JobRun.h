// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_JOBRUN_H
#define TOOL_FARM_JOBRUN_H

/// @file
/// Runs the commands of a job.

#include <string>

#include "farm/Job.h"
#include "run/RunReport.h"
#include "run/Transcode.h"

namespace vixprores {

/// Encodes a chunk to its part, unless the part is there and intact or the job is joined already;
/// then the status is Skipped. Removes the work files of killed runs of the chunk.
/// @param plan of the encoding
/// @throws Failure, VIXRuntimeError as Transcode()
void EncodeChunk(EncodeOptions options, TranscodePlan plan, RunReport& report,
                 RunObserver& observer);

struct JoinOptions : JobOptions {
  std::optional<JobName> job;  ///< set
};

/// Makes the output of the parts of a job, and removes them. The output is what one run would have
/// written. The status is Skipped if that is done already.
/// @throws Failure that lists the chunks to be run again, or as Transcode()
void JoinParts(const JoinOptions& options, RunReport& report, RunObserver& observer);

}  // namespace vixprores

#endif  // TOOL_FARM_JOBRUN_H
