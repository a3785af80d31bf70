// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/Demuxer.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/Limits.h"
#include "media/container/MovFile.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/common.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace vixprores {
namespace {

// A frame that states no colour does not hide that of the container.
void KeepColour(const AVCodecParameters& container, AVCodecParameters& found) {
  const bool isStated = ValueOf(found.color_primaries) != AVCOL_PRI_UNSPECIFIED ||
                        ValueOf(found.color_trc) != AVCOL_TRC_UNSPECIFIED ||
                        ValueOf(found.color_space) != AVCOL_SPC_UNSPECIFIED;
  if (isStated) return;
  SetValue(found.color_primaries, ValueOf(container.color_primaries));
  SetValue(found.color_trc, ValueOf(container.color_trc));
  SetValue(found.color_space, ValueOf(container.color_space));
}

// A frame that cannot be decoded does not hide the size that the container states.
void KeepSize(const AVCodecParameters& container, AVCodecParameters& found) {
  if (found.width > 0 && found.height > 0) return;
  found.width = container.width;
  found.height = container.height;
}

constexpr const char* kContainers = "mov,matroska,avi,nut,mxf";
// No playlists, no image sequences, no scripts: each of these formats is one file.
constexpr const char* kFootage =
    "mov,matroska,avi,nut,mxf,mpegts,mpeg,mpegvideo,m4v,h261,h263,h264,hevc,vc1,obu,av1,ivf,"
    "cavsvideo,dirac,dnxhd,dv,flv,gif,apng,asf,ogg,gxf,lxf,mjpeg,yuv4mpegpipe,rm,nsv,wtv,swf,"
    "jpeg_pipe,png_pipe,tiff_pipe,dpx_pipe,bmp_pipe,webp_pipe,j2k_pipe,"
    "wav,w64,aiff,caf,au,flac,mp3,aac,ac3,eac3,dts,truehd,wv,tta,amr";

// Makes the mapped bytes the packet's data.
void TakeOver(AVPacket& packet, std::shared_ptr<const FileMapping> mapping) {
  std::uint8_t* const data = mapping->GetData();
  auto owner = std::make_unique<std::shared_ptr<const FileMapping>>(std::move(mapping));
  const auto release = [](void* mappingOwner, std::uint8_t* /*data*/) {
    delete static_cast<std::shared_ptr<const FileMapping>*>(mappingOwner);
  };
  AVBufferRef* const buffer = av_buffer_create(data, static_cast<std::size_t>(packet.size), release,
                                               owner.get(), AV_BUFFER_FLAG_READONLY);
  if (!buffer) throw std::bad_alloc();
  static_cast<void>(owner.release());  // owned by the buffer now
  av_buffer_unref(&packet.buf);
  packet.buf = buffer;
  packet.data = data;
}

// Options for the decoders of all tracks: they do not decode pictures beyond the limit.
class DecoderOptions {
 public:
  explicit DecoderOptions(std::size_t tracks) : each_(tracks) {
    for (AVDictionary*& options : each_) av_dict_set_int(&options, "max_pixels", MostPixels(), 0);
  }
  ~DecoderOptions() {
    for (AVDictionary*& options : each_) av_dict_free(&options);
  }
  DecoderOptions(const DecoderOptions&) = delete;
  DecoderOptions& operator=(const DecoderOptions&) = delete;

  AVDictionary** Get() { return each_.data(); }

 private:
  std::vector<AVDictionary*> each_;
};

// Returns the bytes that the container library may allocate at once.
std::size_t LargestAllocation() {
  return static_cast<std::size_t>(std::min<std::uint64_t>(GetMemoryLimit(), INT_MAX));
}

// Returns the same while it opens a file, whose index may claim billions of entries.
std::size_t LargestAllocationFor(const InputFile& file) {
  const std::int64_t bytes = std::min<std::int64_t>(file.GetSize().value_or(INT_MAX), INT_MAX);
  const std::int64_t justified = std::max(kMostIndexBytes, kMostIndexShare * bytes);
  return std::min(LargestAllocation(), static_cast<std::size_t>(justified));
}

}  // namespace

std::int64_t TimeOf(const AVPacket& packet) {
  return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

Demuxer::Demuxer(std::unique_ptr<InputFile> file, FileFormats formats)
    : file_(std::move(file)), bytes_(*file_) {
  const bool isFootage = formats == FileFormats::Footage;
  AVFormatContext* context = avformat_alloc_context();
  // Allow no other formats: playlists above all could open files and addresses that the user did
  // not name.
  if (context) context->format_whitelist = av_strdup(isFootage ? kFootage : kContainers);
  if (!context || !context->format_whitelist) {
    avformat_free_context(context);
    throw std::bad_alloc();
  }
  context->pb = bytes_.Get();
  av_max_alloc(LargestAllocationFor(*file_));
  const MemoryWatch memory;
  // Frees the context when it fails.
  const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
  av_max_alloc(LargestAllocation());
  if (result >= 0) context_.reset(context);
  bytes_.Rethrow();
  memory.Check();
  if (result < 0) {
    // The library refuses all other formats with EINVAL.
    const bool isOther = result == AVERROR(EINVAL);
    throw UnreadableContainer(GetName() +
                              (isFootage ? ": is no video file that can be read"
                                         : ": is not a complete mov, mkv, avi, nut or mxf") +
                              (isOther ? "" : " (" + ExplainLibavError(result) + ")"));
  }
}

void Demuxer::FindStreamInfo() {
  std::vector<AVCodecParameters> stated;
  for (const AVStream* stream : GetStreams()) stated.push_back(*stream->codecpar);
  const MemoryWatch memory;
  DecoderOptions options(stated.size());
  const int result = avformat_find_stream_info(context_.get(), options.Get());
  bytes_.Rethrow();
  memory.Check();
  if (result < 0) {
    throw UnreadableContainer(GetName() + ": its tracks cannot be read (" +
                              ExplainLibavError(result) + ")");
  }
  for (std::size_t i = 0; i < stated.size(); ++i) {
    KeepColour(stated[i], *GetStreams()[i]->codecpar);
    KeepSize(stated[i], *GetStreams()[i]->codecpar);
  }
}

Packet Demuxer::Read() {
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  bytes_.LeaveOutLargeReads(inPlace_ >= 0);
  const MemoryWatch memory;
  const int result = av_read_frame(context_.get(), packet.get());
  const auto leftOut = bytes_.TakeLeftOut();
  bytes_.Rethrow();
  memory.Check();
  if (result == AVERROR_EOF) return nullptr;
  if (result < 0) throw UnreadablePacket(ExplainLibavError(result));
  CountBytes(*packet);
  if (leftOut) FillIn(*packet, *leftOut);
  return packet;
}

void Demuxer::CountBytes(const AVPacket& packet) {
  bytesRead_ += packet.size;
  const auto size = file_->GetSize();
  if (!size || bytesRead_ / kMostReadings <= *size) return;
  throw Failure(GetName() + ": its index leads to the same bytes more than " +
                std::to_string(kMostReadings) + " times; it is damaged, or made to take long" +
                "; 'vixprores decode --scan' finds each ProRes frame once");
}

bool Demuxer::Seek(const AVStream& stream, std::int64_t time) {
  const int result = av_seek_frame(context_.get(), stream.index, time, AVSEEK_FLAG_BACKWARD);
  bytes_.Rethrow();
  bytesRead_ = 0;
  return file_->IsSeekable() && result >= 0;
}

void Demuxer::KeepInPlace(const AVStream& stream) {
  if (file_->IsMappable()) inPlace_ = stream.index;
}

// Provides the bytes of a skipped read: mapped for a frame, copied otherwise.
void Demuxer::FillIn(AVPacket& packet, const LibavStream::LeftOut& leftOut) {
  const std::int64_t position = file_->GetPosition();
  const bool isFrame = packet.stream_index == inPlace_ && packet.pos >= 0;
  if (isFrame) file_->Seek(packet.pos);
  const auto mapping =
      isFrame ? file_->ReadInPlace(static_cast<std::size_t>(packet.size)) : nullptr;
  file_->Seek(position);
  if (mapping) {
    TakeOver(packet, mapping);
  } else if (file_->ReadAt(leftOut.position, leftOut.bytes) < leftOut.bytes.size()) {
    packet.flags |= AV_PKT_FLAG_CORRUPT;
  }
}

namespace {

// Bytes of the smallest possible frame, 2x2 pixels of UYVY.
constexpr std::int64_t kFewestFrameBytes = 8;
// Number of frames in an .avi whose writer could not seek back.
constexpr std::int64_t kStreamedAviFrames = 0x40000000;

}  // namespace

bool FrameIndex::IsPresent() const {
  return std::strstr(demuxer_.GetContext().iformat->name, "mov") != nullptr &&
         avformat_index_get_entries_count(&stream_) > 0;
}

std::optional<std::int64_t> FrameIndex::CountIndexed() const {
  // With an edit list the index holds both the frames that remain and the hidden ones.
  if (IsPresent()) return avformat_index_get_entries_count(&stream_);
  return stream_.nb_frames > 0 ? std::optional(stream_.nb_frames) : std::nullopt;
}

std::optional<std::int64_t> FrameIndex::CountAnnounced(Rational rate, std::int64_t start) const {
  if (IsPresent()) return CountIndexed();
  const auto& file = demuxer_.GetFile();
  const std::int64_t most = file.GetSize().value_or(INT64_MAX) / kFewestFrameBytes;
  const auto plausible = [&](std::int64_t frames) -> std::optional<std::int64_t> {
    const bool isPlaceholder = IsAvi(demuxer_.GetContext()) && frames == kStreamedAviFrames;
    return frames > 0 && frames <= most && !isPlaceholder ? std::optional(frames) : std::nullopt;
  };
  if (const auto counted = CountIndexed()) return plausible(*counted);
  if (rate.numerator == 0) return std::nullopt;
  const AVRational frame = Invert(rate);
  if (stream_.duration > 0) {
    return plausible(av_rescale_q(stream_.duration, stream_.time_base, frame));
  }
  // These durations start at time 0.
  const auto seconds = FindStatedDuration(demuxer_.GetContext(), stream_);
  const double frames = seconds ? *seconds / av_q2d(frame) : 0;
  if (!(frames > 0 && frames < static_cast<double>(INT64_MAX / 2))) return std::nullopt;
  return plausible(std::llround(frames) - start);
}

std::optional<std::int64_t> FrameIndex::FindTime(std::int64_t frame, Rational rate) const {
  if (!IsPresent() || frame > INT_MAX) return std::nullopt;
  const AVIndexEntry* const first = avformat_index_get_entry(&stream_, 0);
  const AVIndexEntry* const entry = avformat_index_get_entry(&stream_, static_cast<int>(frame));
  if (!first || !entry) return std::nullopt;
  if (rate.numerator == 0) return entry->timestamp;
  const std::int64_t expected =
      av_sat_add64(first->timestamp, av_rescale_q(frame, Invert(rate), stream_.time_base));
  return Distance(entry->timestamp, expected) <= 1 ? std::optional(entry->timestamp) : std::nullopt;
}

bool FrameIndex::LeadsInside(std::int64_t frame) const {
  if (!IsPresent()) return false;
  const std::int64_t end = demuxer_.GetFile().GetSize().value_or(0);
  const int entries = avformat_index_get_entries_count(&stream_);
  for (std::int64_t i = frame; i < entries; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, static_cast<int>(i));
    if (entry.pos >= 0 && entry.pos < end) return true;
  }
  return false;
}

void FrameIndex::CheckFragments() const {
  const bool isFragmented = IsPresent() && stream_.nb_frames == 0;
  if (!isFragmented || !demuxer_.GetFile().IsSeekable()) return;
  const auto broken = FindBrokenAtom(demuxer_.GetFile());
  if (broken) throw UnreadableRest(demuxer_.GetName(), *broken);
}

}  // namespace vixprores
