// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/RawContainerReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Errors.h"
#include "format/InputFormat.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

// Four-character codes of containers for bytes in the order U Y V Y.
constexpr vix::FourCC kUyvyTags[] = {vix::kFourCC_UYVY, vix::MakeFourCC("2vuy"),
                                     vix::MakeFourCC("HDYC"), vix::MakeFourCC("UYNV")};

}  // namespace

vix::FourCC FindPackedFormat(const AVCodecParameters& parameters) {
  if (parameters.codec_id == AV_CODEC_ID_V210) return vix::kFourCC_V210;
  if (parameters.codec_id != AV_CODEC_ID_RAWVIDEO) return 0;
  const bool isUyvy = parameters.format == AV_PIX_FMT_UYVY422 ||
                      std::ranges::find(kUyvyTags, parameters.codec_tag) != std::end(kUyvyTags);
  return isUyvy ? vix::kFourCC_UYVY : 0;
}

RawContainerReader::RawContainerReader(std::unique_ptr<Demuxer> demuxer, FrameTimes times)
    : track_(std::move(demuxer), times) {
  description_ = track_.GetDescription();
  description_.format.code = FindPackedFormat(track_.GetParameters());
  frameBytes_ = GetFormat().FrameBytes();
  track_.KeepFramesInPlace();
}

std::optional<NumberedFrame> RawContainerReader::Read() {
  auto frame = track_.Read();
  if (frame) frame->fault.clear();  // the pictures are there; tags matter where frames are coded
  if (!frame || frame->data->GetSize() == frameBytes_) return frame;
  throw FrameFailure(
      GetName(), frame->number,
      "has " + std::to_string(frame->data->GetSize()) + " bytes (" + std::to_string(frameBytes_) +
          " expected for " + DescribeSize(GetFormat().width, GetFormat().height) + " " +
          DescribeCode(GetFormat().code) + "): it is cut short, or its rows have another layout",
      "choose the frames before it with --frames, or let ffmpeg rewrite it with -c:v v210", 1,
      frame->offset);
}

}  // namespace vixprores
