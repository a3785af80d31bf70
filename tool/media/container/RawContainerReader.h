// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H
#define TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/FrameReader.h"
#include "media/container/ContainerTrack.h"

namespace vixprores {

/// Returns the code of packed 4:2:2 pictures that elements accept as they are stored; 0 = other
/// ones.
vix::FourCC FindPackedFormat(const AVCodecParameters& parameters);

/// Reads packed uncompressed 4:2:2 video from a container. The buffers are the container library's
/// own packets, or stay in the file.
class RawContainerReader : public FrameReader {
 public:
  /// @param demuxer nothing must have been read from it; its first video track is packed
  RawContainerReader(std::unique_ptr<Demuxer> demuxer, FrameTimes times);

  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override { return track_.SkipTo(frame); }
  void CheckRange(const FrameRange& range) const override { track_.CheckIndexedTimes(range.last); }
  SideTracks* GetSideTracks() override { return &track_; }
  bool ReadsFrom(const std::string& path) const override { return track_.IsSameFile(path); }
  void CheckFramesInUse() const override { track_.CheckFramesInUse(); }

 private:
  ContainerTrack track_;
  std::uint32_t frameBytes_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H
