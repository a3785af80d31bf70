// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_PRORESREADER_H
#define TOOL_CONTAINER_PRORESREADER_H

#include "container/ContainerTrack.h"
#include "io/FrameReader.h"

namespace vixprores {

/// Reads the ProRes frames of a container. The buffers are the container library's own packets.
class ProResReader : public FrameReader {
 public:
  /// @param sameScan refuses frames that are not scanned as the first one
  ProResReader(std::unique_ptr<InputFile> file, bool sameScan);

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return track_.GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override { return track_.GetFrameCount(); }
  bool ReadsFrom(const std::string& path) const override { return track_.IsSameFile(path); }
  std::optional<StreamFormat> GetContainerFormat() const override { return container_; }
  std::optional<std::int64_t> GetFrameOffset() const override { return offset_; }
  std::string GetNote() const override { return track_.GetNote(); }
  std::shared_ptr<vix::IBuffer> Read() override;

 private:
  void CheckFrame(const vix::IBuffer& frame) const;

  ContainerTrack track_;
  bool sameScan_;
  StreamFormat container_;  ///< as the container alone says
  StreamFormat format_;
  std::optional<std::int64_t> offset_;
  std::shared_ptr<vix::IBuffer> first_;  ///< until Read() hands it out
};

}  // namespace vixprores

#endif  // TOOL_CONTAINER_PRORESREADER_H
