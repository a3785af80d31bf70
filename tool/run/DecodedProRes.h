// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_DECODEDPRORES_H
#define TOOL_RUN_DECODEDPRORES_H

/// @file
/// ProRes as footage: pictures that the elements of the plug-in decode. Requires the plug-in.

#include <memory>
#include <optional>
#include <string>

#include "media/FrameReader.h"
#include "media/container/ProResReader.h"
#include "media/decode/VideoDecoder.h"

namespace vixprores {

/// Returns the frames of a ProRes reader as "V210", or as "Y416" with their alpha. The workers
/// decode them (GetConversion()), each with a decoder of its own.
class DecodedProResReader : public FrameReader {
 public:
  /// @param isDeep returns "Y416"
  DecodedProResReader(std::unique_ptr<ProResReader> reader, bool isDeep);

  std::optional<NumberedFrame> Read() override { return reader_->Read(); }
  bool SkipTo(std::int64_t frame) override { return reader_->SkipTo(frame); }
  FrameConversion GetConversion() const override;
  SideTracks* GetSideTracks() override { return reader_->GetSideTracks(); }
  std::string GetEndNote() const override { return reader_->GetEndNote(); }
  void CheckFramesInUse() const override { reader_->CheckFramesInUse(); }
  bool ReadsFrom(const std::string& path) const override { return reader_->ReadsFrom(path); }

 private:
  class Decoders;

  std::unique_ptr<ProResReader> reader_;
  std::shared_ptr<Decoders> decoders_;
};

/// Makes a decoder of ProRes tracks for filters, whose pictures are 4:2:2 of 10 bits
/// (AV_PIX_FMT_YUV422P10); or where they are to be deep and the track is, 4:4:4 of 16 bits
/// (AV_PIX_FMT_YUVA444P16, AV_PIX_FMT_YUV444P16). Its threads share each frame.
/// @param stream  must outlive the result
/// @param threads 0 = one per processor
/// @param name    of the input, for messages
std::unique_ptr<VideoDecoder> MakeProResDecoder(const AVStream& stream, int threads, bool isDeep,
                                                const std::string& name);

}  // namespace vixprores

#endif  // TOOL_RUN_DECODEDPRORES_H
