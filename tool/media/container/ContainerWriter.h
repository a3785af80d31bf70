// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H
#define TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H

#include "format/MovieContent.h"
#include "media/FrameWriter.h"
#include "media/container/Libav.h"
#include "media/container/PacketTag.h"

namespace vixprores {

/// Writes one video track, and what goes with it, into a container. The muxer takes the frames'
/// memory by reference. A .mov that can be gone back in has a tag in front of every packet, which
/// makes what was written so far readable at any time (PacketTag.h); one that cannot, as on a pipe,
/// is written in fragments.
class ContainerWriter : public FrameWriter {
 public:
  /// Writes the container's header. A stream that the muxer does not take is a Failure with its
  /// reason.
  ContainerWriter(OutputFile& file, const OutputFormat& output, const MovieContent& content);
  ~ContainerWriter() override;

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void WriteSound(SoundPacket sound) override;
  bool IsRecoverable() const override { return isTagged_; }
  void Finish() override;

 private:
  friend struct ContainerWriterPeer;  // tests: files that are too large to be written out

  void WriteHeader();
  void WriteTag(std::uint32_t track, const AVPacket& packet);
  void WritePacket(const AVStream& stream, AVRational clock, AVPacket& packet);
  void FillUpSound();
  void Check(int result);

  OutputFile& file_;
  LibavStream bytes_;
  MovieContent content_;
  bool isMov_;
  bool isTagged_;
  bool needsSoundToTheEnd_;              ///< pictures without sound beside them would be lost
  std::int64_t picturesEnd_ = 0;         ///< in frames
  std::vector<std::int64_t> soundEnds_;  ///< in samples, one for each track
  bool ended_ = false;
  Muxer context_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H
