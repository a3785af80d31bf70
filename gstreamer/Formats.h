// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_FORMATS_H
#define GSTREAMER_FORMATS_H

/// @file
/// Caps of GStreamer in the terms of the elements, and back.

#include <gst/video/video.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Host.h"
#include "vix/Parameters.h"
#include "vix/ProResFrame.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vixgst {

/// A variant and its name in caps of "video/x-prores".
struct Variant {
  const char* name;
  const char* description;
  Implementation implementation;                                  ///< whose encoder makes it
  void (*configure)(vix::IParametersCollectionInstance& config);  ///< sets it for that encoder
};

/// Number of variants.
inline constexpr std::size_t kVariants = 6;

/// Returns all variants in the order of their data rates.
std::span<const Variant, kVariants> Variants();
/// Returns the variant of the implementation that is encoded unless another one is wanted.
const Variant& UsualVariant(Implementation implementation);

/// A pixel format that the elements take.
struct RawFormat {
  GstVideoFormat format;
  vix::FourCC fourcc;
  const char* name;  ///< in caps
  Implementation implementation;
};

/// Returns all pixel formats, the preferred one first.
std::span<const RawFormat> RawFormats();
/// Returns the pixel format, or null.
const RawFormat* FindRawFormat(GstVideoFormat format);

/// Returns true if a pad that allows these caps (null = every) takes the variant or the format.
/// @{
bool Accepts(const GstCaps* allowed, const Variant& variant);
bool Accepts(const GstCaps* allowed, const RawFormat& format);
/// @}

/// Returns true if the caps state the field.
bool States(const GstCaps* caps, const char* field);

/// Returns true for an implementation whose formats or variants a pad offers.
using IsOffered = std::function<bool(Implementation)>;
/// Offers all.
inline bool OffersAll(Implementation /*implementation*/) {
  return true;
}

/// Smallest width and height of pictures.
/// @{
inline constexpr int kLeastEncodedSide = 2;
inline constexpr int kLeastDecodedSide = 1;
/// @}

/// Returns the caps of a pad of pictures.
/// @param leastSide smallest width and height
GstCaps* MakeRawCaps(int leastSide, const IsOffered& isOffered = OffersAll);
/// Returns the caps of the encoder's frames.
GstCaps* MakeEncodedCaps();
/// Returns the caps of the frames that the decoder takes.
GstCaps* MakeDecodableCaps(const IsOffered& isOffered = OffersAll);

/// Returns the description of the pictures of caps with the colorimetry that their frames have. It
/// is the same except for RGB, whose frames are YCbCr: their matrix is that of the caps if they
/// state one that the codec converts with, otherwise the codec's default.
GstVideoInfo CodedInfo(const GstVideoCodecState& state);

/// Returns the labels that caps state, for the headers of frames. Pictures of interlaced caps
/// without field order state it by their flags.
/// @param info returned by CodedInfo()
vix::ProResLabels LabelsOf(const GstVideoInfo& info, GstBuffer* picture);

/// Returns the description of a stream of raw pictures.
/// @param info returned by CodedInfo()
std::shared_ptr<const vix::IInfoContainer> DescribeRaw(const GstVideoInfo& info);
/// Returns the description of a ProRes stream of which `header` is a frame.
std::shared_ptr<const vix::IInfoContainer> DescribeProRes(const vix::ProResFrameHeader& header);

/// Sets the matrix that the caps of a ProRes stream state, if the header of a frame states none.
void CompleteMatrix(const GstVideoCodecState& stream, vix::ProResLabels& labels);

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
