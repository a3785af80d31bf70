// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_Y4MWRITER_H
#define TOOL_Y4MWRITER_H

#include <vector>

#include "FrameWriter.h"

namespace vixprores {

/// Writes a Y4M stream of planar 4:2:2 pictures.
class Y4mWriter : public FrameWriter {
 public:
  Y4mWriter(OutputFile& file, const StreamFormat& stream);

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void Finish() override {}

 private:
  OutputFile& file_;
  StreamFormat stream_;
  std::vector<std::uint8_t> planar_;
};

}  // namespace vixprores

#endif  // TOOL_Y4MWRITER_H
