// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_FRAMETIMES_H
#define TOOL_FORMAT_FRAMETIMES_H

namespace vixprores {

/// What becomes of the times at which a container has its frames.
enum class FrameTimes {
  Checked,   ///< a frame that does not come when the constant rate asks for it is a failure
  GapsOnly,  ///< only frames that are left out are; others that come at odd times are counted
  Ignored,   ///< the frames follow each other, whenever they come; odd times are counted
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_FRAMETIMES_H
