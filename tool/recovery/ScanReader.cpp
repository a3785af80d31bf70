// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/ScanReader.h"

#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"

namespace vixprores {

ScanReader::ScanReader(std::unique_ptr<InputFile> file, const HeaderDemands& demands,
                       const std::optional<Rational>& rate)
    : scanner_(std::move(file)), demands_(demands), first_(scanner_.Next()) {
  const std::string& name = description_.name = scanner_.GetFile().GetName();
  const auto header = first_ ? ParseHeader(BytesOf(*first_->bytes)) : std::nullopt;
  if (!header) throw Failure(name + ": no ProRes frame was found in it");
  StreamFormat& format = description_.format = FormatOf(*header);
  if (rate) format.rate = *rate;
  if (format.rate.numerator == 0) {
    throw Failure(name + ": the frame rate is unknown; set it with --rate");
  }
}

std::string ScanReader::GetEndNote() const {
  const SkippedBytes& skipped = scanner_.GetSkipped();
  if (!isAtEnd_ || skipped.bytes == 0) return {};
  return "no frame was found in " + Count(skipped.bytes, "byte") + " in " +
         Count(skipped.places, "place") + ", the largest of " + Count(skipped.largest, "byte") +
         " at byte " + std::to_string(skipped.largestBegin);
}

std::optional<NumberedFrame> ScanReader::Read() {
  auto found = first_ ? std::exchange(first_, std::nullopt) : scanner_.Next();
  isAtEnd_ = !found;
  if (isAtEnd_) return std::nullopt;
  NumberedFrame frame;
  frame.number = framesRead_++;
  frame.offset = found->offset;
  frame.data = std::move(found->bytes);
  frame.header = ParseHeader(BytesOf(*frame.data));
  const auto mismatch =
      frame.header ? FindMismatch(*frame.header, GetFormat(), demands_) : std::nullopt;
  if (!mismatch) return frame;
  throw FrameFailure(GetName(), frame.number, mismatch->found, mismatch->advice, 1, frame.offset);
}

}  // namespace vixprores
