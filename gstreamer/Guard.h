// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_GUARD_H
#define GSTREAMER_GUARD_H

#include <gst/gst.h>

#include <exception>
#include <string>

namespace vixgst {

/// Posts an error of the element.
void PostError(GstElement* element, GstStreamError code, const std::string& text);
/// Posts a warning about one frame.
void PostWarning(GstElement* element, const std::string& text);
/// Returns the text of an exception.
std::string TextOf(const std::exception_ptr& error);

/// Runs `work` for a C interface: an exception becomes an error of the element.
/// @return the result of `work`, or `failed`
template <typename Result, typename Work>
Result Guard(gpointer element, Result failed, Work work) noexcept {
  try {
    return work();
  } catch (...) {
    PostError(GST_ELEMENT_CAST(element), GST_STREAM_ERROR_FAILED, TextOf(std::current_exception()));
    return failed;
  }
}

}  // namespace vixgst

#endif  // GSTREAMER_GUARD_H
