// SPDX-License-Identifier: BSD-2-Clause
#include "io/FrameWriter.h"

#include "container/ContainerWriter.h"
#include "io/HeadlessWriter.h"
#include "io/Y4mWriter.h"

namespace vixprores {

std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const StreamFormat& stream) {
  switch (output.kind) {
    case OutputKind::Y4m:
      return std::make_unique<Y4mWriter>(file, stream);
    case OutputKind::Container:
      return std::make_unique<ContainerWriter>(file, output, stream);
    default:
      return std::make_unique<HeadlessWriter>(file);
  }
}

}  // namespace vixprores
