// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/RawContainerReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "format/InputFormat.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

// Four-character codes of containers for packed pictures.
struct Tag {
  vix::FourCC tag;
  vix::FourCC packed;
};
constexpr Tag kTags[] = {{vix::kFourCC_UYVY, vix::kFourCC_UYVY},
                         {vix::MakeFourCC("2vuy"), vix::kFourCC_UYVY},
                         {vix::MakeFourCC("HDYC"), vix::kFourCC_UYVY},
                         {vix::MakeFourCC("UYNV"), vix::kFourCC_UYVY},
                         {vix::MakeFourCC("b64a"), vix::kFourCC_b64A}};

}  // namespace

vix::FourCC FindPackedFormat(const AVCodecParameters& parameters) {
  if (parameters.codec_id == AV_CODEC_ID_V210) return vix::kFourCC_V210;
  if (parameters.codec_id != AV_CODEC_ID_RAWVIDEO) return 0;
  if (parameters.format == AV_PIX_FMT_UYVY422) return vix::kFourCC_UYVY;
  const auto* const found = std::ranges::find(kTags, parameters.codec_tag, &Tag::tag);
  return found == std::end(kTags) ? 0 : found->packed;
}

RawContainerReader::RawContainerReader(std::unique_ptr<Demuxer> demuxer, FrameTimes times)
    : track_(std::move(demuxer), times) {
  description_ = track_.GetDescription();
  StreamFormat& format = description_.format;
  CheckPictureSize(GetName(), format.width, format.height);
  format.code = FindPackedFormat(track_.GetParameters());
  format.is444 = IsOf4444(format.code);
  format.alphaBits = format.is444 ? kPackedAlphaBits : 0;
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
