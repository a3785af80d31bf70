// SPDX-License-Identifier: BSD-2-Clause
#include "run/DecodedProRes.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/FramePool.h"
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

constexpr const char* kConcealed = ", concealed";

StreamFormat DecodedFormat(StreamFormat format) {
  format.code = vix::kFourCC_V210;
  format.colour.range = ColourRange::Limited;
  format.is444 = false;
  format.hasAlpha = false;
  format.isPadded = false;
  return format;
}

}  // namespace

// Decodes frames of one stream. Used by one thread.
class ProResFrameDecoder {
 public:
  ProResFrameDecoder(const StreamFormat& stream, int threads)
      : pictureBytes_(DecodedFormat(stream).FrameBytes()),
        decoder_(ProResElement::Decoder(vix::kFourCC_V210, false), stream, {1, threads}) {}

  ConvertedFrame Decode(const std::shared_ptr<const vix::IBuffer>& frame) {
    const auto header = ParseHeader(BytesOf(*frame));
    ElementOutput output = decoder_.Decode(0, frame, header, 0, pictureBytes_);
    if (output.damagedSlices > 0) output.fault += kConcealed;
    auto picture = output.sample ? output.sample->GetBuffer() : nullptr;
    // Nobody else has it.
    return {std::const_pointer_cast<vix::IBuffer>(picture), std::move(output.fault)};
  }

 private:
  std::uint32_t pictureBytes_;
  DecoderTeam decoder_;
};

namespace {

// Returns the packet's bytes, which keep it.
std::shared_ptr<vix::IBuffer> Wrap(const AVPacket& packet) {
  const std::shared_ptr<AVPacket> owner(av_packet_clone(&packet), PacketDeleter());
  if (!owner) throw std::bad_alloc();
  return vix::CreateBuffer(
      nullptr,
      vix::CreateMemoryBlock(owner->data, static_cast<std::size_t>(owner->size), [owner] {}));
}

StreamFormat DescribeFrames(const AVStream& stream, const prores::FrameHeader& header) {
  StreamFormat format = DescribeVideo(stream);
  format.code = stream.codecpar->codec_tag;
  format.width = header.width;
  format.height = header.height;
  format.fieldOrder = FieldOrderOf(header.interlaceMode);
  format.is444 = header.chromaFormat == prores::ChromaFormat::k444;
  return format;
}

class ProResDecoder : public VideoDecoder {
 public:
  ProResDecoder(const AVStream& stream, int threads)
      : stream_(stream), threads_(ShareThreads(threads, 1).threadsEach) {}

  bool Send(const AVPacket* packet) override {
    if (!packet) return true;
    auto frame = Wrap(*packet);
    if (FindLayout(*frame, nullptr) == SampleLayout::BareFrames)
      frame = bareFrames_.AddPrefix(*frame);
    const auto header = ParseHeader(BytesOf(*frame));
    if (!header) return false;
    if (!decoder_) decoder_.emplace(DescribeFrames(stream_, *header), threads_);
    const ConvertedFrame decoded = decoder_->Decode(frame);
    if (!decoded.data) return false;
    picture_ = Unpack(*decoded.data, *header);
    picture_->best_effort_timestamp = picture_->pts = packet->pts;
    if (!decoded.fault.empty()) picture_->decode_error_flags = FF_DECODE_ERROR_INVALID_BITSTREAM;
    return true;
  }
  Picture Receive() override { return std::move(picture_); }
  void Flush() override { picture_ = nullptr; }
  Rational GetRate() const override { return {0, 1}; }

 private:
  static Picture Unpack(const vix::IBuffer& packed, const ParsedHeader& header);

  const AVStream& stream_;
  int threads_;
  BareFrames bareFrames_;
  std::optional<ProResFrameDecoder> decoder_;  ///< for frames of the first one's size
  Picture picture_;
};

Picture ProResDecoder::Unpack(const vix::IBuffer& packed, const ParsedHeader& header) {
  Picture picture = MakePicture();
  picture->format = AV_PIX_FMT_YUV422P10;
  picture->width = header.width;
  picture->height = header.height;
  if (av_frame_get_buffer(picture.get(), 0) < 0) throw std::bad_alloc();
  const auto source =
      vix::MakePixelPicture(vix::PixelFormat::V210, header.width, header.height, packed.GetData());
  vix::PixelPicture planes{vix::PixelFormat::I210, header.width, header.height};
  for (std::size_t i = 0; i < 3; ++i) {
    planes.planes[i] = {picture->data[i], static_cast<std::size_t>(picture->linesize[i])};
  }
  vix::ConvertPixels(source, planes);
  const FieldOrder order = FieldOrderOf(header.interlaceMode);
  picture->interlaced_frame = order == FieldOrder::Progressive ? 0 : 1;
  picture->top_field_first = order == FieldOrder::TopFirst ? 1 : 0;
  picture->key_frame = 1;
  picture->color_range = AVCOL_RANGE_MPEG;
  picture->color_primaries = static_cast<AVColorPrimaries>(header.colorPrimaries);
  picture->color_trc = static_cast<AVColorTransferCharacteristic>(header.transferCharacteristic);
  picture->colorspace = static_cast<AVColorSpace>(header.matrixCoefficients);
  return picture;
}

}  // namespace

std::unique_ptr<VideoDecoder> MakeProResDecoder(const AVStream& stream, int threads) {
  return std::make_unique<ProResDecoder>(stream, threads);
}

// Decoders for any number of threads.
class DecodedProResReader::Decoders {
 public:
  explicit Decoders(StreamFormat stream) : stream_(std::move(stream)) {}

  ConvertedFrame Decode(const std::shared_ptr<const vix::IBuffer>& frame) {
    std::unique_ptr<ProResFrameDecoder> decoder = Take();
    ConvertedFrame decoded = decoder->Decode(frame);
    const std::scoped_lock lock(mutex_);
    idle_.push_back(std::move(decoder));
    return decoded;
  }

 private:
  std::unique_ptr<ProResFrameDecoder> Take() {
    {
      const std::scoped_lock lock(mutex_);
      if (!idle_.empty()) {
        auto decoder = std::move(idle_.back());
        idle_.pop_back();
        return decoder;
      }
    }
    return std::make_unique<ProResFrameDecoder>(stream_, 1);
  }

  StreamFormat stream_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<ProResFrameDecoder>> idle_;
};

DecodedProResReader::DecodedProResReader(std::unique_ptr<ProResReader> reader)
    : reader_(std::move(reader)), decoders_(std::make_shared<Decoders>(reader_->GetFormat())) {
  description_ = reader_->GetDescription();
  if (GetFormat().hasAlpha) {
    description_.note +=
        (description_.note.empty() ? "" : "\n") + GetName() + ": its alpha channel is left out";
  }
  description_.format = DecodedFormat(GetFormat());
}

FrameConversion DecodedProResReader::GetConversion() const {
  return [decoders = decoders_](const std::shared_ptr<vix::IBuffer>& frame) {
    return decoders->Decode(frame);
  };
}

}  // namespace vixprores
