// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_Y4MREADER_H
#define TOOL_MEDIA_RAW_Y4MREADER_H

#include "base/FramePool.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// Reads a Y4M stream of planar 4:2:2 pictures and packs them.
class Y4mReader : public FrameReader {
 public:
  explicit Y4mReader(std::unique_ptr<InputFile> file);

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return file_->GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override { return frameCount_; }
  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }
  std::shared_ptr<vix::IBuffer> Read() override;
  std::shared_ptr<vix::IBuffer> Unpack(std::shared_ptr<vix::IBuffer> frame) const override;

 private:
  /// A line without its newline; what was there when it does not end.
  std::string ReadLine();
  [[noreturn]] void FailAtFrame(const std::string& found) const;

  std::unique_ptr<InputFile> file_;
  StreamFormat format_;
  std::uint32_t packedBytes_;
  std::uint32_t planarBytes_;
  std::optional<std::int64_t> frameCount_;
  std::int64_t framesRead_ = 0;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_Y4MREADER_H
