// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_PICTURESOURCE_H
#define TOOL_RUN_PICTURESOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "format/FramePlace.h"
#include "media/RangeReader.h"
#include "run/Elements.h"

namespace vixprores {

/// The fault of a frame that was decoded nevertheless.
struct DamagedPicture {
  FramePlace place;
  std::string what;  ///< to follow its place
};

/// Returns text like "frame 17 (10:00:00:17) at byte 12345: has 2 damaged slices, which are
/// concealed".
std::string Describe(const DamagedPicture& damaged);

/// An uncompressed picture.
struct DecodedPicture {
  std::shared_ptr<const vix::IBuffer> bytes;
  std::optional<DamagedPicture> damage;
};

/// Returns the frames of a video, ProRes or not, as uncompressed pictures. Requires the plug-in.
class PictureSource {
 public:
  /// @param shares threads of the decoders; `shares.elements` workers may decode at once
  PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares);

  FrameReader& GetReader() const { return *reader_; }
  /// Returns the format of the file.
  const StreamFormat& GetStreamFormat() const { return reader_->GetFormat(); }
  /// Returns the format of the pictures: "V210" for ProRes.
  const StreamFormat& GetPictureFormat() const { return format_; }
  bool IsProRes() const { return decoders_.has_value(); }

  /// Returns the packed picture of a frame. May be called for different workers at once.
  /// @throws Failure that names the input, the frame and its fault, if it cannot be decoded
  DecodedPicture Decode(const NumberedFrame& frame, unsigned worker);

 private:
  FramePlace PlaceOf(const NumberedFrame& frame) const;

  std::unique_ptr<FrameReader> reader_;
  FrameConversion convert_;
  StreamFormat format_;
  std::optional<ElementTeam> decoders_;  ///< of ProRes
};

}  // namespace vixprores

#endif  // TOOL_RUN_PICTURESOURCE_H
