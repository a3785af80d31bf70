// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/RawContainerReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Errors.h"
#include "format/InputFormat.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

namespace vixprores {
namespace {

// Four-character codes of containers for bytes in the order U Y V Y.
constexpr vix::FourCC kUyvyTags[] = {vix::kFourCC_UYVY, vix::MakeFourCC("2vuy"),
                                     vix::MakeFourCC("HDYC"), vix::MakeFourCC("UYNV")};

std::string DescribePictures(const AVCodecParameters& parameters) {
  if (parameters.codec_id != AV_CODEC_ID_RAWVIDEO) {
    return std::string(avcodec_get_name(parameters.codec_id)) + " video";
  }
  const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format));
  if (name) return std::string("uncompressed pictures of type ") + name;
  if (parameters.codec_tag == 0) return "uncompressed pictures of unknown type";
  return "uncompressed pictures with the code " + DescribeCode(parameters.codec_tag);
}

bool IsRgb(const AVCodecParameters& parameters) {
  if (parameters.codec_id != AV_CODEC_ID_RAWVIDEO) return false;
  // Bitmaps in an .avi have a depth instead of a code.
  if (parameters.codec_tag == 0) return parameters.bits_per_coded_sample > 0;
  const std::string code = DescribeCode(parameters.codec_tag);
  return code == "raw " || code.starts_with("RGB") || code.starts_with("BGR");
}

// Without these filters the conversion would use the standard-definition matrix, or mix the fields.
std::string ConversionFilters(const AVCodecParameters& parameters, const StreamFormat& format) {
  if (IsRgb(parameters)) return "scale=out_color_matrix=bt709:out_range=tv,format=yuv422p10le";
  if (format.fieldOrder == FieldOrder::TopFirst) return "scale=interl=1,format=yuv422p10le";
  if (format.fieldOrder == FieldOrder::BottomFirst) {
    return "scale=interl=1,format=yuv422p10le,fieldorder=tff";
  }
  return {};
}

vix::FourCC FindPackedFormat(const AVCodecParameters& parameters) {
  if (parameters.codec_id == AV_CODEC_ID_V210) return vix::kFourCC_V210;
  if (parameters.codec_id != AV_CODEC_ID_RAWVIDEO) return 0;
  const bool isUyvy = parameters.format == AV_PIX_FMT_UYVY422 ||
                      std::ranges::find(kUyvyTags, parameters.codec_tag) != std::end(kUyvyTags);
  return isUyvy ? vix::kFourCC_UYVY : 0;
}

vix::FourCC RequirePackedFormat(const ContainerTrack& track) {
  const AVCodecParameters& parameters = track.GetParameters();
  if (const vix::FourCC code = FindPackedFormat(parameters)) return code;
  if (parameters.codec_id == AV_CODEC_ID_PRORES) {
    throw Failure(track.GetName() + ": is ProRes already; 'vixprores decode' unpacks it");
  }
  RefuseUnconverted(track.GetName(), DescribePictures(parameters),
                    ConversionFilters(parameters, track.GetFormat()));
}

}  // namespace

RawContainerReader::RawContainerReader(std::unique_ptr<InputFile> file, FrameTimes times)
    : track_(std::move(file), times) {
  description_ = track_.GetDescription();
  description_.format.code = RequirePackedFormat(track_);
  frameBytes_ = GetFormat().FrameBytes();
  track_.KeepFramesInPlace();
}

std::optional<NumberedFrame> RawContainerReader::Read() {
  auto frame = track_.Read();
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
