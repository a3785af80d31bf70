// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H
#define TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H

/// @file
/// Writes containers; translates the description of a movie into the input of the container
/// library's muxers.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/OutputFormat.h"
#include "media/FrameWriter.h"
#include "media/container/Interleaver.h"
#include "media/container/Libav.h"

namespace vixprores {

/// Returns a muxer with the movie's tracks and metadata, and without a byte stream. Stream 0 is the
/// video; the sound tracks and the tracks of text follow.
/// @param name name of the muxer in the container library: "mov", "matroska", ...
Muxer MakeMuxer(const std::string& name, const MovieContent& content);

/// Writes the container's header.
/// @param isFragmented as a .mov without an index at its end
/// @return the library's result code
int WriteHeader(AVFormatContext& muxer, const MovieContent& content, bool isFragmented);

/// Returns a .mov without media that holds the tracks and all metadata; empty if the library cannot
/// write one for these tracks.
std::vector<std::uint8_t> DescribeMovie(const MovieContent& content);

/// Writes a video track with its sound and metadata into a container. The muxer takes the frames'
/// memory by reference. A seekable .mov without tracks of text has a tag before every packet, so
/// that it can be read without an index (PacketTag.h); a .mov on a pipe is written in fragments.
class ContainerWriter : public FrameWriter {
 public:
  /// Writes the container's header. Throws a Failure with the muxer's reason if the muxer rejects
  /// the tracks.
  /// @param isRepeatable the file can be made again in little time, so that it need not reach the
  ///                     disk at once
  ContainerWriter(OutputFile& file, const OutputFormat& output, const MovieContent& content,
                  bool isRepeatable = false);
  ~ContainerWriter() override;

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override {
    Write(frame, std::nullopt);
  }
  /// Writes a frame whose checksum (HashPacket()) is known.
  void Write(const std::shared_ptr<const vix::IVideoSample>& frame,
             const std::optional<std::uint64_t>& hash);
  void WriteSound(SoundPacket sound) override;
  void WriteCaptions(std::int64_t time, std::span<const std::uint8_t> captions) override;
  bool IsRecoverable() const override { return isTagged_; }
  std::int64_t CountWaiting() const override {
    return static_cast<std::int64_t>(packets_.CountFrames());
  }
  void Finish() override;
  std::string GetEndNote() const override;

 private:
  friend struct ContainerWriterPeer;  // for tests of files that are too large to write

  void WriteDescription();
  void WriteOrdered();
  void WriteTag(std::uint32_t track, const AVPacket& packet,
                const std::optional<std::uint64_t>& hash);
  void WritePacket(AVRational clock, const Interleaver::Item& item);
  void WriteTexts(std::int64_t end);
  void LabelMovie();
  std::int64_t EndOfPictures(std::size_t track) const;
  void FillUpSound();
  void Check(int result, const MemoryWatch& memory);

  OutputFile& file_;
  LibavStream bytes_;
  MovieContent content_;
  bool isTagged_;
  bool endsWithPictures_;                  ///< as .mxf, whose sound ends with the pictures
  std::int64_t picturesEnd_ = 0;           ///< in frames
  std::vector<std::int64_t> soundEnds_;    ///< in samples, one for each track
  std::vector<std::size_t> textsWritten_;  ///< packets, one for each track of text
  Interleaver packets_;                    ///< that are not written yet
  bool ended_ = false;
  Muxer context_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERWRITER_H
