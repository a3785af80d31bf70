// SPDX-License-Identifier: BSD-2-Clause
#include <charconv>

#include "base/Errors.h"
#include "cli/TranscodeOptions.h"
#include "format/StreamFormat.h"
#include "format/Values.h"

namespace vixprores {
namespace {

constexpr int kMostVideoTracks = 1000;

PictureScale ParseScale(const std::string& text) {
  if (text.starts_with("1/")) {
    const auto divisor = ParseNumber(std::string_view(text).substr(2), 16);
    if (divisor && *divisor > 0) return {0, 0, static_cast<std::uint32_t>(*divisor)};
    throw UsageError("--scale: invalid part '" + text + "'; write 1/2 up to 1/16, or WxH");
  }
  try {
    const PictureSize size = ParsePictureSize(text);
    return {size.width, size.height, 1};
  } catch (const UsageError& error) {
    throw UsageError(error.what() + std::string("; or a part such as 1/2"));
  }
}

double ParseLuminance(const std::string& text) {
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc() && stop == text.data() + text.size() && value >= 1 && value <= 10000) {
    return value;
  }
  throw UsageError("--peak-luminance: invalid value '" + text + "'; write 1 to 10000 cd/m2");
}

std::size_t ParseTrack(const std::string& text) {
  const auto number = ParseNumber(text, kMostVideoTracks);
  if (number && *number > 0) return static_cast<std::size_t>(*number - 1);
  throw UsageError("--video-track: invalid number '" + text + "'; write 1 for the first track");
}

}  // namespace

OptionGroup FootageGroup(FootageReading& reading) {
  Option filter = Text("--filter", "GRAPH", reading.filter, "apply filters of libavfilter");
  filter.details =
      "The graph has one input and one output of pictures: 'crop=1920:800', 'lut3d=show.cube', "
      "'drawtext=text=%{pts}'. Filters see the times and numbers of the whole input, whatever "
      "--frames selects. They cannot open other inputs or network addresses.";
  Option scale = Parsed("--scale", "WxH|1/N", reading.scale, ParseScale,
                        "scale to a size, or to a part such as 1/2");
  scale.details =
      "With a cubic spline over six samples; interlaced pictures field by field. The pixel aspect "
      "changes so that pictures keep their shape.";
  Option deinterlace =
      Choice<Deinterlacing>("--deinterlace", "WHAT", reading.deinterlacing,
                            {{"frames", Deinterlacing::Frames}, {"fields", Deinterlacing::Fields}},
                            "make progressive pictures of frames or of fields");
  deinterlace.details = "With libavfilter's bwdif. 'fields' doubles the rate.";
  Option rate = Parsed("--convert-rate", "N[/D]", reading.convertRate, ParseRate,
                       "repeat and drop frames to keep this rate");
  rate.details =
      "Every frame shows the last picture whose time, rounded to whole frames, is not after it; "
      "the "
      "sound stays in sync. A note states how many were repeated and dropped. --rate keeps all "
      "frames instead and changes their times.";
  Option colour = Text("--convert-color", "NAME", reading.convertColour,
                       "convert to bt709, bt2020, bt2020-pq or bt2020-hlg");
  colour.choices = {"bt709", "bt2020", "bt2020-pq", "bt2020-hlg"};
  colour.details =
      "In linear light. PQ or HLG to bt709 or bt2020 needs --peak-luminance: what is brighter is "
      "clipped.";
  Option peak = Parsed("--peak-luminance", "CD", reading.peakLuminance, ParseLuminance,
                       "luminance of HDR that is white in SDR, in cd/m2");
  Option track = Parsed("--video-track", "N", reading.videoTrack, ParseTrack,
                        "video track to take, from 1 [1]");
  return {"Pictures (not of raw frames; of images only --scale and --no-rotate)",
          {scale, deinterlace, filter, rate, colour, peak, track,
           Flag("--no-rotate", reading.keepsRotation,
                "leave rotation and mirroring to players, as labels")}};
}

}  // namespace vixprores
