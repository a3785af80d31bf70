// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/SequenceWriter.h"

#include <stdexcept>
#include <utility>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "media/sequence/VideoSpaces.h"

namespace vixprores {

SequenceName RequireSequenceName(const std::string& path) {
  const auto name = ParseSequenceName(path);
  if (name && name->digits > 0) return *name;
  throw UsageError("'" + path +
                   "': images need a place for their numbers in the name, as in out.%04d.png or "
                   "out.####.png");
}

SequenceWriter::SequenceWriter(const std::string& path, bool overwrite,
                               const SequenceWriting& writing, const MovieContent& content)
    : name_(RequireSequenceName(path)),
      text_(name_.ToText()),
      overwrite_(overwrite),
      firstNumber_(writing.firstNumber),
      format_(content.video),
      timecode_(content.timecode) {
  const auto reel = content.metadata.find("reel_name");
  if (reel != content.metadata.end()) reel_ = reel->second;
  if (writing.colours) transform_ = MakeColourTransform(*writing.colours);
  keepsAlpha_ = LoadImageModule().KeepsAlpha(path);
  // Fails before the first frame is decoded.
  OutputFile(name_.PathOf(firstNumber_), overwrite).Close();
}

// Counts frames from the first one of the output.
std::int64_t SequenceWriter::IndexOf(const vix::IVideoSample& frame) const {
  return frame.GetTimeLimits().front().begin - format_.start;
}

std::shared_ptr<const vix::IVideoSample> SequenceWriter::Pack(
    std::shared_ptr<const vix::IVideoSample> frame) const {
  if (frame->GetTimeLimits().empty()) return frame;  // a stand-in, which may be needed many times
  const std::int64_t index = IndexOf(*frame);
  auto file = WriteFile(*frame->GetBuffer(), index);
  const std::lock_guard lock(mutex_);
  written_[index] = std::move(file);
  return frame;
}

void SequenceWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  const std::int64_t index = IndexOf(*frame);
  std::unique_ptr<OutputFile> file;
  {
    const std::lock_guard lock(mutex_);
    if (auto written = written_.extract(index)) file = std::move(written.mapped());
  }
  if (!file) file = WriteFile(*frame->GetBuffer(), index);
  CheckOutputSize(*this, static_cast<std::uint64_t>(file->GetSize()));
  file->GiveName();
  size_ += file->GetSize();
}

void SequenceWriter::Commit() {
  SyncFolder(name_.PathOf(firstNumber_));
}

std::string SequenceWriter::CommitPartial() {
  Commit();
  return text_;
}

ImageTarget SequenceWriter::DescribeTarget(std::int64_t index) const {
  ImageTarget target;
  if (timecode_) target.timecode = (*timecode_ + index).ToText();
  const auto [rate, perSeconds] = format_.rate;
  if (perSeconds > 0) target.rate = static_cast<double>(rate) / perSeconds;
  const auto [width, height] = format_.sampleAspect;
  if (width > 0 && height > 0) target.pixelAspect = static_cast<double>(width) / height;
  target.reel = reel_;
  return target;
}

std::unique_ptr<OutputFile> SequenceWriter::WriteFile(const vix::IBuffer& frame,
                                                      std::int64_t index) const {
  auto file = std::make_unique<OutputFile>(name_.PathOf(firstNumber_ + index), overwrite_);
  auto room = idle_.Take([this] {
    DeepRgb converter(format_, keepsAlpha_);
    std::vector<std::uint16_t> pixels(converter.CountChannels() * format_.width * format_.height);
    return std::make_unique<Room>(Room{std::move(converter), std::move(pixels)});
  });
  room->converter.Convert(BytesOf(frame), room->pixels);
  try {
    file->Write(LoadImageModule().Encode(
        file->GetName(), transform_.get(),
        {format_.width, format_.height, static_cast<int>(room->converter.CountChannels()), 16,
         room->pixels.data()},
        DescribeTarget(index)));
    file->Close();  // here, where other workers need not wait for the disk
  } catch (const Failure&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw Failure(file->GetName() + ": " + error.what());
  }
  idle_.GiveBack(std::move(room));
  return file;
}

}  // namespace vixprores
