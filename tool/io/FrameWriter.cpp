// SPDX-License-Identifier: BSD-2-Clause
#include "io/FrameWriter.h"

#include "container/ContainerWriter.h"
#include "io/HeadlessWriter.h"
#include "io/Y4mWriter.h"

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
