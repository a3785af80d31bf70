// SPDX-License-Identifier: BSD-2-Clause
#include "Guard.h"

namespace vixgst {

void PostError(GstElement* element, GstStreamError code, const std::string& text) {
  gst_element_message_full(element, GST_MESSAGE_ERROR, GST_STREAM_ERROR, code,
                           g_strdup(text.c_str()), nullptr, __FILE__, __func__, __LINE__);
}

void PostWarning(GstElement* element, const std::string& text) {
  gst_element_message_full(element, GST_MESSAGE_WARNING, GST_STREAM_ERROR, GST_STREAM_ERROR_DECODE,
                           g_strdup(text.c_str()), nullptr, __FILE__, __func__, __LINE__);
}

std::string TextOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "an exception of an unknown type";
  }
}

}  // namespace vixgst
