// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_DECODERELEMENT_H
#define GSTREAMER_DECODERELEMENT_H

#include <gst/gst.h>

/// Returns the type of "vixproresdec".
GType vix_prores_dec_get_type();

#endif  // GSTREAMER_DECODERELEMENT_H
