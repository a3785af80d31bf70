// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_VIDEOSPACES_H
#define TOOL_MEDIA_SEQUENCE_VIDEOSPACES_H

#include <memory>
#include <optional>
#include <string>

#include "format/StreamFormat.h"
#include "media/sequence/ImageModule.h"

namespace vixprores {

/// Colour spaces as given on the command line.
struct ColourOptions {
  std::optional<std::string> config;  ///< none = that of the environment variable OCIO, or ours
  std::optional<std::string> input;
  std::optional<std::string> output;

  bool IsGiven() const { return config || input || output; }
};

/// Returns the spaces to convert between, if the options ask for a conversion.
/// @param videoInput colours of the input if it is a video; none = it is images, whose space must
/// be
///                   given
/// @throws UsageError if a space is missing
std::optional<ColourSpaces> ChooseSpaces(const ColourOptions& options,
                                         const std::optional<Colour>& videoInput);

/// Makes a transform. Prefixes the module's message with the name of the configuration.
std::shared_ptr<const ColourTransform> MakeColourTransform(const ColourSpaces& spaces);

/// Returns the labels of a video in that space of our own configuration; unspecified if it is no
/// video space or of another configuration.
Colour LabelsOf(const ColourSpaces& spaces, const ColourTransform& transform);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_VIDEOSPACES_H
