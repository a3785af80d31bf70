// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_FOOTAGEREADING_H
#define TOOL_MEDIA_DECODE_FOOTAGEREADING_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "format/FramePlace.h"
#include "format/StreamFormat.h"
#include "media/decode/PictureScale.h"

namespace vixprores {

/// What becomes of interlaced pictures.
enum class Deinterlacing {
  None,    ///< they stay interlaced
  Frames,  ///< a progressive picture for each
  Fields,  ///< a progressive picture for each field, at twice the rate
};

/// How video is decoded and brought to the right picture. Set values replace what the input states.
struct FootageReading {
  FrameTimes times = FrameTimes::Checked;
  int threads = 0;                        ///< processors for the decoder; 0 = all
  std::optional<Rational> rate;           ///< pictures follow each other at it, at any times
  std::optional<std::size_t> videoTrack;  ///< place from 0; none = the first
  std::optional<std::string> filter;      ///< graph of libavfilter
  std::optional<PictureScale> scale;
  Deinterlacing deinterlacing = Deinterlacing::None;
  std::optional<Rational> convertRate;       ///< repeat and drop pictures to keep this rate
  bool keepsRotation = false;                ///< leave rotation and mirroring to players
  std::optional<std::string> convertColour;  ///< name of a preset, converted to in linear light
  double peakLuminance = 0;                  ///< in cd/m2, of the source; 0 = none
  std::optional<FieldOrder> fields;
  Colour colour;                 ///< 2 = as the input states
  bool isDeep = false;           ///< pictures become "Y416" with their alpha, instead of "V210"
  bool keepsAlpha = true;        ///< false = deep pictures become opaque, with colours as stored
  bool keepsRgb = false;         ///< packed "b64A" stays as it is; for deep pictures
  bool isPremultiplied = false;  ///< colours are stored multiplied by alpha; for deep pictures

  /// Returns true if pictures must be changed, so that even uncompressed 4:2:2 has to be decoded.
  bool ChangesPictures() const {
    return filter || scale || deinterlacing != Deinterlacing::None || convertRate || convertColour;
  }
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_FOOTAGEREADING_H
