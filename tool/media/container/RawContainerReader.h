// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H
#define TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H

#include "media/container/ContainerReader.h"

namespace vixprores {

/// Reads packed uncompressed 4:2:2 video from a container. The buffers are the container library's
/// own packets.
class RawContainerReader : public ContainerReader {
 public:
  explicit RawContainerReader(std::unique_ptr<InputFile> file,
                              FrameTimes times = FrameTimes::Checked);

  void CheckTimes(std::int64_t last) const override { track_.CheckIndexedTimes(last); }
  std::shared_ptr<vix::IBuffer> Read() override;
  bool SkipTo(std::int64_t frame) override { return track_.SkipTo(frame); }

 private:
  std::uint32_t frameBytes_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_RAWCONTAINERREADER_H
