// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_NOTABLEFRAMES_H
#define TOOL_FRAMES_NOTABLEFRAMES_H

#include <string>
#include <vector>

#include "frames/FrameStatistics.h"
#include "media/RangeReader.h"

namespace vixprores {

/// Keeps the frames of a stream that are worth a look: the largest one, the smallest one, and the
/// one with the highest mean quantiser. Frames with a fault are left out.
class NotableFrames {
 public:
  /// A kept frame and what it is notable for: "largest", "smallest", "coarsest".
  struct Notable {
    std::vector<std::string> reasons;
    NumberedFrame frame;
  };

  void Add(const NumberedFrame& frame, const FrameStatistics& statistics);
  /// Each kept frame once.
  std::vector<Notable> List() const;

 private:
  // A larger value is more notable.
  struct Record {
    const char* reason;
    double value = 0;
    NumberedFrame frame = {};  // without data until there is one
  };

  std::vector<Record> records_{{"largest"}, {"smallest"}, {"coarsest"}};
};

}  // namespace vixprores

#endif  // TOOL_FRAMES_NOTABLEFRAMES_H
