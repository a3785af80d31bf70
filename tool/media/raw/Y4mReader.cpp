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

Y4mReader::Y4mReader(std::unique_ptr<InputFile> file)
    : file_(std::move(file)),
      format_(ParseY4mHeader(ReadLine(), file_->GetName())),
      packedBytes_(format_.FrameBytes()),
      planarBytes_(PlanarBytes(format_)) {
  if (!file_->GetSize()) return;
  // Frames may carry parameters; without any the size of the file tells their number.
  const std::int64_t bytes = *file_->GetSize() - file_->GetPosition();
  const auto frameBytes = static_cast<std::int64_t>(kY4mFrameMagic.size() + 1 + planarBytes_);
  if (bytes % frameBytes == 0) frameCount_ = bytes / frameBytes;
}

std::string Y4mReader::ReadLine() {
  std::string line;
  std::uint8_t character = 0;
  while (line.size() < kLongestLine && file_->Read(std::span(&character, 1)) == 1) {
    if (character == '\n') break;
    line += static_cast<char>(character);
  }
  return line;
}

std::shared_ptr<vix::IBuffer> Y4mReader::Read() {
  if (file_->Peek(1).empty()) return nullptr;
  const std::string line = ReadLine();
  if (!line.starts_with(kY4mFrameMagic)) FailAtFrame("does not start with the word FRAME");
  auto planar = pool_.MakeFrame(planarBytes_);
  const std::size_t bytes = file_->Read(std::span(planar->GetData(), planarBytes_));
  if (bytes < planarBytes_) {
    FailAtFrame("is cut short: found " + std::to_string(bytes) + " of its " +
                std::to_string(planarBytes_) + " bytes");
  }
  ++framesRead_;
  return planar;
}

std::shared_ptr<vix::IBuffer> Y4mReader::Unpack(std::shared_ptr<vix::IBuffer> planar) const {
  auto packed = pool_.MakeFrame(packedBytes_);
  PackPicture(format_, std::span(planar->GetData(), planarBytes_),
              std::span(packed->GetData(), packedBytes_));
  return packed;
}

void Y4mReader::FailAtFrame(const std::string& found) const {
  throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " " + found +
                "; choose the frames before it with --frames");
}

}  // namespace vixprores
