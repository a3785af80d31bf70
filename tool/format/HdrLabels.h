// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_HDRLABELS_H
#define TOOL_FORMAT_HDRLABELS_H

/// @file
/// Static metadata of HDR video: SMPTE ST 2086 and CTA-861.3.

#include <cstdint>
#include <string>

namespace vixprores {

/// Units in 1, and in 1 cd/m2.
inline constexpr int kChromaticityUnits = 50000;
inline constexpr int kLuminanceUnits = 10000;

/// Place in the CIE 1931 diagram, in units of 0.00002.
struct Chromaticity {
  std::uint16_t x = 0;
  std::uint16_t y = 0;

  friend bool operator==(const Chromaticity&, const Chromaticity&) = default;
};

/// Display on which the video was graded.
struct MasteringDisplay {
  Chromaticity green, blue, red, white;
  std::uint32_t maxLuminance = 0;  ///< in 0.0001 cd/m2
  std::uint32_t minLuminance = 0;  ///< in 0.0001 cd/m2

  friend bool operator==(const MasteringDisplay&, const MasteringDisplay&) = default;
};

/// Light levels of the video in cd/m2.
struct ContentLight {
  std::uint16_t maxPixel = 0;         ///< MaxCLL
  std::uint16_t maxFrameAverage = 0;  ///< MaxFALL

  friend bool operator==(const ContentLight&, const ContentLight&) = default;
};

/// Parse and return "G(x,y)B(x,y)R(x,y)WP(x,y)L(max,min)" and "MAXCLL,MAXFALL" with whole numbers
/// in the units above.
/// @throws UsageError for other texts
MasteringDisplay ParseMasteringDisplay(const std::string& text);
ContentLight ParseContentLight(const std::string& text);
std::string Describe(const MasteringDisplay& display);
std::string Describe(const ContentLight& light);

}  // namespace vixprores

#endif  // TOOL_FORMAT_HDRLABELS_H
