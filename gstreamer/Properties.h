// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_PROPERTIES_H
#define GSTREAMER_PROPERTIES_H

/// @file
/// What the classes of both elements have in common.

#include <gst/gst.h>

namespace vixgst {

inline constexpr const char* kAuthor = "The vixVideoCodecProRes authors";

/// Properties may be set until the element processes frames.
inline constexpr auto kPropertyFlags = static_cast<GParamFlags>(
    static_cast<guint>(G_PARAM_READWRITE) | static_cast<guint>(G_PARAM_STATIC_STRINGS) |
    static_cast<guint>(GST_PARAM_MUTABLE_READY));

/// Returns the property "threads".
/// @param verb what happens to frames, "encoded"
GParamSpec* MakeThreadsProperty(const char* verb);

/// Adds a pad that always exists. Takes the caps.
void AddPadTemplate(GstElementClass* type, const char* name, GstPadDirection direction,
                    GstCaps* caps);

/// Holds the lock of an object, which protects its properties.
class ObjectLock {
 public:
  explicit ObjectLock(gpointer object) : object_(GST_OBJECT_CAST(object)) {
    GST_OBJECT_LOCK(object_);
  }
  ~ObjectLock() { GST_OBJECT_UNLOCK(object_); }
  ObjectLock(const ObjectLock&) = delete;
  ObjectLock& operator=(const ObjectLock&) = delete;

 private:
  GstObject* object_;
};

}  // namespace vixgst

#endif  // GSTREAMER_PROPERTIES_H
