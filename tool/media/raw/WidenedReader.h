// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_WIDENEDREADER_H
#define TOOL_MEDIA_RAW_WIDENEDREADER_H

#include <memory>
#include <optional>
#include <string>

#include "base/FramePool.h"
#include "media/FrameReader.h"

namespace vixprores {

/// Returns the packed 4:2:2 pictures of another reader as "Y416", for the elements of 4444.
class WidenedReader : public FrameReader {
 public:
  explicit WidenedReader(std::unique_ptr<FrameReader> reader);

  std::optional<NumberedFrame> Read() override { return reader_->Read(); }
  bool SkipTo(std::int64_t frame) override { return reader_->SkipTo(frame); }
  void CheckRange(const FrameRange& range) const override { reader_->CheckRange(range); }
  FrameConversion GetConversion() const override;
  SideTracks* GetSideTracks() override { return reader_->GetSideTracks(); }
  bool CutsSoundToStart() const override { return reader_->CutsSoundToStart(); }
  std::string GetEndNote() const override { return reader_->GetEndNote(); }
  bool ReadsFrom(const std::string& path) const override { return reader_->ReadsFrom(path); }
  void CheckFramesInUse() const override { reader_->CheckFramesInUse(); }

 private:
  std::unique_ptr<FrameReader> reader_;
  FramePool pool_;
};

/// Returns the reader itself if its pictures have a format of 4444 already, else a WidenedReader.
std::unique_ptr<FrameReader> Widen(std::unique_ptr<FrameReader> reader);

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_WIDENEDREADER_H
