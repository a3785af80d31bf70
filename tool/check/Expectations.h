// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_EXPECTATIONS_H
#define TOOL_CHECK_EXPECTATIONS_H

/// @file
/// Properties that a delivery must have.

#include <cstdint>
#include <string>
#include <vector>

#include "media/FrameReader.h"

namespace vixprores {

/// A property and the value that it must have.
struct Expectation {
  std::string property;
  std::string value;  ///< in the notation of the reports; a range of numbers is "A-B"
};

/// An expectation that a file does not meet.
struct Shortfall {
  std::string property;
  std::string found;
  std::string expected;
};

/// Parses "PROPERTY=VALUE" items between commas or newlines. Ignores lines that begin with '#'.
/// @throws UsageError that names an unknown property or an invalid value
std::vector<Expectation> ParseExpectations(const std::string& text);

/// Returns the names of all properties.
std::vector<std::string> ExpectedProperties();

/// Returns the expectations that the reader's input does not meet, in their order.
/// @param frames number of frames of the input
std::vector<Shortfall> FindShortfalls(const std::vector<Expectation>& expectations,
                                      FrameReader& reader, std::int64_t frames);

}  // namespace vixprores

#endif  // TOOL_CHECK_EXPECTATIONS_H
