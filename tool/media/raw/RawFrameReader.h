// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_RAWFRAMEREADER_H
#define TOOL_MEDIA_RAW_RAWFRAMEREADER_H

#include "base/FramePool.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// Format of raw frames, which follow each other without headers.
struct RawFrameFormat {
  vix::FourCC fourcc = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Rational rate;
  bool interlaced = false;  ///< two fields, top field first
};

/// Reads raw frames.
class RawFrameReader : public FrameReader {
 public:
  RawFrameReader(std::unique_ptr<InputFile> file, const RawFrameFormat& rawFrames);

  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override;
  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }
  void CheckFramesInUse() const override { file_->CheckMappings(); }

 private:
  std::unique_ptr<InputFile> file_;
  std::uint32_t frameBytes_;
  std::int64_t framesRead_ = 0;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_RAWFRAMEREADER_H
