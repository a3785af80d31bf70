// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_EARLIERRUN_H
#define TOOL_RUN_EARLIERRUN_H

#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "media/OutputFile.h"
#include "recovery/TaggedFileReader.h"
#include "run/Options.h"

namespace vixprores {

/// A file that an earlier run has left behind, locked.
struct Leftover {
  std::string path;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> lock;
  std::uintmax_t bytes = 0;
};

/// Returns the work files and partial outputs of earlier runs for that output that no process
/// writes. None where the file system has no locks.
std::vector<Leftover> LockLeftovers(const std::string& output);

/// Frames that an interrupted run of the same encoding left in its work file or partial output. The
/// work files of batches are marked in an extended attribute with all that determines their frames:
/// input, range, options and program. Without attributes or locks in the file system there is no
/// earlier run. Used by one thread at a time.
class EarlierRun {
 public:
  /// Finds the files of earlier runs that no process writes, and locks them.
  explicit EarlierRun(const TranscodeOptions& options);

  /// Marks the work file of this run, for the next one.
  void Mark(Output& output) const;
  /// Returns the encoded frame of that time, in frames; null if it must be encoded. Frames count
  /// only up to the first one that is damaged or missing. Takes times in ascending order.
  /// @throws Interrupted if the user asked to stop
  std::shared_ptr<vix::IBuffer> Take(std::int64_t time);
  /// Removes the mark of the complete output and the files that it replaces.
  void Finish(const std::string& output);

 private:
  void Open(const std::string& path);
  void ReadNext();

  std::string mark_;  ///< empty = this run cannot be resumed
  std::vector<Leftover> leftovers_;
  std::unique_ptr<TaggedFileReader> reader_;                      ///< null = no more frames
  std::shared_ptr<vix::IBuffer> frame_;                           ///< read last
  std::int64_t time_ = std::numeric_limits<std::int64_t>::min();  ///< of that frame
};

/// Removes the mark of a file whose frames are about to change.
void RemoveRunMark(const std::string& path);

}  // namespace vixprores

#endif  // TOOL_RUN_EARLIERRUN_H
