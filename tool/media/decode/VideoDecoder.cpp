// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/VideoDecoder.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "base/Errors.h"
#include "base/Limits.h"
#include "media/container/Libav.h"

namespace vixprores {
namespace {

const AVCodec& RequireDecoder(const AVStream& stream, const std::string& name) {
  const AVCodecID codec = stream.codecpar->codec_id;
  if (const AVCodec* const decoder = avcodec_find_decoder(codec)) return *decoder;
  if (codec == AV_CODEC_ID_NONE) {
    throw Failure(name + ": its video is coded in an unknown way (" +
                  DescribeCode(stream.codecpar->codec_tag) + "); it cannot be decoded");
  }
  throw Failure(name + ": its video is coded as " + avcodec_get_name(codec) +
                ", for which the installed libavcodec has no decoder");
}

// Returns the number of decoding threads: more than processors, because pictures wait for those
// that they refer to.
int CountThreads(int processors) {
  constexpr int kWaiting = 2;
  constexpr int kMost = 16;  // by default, for their memory
  if (processors == 0) {
    processors = std::min(static_cast<int>(std::thread::hardware_concurrency()), kMost - kWaiting);
  }
  return processors > 1 ? processors + kWaiting : 1;
}

struct ContextDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};

class LibavDecoder : public VideoDecoder {
 public:
  LibavDecoder(const AVStream& stream, int threads, const std::string& name);

  bool Send(const AVPacket* packet) override;
  Picture Receive() override;
  void Flush() override { avcodec_flush_buffers(context_.get()); }
  Rational GetRate() const override;

 private:
  static int ProvideMemory(AVCodecContext* context, AVFrame* picture, int flags);
  void CheckPicture(const AVFrame& picture) const;
  void RethrowRefusal();

  std::string name_;
  std::mutex mutex_;            ///< of the refusal
  std::exception_ptr refusal_;  ///< of a picture beyond a limit
  std::unique_ptr<AVCodecContext, ContextDeleter> context_;
  bool isIntra_ = false;  ///< no picture depends on another one
};

}  // namespace

Picture MakePicture() {
  Picture picture(av_frame_alloc());
  if (!picture) throw std::bad_alloc();
  return picture;
}

Picture ShareMemory(const AVFrame& picture) {
  Picture shared(av_frame_clone(&picture));
  if (!shared) throw std::bad_alloc();
  return shared;
}

std::shared_ptr<vix::IBuffer> WrapPicture(Picture picture) {
  auto* const description = reinterpret_cast<std::uint8_t*>(picture.get());
  const std::shared_ptr<AVFrame> owner = std::move(picture);
  return vix::CreateBuffer(nullptr,
                           vix::CreateMemoryBlock(description, sizeof(AVFrame), [owner] {}));
}

LibavDecoder::LibavDecoder(const AVStream& stream, int threads, const std::string& name)
    : name_(name) {
  const AVCodec& decoder = RequireDecoder(stream, name);
  context_.reset(avcodec_alloc_context3(&decoder));
  if (!context_) throw std::bad_alloc();
  const MemoryWatch memory;
  int result = avcodec_parameters_to_context(context_.get(), stream.codecpar);
  context_->pkt_timebase = stream.time_base;
  context_->thread_count = CountThreads(threads);
  context_->max_pixels = MostPixels();
  context_->opaque = this;
  context_->get_buffer2 = ProvideMemory;
  // The transforms of MPEG-2, DV and JPEG differ between processors otherwise.
  context_->flags |= AV_CODEC_FLAG_BITEXACT;
  context_->idct_algo = FF_IDCT_SIMPLE;
  context_->err_recognition = AV_EF_CRCCHECK;
  const AVCodecDescriptor* const kind = avcodec_descriptor_get(decoder.id);
  isIntra_ = kind && (kind->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
  if (result >= 0) result = avcodec_open2(context_.get(), &decoder, nullptr);
  memory.Check();
  if (result < 0) {
    throw Failure(name + ": its " + avcodec_get_name(decoder.id) +
                  " video cannot be decoded: " + ExplainLibavError(result));
  }
}

// Called on any thread of the decoder, for each picture. Exceptions cannot pass through the
// library.
int LibavDecoder::ProvideMemory(AVCodecContext* context, AVFrame* picture, int flags) {
  auto& self = *static_cast<LibavDecoder*>(context->opaque);
  try {
    self.CheckPicture(*picture);
    return avcodec_default_get_buffer2(context, picture, flags);
  } catch (...) {
    const std::lock_guard lock(self.mutex_);
    self.refusal_ = std::current_exception();
    return AVERROR(EINVAL);
  }
}

// The memory of most pictures is that of earlier ones, so that only what is in use is compared with
// the limit.
void LibavDecoder::CheckPicture(const AVFrame& picture) const {
  const auto width = static_cast<std::uint32_t>(std::max(picture.width, 0));
  const auto height = static_cast<std::uint32_t>(std::max(picture.height, 0));
  CheckPictureSize(name_, width, height);
  constexpr std::uint64_t kFewPixels = 1U << 20U;
  if (std::uint64_t{width} * height < kFewPixels) return;
  CheckMemory("decoded pictures of " + DescribeSize(width, height), 0);
}

void LibavDecoder::RethrowRefusal() {
  const std::lock_guard lock(mutex_);
  if (refusal_) std::rethrow_exception(refusal_);
}

bool LibavDecoder::Send(const AVPacket* packet) {
  const MemoryWatch memory;
  if (isIntra_) TakeLibavMessage();  // of the file
  const int result = avcodec_send_packet(context_.get(), packet);
  RethrowRefusal();
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  memory.Check();
  Ensure(result != AVERROR(EAGAIN), "a decoder gets packets only when it has no pictures left");
  return result >= 0;
}

Picture LibavDecoder::Receive() {
  Picture picture = MakePicture();
  for (;;) {
    const MemoryWatch memory;
    const int result = avcodec_receive_frame(context_.get(), picture.get());
    if (result >= 0) {
      // Decoders of pictures that stand alone conceal damage and only print what they found.
      if (isIntra_ && TakeLibavMessage()) {
        picture->decode_error_flags |= FF_DECODE_ERROR_INVALID_BITSTREAM;
      }
      return picture;
    }
    RethrowRefusal();
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return nullptr;
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    memory.Check();
    // A picture was lost; the next ones are not.
  }
}

Rational LibavDecoder::GetRate() const {
  const AVRational rate = context_->framerate;
  return rate.num > 0 && rate.den > 0 ? Reduce(ToRational(rate)) : Rational{0, 1};
}

std::unique_ptr<VideoDecoder> MakeLibavDecoder(const AVStream& stream, int threads,
                                               const std::string& name) {
  return std::make_unique<LibavDecoder>(stream, threads, name);
}

}  // namespace vixprores
