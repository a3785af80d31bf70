// SPDX-License-Identifier: BSD-2-Clause
#include "container/ContainerWriter.h"

#include <memory>
#include <new>
#include <string>

#include "container/MovVendor.h"
#include "run/Errors.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/pixfmt.h>
}

namespace vixprores {
namespace {

// Who made the samples, as the frame headers of the encoder say it too.
constexpr vix::FourCC kVendor = vix::MakeFourCC("vixp");

constexpr std::int64_t kCoarsestClock = 10000;  // ticks per second

// The muxer of .mov derives the meaning "lines of both fields interleaved" from the second value
// of each pair, other muxers write down the first.
AVFieldOrder ToAvFieldOrder(FieldOrder order, bool isMov) {
  switch (order) {
    case FieldOrder::Progressive:
      return AV_FIELD_PROGRESSIVE;
    case FieldOrder::TopFirst:
      return isMov ? AV_FIELD_TB : AV_FIELD_TT;
    case FieldOrder::BottomFirst:
      return isMov ? AV_FIELD_BT : AV_FIELD_BB;
    default:
      return AV_FIELD_UNKNOWN;
  }
}

AVColorRange ToAvColorRange(ColourRange range) {
  if (range == ColourRange::Limited) return AVCOL_RANGE_MPEG;
  if (range == ColourRange::Full) return AVCOL_RANGE_JPEG;
  return AVCOL_RANGE_UNSPECIFIED;
}

// The tag is always set: muxers guess one, and take every ProRes variant for the same.
void DescribeCodec(const StreamFormat& stream, bool isMov, AVCodecParameters& parameters) {
  parameters.codec_tag = stream.code;
  if (const ProResVariant* variant = FindProResVariant(stream.code)) {
    parameters.codec_id = AV_CODEC_ID_PRORES;
    parameters.profile = variant->profile;
  } else if (stream.code == vix::kFourCC_V210) {
    parameters.codec_id = AV_CODEC_ID_V210;
    parameters.codec_tag = vix::MakeFourCC("v210");
    parameters.bits_per_coded_sample = 20;
  } else {
    parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
    parameters.format = AV_PIX_FMT_UYVY422;
    if (isMov) parameters.codec_tag = vix::MakeFourCC("2vuy");
    parameters.bits_per_coded_sample = 16;
  }
}

void DescribeStream(const StreamFormat& stream, bool isMov, AVCodecParameters& parameters) {
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  DescribeCodec(stream, isMov, parameters);
  parameters.width = static_cast<int>(stream.width);
  parameters.height = static_cast<int>(stream.height);
  parameters.sample_aspect_ratio = ToAvRational(stream.sampleAspect);
  parameters.field_order = ToAvFieldOrder(stream.fieldOrder, isMov);
  parameters.color_primaries = static_cast<AVColorPrimaries>(stream.colour.primaries);
  parameters.color_trc = static_cast<AVColorTransferCharacteristic>(stream.colour.transfer);
  parameters.color_space = static_cast<AVColorSpace>(stream.colour.matrix);
  parameters.color_range = ToAvColorRange(stream.colour.range);
}

using SharedBuffer = std::shared_ptr<const vix::IBuffer>;

void DropBuffer(void* owner, std::uint8_t* /*data*/) {
  delete static_cast<SharedBuffer*>(owner);
}

// A reference to the buffer's own bytes, which keeps the buffer.
AVBufferRef* Share(const SharedBuffer& buffer) {
  auto owner = std::make_unique<SharedBuffer>(buffer);
  AVBufferRef* const reference = av_buffer_create(buffer->GetData(), buffer->GetSize(), DropBuffer,
                                                  owner.get(), AV_BUFFER_FLAG_READONLY);
  if (!reference) throw std::bad_alloc();
  owner.release();  // NOLINT(bugprone-unused-return-value): DropBuffer() owns it now
  return reference;
}

}  // namespace

ContainerWriter::ContainerWriter(OutputFile& file, const OutputFormat& output,
                                 const StreamFormat& stream)
    : file_(file), bytes_(file), format_(stream) {
  AVFormatContext* context = nullptr;
  // The muxer is named: the work file's extension is not that of the output.
  avformat_alloc_output_context2(&context, nullptr, output.muxer, nullptr);
  if (!context) throw std::bad_alloc();
  context_.reset(context);
  context_->pb = bytes_.Get();
  AddStream(output, stream);
  WriteHeader();
}

ContainerWriter::~ContainerWriter() = default;

void ContainerWriter::AddStream(const OutputFormat& output, const StreamFormat& stream) {
  stream_ = avformat_new_stream(context_.get(), nullptr);
  if (!stream_) throw std::bad_alloc();
  const bool isMov = output.muxer == std::string("mov");
  DescribeStream(stream, isMov, *stream_->codecpar);
  stream_->sample_aspect_ratio = ToAvRational(stream.sampleAspect);
  stream_->avg_frame_rate = ToAvRational(stream.rate);
  stream_->time_base = Invert(stream.rate);
  // Becomes the name of the compressor in the sample description.
  av_dict_set(&stream_->metadata, "encoder", ("vix " + DescribeCode(stream.code)).c_str(), 0);
}

void ContainerWriter::WriteHeader() {
  // A start behind time 0 is told in ticks of this clock, whose default is too coarse for a frame.
  std::int64_t ticksPerSecond = format_.rate.numerator;
  while (ticksPerSecond < kCoarsestClock) ticksPerSecond *= 2;
  AVDictionary* options = nullptr;
  av_dict_set_int(&options, "movie_timescale", ticksPerSecond, 0);
  const int result = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  Check(result);
}

void ContainerWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  const SharedBuffer buffer = frame->GetBuffer();
  if (buffer->GetSize() > INT32_MAX) {
    throw Failure(file_.GetName() + ": frames of " + std::to_string(buffer->GetSize()) +
                  " bytes are too large for a container; write headless frames");
  }
  const vix::TimeLimits& time = frame->GetTimeLimits().front();
  const AVRational tick = Invert(time.ticksPerSecond);
  const Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  packet->buf = Share(buffer);
  packet->data = buffer->GetData();
  packet->size = static_cast<int>(buffer->GetSize());
  packet->pts = packet->dts = av_rescale_q(time.begin, tick, stream_->time_base);
  packet->duration = av_rescale_q(time.end, tick, stream_->time_base) - packet->pts;
  packet->flags = AV_PKT_FLAG_KEY;
  packet->stream_index = stream_->index;

  // Large writes go straight from the frame's memory to the file.
  context_->pb->direct = 1;
  const int result = av_interleaved_write_frame(context_.get(), packet.get());
  context_->pb->direct = 0;
  Check(result);
}

void ContainerWriter::Finish() {
  Check(av_write_trailer(context_.get()));
  avio_flush(context_->pb);
  Check(context_->pb->error);
  if (context_->oformat->name == std::string("mov")) {
    SetMovVendor(file_, stream_->codecpar->codec_tag, kVendor);
  }
}

void ContainerWriter::Check(int result) {
  bytes_.Rethrow();
  if (result < 0) {
    throw Failure(file_.GetName() +
                  ": the container cannot take the video: " + ExplainLibavError(result));
  }
}

}  // namespace vixprores
