// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_MOVVENDOR_H
#define TOOL_CONTAINER_MOVVENDOR_H

#include "io/OutputFile.h"
#include "vix/Types.h"

namespace vixprores {

/// Writes `vendor` into the first sample description of type `sampleEntry` of a complete .mov
/// file, where the container library always puts its own. A file without one is a Failure.
void SetMovVendor(OutputFile& file, vix::FourCC sampleEntry, vix::FourCC vendor);

}  // namespace vixprores

#endif  // TOOL_CONTAINER_MOVVENDOR_H
