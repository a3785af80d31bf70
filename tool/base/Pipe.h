// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_PIPE_H
#define TOOL_BASE_PIPE_H

#include <fcntl.h>

namespace vixprores {

/// Gives a pipe room for as many bytes as an ordinary user may ask for, so that frames go through
/// it in fewer turns of writer and reader. Anything else, and a pipe that may not grow, stays as
/// it is.
inline void WidenPipe(int descriptor) {
  constexpr int kBytes = 1 << 20;
  fcntl(descriptor, F_SETPIPE_SZ, kBytes);
}

}  // namespace vixprores

#endif  // TOOL_BASE_PIPE_H
