// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_HOST_H
#define GSTREAMER_HOST_H

#include <cstddef>

#include "vix/ElementPool.h"
#include "vix/Types.h"

namespace vixgst {

/// Implementations of the ProRes elements, by the pixel formats of their pictures.
enum class Implementation {
  For422,   ///< packed 4:2:2; encodes and decodes the variants of 422
  For4444,  ///< packed 4:4:4 with alpha; encodes the variants of 4444 and decodes every variant
};

/// Number of implementations.
inline constexpr std::size_t kImplementations = 2;

/// Returns the implementation's name in the registry.
const char* NameOf(Implementation implementation);

/// Loads the plug-ins of the core's plug-in folder unless the element is registered: they stay
/// loaded until the process ends. Sends their log records to the log of GStreamer.
/// @throws VIXError (NotFound), which names the folder, if no plug-in has the element
void LoadProResElement(vix::ElementFactoryType type, Implementation implementation);

/// Returns the options of a pool that works on `threads` frames (0 = one for each processor) side
/// by side.
vix::ElementPoolOptions PoolOptions(unsigned threads);

/// Type of the ProRes elements in the registry.
inline constexpr const char* kElementType = "ProRes";

}  // namespace vixgst

#endif  // GSTREAMER_HOST_H
