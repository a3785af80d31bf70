// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/WidenedReader.h"

#include <span>
#include <utility>

#include "format/DeepPicture.h"

namespace vixprores {

WidenedReader::WidenedReader(std::unique_ptr<FrameReader> reader) : reader_(std::move(reader)) {
  description_ = reader_->GetDescription();
  if (description_.stored.empty()) description_.stored = DescribeCode(GetFormat().code);
  description_.format.code = vix::kFourCC_Y416;
  description_.format.is444 = true;
}

FrameConversion WidenedReader::GetConversion() const {
  return [convert = reader_->GetConversion(), narrow = reader_->GetFormat(), wide = GetFormat(),
          pool = pool_](const std::shared_ptr<vix::IBuffer>& frame) {
    ConvertedFrame picture = convert ? convert(frame) : ConvertedFrame{frame};
    if (!picture.data) return picture;
    auto widened = pool.MakeFrame(wide.FrameBytes());
    DeepenPicture(narrow, BytesOf(*picture.data),
                  std::span(widened->GetData(), widened->GetSize()));
    picture.data = std::move(widened);
    return picture;
  };
}

std::unique_ptr<FrameReader> Widen(std::unique_ptr<FrameReader> reader) {
  if (IsOf4444(reader->GetFormat().code)) return reader;
  return std::make_unique<WidenedReader>(std::move(reader));
}

}  // namespace vixprores
