// SPDX-License-Identifier: BSD-2-Clause
#include "media/FrameWriter.h"

#include "media/container/ContainerWriter.h"
#include "media/raw/HeadlessWriter.h"
#include "media/raw/Y4mWriter.h"

namespace vixprores {

std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const MovieContent& content) {
  switch (output.kind) {
    case OutputKind::Y4m:
      return std::make_unique<Y4mWriter>(file, content.video);
    case OutputKind::Container:
      return std::make_unique<ContainerWriter>(file, output, content);
    default:
      return std::make_unique<HeadlessWriter>(file);
  }
}

}  // namespace vixprores
