// SPDX-License-Identifier: BSD-2-Clause
#include "io/HeadlessReader.h"

#include <span>
#include <utility>

#include "run/Errors.h"

namespace vixprores {
namespace {

StreamFormat ToStreamFormat(const HeadlessFormat& headless) {
  StreamFormat format;
  format.code = headless.fourcc;
  format.width = headless.width;
  format.height = headless.height;
  format.rate = headless.rate;
  format.fieldOrder = headless.interlaced ? FieldOrder::TopFirst : FieldOrder::Progressive;
  return format;
}

}  // namespace

HeadlessReader::HeadlessReader(std::unique_ptr<InputFile> file, const HeadlessFormat& headless)
    : file_(std::move(file)),
      format_(ToStreamFormat(headless)),
      frameBytes_(format_.FrameBytes()) {}

std::optional<std::int64_t> HeadlessReader::GetFrameCount() const {
  if (!file_->GetSize()) return std::nullopt;
  return *file_->GetSize() / frameBytes_;
}

std::shared_ptr<vix::IBuffer> HeadlessReader::Read() {
  if (const auto mapping = file_->ReadInPlace(frameBytes_)) {
    ++framesRead_;
    std::uint8_t* const data = mapping->GetData();
    // The block keeps the mapping.
    return vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(data, frameBytes_, [mapping] {}));
  }
  auto frame = pool_.MakeFrame(frameBytes_);
  const std::size_t bytes = file_->Read(std::span(frame->GetData(), frameBytes_));
  if (bytes == 0) return nullptr;
  if (bytes < frameBytes_) {
    throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " is cut short: found " +
                  std::to_string(bytes) + " of the " + std::to_string(frameBytes_) +
                  " bytes of a frame of " + DescribeSize(format_.width, format_.height) + " " +
                  DescribeCode(format_.code) +
                  "; check --size and --fourcc, or choose whole frames with --frames");
  }
  ++framesRead_;
  return frame;
}

}  // namespace vixprores
