// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_STREAMSHAPE_H
#define CORE_DRIVER_STREAMSHAPE_H

/// @file
/// The properties of a stream that fix the memory of its pictures, as its description and its
/// frames state them.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "driver/ElementLimits.h"
#include "vix/Buffers.h"
#include "vix/Error.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// Size, scan mode and chroma of a stream.
struct StreamShape {
  std::uint32_t width = 0;   ///< pixels
  std::uint32_t height = 0;  ///< rows of the frame
  ScanMode scanMode = ScanMode::Progressive;
  std::int32_t chroma = 0;  ///< a VideoChroma; 0 = not stated

  /// Returns true if both agree in all that both state.
  bool Matches(const StreamShape& other) const;
  /// Returns for example "1920x1080 interlaced 4:2:2".
  std::string GetText() const;
};

StreamShape ShapeOf(const IVideoParameters& parameters);

/// Sets the properties of `shape` in a description.
void SetShape(const StreamShape& shape, IVideoParameters& parameters);

/// What the header of a ProRes frame says.
struct FrameShape {
  StreamShape shape;
  std::optional<FieldOrder> fieldOrder = std::nullopt;  ///< of an interlaced frame
  const char* refusal = nullptr;  ///< why the element does not support the frame; null = it does
  std::uint32_t stated = 0;       ///< bytes of the frame according to its prefix; 0 = none
};

/// Reads the header of a frame in either layout.
/// @throws VIXError without the name of an element: Truncated, Damaged or Unsupported
FrameShape ReadFrameShape(std::span<const std::uint8_t> frame, const ElementLimits& limits);

/// Rejects a description of frames that a decoder could not process: sizes, scan modes, edit rates.
/// @throws VIXError without the name of an element: BadArgument
void CheckDescription(const IVideoParameters& parameters);
/// Rejects a description of pictures that an encoder could not process: also pixel formats and
/// heights of interlaced pictures.
/// @throws VIXError without the name of an element: BadArgument or Unsupported
void CheckSource(const IVideoParameters& parameters, const ElementLimits& limits);

/// Returns a copy of a description.
std::shared_ptr<IVideoParameters> CopyOf(const std::shared_ptr<const IVideoParameters>& parameters);

}  // namespace vix

#endif  // CORE_DRIVER_STREAMSHAPE_H
