// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_PICTURETURN_H
#define TOOL_MEDIA_DECODE_PICTURETURN_H

#include <array>
#include <cstdint>
#include <string>

extern "C" {
#include <libavutil/frame.h>
}

namespace vixprores {

/// Rotation by quarters, mirrored or not, as cameras label their files.
struct PictureTurn {
  const char* signs;    ///< of the first four elements of the matrix, by rows
  const char* filters;  ///< of libavfilter
  bool swapsAxes;       ///< before anything is mirrored
  bool mirrorsAcross;
  bool mirrorsDown;
};

/// Returns the turn that a matrix for players stands for, in static memory; null = none.
const PictureTurn* FindTurn(const std::array<std::int32_t, 9>& matrix);

/// Returns the filters that turn pictures like that one. They do not label the chroma siting.
std::string DescribeTurn(const PictureTurn& turn, const AVFrame& picture);

/// Returns the chroma siting of that picture behind the filters.
AVChromaLocation SitingBehind(const PictureTurn& turn, const AVFrame& picture);

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_PICTURETURN_H
