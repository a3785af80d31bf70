// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/HeadlessWriter.h"

#include <span>

namespace vixprores {

void HeadlessWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  const auto buffer = frame->GetBuffer();
  file_.Write(std::span(buffer->GetData(), buffer->GetSize()));
}

}  // namespace vixprores
