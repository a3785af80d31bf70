// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_MXFFILE_H
#define TOOL_MEDIA_CONTAINER_MXFFILE_H

/// @file
/// Patches an .mxf that the container library has completed where the library cannot write the
/// requested values.

#include <cstdint>

#include "format/StreamFormat.h"
#include "media/OutputFile.h"

namespace vixprores {

/// Describes the pictures as separate fields in that order: the library describes every ProRes
/// stream as progressive. Throws a Failure unless the file has the library's layout.
/// @param height lines of a frame, an even number
void SetMxfFields(OutputFile& file, FieldOrder order, std::uint32_t height);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_MXFFILE_H
