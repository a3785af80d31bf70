// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_PRORESREADER_H
#define TOOL_CONTAINER_PRORESREADER_H

#include "container/ContainerReader.h"

namespace vixprores {

/// Reads the ProRes frames of a container. The buffers are the container library's own packets.
class ProResReader : public ContainerReader {
 public:
  /// @param sameScan refuses frames that are not scanned as the first one
  ProResReader(std::unique_ptr<InputFile> file, bool sameScan);

  std::optional<StreamFormat> GetContainerFormat() const override { return container_; }
  std::optional<std::int64_t> GetFrameOffset() const override { return offset_; }
  std::shared_ptr<vix::IBuffer> Read() override;

 private:
  void CheckFrame(const vix::IBuffer& frame) const;

  bool sameScan_;
  StreamFormat container_;  ///< as the container alone says
  std::optional<std::int64_t> offset_;
  std::shared_ptr<vix::IBuffer> first_;  ///< until Read() hands it out
};

}  // namespace vixprores

#endif  // TOOL_CONTAINER_PRORESREADER_H
