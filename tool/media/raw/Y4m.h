// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_Y4M_H
#define TOOL_MEDIA_RAW_Y4M_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/FramePool.h"
#include "format/StreamFormat.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// First bytes of every YUV4MPEG2 ("Y4M") stream, and of every frame in it.
inline constexpr std::string_view kY4mMagic = "YUV4MPEG2";
inline constexpr std::string_view kY4mFrameMagic = "FRAME";

/// Layout of the planes of a stream.
struct Y4mPlanes {
  vix::FourCC packed;  ///< packed form: "UYVY" or "V210" of 4:2:2, "Y416" of 4:4:4
  unsigned bits;       ///< of a sample
};

/// Returns the planes of a stream with that header; nullopt = they have to be decoded.
std::optional<Y4mPlanes> FindPlanes(std::string_view header);

/// Parses a stream header (one line without its newline). The code is that of the packed pictures
/// (Y4mPlanes). Throws a Failure for invalid headers, and for pictures
/// that the encoder cannot take. The container library's own parser is not used: it replaces what
/// is missing or invalid by defaults (25 frames per second) and reads every frame into new memory.
/// @param inputName for messages
StreamFormat ParseY4mHeader(std::string_view header, const std::string& inputName);

/// Returns the header of a stream, newline included, with frame rate, pixel aspect, field order and
/// colour range; Y4M has no words for other colour properties.
std::string MakeY4mHeader(const StreamFormat& format);

/// Reads a Y4M stream of planar 4:2:2 or 4:4:4 pictures; its conversion packs them.
class Y4mReader : public FrameReader {
 public:
  explicit Y4mReader(std::unique_ptr<InputFile> file);

  std::optional<NumberedFrame> Read() override;
  FrameConversion GetConversion() const override;
  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }

 private:
  [[noreturn]] void FailAtFrame(const std::string& found) const;

  std::unique_ptr<InputFile> file_;
  unsigned bits_;
  std::uint32_t planarBytes_;
  std::int64_t framesRead_ = 0;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RAW_Y4M_H
