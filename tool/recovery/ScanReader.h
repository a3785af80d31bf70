// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_SCANREADER_H
#define TOOL_RECOVERY_SCANREADER_H

#include "media/FrameReader.h"
#include "recovery/FrameScanner.h"

namespace vixprores {

/// Reads the ProRes frames of any bytes, found by what they look like. Which variant they are is
/// not known: the code stays 0.
class ScanReader : public FrameReader {
 public:
  ScanReader(std::unique_ptr<InputFile> file, const ProResOptions& options);

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return scanner_.GetFile().GetName(); }
  std::optional<std::int64_t> GetFrameCount() const override { return std::nullopt; }
  bool ReadsFrom(const std::string& path) const override {
    return scanner_.GetFile().IsSameFile(path);
  }
  std::optional<std::int64_t> GetFrameOffset() const override { return offset_; }
  std::string GetEndNote() const override;
  std::shared_ptr<vix::IBuffer> Read() override;

 private:
  FrameScanner scanner_;
  HeaderDemands demands_;
  std::optional<FoundFrame> first_;  ///< until Read() hands it out
  StreamFormat format_;
  std::int64_t framesRead_ = 0;
  bool isAtEnd_ = false;
  std::optional<std::int64_t> offset_;
};

}  // namespace vixprores

#endif  // TOOL_RECOVERY_SCANREADER_H
