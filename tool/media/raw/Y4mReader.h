// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_Y4MREADER_H
#define TOOL_MEDIA_RAW_Y4MREADER_H

#include "base/FramePool.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// Reads a Y4M stream of planar 4:2:2 pictures; its conversion packs them.
class Y4mReader : public FrameReader {
 public:
  explicit Y4mReader(std::unique_ptr<InputFile> file);

  std::optional<NumberedFrame> Read() override;
  FrameConversion GetConversion() const override;
  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }

 private:
  [[noreturn]] void FailAtFrame(const std::string& found) const;

  std::unique_ptr<InputFile> file_;
  std::uint32_t planarBytes_;
  std::int64_t framesRead_ = 0;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_Y4MREADER_H
