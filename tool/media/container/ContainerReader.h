// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERREADER_H
#define TOOL_MEDIA_CONTAINER_CONTAINERREADER_H

#include <memory>
#include <utility>

#include "media/FrameReader.h"
#include "media/container/ContainerTrack.h"

namespace vixprores {

/// What the readers of containers share: the video track of one.
class ContainerReader : public FrameReader {
 public:
  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return track_.GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override { return track_.GetFrameCount(); }
  bool ReadsFrom(const std::string& path) const override { return track_.IsSameFile(path); }
  std::optional<StreamFormat> GetContainerFormat() const override { return track_.GetFormat(); }
  std::optional<Timecode> GetTimecode() const override { return track_.GetTimecode(); }
  std::optional<std::int64_t> GetFrameOffset() const override { return track_.GetLastOffset(); }
  std::string GetFrameFault() const override { return track_.GetLastFault(); }
  std::int64_t CountUnevenFrames() const override { return track_.CountUnevenFrames(); }
  SideTracks* GetSideTracks() override { return &track_; }
  std::string GetNote() const override { return track_.GetNote(); }
  std::string GetTimecodeNote() const override { return track_.GetTimecodeNote(); }
  void CheckFramesInUse() const override { track_.CheckFramesInUse(); }

 protected:
  explicit ContainerReader(std::unique_ptr<InputFile> file) : track_(std::move(file)) {}

  ContainerTrack track_;
  StreamFormat format_;  ///< to be set by the reader
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERREADER_H
