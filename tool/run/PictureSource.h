// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_PICTURESOURCE_H
#define TOOL_RUN_PICTURESOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "format/FramePlace.h"
#include "media/RangeReader.h"
#include "run/ElementTeam.h"

namespace vixprores {

/// A frame that was decoded although something is wrong with it.
struct DamagedPicture {
  FramePlace place;
  std::string what;  ///< is wrong with it, to go behind its place
};

/// "frame 17 (10:00:00:17) at byte 12345: has 2 damaged slices, which are concealed"
std::string Describe(const DamagedPicture& damaged);

/// An uncompressed picture.
struct DecodedPicture {
  std::shared_ptr<const vix::IBuffer> bytes;
  std::optional<DamagedPicture> damage;
};

/// Makes uncompressed pictures of the frames of a video, ProRes or not. Needs the plug-in.
class PictureSource {
 public:
  /// @param shares of the decoders; each picture is made by one of `shares.elements` workers
  PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares);

  FrameReader& GetReader() const { return *reader_; }
  /// What the file holds.
  const StreamFormat& GetStreamFormat() const { return reader_->GetFormat(); }
  /// What Decode() makes of it: "V210" of ProRes.
  const StreamFormat& GetPictureFormat() const { return format_; }
  bool IsProRes() const { return decoders_.has_value(); }

  /// The packed picture of a frame. May be called for different workers at once. What cannot be
  /// decoded is a Failure that names the input, the frame, and what is wrong with it.
  DecodedPicture Decode(const NumberedFrame& frame, unsigned worker);

 private:
  std::shared_ptr<const vix::IBuffer> DecodeProRes(const NumberedFrame& frame,
                                                   std::shared_ptr<vix::IBuffer> data,
                                                   unsigned worker);
  FramePlace PlaceOf(const NumberedFrame& frame) const;
  [[noreturn]] void Fail(const NumberedFrame& frame, const std::string& found) const;

  std::unique_ptr<FrameReader> reader_;
  FrameConversion convert_;
  StreamFormat format_;
  std::optional<ElementTeam> decoders_;  ///< of ProRes
};

}  // namespace vixprores

#endif  // TOOL_RUN_PICTURESOURCE_H
