// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RAW_Y4M_H
#define TOOL_MEDIA_RAW_Y4M_H

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

/// Parses a stream header (one line without its newline). The code is that of the packed pictures:
/// "UYVY" for 8 bits, "V210" for 10 bits. Throws a Failure for invalid headers, and for pictures
/// that the encoder cannot take. The container library's own parser is not used: it replaces what
/// is missing or invalid by defaults (25 frames per second) and reads every frame into new memory.
/// @param inputName for messages
StreamFormat ParseY4mHeader(std::string_view header, const std::string& inputName);

/// Returns true if the pictures of a stream with that header are 4:2:2 of 8 or 10 bits.
bool HoldsPlain422(std::string_view header);

/// Returns the header of a stream, newline included, with frame rate, pixel aspect, field order and
/// colour range; Y4M has no words for other colour properties.
std::string MakeY4mHeader(const StreamFormat& format);

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

#endif  // TOOL_MEDIA_RAW_Y4M_H
