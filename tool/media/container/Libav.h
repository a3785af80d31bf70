// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_LIBAV_H
#define TOOL_MEDIA_CONTAINER_LIBAV_H

/// @file
/// Shared by readers and writers of containers: the container library's byte streams over our
/// files, its messages, and its objects under unique ownership.

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>

#include "format/OutputFormat.h"
#include "format/StreamFormat.h"
#include "media/InputFile.h"
#include "media/OutputFile.h"
#include "vix/Buffers.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/common.h>
}

namespace vixprores {

/// Returns an enumeration of the library as a number. Files may give it a value that the type does
/// not have, and that must not be read as one.
template <typename Enum>
int ValueOf(const Enum& value) {
  int number = 0;
  static_assert(sizeof number == sizeof value);
  std::memcpy(&number, &value, sizeof number);
  return number;
}

/// Gives an enumeration of the library any number, as files do.
template <typename Enum>
void SetValue(Enum& target, int number) {
  static_assert(sizeof number == sizeof target);
  std::memcpy(&target, &number, sizeof target);
}

/// Suppresses the container library's messages, or prints them on standard error when `verbose`,
/// and remembers the last error message of each thread.
void SetLibavMessages(bool verbose);
/// Returns why a call of the container library failed: its last error message if there is one, or
/// else the text for the code `error`. Clears the message.
std::string ExplainLibavError(int error);

/// Detects that calls of the container library ran out of memory, even where the library continues
/// without the object: a title, index entry or description would be silently missing. Allocation
/// functions leave it in errno, which successful calls do not change.
class MemoryWatch {
 public:
  MemoryWatch() { errno = 0; }
  /// Returns true if an allocation has failed on this thread since the construction.
  bool IsShort() const { return errno == ENOMEM; }
  /// @throws std::bad_alloc if IsShort()
  void Check() const {
    if (IsShort()) throw std::bad_alloc();
  }
};

/// Returns true if the container library printed an error message on this thread since the last
/// call or ExplainLibavError().
bool TakeLibavMessage();

struct PacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Packet = std::unique_ptr<AVPacket, PacketDeleter>;

/// Returns the packet's bytes as a buffer, which keeps the packet.
std::shared_ptr<vix::IBuffer> WrapPacket(Packet packet);

struct MuxerDeleter {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};
using Muxer = std::unique_ptr<AVFormatContext, MuxerDeleter>;

/// A byte stream of the container library over an InputFile or an OutputFile, which must outlive
/// it. Exceptions of the file cannot pass through the library: it gets an error code, and Rethrow()
/// throws them on our side. A read or a seek of an input throws Interrupted once the user has asked
/// to stop; the library's own interrupt callback only serves protocols, which are not used here.
class LibavStream {
 public:
  explicit LibavStream(InputFile& file);
  explicit LibavStream(OutputFile& file);
  ~LibavStream();
  LibavStream(const LibavStream&) = delete;
  LibavStream& operator=(const LibavStream&) = delete;

  /// A skipped read; its caller provides the bytes.
  struct LeftOut {
    std::int64_t position;          ///< in the input
    std::span<std::uint8_t> bytes;  ///< destination; contents unspecified
  };

  AVIOContext* Get() const { return context_; }
  /// Rethrows the exception of the file since the last call, if any.
  void Rethrow();
  /// Skips the next read of an input that bypasses the library's own buffer; at most one, until
  /// TakeLeftOut().
  void LeaveOutLargeReads(bool leavesOut) { leavesOut_ = leavesOut; }
  /// Returns the read skipped since the last call, and stops skipping.
  std::optional<LeftOut> TakeLeftOut();

 private:
  using SeekCallback = std::int64_t(void*, std::int64_t, int);

  void Open(bool isOutput, SeekCallback* seek);
  template <typename Operation>
  int Guard(const Operation& operation);
  template <typename File>
  std::int64_t SeekFile(File& file, std::int64_t size, std::int64_t offset, int whence);
  std::size_t LeaveOut(std::span<std::uint8_t> destination);
  static int ReadCallback(void* self, std::uint8_t* data, int bytes);
#if LIBAVFORMAT_VERSION_MAJOR < 61  // FFmpeg 7.0
  using OutputByte = std::uint8_t;
#else
  using OutputByte = const std::uint8_t;
#endif
  static int WriteCallback(void* self, OutputByte* data, int bytes);
  static std::int64_t SeekInputCallback(void* self, std::int64_t offset, int whence);
  static std::int64_t SeekOutputCallback(void* self, std::int64_t offset, int whence);

  InputFile* input_ = nullptr;
  OutputFile* output_ = nullptr;
  AVIOContext* context_ = nullptr;
  bool leavesOut_ = false;
  std::optional<LeftOut> leftOut_;
  std::exception_ptr exception_;
};

/// Returns the most pixels that a picture of the library's decoders may have: those of the largest
/// picture that is allowed, with its padding.
std::int64_t MostPixels();

/// Returns a copy of a library object.
std::shared_ptr<const AVCodecParameters> CopyParameters(const AVCodecParameters& parameters);
Metadata ToMetadata(const AVDictionary* dictionary);

/// Returns the distance of two times, saturated.
inline std::int64_t Distance(std::int64_t a, std::int64_t b) {
  return a > b ? av_sat_sub64(a, b) : av_sat_sub64(b, a);
}

inline Rational ToRational(AVRational value) {
  return {value.num, value.den};
}
inline AVRational ToAvRational(Rational value) {
  return {value.numerator, value.denominator};
}
inline AVRational Invert(Rational value) {
  return {value.denominator, value.numerator};
}

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_LIBAV_H
