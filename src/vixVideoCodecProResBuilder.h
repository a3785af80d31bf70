// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC_VIXVIDEOCODECPRORESBUILDER_H
#define SRC_VIXVIDEOCODECPRORESBUILDER_H

#include "vix/Export.h"

namespace vix {

/// Registers the decoder element with its parameters "SkipField", "OutputFourCC" and "Allocator".
/// @param registrant handed to the registry unchanged
VIX_API void RegisterVideoDecoderProres(const char* registrant);
/// Registers the encoder element with its parameters "NumThreads" and "ProResCodecVariant".
/// @param registrant handed to the registry unchanged
VIX_API void RegisterVideoEncoderProres(const char* registrant);

}  // namespace vix

#endif  // SRC_VIXVIDEOCODECPRORESBUILDER_H
