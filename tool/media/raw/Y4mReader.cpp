// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/Y4mReader.h"

#include <span>
#include <utility>

#include "base/Errors.h"
#include "format/PlanarPicture.h"
#include "format/Y4mHeader.h"

namespace vixprores {
namespace {

constexpr std::size_t kLongestLine = 4096;

}  // namespace

Y4mReader::Y4mReader(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
  description_.name = file_->GetName();
  description_.format = ParseY4mHeader(file_->ReadLine(kLongestLine), GetName());
  planarBytes_ = PlanarBytes(GetFormat());
  if (!file_->GetSize()) return;
  // Frames may carry parameters; without them the file size is a multiple of this.
  const std::int64_t bytes = *file_->GetSize() - file_->GetPosition();
  const auto frameBytes = static_cast<std::int64_t>(kY4mFrameMagic.size() + 1 + planarBytes_);
  if (bytes % frameBytes == 0) description_.frames = bytes / frameBytes;
}

std::optional<NumberedFrame> Y4mReader::Read() {
  if (file_->Peek(1).empty()) return std::nullopt;
  const std::string line = file_->ReadLine(kLongestLine);
  if (!line.starts_with(kY4mFrameMagic)) FailAtFrame("does not start with the word FRAME");
  NumberedFrame frame;
  frame.data = pool_.MakeFrame(planarBytes_);
  const std::size_t bytes = file_->Read(std::span(frame.data->GetData(), planarBytes_));
  if (bytes < planarBytes_) {
    FailAtFrame("is cut short: found " + std::to_string(bytes) + " of its " +
                std::to_string(planarBytes_) + " bytes");
  }
  frame.number = framesRead_++;
  return frame;
}

FrameConversion Y4mReader::GetConversion() const {
  return [format = GetFormat(), pool = pool_](const std::shared_ptr<vix::IBuffer>& planar) {
    const std::uint32_t bytes = format.FrameBytes();
    auto packed = pool.MakeFrame(bytes);
    PackPicture(format, std::span(planar->GetData(), planar->GetSize()),
                std::span(packed->GetData(), bytes));
    return packed;
  };
}

void Y4mReader::FailAtFrame(const std::string& found) const {
  throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " " + found +
                "; choose the frames before it with --frames");
}

}  // namespace vixprores
