// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_COLOURNAMES_H
#define TOOL_FORMAT_COLOURNAMES_H

/// @file
/// Names for the code points of ISO/IEC 23091-2 that colour is described by.

#include <string>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

enum class ColourProperty { Primaries, Transfer, Matrix };

/// Descriptions that go together: "bt709", "bt601-525", "bt601-625", "bt2020", "bt2020-pq",
/// "bt2020-hlg", and "unspecified".
std::vector<std::string> ColourPresets();
/// The preset of that name; the range is left unknown. The name must be one of ColourPresets().
Colour FindColourPreset(const std::string& name);

/// Names of the code points of a property.
std::vector<std::string> ColourCodeNames(ColourProperty property);
/// The code point of that name, which must be one of ColourCodeNames().
int FindColourCode(ColourProperty property, const std::string& name);

/// A code point with its name: "1 (bt709)", "unspecified", or the bare number.
std::string DescribeColourCode(ColourProperty property, int code);

/// "bt709" where all three go together, else each by its name or number: "bt2020/pq/9".
std::string Describe(const Colour& colour);

}  // namespace vixprores

#endif  // TOOL_FORMAT_COLOURNAMES_H
