// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Export.h"
#include "vixVideoCodecProResBuilder.h"

/// Registers the decoder, then the encoder. Hosts find this function by name. Exceptions of the
/// host pass through; if the first registration fails, the second is not made.
/// @param registrant handed to both registrations unchanged
extern "C" VIX_API void RegisterAll(const char* registrant) {
  vix::RegisterVideoDecoderProres(registrant);
  vix::RegisterVideoEncoderProres(registrant);
}
