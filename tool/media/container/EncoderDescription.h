// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_ENCODERDESCRIPTION_H
#define TOOL_MEDIA_CONTAINER_ENCODERDESCRIPTION_H

/// @file
/// What a container states about the encoder of its video.

#include "format/InputFormat.h"
#include "media/InputFile.h"
#include "media/container/Libav.h"

namespace vixprores {

/// Returns the code of the ProRes variant that the header of an .mxf states; 0 if there is none.
vix::FourCC FindMxfVariant(const InputFile& file);
/// Sets the name and the vendor code of the encoder that the track states.
void DescribeEncoder(const AVStream& stream, InputDescription& description);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_ENCODERDESCRIPTION_H
