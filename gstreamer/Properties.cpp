// SPDX-License-Identifier: BSD-2-Clause
#include "Properties.h"

#include <string>

namespace vixgst {

GParamSpec* MakeThreadsProperty(const char* verb) {
  constexpr guint kMostThreads = 4096;
  const std::string blurb = std::string("Frames that are ") + verb +
                            " side by side, each on its own thread (0 = one for each processor). "
                            "Takes effect in READY";
  auto flags = static_cast<GParamFlags>(static_cast<guint>(kPropertyFlags) &
                                        ~static_cast<guint>(G_PARAM_STATIC_BLURB));
  return g_param_spec_uint("threads", "Threads", blurb.c_str(), 0, kMostThreads, 0, flags);
}

void AddPadTemplate(GstElementClass* type, const char* name, GstPadDirection direction,
                    GstCaps* caps) {
  gst_element_class_add_pad_template(type,
                                     gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);
}

}  // namespace vixgst
