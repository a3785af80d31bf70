// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_SEQUENCEWRITER_H
#define TOOL_MEDIA_SEQUENCE_SEQUENCEWRITER_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/IdleObjects.h"
#include "media/FrameWriter.h"
#include "media/sequence/DeepRgb.h"
#include "media/sequence/ImageModule.h"
#include "media/sequence/SequenceName.h"

namespace vixprores {

/// Returns the name of the image files of an output.
/// @throws UsageError unless it has a place for numbers with a fixed padding
SequenceName RequireSequenceName(const std::string& path);

/// Writes every frame as an image file of RGB, with the alpha of the stream if files of that kind
/// can have it. A file appears under its name only when it is
/// complete. Threads write files in parallel; Write() names them in order.
class SequenceWriter : public FrameWriter, public Output {
 public:
  /// Rejects an existing first file unless `overwrite` is set.
  /// @throws Failure, UsageError
  SequenceWriter(const std::string& path, bool overwrite, const SequenceWriting& writing,
                 const MovieContent& content);

  std::shared_ptr<const vix::IVideoSample> Pack(
      std::shared_ptr<const vix::IVideoSample> frame) const override;
  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override;
  void Finish() override {}

  const std::string& GetName() const override { return text_; }
  std::int64_t GetSize() const override { return size_; }
  bool IsSeekable() const override { return true; }
  /// Makes the names of all files survive a loss of power.
  void Commit() override;
  std::string KeepWorkFile() override { return {}; }
  std::string CommitPartial() override;

 private:
  /// Memory of one thread, reused for its next picture.
  struct Room {
    DeepRgb converter;
    std::vector<std::uint16_t> pixels;
  };

  std::unique_ptr<OutputFile> WriteFile(const vix::IBuffer& frame, std::int64_t index) const;
  ImageTarget DescribeTarget(std::int64_t index) const;
  std::int64_t IndexOf(const vix::IVideoSample& frame) const;

  SequenceName name_;
  std::string text_;
  bool overwrite_;
  std::int64_t firstNumber_;
  StreamFormat format_;
  std::optional<Timecode> timecode_;  ///< of the first frame
  std::string reel_;
  std::shared_ptr<const ColourTransform> transform_;
  bool keepsAlpha_ = false;
  std::int64_t size_ = 0;
  mutable IdleObjects<Room> idle_;
  mutable std::mutex mutex_;  ///< of the files below
  mutable std::map<std::int64_t, std::unique_ptr<OutputFile>>
      written_;  ///< not named yet, by index
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_SEQUENCEWRITER_H
