// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/Y4mWriter.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/FramePool.h"
#include "format/PlanarPicture.h"
#include "format/Y4mHeader.h"

namespace vixprores {
Y4mWriter::Y4mWriter(OutputFile& file, const StreamFormat& stream)
    : file_(file), stream_(stream), planarBytes_(PlanarBytes(stream)) {
  const std::string header = MakeY4mHeader(stream_);
  file_.Write(std::vector<std::uint8_t>(header.begin(), header.end()));
}

std::shared_ptr<const vix::IVideoSample> Y4mWriter::Pack(
    std::shared_ptr<const vix::IVideoSample> frame) const {
  const std::string line = std::string(kY4mFrameMagic) + "\n";
  auto packed = pool_.MakeFrame(static_cast<std::uint32_t>(line.size()) + planarBytes_);
  const std::span bytes(packed->GetData(), packed->GetSize());
  std::ranges::copy(line, bytes.begin());
  UnpackPicture(stream_, BytesOf(*frame->GetBuffer()), bytes.subspan(line.size()));
  return vix::CreateVideoSample(frame->GetVideoParameters(), frame->GetVideoInfo(),
                                std::move(packed), frame->GetTimeLimits(), {});
}

void Y4mWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  file_.Write(BytesOf(*frame->GetBuffer()));
}

}  // namespace vixprores
