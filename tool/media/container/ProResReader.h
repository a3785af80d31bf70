// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_PRORESREADER_H
#define TOOL_MEDIA_CONTAINER_PRORESREADER_H

#include <deque>
#include <exception>
#include <memory>
#include <optional>

#include "frames/BareFrames.h"
#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"
#include "media/container/ContainerTrack.h"

namespace vixprores {

/// Options for reading the ProRes frames of a container.
struct ProResReading {
  bool sameScan = false;  ///< a change between progressive and interlaced is a FrameFailure
  /// Search damaged frames at the start for the header that describes the stream. The damaged
  /// frames are returned nevertheless.
  bool damagedStart = false;
  FrameTimes times = FrameTimes::Checked;
  /// Leave large frames in the file, if possible (CheckFramesInUse()). Their first
  /// kLabelledBytes bytes may be changed in memory.
  bool inPlace = false;
};

/// Reads the ProRes frames of a container. The buffers are the container library's own packets,
/// except for bare samples, which become frames of the standard layout.
class ProResReader : public FrameReader {
 public:
  ProResReader(std::unique_ptr<InputFile> file, const ProResReading& reading);
  /// @param demuxer nothing must have been read from it
  ProResReader(std::unique_ptr<Demuxer> demuxer, const ProResReading& reading);

  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override;
  SideTracks* GetSideTracks() override { return &track_; }
  /// Notes a variable frame rate, if it is accepted (FrameTimes::Evident).
  std::string GetEndNote() const override;
  void CheckFramesInUse() const override { track_.CheckFramesInUse(); }
  bool ReadsFrom(const std::string& path) const override { return track_.IsSameFile(path); }

 private:
  /// Result of a read: a sample or a frame, a failure, or neither at the end.
  struct Outcome {
    std::optional<NumberedFrame> frame;
    std::exception_ptr failure;

    bool IsEnd() const { return !frame && !failure; }
  };

  Outcome ReadTrack();
  Outcome TakeSample();
  Outcome ReadFrame();
  Outcome JoinFields(Outcome first);
  void ChooseLayout();
  prores::FrameHeader FindHeader(bool damagedStart);
  void DescribeStream(const prores::FrameHeader& header);
  void CheckFrame(const NumberedFrame& frame) const;

  ContainerTrack track_;
  ProResReading reading_;
  SampleLayout layout_ = SampleLayout::Standard;
  BareFrames bareFrames_;
  std::deque<Outcome> samples_;  ///< read ahead to choose the layout
  std::deque<Outcome> frames_;   ///< read ahead to find a header
  std::int64_t framesRead_ = 0;  ///< read from the track
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_PRORESREADER_H
