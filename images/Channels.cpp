// SPDX-License-Identifier: BSD-2-Clause
#include "Channels.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace vixprores::images {

using OIIO::ImageSpec;

ColourChannels FindColour(const ImageSpec& spec) {
  const int red = spec.channelindex("R");
  const bool isRgb = red >= 0 && red + 2 < spec.nchannels && spec.channel_name(red + 1) == "G" &&
                     spec.channel_name(red + 2) == "B";
  if (isRgb) return {red, 3};
  const bool hasChroma = spec.channelindex("RY") >= 0;
  const int luma = spec.channelindex("Y");
  if (luma >= 0 && !hasChroma) return {luma, 1};
  if (spec.nchannels <= 2 && !hasChroma) return {0, 1};
  std::string names;
  for (const std::string& name : spec.channelnames) names += (names.empty() ? "" : ", ") + name;
  throw std::runtime_error("has no channels R, G, B (found " + names + ")");
}

int FindAlpha(const ImageSpec& spec) {
  if (spec.alpha_channel >= 0) return spec.alpha_channel;
  if (!spec.find_attribute("tiff:PhotometricInterpretation")) return -1;
  const ColourChannels colour = FindColour(spec);
  const int next = colour.begin + colour.count;
  return next + 1 == spec.nchannels ? next : -1;
}

ChannelSelection SelectChannels(const ImageSpec& spec, int channels) {
  const ColourChannels colour = FindColour(spec);
  const int alpha = channels == 4 ? FindAlpha(spec) : -1;
  const int begin = alpha >= 0 ? std::min(colour.begin, alpha) : colour.begin;
  const int end = std::max(colour.begin + colour.count, alpha + 1);
  ChannelSelection selection{begin, end - begin, {}};
  for (int c = 0; c < 3; ++c) {
    selection.places.at(static_cast<std::size_t>(c)) = colour.begin - begin + c % colour.count;
  }
  selection.places[3] = alpha >= 0 ? alpha - begin : -1;
  return selection;
}

}  // namespace vixprores::images
