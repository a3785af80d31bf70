// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_Y4MWRITER_H
#define TOOL_MEDIA_RAW_Y4MWRITER_H

#include "base/FramePool.h"
#include "media/FrameWriter.h"

namespace vixprores {

/// Writes a Y4M stream of planar 4:2:2 pictures.
class Y4mWriter : public FrameWriter {
 public:
  Y4mWriter(OutputFile& file, const StreamFormat& stream);

  /// A buffer that holds the header line of a frame and the planar picture.
  std::shared_ptr<const vix::IVideoSample> Pack(
      std::shared_ptr<const vix::IVideoSample> frame) const override;
  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void Finish() override {}

 private:
  OutputFile& file_;
  StreamFormat stream_;
  std::uint32_t planarBytes_;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_Y4MWRITER_H
