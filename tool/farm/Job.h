// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_JOB_H
#define TOOL_FARM_JOB_H

/// @file
/// A job: an encoding that is divided into commands, which any queue may run on any machines that
/// share the files. Each chunk encodes some of the frames to a part; a join makes the output of the
/// parts.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/FrameReader.h"
#include "run/Options.h"

namespace vixprores {

/// How a job is divided: one of both is set.
struct ChunkLayout {
  std::optional<int> chunks;       ///< that many of nearly equal length, or one for each frame
  std::optional<int> chunkFrames;  ///< each chunk but the last one has that many
};

struct JobOptions : EncodeOptions {
  ChunkLayout layout;
  std::optional<std::string> jobDir;  ///< none = beside the output; of many inputs, for all of them
  bool keepsParts = false;            ///< after the join
};

/// A piece of a job.
struct Chunk {
  int number = 1;                    ///< from 1
  FrameRange frames;                 ///< of the input, from 0
  std::string part;                  ///< path of the file
  std::vector<std::string> command;  ///< that makes it
};

/// The commands of one output. The same options and the same input give the same job on every
/// machine.
struct Job {
  std::string id;  ///< of the program's version, the options, the input and the division
  std::string input;
  std::string output;
  std::string folder;            ///< of the parts
  FrameRange frames;             ///< of the input, from 0
  std::int64_t firstNumber = 0;  ///< of frame 0 as users count: that of the first file
  std::vector<Chunk> chunks;
  std::vector<std::string> join;  ///< command
};

/// What a join needs to know of its job.
struct JobName {
  std::string id;
  FrameRange frames;  ///< of the input, from 0

  /// Returns text like "JOB:0-599".
  std::string ToText() const;
  /// @throws UsageError
  static JobName Parse(const std::string& text);
};

/// Divides frames into chunks without paths and commands.
std::vector<Chunk> DivideFrames(const FrameRange& frames, const ChunkLayout& layout);

/// Plans the job of one input and output. Opens the input; reads all of it only if there is no
/// other way to count its frames. Requires the plug-in.
/// @throws Failure, UsageError for an input or an option that gives other frames in chunks
Job PlanJob(const JobOptions& options);

/// Describes the job whose join has these options.
/// @param source reader of the input
Job DescribeJob(const JobOptions& options, const JobName& name, const FrameReader& source);

/// Returns the labels of the parts (PartLabel) as the input is now.
std::vector<std::string> LabelParts(const Job& job);

/// Returns the folder of the parts.
std::string FolderOf(const JobOptions& options);

/// Returns a line for a shell.
std::string ShellLine(const std::vector<std::string>& command);

}  // namespace vixprores

#endif  // TOOL_FARM_JOB_H
