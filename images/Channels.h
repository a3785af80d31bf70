// SPDX-License-Identifier: BSD-2-Clause
#ifndef IMAGES_CHANNELS_H
#define IMAGES_CHANNELS_H

#include <OpenImageIO/imageio.h>

#include <array>

namespace vixprores::images {

/// The channels of colour of a file.
struct ColourChannels {
  int begin;
  int count;  ///< three of colour, or one of grey
};

/// Consecutive channels of a file that are read, and where those wanted are among them.
struct ChannelSelection {
  int begin;
  int count;
  std::array<int, 4> places;  ///< of R, G, B and alpha; -1 = opaque
};

/// @throws std::runtime_error if there are none
ColourChannels FindColour(const OIIO::ImageSpec& spec);

/// Returns the channel of alpha; -1 = none. In a .tif, a single channel after the colours is alpha
/// even if the file does not specify it, as image editors write it; the library takes it for none.
/// @throws std::runtime_error if there are no channels of colour
int FindAlpha(const OIIO::ImageSpec& spec);

/// @param channels wanted: 3, or 4 with alpha
ChannelSelection SelectChannels(const OIIO::ImageSpec& spec, int channels);

}  // namespace vixprores::images

#endif  // IMAGES_CHANNELS_H
