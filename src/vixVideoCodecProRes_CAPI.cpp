// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Export.h"
#include "vixVideoCodecProResBuilder.h"

/// Entry of the plug-in, which a host finds by name: registers the decoder, then the encoder.
/// @param registrant text of the host's that both registrations carry
/// Exceptions of the host pass through; a failed first registration leaves out the second.
extern "C" VIX_API void RegisterAll(const char* registrant) {
  vix::RegisterVideoDecoderProres(registrant);
  vix::RegisterVideoEncoderProres(registrant);
}
