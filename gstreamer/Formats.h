// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_FORMATS_H
#define GSTREAMER_FORMATS_H

/// @file
/// Caps of GStreamer in the terms of the elements, and back.

#include <gst/video/video.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "vix/ProResFrame.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vixgst {

/// A variant and its name in caps of "video/x-prores".
struct Variant {
  const char* name;
  vix::ProResCodecVariant variant;
  const char* description;
};

/// Number of variants.
inline constexpr std::size_t kVariants = 4;

/// Returns all variants in the order of their data rates.
std::span<const Variant, kVariants> Variants();
/// Returns the variant of that name in caps, or null.
const Variant* FindVariant(const char* name);

/// A pixel format that the elements take.
struct RawFormat {
  GstVideoFormat format;
  vix::FourCC fourcc;
  const char* name;  ///< in caps
};

/// Returns all pixel formats, the preferred one first.
std::span<const RawFormat> RawFormats();
/// Returns the pixel format, or null.
const RawFormat* FindRawFormat(GstVideoFormat format);

/// Returns true if the caps state the field.
bool States(const GstCaps* caps, const char* field);

/// Returns the caps of a pad of pictures.
/// @param leastSide smallest width and height
GstCaps* MakeRawCaps(int leastSide);
/// Returns the caps of a pad of ProRes frames.
/// @param field  that names the variant: "variant", or "format" as matroskademux 1.22 calls it
GstCaps* MakeProResCaps(const char* field = "variant");

/// Returns the labels that caps state, for the headers of frames. Pictures of interlaced caps
/// without field order state it by their flags.
vix::ProResLabels LabelsOf(const GstVideoInfo& info, GstBuffer* picture);

/// Returns the description of a stream of raw pictures.
std::shared_ptr<const vix::IInfoContainer> DescribeRaw(const GstVideoInfo& info);
/// Returns the description of a ProRes stream of which `header` is a frame.
std::shared_ptr<const vix::IInfoContainer> DescribeProRes(const vix::ProResFrameHeader& header);

/// Adds to the description of decoded pictures what the caps of the ProRes stream leave open.
/// @param caps  of the ProRes stream; `info` already has what they state
void CompleteInfo(const GstCaps* caps, const vix::ProResLabels& labels, GstVideoInfo& info);

/// Returns the interlace mode of the pictures: that of the caps, otherwise that of the frame.
GstVideoInterlaceMode InterlaceModeOf(const GstCaps* caps, const GstVideoInfo& stated,
                                      const vix::ProResLabels& labels);

/// Returns the time of that many frames; 25 frames per second if the rate is unknown.
GstClockTime TimeOfFrames(std::size_t frames, const GstVideoInfo& info);

}  // namespace vixgst

#endif  // GSTREAMER_FORMATS_H
