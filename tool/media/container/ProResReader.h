// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_PRORESREADER_H
#define TOOL_MEDIA_CONTAINER_PRORESREADER_H

#include <deque>
#include <exception>

#include "bitstream/FrameHeader.h"
#include "media/container/BareFrames.h"
#include "media/container/ContainerReader.h"

namespace vixprores {

/// Reads the ProRes frames of a container. The buffers are the container library's own packets, but
/// for bare samples, which are made frames of the standard layout.
class ProResReader : public ContainerReader {
 public:
  ProResReader(std::unique_ptr<InputFile> file, const ProResOptions& options);

  std::optional<std::int64_t> GetFrameCount() const override;
  std::optional<StreamFormat> GetContainerFormat() const override { return container_; }
  std::optional<Timecode> GetTimecode() const override;
  std::optional<std::int64_t> GetFrameOffset() const override { return offset_; }
  std::string GetFrameFault() const override { return fault_; }
  std::string GetNote() const override;
  std::shared_ptr<vix::IBuffer> Read() override;
  bool SkipTo(std::int64_t frame) override;

 private:
  /// What reading came to: a sample or a frame, none at the end, or a failure.
  struct Outcome {
    std::shared_ptr<vix::IBuffer> bytes;
    std::optional<std::int64_t> offset;
    std::string fault;
    std::exception_ptr failure;
    std::int64_t number = 0;  ///< of a frame

    bool IsEnd() const { return !bytes && !failure; }
  };

  Outcome ReadTrack();
  Outcome TakeSample();
  Outcome ReadFrame();
  Outcome JoinFields(Outcome frame);
  void ChooseLayout();
  prores::FrameHeader FindHeader(bool damagedStart);
  void CheckFrame(const Outcome& frame) const;

  HeaderDemands demands_;
  SampleLayout layout_ = SampleLayout::Standard;
  BareFrames bareFrames_;
  StreamFormat container_;       ///< as the container alone says
  std::deque<Outcome> samples_;  ///< read ahead to choose the layout
  std::deque<Outcome> frames_;   ///< read ahead to find a header
  std::int64_t framesRead_ = 0;  ///< of the track
  std::optional<std::int64_t> offset_;
  std::string fault_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_PRORESREADER_H
