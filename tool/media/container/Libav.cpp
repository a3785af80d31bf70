// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/Libav.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "format/Values.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace vixprores {
namespace {

constexpr int kStreamBufferBytes = 1 << 16;
// Fixed size, because exceptions must not pass through the library.
thread_local std::array<char, 512> t_lastMessage{};

// Called for every message, whatever the level.
[[gnu::format(printf, 3, 0)]] void KeepMessage(void* /*source*/, int level, const char* format,
                                               va_list arguments) {
  const bool shown = level <= av_log_get_level();
  if (!shown && level > AV_LOG_ERROR) return;
  std::array<char, 512> text{};
  std::vsnprintf(text.data(), text.size(), format, arguments);
  std::size_t end = std::strlen(text.data());
  while (end > 0 && (text[end - 1] == '\n' || text[end - 1] == ' ')) text[--end] = '\0';
  if (level <= AV_LOG_ERROR) t_lastMessage = text;
  if (!shown) return;
  try {
    PrintText(stderr, std::string(text.data()) + "\n");
  } catch (const std::bad_alloc&) {
    // Only the message is lost, not the error that it explains.
  }
}

}  // namespace

void SetLibavMessages(bool verbose) {
  av_log_set_level(verbose ? AV_LOG_INFO : AV_LOG_QUIET);
  av_log_set_callback(KeepMessage);
}

std::shared_ptr<vix::IBuffer> WrapPacket(Packet packet) {
  std::uint8_t* const data = packet->data;
  const auto bytes = static_cast<std::size_t>(packet->size);
  const std::shared_ptr<AVPacket> owner = std::move(packet);
  return vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(data, bytes, [owner] {}));
}

std::string ExplainLibavError(int error) {
  std::string message = std::exchange(t_lastMessage, {}).data();
  if (!message.empty()) return message;
  std::array<char, AV_ERROR_MAX_STRING_SIZE> words{};
  av_strerror(error, words.data(), words.size());
  return words.data();
}

bool TakeLibavMessage() {
  return std::exchange(t_lastMessage, {}).front() != '\0';
}

std::int64_t MostPixels() {
  constexpr std::int64_t kPadding = 256;  // on each side of its own pictures
  const Limits& limits = GetLimits();
  return std::min((limits.width + kPadding) * (limits.height + kPadding), kMostPixels);
}

std::shared_ptr<const AVCodecParameters> CopyParameters(const AVCodecParameters& parameters) {
  const std::shared_ptr<AVCodecParameters> copy(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  if (!copy || avcodec_parameters_copy(copy.get(), &parameters) < 0) throw std::bad_alloc();
  return copy;
}

Metadata ToMetadata(const AVDictionary* dictionary) {
  Metadata metadata;
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    metadata[entry->key] = entry->value;
  }
  return metadata;
}

LibavStream::LibavStream(InputFile& file) : input_(&file) {
  Open(false, file.IsSeekable() ? SeekInputCallback : nullptr);
}

LibavStream::LibavStream(OutputFile& file) : output_(&file) {
  Open(true, file.IsSeekable() ? SeekOutputCallback : nullptr);
}

void LibavStream::Open(bool isOutput, SeekCallback* seek) {
  auto* buffer = static_cast<std::uint8_t*>(av_malloc(kStreamBufferBytes));
  if (buffer) {
    context_ = avio_alloc_context(buffer, kStreamBufferBytes, isOutput ? 1 : 0, this,
                                  isOutput ? nullptr : ReadCallback,
                                  isOutput ? WriteCallback : nullptr, seek);
  }
  if (context_) return;
  av_free(buffer);
  throw std::bad_alloc();
}

LibavStream::~LibavStream() {
  av_freep(&context_->buffer);
  avio_context_free(&context_);
}

void LibavStream::Rethrow() {
  if (exception_) std::rethrow_exception(std::exchange(exception_, nullptr));
}

std::optional<LibavStream::LeftOut> LibavStream::TakeLeftOut() {
  leavesOut_ = false;
  return std::exchange(leftOut_, std::nullopt);
}

std::size_t LibavStream::LeaveOut(std::span<std::uint8_t> destination) {
  const std::int64_t position = input_->GetPosition();
  const std::int64_t left = std::max<std::int64_t>(0, input_->GetSize().value_or(0) - position);
  const auto bytes =
      static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(destination.size())));
  leftOut_ = {position, destination.first(bytes)};
  input_->Seek(position + static_cast<std::int64_t>(bytes));
  return bytes;
}

template <typename Operation>
int LibavStream::Guard(const Operation& operation) {
  // Fail all calls after a failure: the library tends to keep writing.
  if (exception_) return AVERROR_EXIT;
  try {
    return operation();
  } catch (...) {
    exception_ = std::current_exception();
    return AVERROR_EXIT;
  }
}

int LibavStream::ReadCallback(void* self, std::uint8_t* data, int bytes) {
  auto& stream = *static_cast<LibavStream*>(self);
  return stream.Guard([&stream, data, bytes] {
    CheckInterrupt();
    const std::span destination(data, static_cast<std::size_t>(bytes));
    const bool isLarge = bytes > kStreamBufferBytes;
    const auto read = isLarge && stream.leavesOut_ && !stream.leftOut_
                          ? stream.LeaveOut(destination)
                          : stream.input_->ReadSome(destination);
    return read == 0 ? AVERROR_EOF : static_cast<int>(read);
  });
}

int LibavStream::WriteCallback(void* self, OutputByte* data, int bytes) {
  auto& stream = *static_cast<LibavStream*>(self);
  return stream.Guard([&stream, data, bytes] {
    stream.output_->Write(std::span(data, static_cast<std::size_t>(bytes)));
    return bytes;
  });
}

template <typename File>
std::int64_t LibavStream::SeekFile(File& file, std::int64_t size, std::int64_t offset, int whence) {
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_CUR:
      offset = av_sat_add64(offset, file.GetPosition());
      break;
    case SEEK_END:
      offset = av_sat_add64(offset, size);
      break;
    default:
      break;
  }
  if (offset < 0) return AVERROR(EINVAL);
  const int result = Guard([&file, offset] {
    file.Seek(offset);
    return 0;
  });
  return result < 0 ? result : offset;
}

std::int64_t LibavStream::SeekInputCallback(void* self, std::int64_t offset, int whence) {
  auto& stream = *static_cast<LibavStream*>(self);
  // Check for interrupts here too: a library that only seeks never reads.
  if (InterruptRequested() && !stream.exception_) {
    stream.exception_ = std::make_exception_ptr(Interrupted());
  }
  return stream.SeekFile(*stream.input_, stream.input_->GetSize().value_or(0), offset, whence);
}

std::int64_t LibavStream::SeekOutputCallback(void* self, std::int64_t offset, int whence) {
  auto& stream = *static_cast<LibavStream*>(self);
  return stream.SeekFile(*stream.output_, stream.output_->GetSize(), offset, whence);
}

}  // namespace vixprores
