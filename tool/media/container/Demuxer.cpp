// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/Demuxer.h"

#include <new>
#include <utility>

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace vixprores {
namespace {

constexpr const char* kContainers = "mov,matroska,avi,nut,mxf";

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

}  // namespace

std::int64_t TimeOf(const AVPacket& packet) {
  return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

Demuxer::Demuxer(std::unique_ptr<InputFile> file) : file_(std::move(file)), bytes_(*file_) {
  AVFormatContext* context = avformat_alloc_context();
  // Allow no other formats: playlists above all could open files and addresses that the user did
  // not name.
  if (context) context->format_whitelist = av_strdup(kContainers);
  if (!context || !context->format_whitelist) {
    avformat_free_context(context);
    throw std::bad_alloc();
  }
  context->pb = bytes_.Get();
  const MemoryWatch memory;
  // Frees the context when it fails.
  const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
  if (result >= 0) context_.reset(context);
  bytes_.Rethrow();
  memory.Check();
  if (result < 0) {
    throw UnreadableContainer(GetName() + ": no readable container: " + ExplainLibavError(result) +
                              "; the containers " + kContainers +
                              " are read, when completely written");
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
  if (leftOut) FillIn(*packet, *leftOut);
  return packet;
}

bool Demuxer::Seek(const AVStream& stream, std::int64_t time) {
  const int result = av_seek_frame(context_.get(), stream.index, time, AVSEEK_FLAG_BACKWARD);
  bytes_.Rethrow();
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

}  // namespace vixprores
