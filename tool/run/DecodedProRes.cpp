// SPDX-License-Identifier: BSD-2-Clause
#include "run/DecodedProRes.h"

#include <array>
#include <new>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "base/IdleObjects.h"
#include "base/Limits.h"
#include "format/DeepPicture.h"
#include "frames/BareFrames.h"
#include "frames/FrameHeaders.h"
#include "media/container/Libav.h"
#include "media/container/TrackDescription.h"
#include "run/Elements.h"
#include "vix/PixelConversion.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vixprores {
namespace {

StreamFormat DecodedFormat(StreamFormat format, bool isDeep) {
  format.code = isDeep ? vix::kFourCC_Y416 : vix::kFourCC_V210;
  format.colour.range = ColourRange::Limited;
  format.is444 = isDeep;
  if (!isDeep) format.alphaBits = 0;
  format.isPadded = false;
  return format;
}

}  // namespace

// Decodes frames of one stream. Used by one thread.
class ProResFrameDecoder {
 public:
  ProResFrameDecoder(const StreamFormat& stream, bool isDeep, int threads)
      : pictureBytes_(DecodedFormat(stream, isDeep).FrameBytes()),
        decoder_(ProResElement::Decoder(DecodedFormat(stream, isDeep).code, false), stream,
                 {1, threads}) {}

  ConvertedFrame Decode(const std::shared_ptr<const vix::IBuffer>& frame) {
    const auto header = ParseHeader(BytesOf(*frame));
    ElementOutput output = decoder_.Decode(0, frame, header, 0, pictureBytes_);
    auto picture = output.sample ? output.sample->GetBuffer() : nullptr;
    // Nobody else has it.
    return {std::const_pointer_cast<vix::IBuffer>(picture), std::move(output.fault), output.slices};
  }

 private:
  std::uint32_t pictureBytes_;
  DecoderTeam decoder_;
};

namespace {

Packet Share(const AVPacket& packet) {
  Packet shared(av_packet_clone(&packet));
  if (!shared) throw std::bad_alloc();
  return shared;
}

class ProResDecoder : public VideoDecoder {
 public:
  ProResDecoder(const AVStream& stream, int threads, bool isDeep, std::string name)
      : stream_(stream),
        name_(std::move(name)),
        threads_(ShareThreads(threads, 1).threadsEach),
        isDeep_(isDeep) {}

  bool Send(const AVPacket* packet) override;
  Picture Receive() override { return std::move(picture_); }
  void Flush() override { picture_ = nullptr; }
  Rational GetRate() const override { return {0, 1}; }

 private:
  ConvertedFrame Decode(const AVPacket& packet);
  Picture MakePictureFor(const vix::IBuffer& packed) const;

  const AVStream& stream_;
  std::string name_;
  int threads_;
  bool isDeep_;  ///< after the first header: of this stream
  BareFrames bareFrames_;
  StreamFormat format_;  ///< by the first header
  std::optional<ProResFrameDecoder> decoder_;
  Picture last_;     ///< the last one that could be decoded
  Picture picture_;  ///< for Receive()
};

// A frame that cannot be decoded shows the picture before it.
bool ProResDecoder::Send(const AVPacket* packet) {
  if (!packet) return true;
  const ConvertedFrame decoded = Decode(*packet);
  if (decoded.data) last_ = MakePictureFor(*decoded.data);
  if (!last_) return false;
  picture_ = ShareMemory(*last_);
  picture_->pts = picture_->best_effort_timestamp = packet->pts;
  picture_->pkt_duration = packet->duration;
  if (!decoded.fault.empty()) picture_->decode_error_flags = FF_DECODE_ERROR_INVALID_BITSTREAM;
  return true;
}

ConvertedFrame ProResDecoder::Decode(const AVPacket& packet) {
  auto frame = WrapPacket(Share(packet));
  if (FindLayout(*frame, nullptr) == SampleLayout::BareFrames)
    frame = bareFrames_.AddPrefix(*frame);
  if (!decoder_) {
    const auto header = ParseHeader(BytesOf(*frame));
    if (!header) return {nullptr, kUnreadableHeader};
    CheckPictureSize(name_, header->width, header->height);
    format_ = CombineFormats(DescribeVideo(stream_), *header);
    format_.code = stream_.codecpar->codec_tag;
    isDeep_ = isDeep_ && (format_.is444 || format_.HasAlpha());
    decoder_.emplace(format_, isDeep_, threads_);
  }
  return decoder_->Decode(frame);
}

void UnpackV210(const vix::IBuffer& packed, AVFrame& picture) {
  const auto width = static_cast<std::uint32_t>(picture.width);
  const auto height = static_cast<std::uint32_t>(picture.height);
  vix::PixelPicture planes{vix::PixelFormat::I210, width, height};
  for (std::size_t i = 0; i < 3; ++i) {
    planes.planes[i] = {picture.data[i], static_cast<std::size_t>(picture.linesize[i])};
  }
  vix::ConvertPixels(vix::MakePixelPicture(vix::PixelFormat::V210, width, height, packed.GetData()),
                     planes);
}

void UnpackY416(const vix::IBuffer& packed, AVFrame& picture) {
  constexpr std::array kPlanes{&DeepPixel::y, &DeepPixel::cb, &DeepPixel::cr, &DeepPixel::alpha};
  const auto* row = reinterpret_cast<const DeepPixel*>(packed.GetData());
  const auto width = static_cast<std::size_t>(picture.width);
  for (int y = 0; y < picture.height; ++y, row += width) {
    for (std::size_t plane = 0; plane < kPlanes.size() && picture.data[plane] != nullptr; ++plane) {
      auto* const samples = reinterpret_cast<std::uint16_t*>(
          picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane]);
      for (std::size_t x = 0; x < width; ++x) {
        samples[x] = row[x].*kPlanes[plane];
      }
    }
  }
}

Picture ProResDecoder::MakePictureFor(const vix::IBuffer& packed) const {
  Picture picture = MakePicture();
  picture->format = AV_PIX_FMT_YUV422P10;
  if (isDeep_) picture->format = format_.HasAlpha() ? AV_PIX_FMT_YUVA444P16 : AV_PIX_FMT_YUV444P16;
  picture->width = static_cast<int>(format_.width);
  picture->height = static_cast<int>(format_.height);
  if (av_frame_get_buffer(picture.get(), 0) < 0) throw std::bad_alloc();
  (isDeep_ ? UnpackY416 : UnpackV210)(packed, *picture);
  picture->interlaced_frame = format_.IsInterlaced() ? 1 : 0;
  picture->top_field_first = format_.fieldOrder == FieldOrder::TopFirst ? 1 : 0;
  picture->key_frame = 1;
  picture->sample_aspect_ratio = {format_.sampleAspect.numerator, format_.sampleAspect.denominator};
  picture->color_range = AVCOL_RANGE_MPEG;
  picture->color_primaries = static_cast<AVColorPrimaries>(format_.colour.primaries);
  picture->color_trc = static_cast<AVColorTransferCharacteristic>(format_.colour.transfer);
  picture->colorspace = static_cast<AVColorSpace>(format_.colour.matrix);
  return picture;
}

}  // namespace

std::unique_ptr<VideoDecoder> MakeProResDecoder(const AVStream& stream, int threads, bool isDeep,
                                                const std::string& name) {
  return std::make_unique<ProResDecoder>(stream, threads, isDeep, name);
}

// Decoders for any number of threads.
class DecodedProResReader::Decoders {
 public:
  Decoders(const StreamFormat& stream, bool isDeep) : stream_(stream), isDeep_(isDeep) {}

  ConvertedFrame Decode(const std::shared_ptr<const vix::IBuffer>& frame) {
    auto decoder =
        idle_.Take([this] { return std::make_unique<ProResFrameDecoder>(stream_, isDeep_, 1); });
    ConvertedFrame decoded = decoder->Decode(frame);
    idle_.GiveBack(std::move(decoder));
    return decoded;
  }

 private:
  StreamFormat stream_;
  bool isDeep_;
  IdleObjects<ProResFrameDecoder> idle_;
};

DecodedProResReader::DecodedProResReader(std::unique_ptr<ProResReader> reader, bool isDeep)
    : reader_(std::move(reader)),
      decoders_(std::make_shared<Decoders>(reader_->GetFormat(), isDeep)) {
  description_ = reader_->GetDescription();
  description_.losesAlpha = GetFormat().HasAlpha() && !isDeep;
  if (GetFormat().is444 && !isDeep) description_.finer = "4:4:4 in 12 bits";
  description_.stored = "prores (" + DescribeCode(GetFormat().code) + ")";
  description_.format = DecodedFormat(GetFormat(), isDeep);
}

FrameConversion DecodedProResReader::GetConversion() const {
  return [decoders = decoders_](const std::shared_ptr<vix::IBuffer>& frame) {
    return decoders->Decode(frame);
  };
}

}  // namespace vixprores
