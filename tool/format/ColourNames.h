// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_COLOURNAMES_H
#define TOOL_FORMAT_COLOURNAMES_H

/// @file
/// Names of the colour code points of ISO/IEC 23091-2.

#include <string>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

enum class ColourProperty { Primaries, Transfer, Matrix };

/// Returns the names of usual combinations: "bt709", "bt601-525", "bt601-625", "bt2020",
/// "bt2020-pq", "bt2020-hlg", and "unspecified".
std::vector<std::string> ColourPresets();
/// Returns the combination of that name, one of ColourPresets(), with unknown range.
Colour FindColourPreset(const std::string& name);

/// Returns the names of the code points of a property.
std::vector<std::string> ColourCodeNames(ColourProperty property);
/// Returns the code point of that name, one of ColourCodeNames().
int FindColourCode(ColourProperty property, const std::string& name);

/// Returns a code point with its name: "1 (bt709)", "unspecified", or the number alone.
std::string DescribeColourCode(ColourProperty property, int code);

/// Returns the name of the combination, "bt709", or of each code point: "bt2020/pq/9".
std::string Describe(const Colour& colour);

}  // namespace vixprores

#endif  // TOOL_FORMAT_COLOURNAMES_H
