// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/ScanReader.h"

#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"

namespace vixprores {

ScanReader::ScanReader(std::unique_ptr<InputFile> file, const ProResOptions& options)
    : scanner_(std::move(file)), demands_(options.demands), first_(scanner_.Next()) {
  const std::string& name = scanner_.GetFile().GetName();
  const auto header = first_ ? ParseHeader(BytesOf(*first_->bytes)) : std::nullopt;
  if (!header) throw Failure(name + ": no ProRes frame was found in it");
  format_ = FormatOf(*header);
  if (options.rate) format_.rate = *options.rate;
  if (format_.rate.numerator == 0) {
    throw Failure(name + ": its frames do not tell their rate; give it with --rate");
  }
}

std::string ScanReader::GetEndNote() const {
  const SkippedBytes& skipped = scanner_.GetSkipped();
  if (!isAtEnd_ || skipped.bytes == 0) return {};
  return "no frame was found in " + Count(skipped.bytes, "byte") + " in " +
         Count(skipped.places, "place") + ", the largest of " + Count(skipped.largest, "byte") +
         " from byte " + std::to_string(skipped.largestBegin) + " on";
}

std::shared_ptr<vix::IBuffer> ScanReader::Read() {
  auto frame = first_ ? std::exchange(first_, std::nullopt) : scanner_.Next();
  isAtEnd_ = !frame;
  if (isAtEnd_) return nullptr;
  const std::int64_t number = framesRead_++;
  offset_ = frame->offset;
  const auto header = ParseHeader(BytesOf(*frame->bytes));
  const auto mismatch = header ? FindMismatch(*header, format_, demands_) : std::nullopt;
  if (mismatch) throw FrameFailure(GetName(), number, mismatch->found, mismatch->advice);
  return std::move(frame->bytes);
}

}  // namespace vixprores
