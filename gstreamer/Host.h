// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_HOST_H
#define GSTREAMER_HOST_H

#include "vix/ElementPool.h"
#include "vix/Types.h"

namespace vixgst {

/// Loads the plug-ins of the core's plug-in folder, once per process: they stay loaded. Sends their
/// log records to the log of GStreamer.
/// @throws VIXError (NotFound), which names the folder, if none has the ProRes element
void LoadProResElement(vix::ElementFactoryType type);

/// Returns the options of a pool that works on `threads` frames (0 = one for each processor) side
/// by side.
vix::ElementPoolOptions PoolOptions(unsigned threads);

/// Implementation and type of the ProRes elements in the registry.
inline constexpr const char* kImplementation = "vix";
inline constexpr const char* kElementType = "ProRes";

}  // namespace vixgst

#endif  // GSTREAMER_HOST_H
