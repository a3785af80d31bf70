// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_RAWCONTAINERREADER_H
#define TOOL_CONTAINER_RAWCONTAINERREADER_H

#include "container/ContainerTrack.h"
#include "io/FrameReader.h"

namespace vixprores {

/// Reads packed uncompressed 4:2:2 video from a container. The buffers are the container library's
/// own packets.
class RawContainerReader : public FrameReader {
 public:
  explicit RawContainerReader(std::unique_ptr<InputFile> file);

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return track_.GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override { return track_.GetFrameCount(); }
  bool ReadsFrom(const std::string& path) const override { return track_.IsSameFile(path); }
  std::string GetNote() const override { return track_.GetNote(); }
  std::shared_ptr<vix::IBuffer> Read() override;

 private:
  ContainerTrack track_;
  StreamFormat format_;
  std::uint32_t frameBytes_;
};

}  // namespace vixprores

#endif  // TOOL_CONTAINER_RAWCONTAINERREADER_H
