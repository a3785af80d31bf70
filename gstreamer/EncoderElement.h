// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_ENCODERELEMENT_H
#define GSTREAMER_ENCODERELEMENT_H

#include <gst/gst.h>

/// Returns the type of "vixproresenc".
GType vix_prores_enc_get_type();

#endif  // GSTREAMER_ENCODERELEMENT_H
