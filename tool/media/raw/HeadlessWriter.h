// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_HEADLESSWRITER_H
#define TOOL_MEDIA_RAW_HEADLESSWRITER_H

#include "media/FrameWriter.h"

namespace vixprores {

/// Writes frames one behind the other with nothing around them.
class HeadlessWriter : public FrameWriter {
 public:
  explicit HeadlessWriter(OutputFile& file) : file_(file) {}

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void Finish() override {}

 private:
  OutputFile& file_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_HEADLESSWRITER_H
