// SPDX-License-Identifier: BSD-2-Clause
#include "Y4mWriter.h"

#include <span>
#include <string>
#include <string_view>

#include "PlanarPicture.h"
#include "Y4mHeader.h"

namespace vixprores {
namespace {

void WriteText(OutputFile& file, std::string_view text) {
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  file.Write(bytes);
}

}  // namespace

Y4mWriter::Y4mWriter(OutputFile& file, const StreamFormat& stream)
    : file_(file), stream_(stream), planar_(PlanarBytes(stream)) {
  WriteText(file_, MakeY4mHeader(stream_));
}

void Y4mWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  const auto buffer = frame->GetBuffer();
  UnpackPicture(stream_, std::span(buffer->GetData(), buffer->GetSize()), planar_);
  WriteText(file_, std::string(kY4mFrameMagic) + "\n");
  file_.Write(planar_);
}

}  // namespace vixprores
