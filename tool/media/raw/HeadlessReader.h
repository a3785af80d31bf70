// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_HEADLESSREADER_H
#define TOOL_MEDIA_RAW_HEADLESSREADER_H

#include "base/FramePool.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// Reads frames that stand one behind the other with nothing around them.
class HeadlessReader : public FrameReader {
 public:
  HeadlessReader(std::unique_ptr<InputFile> file, const HeadlessFormat& headless);

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return file_->GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override;
  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }
  std::shared_ptr<vix::IBuffer> Read() override;
  bool SkipTo(std::int64_t frame) override;
  void CheckFramesInUse() const override { file_->CheckMappings(); }

 private:
  std::unique_ptr<InputFile> file_;
  StreamFormat format_;
  std::uint32_t frameBytes_;
  std::int64_t framesRead_ = 0;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_HEADLESSREADER_H
