// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_SCANREADER_H
#define TOOL_RECOVERY_SCANREADER_H

#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"
#include "recovery/FrameScanner.h"

namespace vixprores {

/// Reads the ProRes frames in any bytes (FrameScanner). Their variant is unknown: the code stays 0.
class ScanReader : public FrameReader {
 public:
  /// @param rate frame rate; nullopt = as the frame headers state
  ScanReader(std::unique_ptr<InputFile> file, const HeaderDemands& demands,
             const std::optional<Rational>& rate);

  std::optional<NumberedFrame> Read() override;
  bool ReadsFrom(const std::string& path) const override {
    return scanner_.GetFile().IsSameFile(path);
  }
  std::string GetEndNote() const override;

 private:
  FrameScanner scanner_;
  HeaderDemands demands_;
  std::optional<FoundFrame> first_;  ///< until Read() returns it
  std::int64_t framesRead_ = 0;
  bool isAtEnd_ = false;
};

}  // namespace vixprores

#endif  // TOOL_RECOVERY_SCANREADER_H
