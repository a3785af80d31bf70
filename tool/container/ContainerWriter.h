// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_CONTAINERWRITER_H
#define TOOL_CONTAINER_CONTAINERWRITER_H

#include "container/Libav.h"
#include "io/FrameWriter.h"

namespace vixprores {

/// Writes one video track into a container. The muxer takes the frames' memory by reference.
class ContainerWriter : public FrameWriter {
 public:
  /// Writes the container's header. A stream that the muxer does not take is a Failure with its
  /// reason.
  ContainerWriter(OutputFile& file, const OutputFormat& output, const StreamFormat& stream);
  ~ContainerWriter() override;

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void Finish() override;

 private:
  struct ContextDeleter {
    void operator()(AVFormatContext* context) const { avformat_free_context(context); }
  };

  void AddStream(const OutputFormat& output, const StreamFormat& stream);
  void WriteHeader();
  /// Throws what went wrong in a call of the container library, if `result` says so.
  void Check(int result);

  OutputFile& file_;
  LibavStream bytes_;
  std::unique_ptr<AVFormatContext, ContextDeleter> context_;
  AVStream* stream_ = nullptr;
  StreamFormat format_;
};

}  // namespace vixprores

#endif  // TOOL_CONTAINER_CONTAINERWRITER_H
