// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_HDRMETADATA_H
#define TOOL_MEDIA_CONTAINER_HDRMETADATA_H

/// @file
/// Static metadata of HDR in the types of libavutil, which containers and decoded pictures share.

#include <optional>

#include "format/HdrLabels.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
}

namespace vixprores {

/// Returns nullopt if primaries or luminance are unknown.
std::optional<MasteringDisplay> FromAvDisplay(const AVMasteringDisplayMetadata& metadata);
AVMasteringDisplayMetadata ToAvDisplay(const MasteringDisplay& display);

ContentLight FromAvLight(const AVContentLightMetadata& metadata);
AVContentLightMetadata ToAvLight(const ContentLight& light);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_HDRMETADATA_H
