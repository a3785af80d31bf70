// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_JOBOPTIONS_H
#define TOOL_CLI_JOBOPTIONS_H

/// @file
/// Command-line options of the commands for jobs.

#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "farm/Job.h"
#include "report/Report.h"

namespace vixprores {

/// Returns the encode command with another name, the options of a job's division, and without those
/// of a run's output and of parts.
Command DescribeJobCommand(JobOptions& options, std::string name, std::string summary);

/// Returns an option for a number from 1.
Option CountOption(const std::string& name, std::optional<int>& variable, std::string brief);

/// Plans the job of each input. Loads the plug-in.
std::vector<Job> PlanJobs(const JobOptions& options);

}  // namespace vixprores

#endif  // TOOL_CLI_JOBOPTIONS_H
