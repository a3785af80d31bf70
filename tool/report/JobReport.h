// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_JOBREPORT_H
#define TOOL_REPORT_JOBREPORT_H

#include <string>
#include <vector>

#include "farm/JobState.h"
#include "farm/Slurm.h"

namespace vixprores {

/// Returns how far a job is, as lines of text.
std::string JobText(const Job& job, const JobState& state);
/// Returns the same of several jobs as JSON.
std::string JobsJson(const std::vector<Job>& jobs, const std::vector<JobState>& states);

/// Returns the scripts and commands of a submission as text that shows what would be done.
std::string SubmissionText(const Submission& submission);

}  // namespace vixprores

#endif  // TOOL_REPORT_JOBREPORT_H
