// SPDX-License-Identifier: BSD-2-Clause
#include <gst/gst.h>

#include "DecoderElement.h"
#include "EncoderElement.h"

namespace {

// Above the other elements for these formats, which have at most GST_RANK_PRIMARY.
constexpr guint kDecoderRank = GST_RANK_PRIMARY + 1;
constexpr guint kEncoderRank = GST_RANK_PRIMARY;

gboolean RegisterElements(GstPlugin* plugin) {
  const bool areRegistered =
      gst_element_register(plugin, "vixproresenc", kEncoderRank, vix_prores_enc_get_type()) &&
      gst_element_register(plugin, "vixproresdec", kDecoderRank, vix_prores_dec_get_type());
  return areRegistered ? TRUE : FALSE;
}

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, vixprores,
                  "ProRes (SMPTE RDD 36) encoder and decoder", RegisterElements, PACKAGE_VERSION,
                  "BSD", PACKAGE, "Unknown package origin")
