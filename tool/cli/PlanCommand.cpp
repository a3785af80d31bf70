// SPDX-License-Identifier: BSD-2-Clause
#include <filesystem>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/JobOptions.h"
#include "farm/JobFiles.h"
#include "run/Batch.h"
#include "run/Host.h"

namespace vixprores {

std::vector<Job> PlanJobs(const JobOptions& options) {
  SetUpMessages(options);
  const auto plugins = LoadProResPlugins(options.plugin);
  if (!options.outputDir) return {PlanJob(options)};
  std::vector<Job> jobs;
  for (const BatchItem& item : NameOutputs(options)) {
    JobOptions one = options;
    one.input = item.input;
    one.output = item.output;
    if (options.jobDir) {
      const std::string name = std::filesystem::path(item.output).filename().string();
      one.jobDir = (std::filesystem::path(*options.jobDir) / name).string();
    }
    jobs.push_back(PlanJob(one));
  }
  return jobs;
}

namespace {

Command DescribePlan(JobOptions& options) {
  Command command =
      DescribeJobCommand(options, "plan", "Divide an encoding into commands for several machines");
  command.description =
      "Prints a job as JSON: for each chunk of the frames the command that encodes it to a part, "
      "and the command that joins the parts to the output. Any queue may run the commands, in any "
      "order and more than once, on machines that reach the files under the same paths; the join "
      "comes last. The output is what one run of encode would write, with the sound, the timecode "
      "and the texts of the input. The same input and options give the same plan everywhere.\n\n"
      "An input that does not state the number of its frames is read once. Refuses filters that "
      "may give other pictures in chunks than in one run, --on-error, and pipes.";
  command.examples = {{"vixprores plan --variant hq --chunks 12 master.mov output.mov > plan.json",
                       "Divide a film into twelve commands."}};
  return command;
}

int RunPlan(const JobOptions& options) {
  StandardOutput()(PlanJson(PlanJobs(options)) + "\n");
  return kExitDone;
}

}  // namespace

Command MakePlanCommand() {
  return BindOptions(DescribePlan, RunPlan);
}

}  // namespace vixprores
