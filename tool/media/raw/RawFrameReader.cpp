// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/RawFrameReader.h"

#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "media/raw/Y4m.h"

namespace vixprores {
namespace {

StreamFormat ToStreamFormat(const RawFrameFormat& rawFrames) {
  StreamFormat format;
  format.code = rawFrames.fourcc;
  format.width = rawFrames.width;
  format.height = rawFrames.height;
  format.is444 = IsOf4444(rawFrames.fourcc);
  format.alphaBits = format.is444 ? kPackedAlphaBits : 0;
  format.rate = rawFrames.rate;
  format.fieldOrder = rawFrames.interlaced ? FieldOrder::TopFirst : FieldOrder::Progressive;
  return format;
}

struct Magic {
  std::size_t offset;
  std::string_view bytes;
  const char* container;
};
constexpr Magic kMagics[] = {{0, kY4mMagic, "Y4M"},
                             {4, "ftyp", ".mov"},
                             {4, "moov", ".mov"},
                             {4, "mdat", ".mov"},
                             {4, "wide", ".mov"},
                             {8, "AVI ", ".avi"},
                             {0, "\x1A\x45\xDF\xA3", ".mkv"},
                             {0, "\x06\x0E\x2B\x34", ".mxf"},
                             {0, "nut/multimedia container", ".nut"}};
constexpr std::size_t kMostMagicBytes = 24;

bool HasMagic(std::span<const std::uint8_t> start, const Magic& magic) {
  if (start.size() < magic.offset + magic.bytes.size()) return false;
  return std::memcmp(start.data() + magic.offset, magic.bytes.data(), magic.bytes.size()) == 0;
}

// Rejects files with a known signature: they are not raw frames.
void RequireRawFrames(std::span<const std::uint8_t> start, const std::string& name) {
  for (const Magic& magic : kMagics) {
    if (!HasMagic(start, magic)) continue;
    throw UsageError(name + ": is " + magic.container +
                     ", not raw frames; leave out --fourcc, --size and --interlaced");
  }
}

}  // namespace

RawFrameReader::RawFrameReader(std::unique_ptr<InputFile> file, const RawFrameFormat& rawFrames)
    : file_(std::move(file)) {
  description_.name = file_->GetName();
  description_.format = ToStreamFormat(rawFrames);
  CheckPictureSize(GetName(), rawFrames.width, rawFrames.height);
  frameBytes_ = GetFormat().FrameBytes();
  if (!file_->IsSeekable()) return;  // the first bytes of a pipe may not have arrived yet
  RequireRawFrames(file_->Peek(kMostMagicBytes), GetName());
  description_.frames = *file_->GetSize() / frameBytes_;
}

bool RawFrameReader::SkipTo(std::int64_t frame) {
  if (!file_->IsSeekable()) return false;
  file_->Seek(frame * frameBytes_);
  framesRead_ = frame;
  return true;
}

std::optional<NumberedFrame> RawFrameReader::Read() {
  NumberedFrame frame;
  frame.number = framesRead_;
  if (const auto mapping = file_->ReadInPlace(frameBytes_)) {
    ++framesRead_;
    // The block keeps the mapping alive.
    frame.data = vix::CreateBuffer(
        nullptr, vix::CreateMemoryBlock(mapping->GetData(), frameBytes_, [mapping] {}));
    return frame;
  }
  frame.data = pool_.MakeFrame(frameBytes_);
  const std::size_t bytes = file_->Read(std::span(frame.data->GetData(), frameBytes_));
  if (bytes == 0) return std::nullopt;
  if (framesRead_ == 0) RequireRawFrames({frame.data->GetData(), bytes}, GetName());
  if (bytes < frameBytes_) {
    throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " is cut short: found " +
                  std::to_string(bytes) + " of the " + std::to_string(frameBytes_) +
                  " bytes of a frame of " + DescribeSize(GetFormat().width, GetFormat().height) +
                  " " + DescribeCode(GetFormat().code) +
                  "; check --size and --fourcc, or choose whole frames with --frames");
  }
  ++framesRead_;
  return frame;
}

}  // namespace vixprores
